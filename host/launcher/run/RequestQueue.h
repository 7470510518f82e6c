// Work that other threads have done on the one that plays.

#ifndef HOST_LAUNCHER_RUN_REQUESTQUEUE_H_
#define HOST_LAUNCHER_RUN_REQUESTQUEUE_H_

#include <chrono>
#include <deque>
#include <functional>

#include "host/launcher/run/WindowObserver.h"

namespace plexion_host {

/// A queue of calls to the thread that plays, which waits for the board anyway.
///
/// Order    Open; Serve as often as HasRequestsLocked; Close, which ends all that wait.
class RequestQueue {
 public:
  explicit RequestQueue(StatusBoard& board) : board_(board) {}

  /// Runs `work` on the thread that serves, and waits for that. Thread   any other.
  /// Returns  false, with nothing done, when it was not begun within `patience`, or nobody serves.
  bool Call(const std::function<void()>& work,
            std::chrono::milliseconds patience = std::chrono::milliseconds(2000));

  void Open();
  /// Under the board's lock.
  bool HasRequestsLocked() const { return !waiting_.empty(); }
  void Serve();
  void Close();

 private:
  struct Request {
    const std::function<void()>* work;
    bool taken = false;
    bool done = false;
  };

  StatusBoard& board_;
  // Under the board's lock, which the compiler cannot follow.
  bool open_ = false;
  std::deque<Request*> waiting_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_REQUESTQUEUE_H_
