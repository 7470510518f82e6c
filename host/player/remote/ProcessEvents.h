// What one content's process says by itself, in its order.

#ifndef HOST_PLAYER_REMOTE_PROCESSEVENTS_H_
#define HOST_PLAYER_REMOTE_PROCESSEVENTS_H_

#include <atomic>
#include <chrono>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/remote/Answers.h"
#include "host/player/remote/ContentProcess.h"

namespace plexion_host::player::remote {

/// Who plays what is in a process.
///
/// Thread   that of ContentProcesses, which serves all processes, or the player's inside of
///          ProcessEvents::Read: must not wait.
class ProcessListener {
 public:
  virtual ~ProcessListener() = default;
  virtual void OnEvent(const Event& event) = 0;
  /// Memory of its own that the process has in use: right before it takes content, and now and then.
  virtual void OnMemory(const ProcessMemory& memory) = 0;
  /// The process has ended by itself, or was ended for what it did. The last call.
  virtual void OnEnd(const EngineError& error) = 0;
};

/// Which layers protect, as processes say it. One for all processes.
class ProtectionNote {
 public:
  /// Says in the log what is new.
  void Tell(const std::string& text);
  std::string Get() const;

 private:
  mutable Mutex mutex_;
  std::string told_ GUARDED_BY(mutex_);
};

/// Reads a process's socket. Whoever reads tells the listener before anybody reads on, so that what was
/// said first is heard first. A process that says more than content may have to say is ended.
///
/// Thread   any.
class ProcessEvents {
 public:
  /// Both outlive this.
  ProcessEvents(ContentProcess& process, ProtectionNote& protection);
  ProcessEvents(const ProcessEvents&) = delete;
  ProcessEvents& operator=(const ProcessEvents&) = delete;

  /// When this returns, the one before is not called any more.
  void SetListener(ProcessListener* listener);

  enum class Left {
    kNothing,
    kMore,    ///< there may be
    kClosed,  ///< and there never will be
  };
  /// Reads what has come, from a process that says a lot not all at once.
  Left Read();
  /// All that has come: the most that content may say at once, which takes some milliseconds.
  void ReadAll();
  /// What was said before an answer is heard before it; `events` as the answer counts them.
  void ReadBefore(uint32_t events);

  /// The process is about to take content, protected by what it says: what it uses now is its own, and
  /// told at once; what it uses from now on is the content's.
  void BeginContent(const std::string& protection);
  /// Tells what the process uses, if there is content. Returns  true when that grows fast.
  bool TellMemory();
  void TellEnd(const EngineError& error);
  bool HasListener() const;

 private:
  using Clock = std::chrono::steady_clock;

  void TakeCredit() REQUIRES(mutex_);
  void End(const EngineError& error) REQUIRES(mutex_);

  ContentProcess& process_;
  ProtectionNote& protection_;
  std::atomic<uint32_t> heard_{0};  ///< records that were told
  mutable Mutex mutex_;
  ProcessListener* listener_ GUARDED_BY(mutex_) = nullptr;
  bool hasContent_ GUARDED_BY(mutex_) = false;
  uint64_t usedBytes_ GUARDED_BY(mutex_) = 0;  ///< when it was looked at last
  double credit_ GUARDED_BY(mutex_);           ///< records that it may still send now
  Clock::time_point credited_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_PROCESSEVENTS_H_
