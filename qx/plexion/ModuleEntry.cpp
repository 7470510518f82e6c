// The entry points by which a host makes and destroys the service object. The third one, which
// hands over the kernel and comes first, is every module's (qx/core/IQXKernel.h).

#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"
#include "qx/core/QXMem.h"
#include "qx/plexion/IPlexionImpl.h"

// Blocks of the tracked operators are aligned to 8 bytes.
static_assert(alignof(qx::plexion::IPlexionImpl) <= 8, "tracked memory is aligned to 8 bytes");

extern "C" {

/// Owns     the caller; goes back to IQXModule_IPlexion_ModuleUnload.
/// Returns  the service, an IPlexionSets; null without memory.
QX_EXPORT IQXModule* IQXModule_IPlexion_ModuleLoad() {
  return new (nullptr, 0, QX_NEW_DELETE) qx::plexion::IPlexionImpl();
}

/// Destroys the service; null is accepted. Every window must have been destroyed before.
QX_EXPORT void IQXModule_IPlexion_ModuleUnload(IQXModule* module) {
  QXTypes_ScalarDelete(module, nullptr, 0);
  // A stored kernel is never replaced, so this leaves it in place. Hosts release memory of the module
  // through it after the unload.
  IQXModule_QXModule_PutKernel(nullptr);
}

}  // extern "C"
