#ifndef QX_PLEXION_STAGEWINDOWIMPL_H_
#define QX_PLEXION_STAGEWINDOWIMPL_H_

#include <atomic>

#include "qx/core/Check.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/QXArray.h"
#include "qx/core/QXString.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "qx/plexion/StageWindowParameters.h"

namespace qx {
namespace core {
namespace morvellib {
class IMorvelRuntimeLib;
}  // namespace morvellib
}  // namespace core

namespace platform {
class IGraphicsDriver;
}  // namespace platform

namespace plexion {

class IPlexionImpl;
class PlexionKeyEventSimulator;
class StageWindowMemoryWatchdog;

/// The stage window. Made and destroyed by IPlexionImpl.
///
/// One class over several files; the operations below stand under the file that holds them. The
/// order of the virtual operations is that of StageWindow, with SetAbove and SetBelow behind the
/// destructor and the player's callbacks last.
///
/// Locks    stateLock before geometryLock, always. Both are recursive.
class StageWindowImpl : public StageWindow, public core::morvellib::MorvelInstanceNotifier {
 public:
  /// A named pointer of the host's.
  struct ContextRecord {
    ContextRecord() : name(nullptr), value(nullptr) {}
    virtual ~ContextRecord();
    char* name;   ///< owned, raw-buffer family
    void* value;  ///< the host's
  };

  class NotifierArray : public QXArray<StageWindowNotifier*> {
   public:
    ~NotifierArray() override {}
  };

  // StageWindowImpl.cpp: construction, destruction, status, player notifications.
  explicit StageWindowImpl(IPlexionImpl* service);

  // window/Configure.cpp
  bool Configure(const StageWindowParameters& newParameters) override;
  bool Configure(int argc, const char** argv) override;
  // window/Run.cpp: loading, playing, the run loop.
  bool LoadMVX() override;
  // window/Planes.cpp: making planes and taking them in.
  bool CreatePlanes() override;
  // window/Run.cpp
  bool RunToCompletion() override;
  bool LoadForLFD() override;
  bool PlayForLFD() override;
  bool LoadMVXAsync() override;
  bool Play() override;
  bool Pause() override;
  bool Terminate(StageWindowStatus status) override;
  // window/Planes.cpp
  bool SetRenderPlane(platform::RenderPlane* plane) override;
  bool ResetRenderPlane(platform::RenderPlane* plane) override;
  bool SetOutputPlane(platform::OutputPlane* plane) override;
  // window/Input.cpp: activation, keys, pointer, stacking.
  bool SetActiveStageWindow() override;
  bool IsActiveStageWindow() override;
  // window/Geometry.cpp: resizing, moving, and where things are.
  bool MoveTo(const Point& point) override;
  void Resize(const Dims& dims, bool deferred) override;
  void ResizeAndMove(const Dims& dims, const Point& point) override;
  // window/Input.cpp
  void SetVisible(bool visible) override;
  bool IsVisible() override;
  void SetAlpha(unsigned char alpha) override;
  void DispatchKeyDown(unsigned long key) override;
  void DispatchKeyUp(unsigned long key) override;
  void DispatchMouseButtonDown(MouseButton button, unsigned short x, unsigned short y) override;
  void DispatchMouseButtonUp(MouseButton button, unsigned short x, unsigned short y) override;
  void DispatchMouseMove(unsigned short x, unsigned short y) override;
  void DispatchScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) override;
  // StageWindowImpl.cpp
  StageWindowStatus GetStageWindowStatus() override;
  // window/Geometry.cpp
  Dims GetMVXAuthoredStageDims() override;
  Dims GetStageDims() override;
  // window/Planes.cpp
  platform::RenderPlane* GetRenderPlane() override;
  platform::OutputPlane* GetOutputPlane() override;
  // window/Memory.cpp: the watchdog as the window shows it.
  MemoryWatchdog* GetMemoryWatchdog() override;
  // window/Geometry.cpp
  /// Reads what is pending without the lock: see docs/concurrency.md.
  Rect GetRectOnScreen() const override QX_UNCHECKED_LOCKS;
  // window/Contexts.cpp: named pointers.
  void SetContext(const char* name, void* value) override;
  void* GetContext(const char* name) override;
  // window/Memory.cpp
  void GetMemoryInfo(unsigned long long& usedBytes, unsigned long long& limitBytes,
                     unsigned long long& graphicsBytes) override;
  void IncrementGraphicsMemoryUsedCount(unsigned long long bytes) override;
  void DecrementGraphicsMemoryUsedCount(unsigned long long bytes) override;
  // window/Configure.cpp
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override;
  // window/Notifications.cpp: observers, player callbacks, timing log.
  void RegisterNotifier(StageWindowNotifier* notifier) override;
  void UnregisterNotifier(StageWindowNotifier* notifier) override;
  // StageWindowImpl.cpp
  ~StageWindowImpl() override;
  // window/Input.cpp
  virtual bool SetAbove(StageWindow* other);
  virtual bool SetBelow(StageWindow* other);
  // window/Notifications.cpp
  void OnMorvelInstanceNotification(StageWindowStatus status,
                                    const StageWindowStatusData* data) override;
  void OnMorvelInstanceInterFrameNotification() override;

  // Not virtual.
  // window/Notifications.cpp
  /// Tells every observer, the oldest registration first, under geometryLock.
  void NotifyObservers(StageWindowStatus status, const StageWindowStatusData* data);
  void LogStatus(StageWindowStatus status);
  // window/Run.cpp
  /// Returns  false, with `version` untouched, while there is no runtime module.
  bool GetRuntimeVersion(QXString& version);
  // window/Planes.cpp
  bool IsRenderPlaneValid(platform::RenderPlane* plane);
  // window/Geometry.cpp
  /// Applies what resizeInProgress and movePending ask for; null arguments mean "not this one".
  void ResizePlanes(const Dims* dims, const Point* point);
  /// Output-plane pixels to render-plane pixels.
  void MapMouseButtonPointToRenderPlaneInternal(unsigned short& x, unsigned short& y);
  // window/Update.cpp: from the render plane to the screen.
  void OnRenderPlaneUpdate(const Rect& dirty);
  // window/Input.cpp
  void DispatchKeyDownDirect(unsigned long key);
  void DispatchKeyUpDirect(unsigned long key);
  void NotifyOnActivate();
  void NotifyOnDeactivate();

  // Public for the service and white-box tests; the host sees StageWindow only.
  IPlexionImpl* owner;  ///< constant
  /// Held once acquired, by whichever thread needs it first: the host's that makes planes, or the
  /// player's that resizes between two frames.
  std::atomic<platform::IGraphicsDriver*> graphicsDriver;
  core::morvellib::IMorvelRuntimeLib* runtimeLib QX_GUARDED_BY(stateLock);  ///< held once acquired
  /// Owned through runtimeLib. Changed under stateLock; Terminate, the proxy update, resizes and
  /// GetRectOnScreen read it without, since another thread may hold the lock for long.
  std::atomic<core::morvellib::MorvelInstance*> instance;
  /// The same while the window is being destroyed: a resize between two frames of a dying player
  /// must still hand it the new plane, since the driver may have destroyed the old one. Valid until
  /// the player's thread has ended.
  std::atomic<core::morvellib::MorvelInstance*> drawingInstance;

  IQXKernel::Mutex* geometryLock;
  Dims pendingDims QX_GUARDED_BY(geometryLock);
  Point pendingPoint QX_GUARDED_BY(geometryLock);
  // Read without the lock where a stale answer is harmless (GetRectOnScreen, the start of Resize).
  std::atomic<bool> resizeInProgress;
  std::atomic<bool> movePending;
  std::atomic<bool> resizePending;
  /// Asked for so far, to tell a new one from the one being applied.
  uint32_t deferredResizes QX_GUARDED_BY(geometryLock);

  IQXKernel::Mutex* stateLock;
  StageWindowMemoryWatchdog* memoryWatchdog;  ///< owned; constant after Configure
  IQXKernel::Event* completionEvent;          ///< terminal status seen
  IQXKernel::Event* loadEvent;                ///< kStatusLoaded or terminal status seen
  /// Written under stateLock, except the planes, which a resize changes on the player's thread; read
  /// by whoever the contract lets in at that moment (docs/concurrency.md).
  StageWindowParameters parameters;
  bool ownsRenderPlane QX_GUARDED_BY(stateLock);
  bool ownsOutputPlane QX_GUARDED_BY(stateLock);
  StageWindowStatus errorStatus QX_GUARDED_BY(stateLock);  ///< valid while hasErrorStatus
  /// Never cleared: a window that could not be shown stays so.
  bool hasErrorStatus QX_GUARDED_BY(stateLock);

  QXString contentUrl;
  QXString auxString;
  PlexionKeyEventSimulator* keyEventSimulator;          ///< the service's
  NotifierArray notifiers QX_GUARDED_BY(geometryLock);  ///< newest first; not owned
  std::atomic<bool> hasNotifiers;                       ///< spares the lock when nobody listens
  // Written on the player's thread, read under the service's lock.
  std::atomic<bool> keyMasterRequested;
  std::atomic<bool> activationPending;
  QXArray<ContextRecord*> contexts QX_GUARDED_BY(stateLock);  ///< owned
  std::atomic<IQXKernel::Time> creationTime;
  std::atomic<bool> firstScreenUpdatePending;
  Rect previousOutputRect QX_GUARDED_BY(geometryLock);
  /// A plane of our own that the host's took the place of; it may still be read from while the
  /// change is made, so it goes with the window. Null: none.
  platform::RenderPlane* replacedRenderPlane QX_GUARDED_BY(stateLock);
  QXString goZorBase;  ///< second address of "go": parameters.zorBase points into it

 private:
  IQXKernel* Kernel() const { return IQXKernel::GetKernel(); }
  platform::IGraphicsDriver* Driver() const {
    QX_CHECK(graphicsDriver != nullptr, "a driver that was acquired before it is used");
    return graphicsDriver;
  }
  /// The player as whoever calls into it reads it. The few that read `instance` itself do so without
  /// the lock, each for the reason told there.
  core::morvellib::MorvelInstance* Player() const QX_REQUIRES(stateLock) { return instance; }
  core::morvellib::MorvelInstance* DropPlayer();
  void TakePlayer(core::morvellib::MorvelInstance* player) QX_REQUIRES(stateLock) {
    instance = player;
    drawingInstance = player;
  }

  // window/Run.cpp
  void WaitForConfiguration(int& pollBudget);
  void WaitForGo();
  void TakeContentFromGo(const QXString& url, const QXString& baseUrl);
  bool WaitForReadiness(int& pollBudget);
  bool PlayToEnd();
  // window/Planes.cpp
  bool FailWith(StageWindowStatus status);
  bool MakeRenderPlane(Dims& contentDims, bool resizing) QX_REQUIRES(stateLock);
  bool NewRenderPlane(const Dims& dims, StageWindowStatus failure) QX_REQUIRES(stateLock);
  bool MakeOutputPlane(const Dims& contentDims, bool resizing) QX_REQUIRES(stateLock);
  bool MakeBothPlanesResized(const Dims& contentDims, const Rect& rect, bool defaultPlacement)
      QX_REQUIRES(stateLock);
  bool TakeOutputPlane(platform::OutputPlane* plane) QX_REQUIRES(stateLock);
  const char* OutputPlaneName() const;
  bool AcquireGraphicsDriver();
  // window/Geometry.cpp
  void ApplyResize(const Dims& dims);
  void ApplyMove();
  StageWindowStatus ResizeThroughDriver(const Dims& dims);
  void NotifyGeometry(StageWindowStatus outcome);
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWIMPL_H_
