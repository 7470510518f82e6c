// The end of the process, whatever runs: hears the signals, and ends by force what does not end.

#ifndef HOST_LAUNCHER_PROCESS_ENDWATCH_H_
#define HOST_LAUNCHER_PROCESS_ENDWATCH_H_

#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/base/Descriptor.h"
#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"

namespace plexion_host {

/// SIGINT, SIGTERM and SIGHUP ask for the end, and the process is gone two seconds later: what has
/// not stopped by then (a decoder, a script, a file that does not open) is named in one line and left.
/// The second signal ends the process at once with 128 plus its number. The thread of this does
/// nothing that could wait for another.
///
/// Order    BlockSignals before any other thread is there; Start; the last thing to go.
/// Thread   any.
class EndWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// What a signal's end may take, the cleaning up by force included: together less than two seconds.
  static constexpr std::chrono::milliseconds kAfterSignal{1600};
  /// What any other end may take: nobody waits at a terminal for it.
  static constexpr std::chrono::milliseconds kAfterRequest{10000};

  /// Blocks the signals in the calling thread and those that it starts, and ignores SIGPIPE.
  static void BlockSignals();

  /// Notes how the terminal is set, so that it can be left as it was found.
  EndWatch();
  ~EndWatch();
  EndWatch(const EndWatch&) = delete;
  EndWatch& operator=(const EndWatch&) = delete;

  /// `onSignal` asks for the end, on this thread: it must not wait. `whatRuns` names what has not
  /// stopped, `exitCode` is what the process then ends with; they must not wait either.
  void Start(std::function<void()> onSignal, std::function<std::vector<std::string>()> whatRuns,
             std::function<int()> exitCode);

  /// Ends the process by force unless it has ended after `patience`. The earliest end counts.
  void EndWithin(std::chrono::milliseconds patience);

  /// What the launcher is at, for the line that says what did not stop. Static text.
  void SetStep(const char* step);
  /// A socket's name to remove, as long as it is this process's own.
  void SetSocket(const std::string& path);
  /// Called before an end by force, to remove what would stay; null: nothing. Must not wait.
  void SetCleanUp(std::function<void()> cleanUp);

 private:
  void Run();
  void HandleSignals();
  [[noreturn]] void EndByForce(int code, const std::string& message);
  std::string WhatIsLeft();

  Descriptor signals_;
  WakeEvent wakeUp_;
  std::optional<termios> terminal_;
  std::function<void()> onSignal_;
  std::function<std::vector<std::string>()> whatRuns_;
  std::function<int()> exitCode_;
  int signalsSeen_ = 0;  // of the thread alone

  Mutex mutex_;
  bool stopping_ GUARDED_BY(mutex_) = false;
  std::optional<Clock::time_point> end_ GUARDED_BY(mutex_);
  const char* step_ GUARDED_BY(mutex_) = "the start";
  std::string socket_ GUARDED_BY(mutex_);
  dev_t socketDevice_ GUARDED_BY(mutex_) = 0;
  ino_t socketNode_ GUARDED_BY(mutex_) = 0;
  std::function<void()> cleanUp_ GUARDED_BY(mutex_);

  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROCESS_ENDWATCH_H_
