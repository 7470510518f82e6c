// Two module names in one library, which may be loaded at the same time.
#include <atomic>

#include "qx/core/IQXKernel.h"
#include "tests/host/kernel/modules/CountingModule.h"

namespace {

std::atomic<int> loads{0};
std::atomic<int> unloads{0};

class Counting final : public CountingModule {
 public:
  explicit Counting(const char* name) : name_(name), kernel_(IQXKernel::GetKernel()) { ++loads; }
  ~Counting() override { ++unloads; }
  const char* GetName() override { return name_; }
  int GetLoads() override { return loads; }
  int GetUnloads() override { return unloads; }
  void* GetKernelAtLoad() override { return kernel_; }

 private:
  const char* name_;
  void* kernel_;
};

}  // namespace

extern "C" {
QX_EXPORT IQXModule* IQXModule_IPair_ModuleLoad() { return new Counting("IPair"); }
QX_EXPORT void IQXModule_IPair_ModuleUnload(IQXModule* module) { delete module; }
QX_EXPORT IQXModule* IQXModule_IPairSecond_ModuleLoad() { return new Counting("IPairSecond"); }
QX_EXPORT void IQXModule_IPairSecond_ModuleUnload(IQXModule* module) { delete module; }
}
