// What the launcher does in its own time: the snapshot's timer, the end that was asked for.

#ifndef HOST_LAUNCHER_PROCESS_CONTROLTHREAD_H_
#define HOST_LAUNCHER_PROCESS_CONTROLTHREAD_H_

#include <chrono>
#include <functional>
#include <optional>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"

namespace plexion_host {

/// The thread that hears timers and the wish to end, and acts on them where blocking harms nobody.
///
/// Thread   any.
class ControlThread {
 public:
  using Clock = std::chrono::steady_clock;

  ControlThread() = default;
  ~ControlThread() { Stop(); }
  ControlThread(const ControlThread&) = delete;
  ControlThread& operator=(const ControlThread&) = delete;

  /// `onQuit` ends what runs; it is called again every 50 ms while it answers false. Once only.
  void Start(std::function<bool()> onQuit);
  /// Waits for what the thread is at.
  void Stop();

  /// Calls `action` on this thread at `when`; a later call takes an earlier one's place.
  void SetSnapshotTimer(Clock::time_point when, std::function<void()> action);
  void CancelSnapshotTimer();
  void QuitAt(Clock::time_point when);
  /// Also inside locks: only wakes the thread.
  void RequestQuit();

 private:
  void Run();

  std::function<bool()> onQuit_;

  Mutex mutex_;
  Condition changed_;
  bool stopping_ GUARDED_BY(mutex_) = false;
  bool quitDone_ GUARDED_BY(mutex_) = false;
  std::optional<Clock::time_point> quitAt_ GUARDED_BY(mutex_);
  std::optional<Clock::time_point> snapshotAt_ GUARDED_BY(mutex_);
  std::function<void()> takeSnapshot_ GUARDED_BY(mutex_);

  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROCESS_CONTROLTHREAD_H_
