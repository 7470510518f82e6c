#ifndef QX_PLEXION_STAGEWINDOW_H_
#define QX_PLEXION_STAGEWINDOW_H_

#include "qx/plexion/Geometry.h"
#include "qx/plexion/InputTypes.h"
#include "qx/plexion/StageWindowStatus.h"

namespace qx {
namespace platform {
class RenderPlane;
class OutputPlane;
}  // namespace platform

namespace plexion {

class MemoryWatchdog;
class StageWindowNotifier;
struct StageWindowParameters;

/// One rectangle of player content on the display.
///
/// Made by IPlexion::CreateStageWindow and destroyed by IPlexion::DestroyStageWindow only. Usual
/// order: Configure (done already when the window was made from parameters), CreatePlanes, then
/// Play and wait for a terminal status; or RunToCompletion, which blocks until then; or LoadForLFD,
/// a pause of the host's choosing, PlayForLFD. Content becomes ready to animate only once it has
/// planes, and neither RunToCompletion nor LoadForLFD makes them: another thread does while they
/// wait, or the host hands its own in before.
///
/// Thread   any, unless an operation says otherwise. Do not call from an observer.
class StageWindow {
 public:
  /// Acquires the player runtime and makes the player instance. Once per window.
  /// Returns  false when the window cannot be used; GetStageWindowStatus says why.
  virtual bool Configure(const StageWindowParameters& parameters) = 0;
  /// The same from a command line; argv[0] is skipped. Also false when it names no content.
  virtual bool Configure(int argc, const char** argv) = 0;

  /// Loads and blocks until kStatusLoaded or a terminal status. On a window without a player
  /// instance this waits until some later notification: configure first.
  /// Returns  the player's answer, false without a player instance. So do LoadMVXAsync, Play, Pause
  ///          and Terminate.
  virtual bool LoadMVX() = 0;

  /// Makes the planes that are missing, loading first when that has not been done.
  /// Returns  false when the window cannot be shown; the status then says why, for good.
  virtual bool CreatePlanes() = 0;

  /// Loads, waits up to ten seconds for kStatusReadyToAnimate, plays, blocks until the content ends.
  /// With "--pause" on the host's command line it first waits for the shell command "go".
  /// Returns  true exactly when the window ends in kStatusComplete.
  virtual bool RunToCompletion() = 0;

  /// The first half of RunToCompletion: everything up to kStatusReadyToAnimate.
  /// Returns  false when the load ended in a terminal status. True also when it is merely slow.
  virtual bool LoadForLFD() = 0;
  /// The second half: plays and blocks until the content ends. False at once, without side effect,
  /// when the window is not ready to animate.
  virtual bool PlayForLFD() = 0;

  virtual bool LoadMVXAsync() = 0;
  virtual bool Play() = 0;
  virtual bool Pause() = 0;
  /// Asks the player to end with `status`. Takes no lock.
  virtual bool Terminate(StageWindowStatus status) = 0;

  /// Hand in a plane made by the host; it must outlive the window, which does not destroy it.
  /// Returns  false when the plane is null, one is there already (not for Reset), the player
  ///          refuses it or the status does not allow it.
  virtual bool SetRenderPlane(platform::RenderPlane* plane) = 0;
  virtual bool ResetRenderPlane(platform::RenderPlane* plane) = 0;
  virtual bool SetOutputPlane(platform::OutputPlane* plane) = 0;

  /// Makes this window the one that receives input. Only a playing window can be.
  /// Returns  true when the window is the active one on return.
  virtual bool SetActiveStageWindow() = 0;
  virtual bool IsActiveStageWindow() = 0;

  /// Moves the output plane; the outcome arrives as kInfoWindowMoved or kInfoWindowMoveFailed.
  /// Units    screen pixels.
  /// Returns  always false: the outcome is the notification's alone to tell.
  virtual bool MoveTo(const Point& point) = 0;
  /// Resizes the output plane, and the render plane in proportion. `deferred`: between two frames,
  /// on the player's thread. The outcome arrives as kInfoWindowResized or one of the two failures;
  /// kInfoWindowResized also when there is no output plane to resize.
  ///
  /// One at a time. A request that comes while another is carried out is dropped without an outcome;
  /// that includes one from inside of the other's notification. Of two deferred ones before the next
  /// frame the later counts. Who must not lose one looks at GetRectOnScreen, and asks again.
  virtual void Resize(const Dims& dims, bool deferred) = 0;
  /// Both at once, each with its outcome. Not dropped: whoever calls this sees to it that no other
  /// resize is under way.
  virtual void ResizeAndMove(const Dims& dims, const Point& point) = 0;

  virtual void SetVisible(bool visible) = 0;
  virtual bool IsVisible() = 0;
  virtual void SetAlpha(unsigned char alpha) = 0;

  /// Keys go to the service, which routes them to the key master or the active window.
  virtual void DispatchKeyDown(unsigned long key) = 0;
  virtual void DispatchKeyUp(unsigned long key) = 0;
  /// Pointer events go to this window's content. Units: output-plane pixels.
  virtual void DispatchMouseButtonDown(MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void DispatchMouseButtonUp(MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void DispatchMouseMove(unsigned short x, unsigned short y) = 0;
  virtual void DispatchScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) = 0;

  /// The player's status; kErrorModuleUnavailable without a player instance; the plane failure once
  /// there was one.
  virtual StageWindowStatus GetStageWindowStatus() = 0;
  /// 0,0 while not known.
  virtual Dims GetMVXAuthoredStageDims() = 0;
  /// The render plane's size, or the size asked for while a resize is under way.
  virtual Dims GetStageDims() = 0;
  /// Null while there is no plane or no player instance. Owned by the window unless handed in.
  virtual platform::RenderPlane* GetRenderPlane() = 0;
  virtual platform::OutputPlane* GetOutputPlane() = 0;
  /// Null before Configure. Owned by the window.
  virtual MemoryWatchdog* GetMemoryWatchdog() = 0;
  /// Screen pixels.
  virtual Rect GetRectOnScreen() const = 0;

  /// Named pointers that a host hangs on the window; the name is copied, the value is not owned.
  /// Null as value removes a known name. Null and empty names are ignored.
  virtual void SetContext(const char* name, void* value) = 0;
  virtual void* GetContext(const char* name) = 0;

  /// Bytes used by the content, the limit (0: none), graphics memory in use.
  virtual void GetMemoryInfo(unsigned long long& usedBytes, unsigned long long& limitBytes,
                             unsigned long long& graphicsBytes) = 0;
  virtual void IncrementGraphicsMemoryUsedCount(unsigned long long bytes) = 0;
  /// A decrement larger than the count leaves it as it is.
  virtual void DecrementGraphicsMemoryUsedCount(unsigned long long bytes) = 0;

  /// New proxy for the content's further requests; texts are read during the call only.
  virtual void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                                     const char* password) = 0;

  /// Observers hear in the order of registration. Registering one twice counts once; null is none.
  virtual void RegisterNotifier(StageWindowNotifier* notifier) = 0;
  virtual void UnregisterNotifier(StageWindowNotifier* notifier) = 0;

  virtual ~StageWindow() {}
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOW_H_
