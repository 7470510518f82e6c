// Acquires another module while it loads, as the service does, and itself, which cannot work.
#include "qx/core/IQXKernel.h"
#include "tests/host/kernel/modules/CountingModule.h"

namespace {

class Recursive final : public CountingModule {
 public:
  Recursive() {
    IQXKernel* const kernel = IQXKernel::GetKernel();
    itself_ = kernel->AcquireModule("IRecursive");
    other_ = kernel->AcquireModule("IPair");
  }
  ~Recursive() override { IQXKernel::GetKernel()->ReleaseModule(other_); }
  const char* GetName() override {
    return other_ != nullptr ? static_cast<CountingModule*>(other_)->GetName() : "nothing";
  }
  int GetLoads() override { return itself_ == nullptr ? 0 : 1; }
  int GetUnloads() override { return 0; }
  void* GetKernelAtLoad() override { return nullptr; }

 private:
  IQXModule* itself_ = nullptr;
  IQXModule* other_ = nullptr;
};

}  // namespace

extern "C" {
QX_EXPORT IQXModule* IQXModule_IRecursive_ModuleLoad() { return new Recursive(); }
QX_EXPORT void IQXModule_IRecursive_ModuleUnload(IQXModule* module) { delete module; }
}
