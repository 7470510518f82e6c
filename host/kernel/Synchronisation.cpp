// Time, mutexes and events for modules.

#include "host/kernel/Synchronisation.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

constexpr IQXKernel::Time kNanosecondsPerSecond = 1000000000;

timespec ToTimespec(IQXKernel::Time time) {
  PLEXION_CHECK(time >= 0, "times of the clock are not before its beginning");
  timespec result{};
  result.tv_sec = static_cast<time_t>(time / kNanosecondsPerSecond);
  result.tv_nsec = static_cast<long>(time % kNanosecondsPerSecond);
  return result;
}

// A lock that fails means memory that is no lock any more. Going on would corrupt more of it.
void Check(int result, const char* what) {
  if (result == 0) return;
  std::fprintf(stderr, "plexion: %s: %s\n", what, std::strerror(result));
  std::abort();
}

}  // namespace

IQXKernel::Time MonotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<IQXKernel::Time>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
}

IQXKernel::Time DeadlineAfter(IQXKernel::Time duration) {
  const IQXKernel::Time now = MonotonicNow();
  if (duration <= 0) return now;
  // Callers pass "for ever" as a very long time as well.
  if (duration > IQXKernel::kInfinite - now) return IQXKernel::kInfinite;
  return now + duration;
}

void SleepFor(IQXKernel::Time duration) {
  if (duration <= 0) return;
  // Absolute: each signal would lengthen a sleep that begins again by the rest.
  const timespec deadline = ToTimespec(DeadlineAfter(duration));
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
  }
}

HostMutex::HostMutex() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  // The contract wants it: a thread that holds a lock of the service calls the service again.
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  Check(pthread_mutex_init(&mutex_, &attributes), "cannot make a mutex");
  pthread_mutexattr_destroy(&attributes);
}

HostMutex::~HostMutex() { pthread_mutex_destroy(&mutex_); }

void HostMutex::Lock() { Check(pthread_mutex_lock(&mutex_), "cannot lock a mutex"); }

void HostMutex::Unlock() {
  Check(pthread_mutex_unlock(&mutex_), "a mutex is unlocked by a thread that does not hold it");
}

HostEvent::HostEvent(bool manualReset) : manualReset_(manualReset) {
  Check(pthread_mutex_init(&mutex_, nullptr), "cannot make an event");
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  // A device sets its clock when it finds the network; nobody is to wake, or oversleep, by that.
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  Check(pthread_cond_init(&changed_, &attributes), "cannot make an event");
  pthread_condattr_destroy(&attributes);
}

HostEvent::~HostEvent() {
  // Waits for a Signal that has woken our last waiter but has not let go of the mutex yet.
  pthread_mutex_lock(&mutex_);
  pthread_mutex_unlock(&mutex_);
  pthread_cond_destroy(&changed_);
  pthread_mutex_destroy(&mutex_);
}

void HostEvent::Signal() {
  pthread_mutex_lock(&mutex_);
  signalled_ = true;
  if (manualReset_) {
    pthread_cond_broadcast(&changed_);
  } else {
    pthread_cond_signal(&changed_);
  }
  pthread_mutex_unlock(&mutex_);
}

bool HostEvent::Wait(const IQXKernel::Time& timeout) {
  const IQXKernel::Time deadline =
      timeout == IQXKernel::kInfinite ? IQXKernel::kInfinite : DeadlineAfter(timeout);
  pthread_mutex_lock(&mutex_);
  int result = 0;
  while (!signalled_ && result == 0) {
    if (deadline == IQXKernel::kInfinite) {
      result = pthread_cond_wait(&changed_, &mutex_);
    } else {
      const timespec until = ToTimespec(deadline);
      result = pthread_cond_timedwait(&changed_, &mutex_, &until);
    }
  }
  const bool taken = signalled_;
  if (!manualReset_) signalled_ = false;
  pthread_mutex_unlock(&mutex_);
  return taken;
}

void HostEvent::Reset() {
  pthread_mutex_lock(&mutex_);
  signalled_ = false;
  pthread_mutex_unlock(&mutex_);
}

}  // namespace plexion_host
