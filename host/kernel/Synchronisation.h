// Time, mutexes and events for modules.

#ifndef HOST_KERNEL_SYNCHRONISATION_H_
#define HOST_KERNEL_SYNCHRONISATION_H_

#include <pthread.h>

#include "qx/core/IQXKernel.h"

namespace plexion_host {

/// CLOCK_MONOTONIC in nanoseconds.
IQXKernel::Time MonotonicNow();

/// Now plus `duration`, without overflow: what lies beyond the clock's range is kInfinite, and a
/// negative duration is none.
IQXKernel::Time DeadlineAfter(IQXKernel::Time duration);

/// Sleeps at least `duration`; signals do not shorten it.
void SleepFor(IQXKernel::Time duration);

/// A recursive mutex, made for IQXKernel::CreateMutex.
class HostMutex final : public IQXKernel::Mutex {
 public:
  HostMutex();
  ~HostMutex();
  HostMutex(const HostMutex&) = delete;
  HostMutex& operator=(const HostMutex&) = delete;
  void Lock() override;
  void Unlock() override;

 private:
  pthread_mutex_t mutex_;
};

/// A flag to wait for, on the monotonic clock: setting the wall clock neither shortens nor
/// lengthens a wait.
///
/// With automatic reset one waiter takes the signal with it; without, it stays until Reset. May be
/// destroyed as soon as a Wait has returned, even while the signalling thread is still on its way
/// out of Signal.
class HostEvent final : public IQXKernel::Event {
 public:
  explicit HostEvent(bool manualReset);
  ~HostEvent();
  HostEvent(const HostEvent&) = delete;
  HostEvent& operator=(const HostEvent&) = delete;
  void Signal() override;
  bool Wait(const IQXKernel::Time& timeout) override;
  void Reset() override;

 private:
  const bool manualReset_;
  pthread_mutex_t mutex_;
  pthread_cond_t changed_;
  bool signalled_ = false;
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_SYNCHRONISATION_H_
