#ifndef TESTS_HOST_PLAYER_VIRTUALPLAYERCLOCK_H_
#define TESTS_HOST_PLAYER_VIRTUALPLAYERCLOCK_H_

#include <algorithm>

#include "host/player/instance/PlayerClock.h"

namespace plexion_host::player {

/// Time for one player that passes only when the test lets it: RunFor steps from deadline to
/// deadline and waits each time until the player has nothing left to do.
class VirtualPlayerClock final : public PlayerClock {
 public:
  Time Now() override {
    const MutexLock lock(mutex_);
    return now_;
  }

  void WaitUntil(Mutex& mutex, MutexLock& lock, Condition& wake, const bool& woken,
                 Time deadline) override {
    {
      const MutexLock own(mutex_);
      if (deadline <= now_) return;
      ++waits_;
      waiter_ = {&mutex, &wake, &woken, deadline};
      changed_.NotifyAll();
    }
    wake.Wait(lock, [&] { return woken || Reached(deadline); });
    const MutexLock own(mutex_);
    waiter_ = {};
    changed_.NotifyAll();
  }

  /// Waits until the player sleeps and nothing is left for it to do at this moment.
  void Settle() {
    MutexLock lock(mutex_);
    for (;;) {
      changed_.Wait(lock, [this]() REQUIRES(mutex_) { return waiter_.mutex != nullptr; });
      const Waiter waiter = waiter_;
      // The player's mutex comes before this clock's.
      lock.Unlock();
      bool asleep = false;
      {
        const MutexLock players(*waiter.mutex);
        const MutexLock own(mutex_);
        asleep = waiter_.mutex != nullptr && !*waiter.woken && waiter_.deadline > now_;
        if (!asleep) waiter.wake->NotifyAll();
      }
      lock.Lock();
      if (asleep) return;
      changed_.WaitOnceUntil(lock, std::chrono::steady_clock::now() + std::chrono::milliseconds(1));
    }
  }

  /// Lets `duration` pass, with a stop at every deadline of the player.
  void RunFor(Time duration) {
    const Time target = Now() + duration;
    for (;;) {
      Settle();
      const MutexLock lock(mutex_);
      const Time next = std::min(target, waiter_.deadline);
      if (next >= target) {
        now_ = target;
        break;
      }
      now_ = next;
    }
    Settle();
  }

  /// Lets `duration` pass in one go, as when the machine was busy elsewhere.
  void Jump(Time duration) {
    Settle();
    {
      const MutexLock lock(mutex_);
      now_ += duration;
    }
    Settle();
  }

  /// Time that passes while the player works; call it on the player's thread.
  void Spend(Time duration) {
    const MutexLock lock(mutex_);
    now_ += duration;
  }

  /// How often the player has gone to sleep.
  int Waits() {
    const MutexLock lock(mutex_);
    return waits_;
  }
  Time Deadline() {
    Settle();
    const MutexLock lock(mutex_);
    return waiter_.deadline;
  }

 private:
  struct Waiter {
    Mutex* mutex = nullptr;
    Condition* wake = nullptr;
    const bool* woken = nullptr;
    Time deadline = 0;
  };

  bool Reached(Time deadline) {
    const MutexLock lock(mutex_);
    return now_ >= deadline;
  }

  Mutex mutex_;
  Condition changed_;
  Time now_ GUARDED_BY(mutex_) = 1000000000;
  int waits_ GUARDED_BY(mutex_) = 0;
  Waiter waiter_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_VIRTUALPLAYERCLOCK_H_
