#ifndef QX_CORE_MORVELLIB_IMORVELRUNTIMELIB_H_
#define QX_CORE_MORVELLIB_IMORVELRUNTIMELIB_H_

#include <stdint.h>

#include "qx/core/IQXModule.h"

namespace qx {
namespace plexion {
class StageWindow;
struct StageWindowParameters;
}  // namespace plexion

namespace core {
namespace morvellib {

class MorvelInstance;
struct MorvelInstanceParameters;

/// The player runtime, module "IMorvelRuntimeLib" (or "IMorvelRuntimeGLLib", which draws with
/// OpenGL, or a name of the host's choosing).
///
/// Thread   any.
class IMorvelRuntimeLib : public IQXModule {
 public:
  /// Writes product and version as text, terminator included, in at most `size` bytes.
  virtual void GetVersion(char* buffer, unsigned long size) = 0;

  /// The render planes' format when the host asked for none. Never 0.
  virtual uint32_t GetDefaultPixelFormat() = 0;

  /// Copies what the player uses of `parameters` into `instanceParameters`.
  virtual void FillInstanceParameters(MorvelInstanceParameters& instanceParameters,
                                      const plexion::StageWindowParameters& parameters) = 0;

  /// Makes an instance for `window`, whose memory watchdog it uses from Configure on; null when it
  /// cannot. The caller owns it and gives it back to DestroyMorvelInstance.
  virtual MorvelInstance* CreateMorvelInstance(plexion::StageWindow* window) = 0;

  /// Stops and destroys an instance. Returns only when its threads have ended and no callback is
  /// under way: the window is gone right after.
  /// Thread   not the instance's own. The caller holds no lock of the window.
  virtual void DestroyMorvelInstance(MorvelInstance* instance) = 0;
};

}  // namespace morvellib
}  // namespace core
}  // namespace qx

#endif  // QX_CORE_MORVELLIB_IMORVELRUNTIMELIB_H_
