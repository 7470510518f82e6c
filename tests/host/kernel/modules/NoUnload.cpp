#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

extern "C" QX_EXPORT IQXModule* IQXModule_INoUnload_ModuleLoad() { return nullptr; }
