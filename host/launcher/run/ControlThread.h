#ifndef HOST_LAUNCHER_RUN_CONTROLTHREAD_H_
#define HOST_LAUNCHER_RUN_CONTROLTHREAD_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace plexion_host {

/// The thread that hears signals, timers and the wish to end, and acts on them where blocking harms
/// nobody.
///
/// SIGINT, SIGTERM and SIGHUP ask for the end; the second one ends the process at once with 128
/// plus its number. The signals must be blocked before any other thread is there: BlockSignals.
class ControlThread {
 public:
  using Clock = std::chrono::steady_clock;

  /// Blocks the signals in the calling thread and those that it starts, and ignores SIGPIPE.
  static void BlockSignals();

  ControlThread();
  ~ControlThread();
  ControlThread(const ControlThread&) = delete;
  ControlThread& operator=(const ControlThread&) = delete;

  /// `onQuit` ends what runs; it is called again every 50 ms while it answers false.
  void Start(std::function<bool()> onQuit);
  void Stop();

  /// Calls `action` on this thread at `when`; a later call takes an earlier one's place.
  void SetSnapshotTimer(Clock::time_point when, std::function<void()> action);
  void CancelSnapshotTimer();
  void QuitAt(Clock::time_point when);
  /// Any thread, also inside locks: only wakes the thread.
  void RequestQuit();

 private:
  void Run();
  void Wake();
  void HandleSignals();
  /// Runs what is due. Returns  milliseconds until something will be; -1: nothing.
  int RunTimers();

  int signals_ = -1;  // signalfd
  int wakeUp_ = -1;   // eventfd
  std::function<bool()> onQuit_;
  std::atomic<bool> quitRequested_{false};
  std::atomic<bool> stopping_{false};
  bool quitDone_ = false;  // of the thread alone
  int signalsSeen_ = 0;    // of the thread alone
  std::thread thread_;

  std::mutex mutex_;  // guards what follows
  std::optional<Clock::time_point> snapshotAt_;
  std::function<void()> takeSnapshot_;
  std::optional<Clock::time_point> quitAt_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_CONTROLTHREAD_H_
