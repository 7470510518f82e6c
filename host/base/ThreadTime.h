// What a thread has worked.

#ifndef HOST_BASE_THREADTIME_H_
#define HOST_BASE_THREADTIME_H_

#include <time.h>

#include <cstdint>

namespace plexion_host {

/// Nanoseconds of the processor that the calling thread has used. Limits on work count these: by the clock on
/// the wall a busy machine would refuse what a quiet one draws. Costs a call of the system: 800 ns where it was
/// measured, in a virtual machine.
inline int64_t ThreadTimeNs() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

}  // namespace plexion_host

#endif  // HOST_BASE_THREADTIME_H_
