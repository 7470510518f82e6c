#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

extern "C" {
QX_EXPORT IQXModule* IQXModule_INoObject_ModuleLoad() { return nullptr; }
QX_EXPORT void IQXModule_INoObject_ModuleUnload(IQXModule*) {}
}
