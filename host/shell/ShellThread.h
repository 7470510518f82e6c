#ifndef HOST_SHELL_SHELLTHREAD_H_
#define HOST_SHELL_SHELLTHREAD_H_

#include <pthread.h>
#include <signal.h>

#include <functional>
#include <thread>

namespace plexion_host {

/// Starts a named thread that leaves the process's signals to others: they end the launcher on its
/// own terms. Those that stop a background process at the terminal stay, or such a process would
/// change the terminal under whoever is in the foreground.
inline std::thread StartShellThread(const char* name, const std::function<void()>& body) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (const int kept : {SIGTTIN, SIGTTOU, SIGTSTP, SIGCONT, SIGSEGV, SIGBUS, SIGFPE, SIGILL,
                         SIGABRT, SIGTRAP, SIGSYS}) {
    sigdelset(&blocked, kept);
  }
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  std::thread thread(body);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_setname_np(thread.native_handle(), name);
  return thread;
}

}  // namespace plexion_host

#endif  // HOST_SHELL_SHELLTHREAD_H_
