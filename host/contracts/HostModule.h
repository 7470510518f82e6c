#ifndef HOST_CONTRACTS_HOSTMODULE_H_
#define HOST_CONTRACTS_HOSTMODULE_H_

#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

/// The load and unload entry points of a platform module written with the standard library:
///   PLEXION_HOST_MODULE(IFileSystem, plexion_host::FileSystem)
/// makes a new object at each first acquisition and deletes it at the last release. The third entry
/// point, IQXModule_QXModule_PutKernel, comes with qx_core.
#define PLEXION_HOST_MODULE(NAME, CLASS)                                                  \
  extern "C" QX_EXPORT IQXModule* IQXModule_##NAME##_ModuleLoad() { return new CLASS(); } \
  extern "C" QX_EXPORT void IQXModule_##NAME##_ModuleUnload(IQXModule* module) { delete module; }

#endif  // HOST_CONTRACTS_HOSTMODULE_H_
