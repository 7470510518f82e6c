#ifndef QX_CORE_MORVELLIB_MORVELINSTANCE_H_
#define QX_CORE_MORVELLIB_MORVELINSTANCE_H_

#include "qx/core/QXString.h"
#include "qx/plexion/Geometry.h"
#include "qx/plexion/InputTypes.h"
#include "qx/plexion/StageWindowStatus.h"

namespace qx {
namespace platform {
class RenderPlane;
}  // namespace platform

namespace core {
namespace morvellib {

struct MorvelInstanceParameters;

/// Callbacks from a player instance to the window that hosts it. The window implements it; the
/// pointer stands in MorvelInstanceParameters and stays valid until DestroyMorvelInstance has
/// returned.
///
/// Thread   the player's own. The instance must not hold a lock that one of its operations takes:
///          the window calls back into the instance from in here, and other threads may be inside a
///          window operation that holds the window's lock and waits for the instance.
class MorvelInstanceNotifier {
 public:
  /// Every change of status and every event. `data` may be null; for kInfoRenderPlaneUpdated it is
  /// not, and its `rect` is the redrawn part of the render plane, which is shown before this
  /// returns. A status that GetStageWindowStatus would answer is stored before it is announced.
  virtual void OnMorvelInstanceNotification(plexion::StageWindowStatus status,
                                            const plexion::StageWindowStatusData* data) = 0;
  /// Between two frames, once for each RequestInterFrameNotification: the moment at which the
  /// planes may be replaced. Nothing is being drawn until this returns.
  virtual void OnMorvelInstanceInterFrameNotification() = 0;
  virtual ~MorvelInstanceNotifier() {}
};

/// What to load. Filled from the window's parameters at Configure; the operator's "go" may replace
/// either text before the load starts.
struct MorvelLoadSettings {
  QXString contentUrl;
  QXString zorBase;
};

/// One piece of content being decoded and drawn. Made and destroyed by IMorvelRuntimeLib.
///
/// Order    Configure, then LoadMVX or LoadMVXAsync, SetRenderPlane once kStatusLoaded is reached,
///          Play, then Pause and Play at will, until a terminal status.
/// Status   kStatusUnconfigured until Configure has succeeded; kStatusConfigured; kStatusLoading;
///          kStatusLoaded when the authored stage dims are known; kStatusReadyToAnimate as soon as
///          Play could show the first frame (with or without a render plane: a window that is run
///          to its end waits for it before it makes planes); kStatusPlaying and kStatusPaused; one
///          terminal status, after which nothing changes any more.
/// Thread   any. The window calls under a lock: its stateLock as a rule, its geometryLock for what
///          belongs to a resize (RequestInterFrameNotification, SetStageRect, SetRenderPlane), the
///          key simulator's for keys of its making. So an operation must neither wait for the
///          player's thread nor call back into the window. Operations that need the player's thread
///          hand it the work and return. Under no lock come Terminate, UpdateProxyParameters,
///          SetRenderPlane on the player's thread between two frames, and GetMVXAuthoredStageDims
///          for a window that is asked where it is.
class MorvelInstance {
 public:
  /// Takes what it needs from `parameters`, which is gone when this returns; pointers to borrowed
  /// texts of the window's parameters are not kept either.
  /// Returns  false when the parameters cannot work; the status is then an error that says why.
  virtual bool Configure(const MorvelInstanceParameters& parameters) = 0;

  /// Settings of the next load; may be changed while the status is kStatusConfigured. Never null;
  /// owned by the instance.
  virtual MorvelLoadSettings* GetLoadSettings() = 0;

  // Each answers whether the request was accepted; the outcome comes as a status. LoadMVX and
  // LoadMVXAsync both start the load and return: blocking is the window's part. Play before a
  // render plane is set is accepted and starts the clock when there is one.
  virtual bool LoadMVX() = 0;
  virtual bool LoadMVXAsync() = 0;
  virtual bool Play() = 0;
  virtual bool Pause() = 0;
  /// Ends with `status`, which must be terminal. May be called on the player's own thread, from
  /// inside an allocation.
  virtual bool Terminate(plexion::StageWindowStatus status) = 0;

  virtual plexion::StageWindowStatus GetStageWindowStatus() = 0;

  /// Size as authored, 0,0 while not known (before kStatusLoaded).
  virtual plexion::Dims GetMVXAuthoredStageDims() = 0;

  /// Draws into `plane` from now on. Returns false for a plane that it cannot draw into. When it
  /// returns nothing is drawn into an earlier plane any more. Setting the same plane again is
  /// accepted and makes the instance read the plane's size anew and draw everything.
  virtual bool SetRenderPlane(platform::RenderPlane* plane) = 0;
  /// The same while content plays or is paused.
  virtual bool ResetRenderPlane(platform::RenderPlane* plane) = 0;

  /// One OnMorvelInstanceInterFrameNotification, between this frame and the next; soon also when
  /// the content is paused or not animating.
  virtual void RequestInterFrameNotification() = 0;

  /// The window was asked to take this size: (0, 0, width, height) in screen pixels. The render
  /// plane, resized in proportion, has been set again already when the resize succeeded.
  virtual void SetStageRect(const plexion::Rect& rect) = 0;

  // Input. Positions are render-plane pixels. Key codes are the host's.
  virtual void KeyDown(unsigned long key) = 0;
  virtual void KeyUp(unsigned long key) = 0;
  virtual void MouseButtonDown(plexion::MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void MouseButtonUp(plexion::MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void MouseMove(unsigned short x, unsigned short y) = 0;
  virtual void ScrollWheelScroll(plexion::ScrollWheelDirection direction, unsigned short delta) = 0;
  /// An event that is no key; 7 is the operator's timing event.
  virtual void SendEvent(unsigned long eventCode) = 0;

  /// The window became, or stopped being, the active one.
  virtual void Activate() = 0;
  virtual void Deactivate() = 0;

  /// For further network requests. Texts may be null and are read during the call only.
  virtual void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                                     const char* password) = 0;

 protected:
  ~MorvelInstance() {}
};

}  // namespace morvellib
}  // namespace core
}  // namespace qx

#endif  // QX_CORE_MORVELLIB_MORVELINSTANCE_H_
