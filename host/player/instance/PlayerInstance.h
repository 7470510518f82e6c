// One content that plays: its thread, its status, its planes.

#ifndef HOST_PLAYER_INSTANCE_PLAYERINSTANCE_H_
#define HOST_PLAYER_INSTANCE_PLAYERINSTANCE_H_

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/player/Engine.h"
#include "host/player/EnginePacer.h"
#include "host/player/PlayerSettings.h"
#include "host/player/engines/EngineSource.h"
#include "host/player/instance/PlayStatistics.h"
#include "host/player/instance/PlayerClock.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/plexion/StageWindow.h"

namespace plexion_host::player {

/// One piece of content: the part of a player that is the same for every engine.
///
/// Operations of MorvelInstance may come from any thread. They check the request, put a command
/// into the queue and wake the player's thread, which does all the rest: it loads, paces, draws and
/// makes every callback. Nothing is due while content stands still, so the thread then sleeps
/// without a deadline.
///
/// An engine that works elsewhere may be at the next moment already (`ahead_`), and draw it into the plane
/// without planeMutex_: nobody copies from there but this thread, when it has taken that moment.
///
/// Locks    mutex_ guards the queue and what other threads may ask for; it is never held during a
///          callback, an engine's operation or a plane's. planeMutex_ is held while the engine
///          draws, and by SetRenderPlane, which may thus wait for one frame to be drawn but for
///          nothing else; no callback is made under it. planeMutex_ is taken first.
class PlayerInstance final : public qx::core::morvellib::MorvelInstance, private EngineHost {
 public:
  using Status = qx::plexion::StageWindowStatus;
  using Time = IQXKernel::Time;

  /// All three outlive the instance. `window` may be null: there is no memory watchdog then.
  PlayerInstance(qx::plexion::StageWindow* window, EngineSource& engines, PlayerClock& clock);
  PlayerInstance(const PlayerInstance&) = delete;
  PlayerInstance& operator=(const PlayerInstance&) = delete;
  /// Ends the player's thread first; no terminal status is announced for that.
  ~PlayerInstance() override;

  // The contract; PlayerInstance.cpp.
  bool Configure(const qx::core::morvellib::MorvelInstanceParameters& parameters) override;
  qx::core::morvellib::MorvelLoadSettings* GetLoadSettings() override;
  bool LoadMVX() override;
  bool LoadMVXAsync() override;
  bool Play() override;
  bool Pause() override;
  bool Terminate(Status status) override;
  Status GetStageWindowStatus() override;
  qx::plexion::Dims GetMVXAuthoredStageDims() override;
  bool SetRenderPlane(qx::platform::RenderPlane* plane) override;
  bool ResetRenderPlane(qx::platform::RenderPlane* plane) override;
  void RequestInterFrameNotification() override;
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override;

  // The host's own commands; PlayerInstance.cpp. Of Seek see IHostPlayer.
  void SetVolume(double factor);
  bool Seek(double seconds, bool relative, std::function<void(const std::string&)> done);

  // Input; PlayerInput.cpp.
  void SetStageRect(const qx::plexion::Rect& rect) override;
  void KeyDown(unsigned long key) override;
  void KeyUp(unsigned long key) override;
  void MouseButtonDown(qx::plexion::MouseButton button, unsigned short x,
                       unsigned short y) override;
  void MouseButtonUp(qx::plexion::MouseButton button, unsigned short x, unsigned short y) override;
  void MouseMove(unsigned short x, unsigned short y) override;
  void ScrollWheelScroll(qx::plexion::ScrollWheelDirection direction,
                         unsigned short delta) override;
  void SendEvent(unsigned long eventCode) override;
  void Activate() override;
  void Deactivate() override;

 private:
  struct Command {
    enum Kind {
      kAnnounceConfigured,
      kLoad,
      kPlay,
      kPause,
      kInput,
      kProxy,
      kVolume,
      kSeek,
      kNotify,
      kFail
    };
    Kind kind = kPlay;
    InputEvent input;
    ProxySettings proxy;
    Status event = qx::plexion::kStatusUnconfigured;  // kNotify
    EngineError error;                                // kFail; kNotify uses its message
    double seconds = 0;                               // kSeek
    bool relative = false;
    std::function<void(const std::string&)> done;
  };

  /// What the thread is asked for, each once however often it was asked.
  struct Requests {
    bool frame = false;
    bool complete = false;
    bool interFrame = false;
  };

  // EngineHost; PlayerEngineHost.cpp.
  qx::plexion::MemoryWatchdog* Memory() override;
  const PlayerSettings& Settings() override;
  bool Cancelled() override;
  void ReportProgress(unsigned percent) override;
  void RequestFrame() override;
  void Complete() override;
  void Fail(const EngineError& error) override;
  void Notify(Status event, const std::string& message) override;

  // Posting; PlayerInstance.cpp.
  bool Post(Command command);
  void PostInput(const InputEvent& event);
  void WakeLocked() REQUIRES(mutex_);

  // The player's thread; PlayerThread.cpp.
  void RunThread();
  bool WaitForWork();
  void DoWork();
  bool TakeCommand(Command& command);
  bool TakeFlag(bool Requests::*flag);
  bool IsEnding();
  void Execute(Command& command);
  std::string GoTo(double seconds, bool relative);
  void PrepareEngine();
  void RunLoad();
  bool OpenAndLoad(EngineError& error);
  void SetStatusAndAnnounce(Status status);
  void Announce(Status status, const char* message = nullptr);
  void FinishAsAsked(const std::string& message);
  void Finish(Status status, const std::string& message);

  // One frame, on the player's thread; PlayerFrames.cpp.
  void ShowDueFrame();
  void AdvanceWithClock();
  void AdvanceTo(uint64_t position);
  void WorkAhead();
  void ShowAhead();
  /// Before anything is asked of the engine that is not the next frame by the clock.
  void TakeCharge();
  bool HasPlane();
  bool HasNewPlane();
  void DrawFrame();
  void WatchMemory(bool newPlane);
  void StartPlayingWhenPossible();
  void StopPlaying();
  Time SamplePeriod() const;
  void TraceFrameRate();
  Time NextDeadline();

  // Constant after Configure.
  qx::plexion::StageWindow* const window_;
  EngineSource& engines_;
  PlayerClock& clock_;
  qx::core::morvellib::MorvelInstanceNotifier* notifier_ = nullptr;
  qx::plexion::MemoryWatchdog* watchdog_ = nullptr;
  NamedThread thread_;

  // Written by the player's thread while it loads, read by it and by the engine.
  PlayerSettings settings_;

  // Used under the stateLock of the window alone, which is its only caller.
  qx::core::morvellib::MorvelLoadSettings loadSettings_;

  Mutex mutex_;
  Condition wake_;
  bool woken_ GUARDED_BY(mutex_) = false;
  bool quit_ GUARDED_BY(mutex_) = false;
  Requests requests_ GUARDED_BY(mutex_);
  std::deque<Command> commands_ GUARDED_BY(mutex_);
  std::string contentUrl_ GUARDED_BY(mutex_);  // of the load at hand
  std::string zorBase_ GUARDED_BY(mutex_);
  Status status_ GUARDED_BY(mutex_) = qx::plexion::kStatusUnconfigured;
  /// Terminal once Terminate was called.
  Status endAs_ GUARDED_BY(mutex_) = qx::plexion::kStatusUnconfigured;
  qx::plexion::Dims authoredDims_ GUARDED_BY(mutex_) = {0, 0};

  std::atomic<double> volume_{1};
  // As endAs_ and quit_, readable inside an allocation.
  std::atomic<bool> cancelled_{false};

  Mutex planeMutex_;
  qx::platform::RenderPlane* plane_ GUARDED_BY(planeMutex_) = nullptr;
  bool drawEverything_ GUARDED_BY(planeMutex_) = true;

  // The player's thread only.
  std::unique_ptr<Engine> engine_;
  ContentAddress content_;
  ContentFacts facts_;
  EnginePacer pacer_;
  PlayStatistics statistics_;
  bool finished_ = false;       // a terminal status was announced
  bool playWanted_ = false;     // Play came, the clock waits for a render plane
  bool advanceWanted_ = false;  // an input or RequestFrame came
  bool pictureChanged_ = false;
  std::optional<uint64_t> ahead_;  // position that the engine works on before it is due
  unsigned calmFrames_ = 0;        // still to come before it does so
  Time nextSample_ = IQXKernel::kInfinite;
  bool overThreshold_ = false;  // of graphics memory
  Time nextMemoryLook_ = 0;
  uint64_t savedAt_ = 0;  // bytes of the content when it was last asked to save memory
  unsigned reportedPercent_ = 0;
  bool progressReported_ = false;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYERINSTANCE_H_
