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
#include "host/player/remote/ContentProcess.h"
#include "host/player/remote/Orders.h"
#include "host/player/remote/ProcessEvents.h"

namespace plexion_host::player::remote {

/// A process that plays, and what it says.
struct TakenProcess {
  std::shared_ptr<ContentProcess> process;
  std::shared_ptr<ProcessEvents> events;
};

/// Starts contents' processes, reads what they say and print, looks after their memory, and collects
/// those that have ended. All on one thread of its own, "PlexionContent", so that no thread that shows
/// something ever waits for a process. That thread lives as long as this does, and no process longer.
///
/// Processes that were asked for by Prepare wait with their libraries opened until they are taken.
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
  /// Returns  nulls with the reason in `error`.
  TakenProcess Take(const ContentOrder& order, ProcessListener& listener, std::string& error);

  /// Ends the process. When this returns, its listener is not called any more. `gently`: it is let go by
  /// itself, for half a second, so that it can say what it has counted.
  void Release(const TakenProcess& taken, bool gently);

  /// What protects from content, for people; empty before there was content.
  std::string Protection() const { return protection_.Get(); }

 private:
  using Clock = std::chrono::steady_clock;
  using Job = std::function<void()>;

  struct Child {
    std::shared_ptr<ContentProcess> process;
    std::shared_ptr<ProcessEvents> events;
    ContentOrder order;  ///< what it was prepared for; kUnknown: nothing yet
    bool taken = false;
    std::string printed;  ///< not a whole line yet
    bool outputOpen = true;
    bool outputPaused = false;  ///< it has printed too much for now
    double mayPrint = 0;        ///< bytes
    int64_t worked = -1;        ///< nanoseconds of processor time when last looked at
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
  void ReadOutput(Child& child);
  void PauseOutput(Child& child);
  void PrintLines(Child& child, bool all);
  void CollectIfEnded(const ChildPointer& child);
  /// Memory of all, and whose output is read on.
  void LookAround();

  const std::string program_;
  const Descriptor epoll_;
  WakeEvent wake_;
  ProtectionNote protection_;

  Mutex mutex_;
  Condition changed_;
  std::deque<Job> jobs_ GUARDED_BY(mutex_);

  // The thread's own.
  std::list<ChildPointer> children_;
  Clock::time_point lookedAround_;
  std::chrono::milliseconds period_{0};  ///< of looking around
  bool quit_ = false;

  NamedThread thread_;
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_CONTENTPROCESSES_H_
