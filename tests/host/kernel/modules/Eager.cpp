// Acquires another module as soon as it is handed the kernel, before any of it is made.
#include "qx/core/IQXKernel.h"
#include "tests/host/kernel/modules/CountingModule.h"

namespace {

IQXKernel* theKernel = nullptr;
IQXModule* theOther = nullptr;

class Eager final : public CountingModule {
 public:
  const char* GetName() override {
    return theOther != nullptr ? static_cast<CountingModule*>(theOther)->GetName() : "nothing";
  }
  int GetLoads() override { return 1; }
  int GetUnloads() override { return 0; }
  void* GetKernelAtLoad() override { return theKernel; }
};

}  // namespace

extern "C" {
QX_EXPORT void IQXModule_QXModule_PutKernel(IQXKernel* kernel) {
  theKernel = kernel;
  theOther = kernel->AcquireModule("IPair");
}
QX_EXPORT IQXModule* IQXModule_IEager_ModuleLoad() { return new Eager(); }
QX_EXPORT void IQXModule_IEager_ModuleUnload(IQXModule* module) {
  theKernel->ReleaseModule(theOther);
  delete module;
}
}
