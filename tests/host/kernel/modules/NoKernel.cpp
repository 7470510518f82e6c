class IQXModule;

extern "C" {
__attribute__((visibility("default"))) IQXModule* IQXModule_INoKernel_ModuleLoad() {
  return nullptr;
}
__attribute__((visibility("default"))) void IQXModule_INoKernel_ModuleUnload(IQXModule*) {}
}
