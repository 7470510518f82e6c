// Reads the system's clocks.
#include "host/player/application/script/ApplicationClocks.h"

#include "host/base/ThreadTime.h"

namespace plexion_host::player::application {

namespace {

timespec Read(clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  return time;
}

}  // namespace

ApplicationClocks SystemClocks() {
  ApplicationClocks clocks;
  clocks.wall = [] { return Read(CLOCK_REALTIME); };
  // The thread's own time costs a system call. A coarse clock says for next to nothing whether it
  // is worth it: nothing to be told has happened before that moves on.
  clocks.working = [looked = timespec(), worked = int64_t{0}]() mutable {
    const timespec coarse = Read(CLOCK_MONOTONIC_COARSE);
    if (coarse.tv_nsec == looked.tv_nsec && coarse.tv_sec == looked.tv_sec) return worked;
    looked = coarse;
    return worked = ThreadTimeNs();
  };
  return clocks;
}

}  // namespace plexion_host::player::application
