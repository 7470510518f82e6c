#ifndef QX_PLATFORM_IMOUSESTREAM_H_
#define QX_PLATFORM_IMOUSESTREAM_H_

#include "qx/core/IQXModule.h"

namespace qx {
namespace plexion {
struct StageWindowParameters;
}  // namespace plexion

namespace platform {

/// A remote pointer over the network, module "IMouseStream".
///
/// Thread   any.
class IMouseStream : public IQXModule {
 public:
  /// Serves at `parameters.mouseStream` (address:port), with the picture no more often than every
  /// `parameters.mouseFeedback` seconds. Served until the module is released for the last time;
  /// starting at an address that is served already changes nothing.
  /// Returns  false when it cannot be served; the reason has been printed.
  virtual bool StartMouseStream(const plexion::StageWindowParameters& parameters) = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_IMOUSESTREAM_H_
