// All contents' processes of a launcher: starts them, hears them, collects them.

#ifndef HOST_PLAYER_REMOTE_CONTENTPROCESSES_H_
#define HOST_PLAYER_REMOTE_CONTENTPROCESSES_H_

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/player/remote/Answers.h"
#include "host/player/remote/ContentProcess.h"
#include "host/player/remote/Orders.h"

namespace plexion_host::player::remote {

/// Who plays what is in a process.
///
/// Thread   that of ContentProcesses, which serves all processes: must not wait.
class ProcessListener {
 public:
  virtual ~ProcessListener() = default;
  virtual void OnEvent(const Event& event) = 0;
  /// Memory of its own that the process has in use: right before it takes content, and now and then.
  virtual void OnMemory(const ProcessMemory& memory) = 0;
  /// The process has ended by itself, or was ended for what it did. The last call.
  virtual void OnEnd(const EngineError& error) = 0;
};

/// Starts contents' processes, reads what they say and print, looks after their memory, and collects
/// those that have ended. All on one thread of its own, "PlexionContent", so that no thread that shows
/// something ever waits for a process. That thread lives as long as this does, and no process longer.
///
/// A process that says more than content may have to say is ended: it would keep the thread from the
/// others.
///
/// One process that nobody has asked for yet is kept waiting, so that the next content finds it started.
///
/// Thread   any.
class ContentProcesses {
 public:
  /// `program` is the path of plexion-content.
  explicit ContentProcesses(std::string program);
  ContentProcesses(const ContentProcesses&) = delete;
  ContentProcesses& operator=(const ContentProcesses&) = delete;
  /// Ends and collects all that are left.
  ~ContentProcesses();

  /// Content of this kind will probably come soon: has a process ready for it. `format` as in
  /// ProbeResult.
  void Prepare(const ContentOrder& order, const std::string& format);

  /// A process for one content, prepared for it if that was asked for. From now on `listener` hears of
  /// it, until Release.
  /// Returns  null with the reason in `error`.
  std::shared_ptr<ContentProcess> Take(const ContentOrder& order, ProcessListener& listener,
                                       std::string& error);

  /// Ends the process. When this returns, its listener is not called any more. `gently`: it is let go by
  /// itself, for half a second, so that it can say what it has counted.
  void Release(const std::shared_ptr<ContentProcess>& process, bool gently);

 private:
  using Clock = std::chrono::steady_clock;
  using Job = std::function<void()>;

  struct Child {
    std::shared_ptr<ContentProcess> process;
    ProcessListener* listener = nullptr;
    ContentOrder order;  ///< what it was prepared for; kUnknown: nothing yet
    bool taken = false;
    bool loads = false;   ///< it is about to take content, or has
    std::string printed;  ///< not a whole line yet
    double credit = 0;    ///< what it may still say now
    Clock::time_point credited;
    bool outputOpen = true;
    bool outputPaused = false;  ///< it has printed too much for now
    double mayPrint = 0;        ///< bytes
  };
  using ChildPointer = std::shared_ptr<Child>;

  void Post(Job job);
  /// Runs `job` on the thread, and returns when it has.
  void PostAndWait(const Job& job);

  // The thread.
  void Run();
  void RunJobs();
  ChildPointer StartChild(std::string& error);
  ChildPointer FindWaiting(const ContentOrder& order);
  void PrepareChild(Child& child, const ContentOrder& order, const std::string& format);
  ChildPointer FindBy(int descriptor);
  void Serve(const ChildPointer& child, int descriptor);
  void ReadEvents(Child& child);
  void Tell(Child& child, const Event& event);
  void ReadOutput(Child& child);
  void PauseOutput(Child& child);
  void PrintLines(Child& child, bool all);
  void Flooded(Child& child);
  void CollectIfEnded(const ChildPointer& child);
  /// Memory of all, and whose output is read on.
  void LookAround();

  const std::string program_;
  const Descriptor epoll_;
  WakeEvent wake_;

  Mutex mutex_;
  Condition changed_;
  std::deque<Job> jobs_ GUARDED_BY(mutex_);

  // The thread's own.
  std::list<ChildPointer> children_;
  Clock::time_point lookedAround_;
  std::string protection_;  ///< told last
  bool quit_ = false;

  NamedThread thread_;
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_CONTENTPROCESSES_H_
