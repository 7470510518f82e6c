// A transition on the planes of two contents.

#ifndef HOST_LAUNCHER_RUN_PLANETRANSITION_H_
#define HOST_LAUNCHER_RUN_PLANETRANSITION_H_

#include "host/contracts/IHostDisplay.h"
#include "host/launcher/options/Transition.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// One content's plane on its way over another's. Every moment of it shows one or both of them and
/// nothing else, as far as they cover the same place.
///
/// Order    the constructor, with both planes in their places, visible, `next` right above
///          `previous`; Draw as often as wanted; End, or the destruction of a plane, after which
///          nothing is called any more.
/// Thread   one at a time.
class PlaneTransition {
 public:
  /// `display` may be null, and may be one that cannot clip planes: a fade does without.
  PlaneTransition(IHostDisplay* display, const Transition& transition,
                  qx::platform::OutputPlane& next, qx::platform::OutputPlane& previous);

  /// `share` of the way, 0 to 1.
  void Draw(double share);
  /// Both planes where they were, the next one opaque and whole.
  void End();

 private:
  void Push(double share);
  void Wipe(double share);

  IHostDisplay* const display_;
  Transition transition_;
  qx::platform::OutputPlane& next_;
  qx::platform::OutputPlane& previous_;
  const qx::plexion::Rect nextHome_;
  const qx::plexion::Rect previousHome_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_PLANETRANSITION_H_
