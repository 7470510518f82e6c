// Threads for modules.

#ifndef HOST_KERNEL_HOSTTHREAD_H_
#define HOST_KERNEL_HOSTTHREAD_H_

#include <pthread.h>

#include <string>

#include "host/base/Mutex.h"
#include "host/kernel/Synchronisation.h"

namespace plexion_host {

/// A named POSIX thread, made for IQXKernel::CreateThread. Tools show the first 15 bytes of the
/// name: that is all that the system keeps.
class HostThread final : public IQXKernel::Thread {
 public:
  HostThread() = default;
  /// Joins a thread that is still running: it may go on using what is about to be destroyed.
  ~HostThread();
  HostThread(const HostThread&) = delete;
  HostThread& operator=(const HostThread&) = delete;

  /// Also false while an earlier start has not been joined.
  bool Start(const char* name, Procedure procedure, void* argument) override;
  /// False at once when a thread would wait for itself.
  bool Join(const IQXKernel::Time& timeout) override;

 private:
  static void* Run(void* self);

  Mutex mutex_;
  bool started_ GUARDED_BY(mutex_) = false;
  pthread_t thread_ GUARDED_BY(mutex_) = {};
  // Written before the thread starts, read by it.
  std::string name_;
  Procedure procedure_ = nullptr;
  void* argument_ = nullptr;

  HostEvent ended_{true};
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_HOSTTHREAD_H_
