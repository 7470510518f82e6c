// The player's time as the system has it.

#include "host/player/instance/PlayerClock.h"

#include <chrono>

namespace plexion_host::player {

namespace {

class SteadyClock final : public PlayerClock {
 public:
  Time Now() override {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }

  bool IsShared() override { return true; }

  void WaitUntil(Mutex&, MutexLock& lock, Condition& wake, const bool& woken,
                 Time deadline) override {
    if (deadline == IQXKernel::kInfinite) {
      wake.Wait(lock, [&woken] { return woken; });
      return;
    }
    const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(deadline)};
    wake.WaitUntil(lock, until, [&woken] { return woken; });
  }
};

}  // namespace

PlayerClock& SteadyPlayerClock() {
  static SteadyClock clock;
  return clock;
}

}  // namespace plexion_host::player
