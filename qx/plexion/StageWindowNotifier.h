#ifndef QX_PLEXION_STAGEWINDOWNOTIFIER_H_
#define QX_PLEXION_STAGEWINDOWNOTIFIER_H_

#include "qx/plexion/StageWindowStatus.h"

namespace qx {
namespace plexion {

class StageWindow;

/// Observer of a stage window. The host implements it; StageWindow::RegisterNotifier adds one. It
/// must stay alive until it is unregistered or the window is destroyed (which does not tell it).
class StageWindowNotifier {
 public:
  /// A status change or an event of `window`. `data` may be null and is valid during the call only.
  ///
  /// Thread   the player's own, or whichever caused the event; the window's geometryLock is held:
  ///          do not register or unregister observers, nor wait for another thread, in here.
  virtual void OnStageWindowNotification(StageWindow* window, StageWindowStatus status,
                                         const StageWindowStatusData* data) = 0;

 protected:
  ~StageWindowNotifier() {}
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWNOTIFIER_H_
