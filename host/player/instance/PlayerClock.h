// The player's time, which tests replace.

#ifndef HOST_PLAYER_INSTANCE_PLAYERCLOCK_H_
#define HOST_PLAYER_INSTANCE_PLAYERCLOCK_H_

#include "host/base/Mutex.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

/// The time that a player lives by, and the only place where its thread sleeps. A test gives the
/// player a clock of its own and steps it from deadline to deadline.
class PlayerClock {
 public:
  using Time = IQXKernel::Time;

  virtual ~PlayerClock() = default;
  /// Nanoseconds; never goes back.
  virtual Time Now() = 0;
  /// Whether other players live by it, whose frames are to be due together: a processor that wakes up
  /// once for all of them sleeps longer, and one picture of the screen has them all.
  virtual bool IsShared() { return false; }
  /// Returns when `woken` is true or `deadline` has come (IQXKernel::kInfinite: never). Whoever
  /// sets `woken` holds `mutex`, which `lock` has, and notifies `wake`.
  virtual void WaitUntil(Mutex& mutex, MutexLock& lock, Condition& wake, const bool& woken,
                         Time deadline) REQUIRES(mutex) = 0;
};

/// CLOCK_MONOTONIC. Has no state; lives as long as the process.
PlayerClock& SteadyPlayerClock();

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYERCLOCK_H_
