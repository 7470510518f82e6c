// A thread of the host: named for tools, deaf to the process's signals, joined before it goes unless it
// is let go.

#ifndef HOST_BASE_NAMEDTHREAD_H_
#define HOST_BASE_NAMEDTHREAD_H_

#include <pthread.h>
#include <signal.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace plexion_host {

/// Owns one thread. Tools show the first 15 bytes of its name: that is all that the system keeps.
///
/// The thread leaves the signals that end the launcher to the one that waits for them. Those that
/// stop a background process at its terminal stay, or such a process would change the terminal under
/// whoever is in the foreground; so do those that report a fault of the thread's own.
class NamedThread {
 public:
  NamedThread() = default;
  /// Throws std::system_error when the system has no thread to give, as std::thread does.
  NamedThread(const std::string& name, std::function<void()> body) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (const int kept : {SIGTTIN, SIGTTOU, SIGTSTP, SIGCONT, SIGSEGV, SIGBUS, SIGFPE, SIGILL,
                           SIGABRT, SIGTRAP, SIGSYS}) {
      sigdelset(&blocked, kept);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    struct Restore {
      const sigset_t& mask;
      ~Restore() { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
    } restore{before};
    thread_ = std::thread([name = name.substr(0, 15), body = std::move(body)] {
      pthread_setname_np(pthread_self(), name.c_str());
      body();
    });
  }
  ~NamedThread() { Join(); }
  NamedThread(NamedThread&&) = default;
  NamedThread& operator=(NamedThread&& other) {
    Join();
    thread_ = std::move(other.thread_);
    return *this;
  }

  /// Waits for the body to return; at once when there is none, or none any more. Not from inside.
  void Join() {
    if (thread_.joinable()) thread_.join();
  }
  /// Lets the thread go on by itself: its body must own all that it touches.
  void Detach() { thread_.detach(); }
  bool IsJoinable() const { return thread_.joinable(); }
  bool IsCurrent() const { return thread_.get_id() == std::this_thread::get_id(); }

 private:
  std::thread thread_;
};

}  // namespace plexion_host

#endif  // HOST_BASE_NAMEDTHREAD_H_
