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
    std::lock_guard<std::mutex> lock(mutex_);
    return now_;
  }

  void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 const bool& woken, Time deadline) override {
    {
      std::lock_guard<std::mutex> own(mutex_);
      if (deadline <= now_) return;
      ++waits_;
      waiter_ = {lock.mutex(), &wake, &woken, deadline};
      changed_.notify_all();
    }
    wake.wait(lock, [&] { return woken || Reached(deadline); });
    std::lock_guard<std::mutex> own(mutex_);
    waiter_ = {};
    changed_.notify_all();
  }

  /// Waits until the player sleeps and nothing is left for it to do at this moment.
  void Settle() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return waiter_.mutex != nullptr; });
      const Waiter waiter = waiter_;
      // The player's mutex comes before this clock's.
      lock.unlock();
      bool asleep = false;
      {
        std::lock_guard<std::mutex> players(*waiter.mutex);
        std::lock_guard<std::mutex> own(mutex_);
        asleep = waiter_.mutex != nullptr && !*waiter.woken && waiter_.deadline > now_;
        if (!asleep) waiter.wake->notify_all();
      }
      lock.lock();
      if (asleep) return;
      changed_.wait_for(lock, std::chrono::milliseconds(1));
    }
  }

  /// Lets `duration` pass, with a stop at every deadline of the player.
  void RunFor(Time duration) {
    const Time target = Now() + duration;
    for (;;) {
      Settle();
      std::lock_guard<std::mutex> lock(mutex_);
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
      std::lock_guard<std::mutex> lock(mutex_);
      now_ += duration;
    }
    Settle();
  }

  /// Time that passes while the player works; call it on the player's thread.
  void Spend(Time duration) {
    std::lock_guard<std::mutex> lock(mutex_);
    now_ += duration;
  }

  /// How often the player has gone to sleep.
  int Waits() {
    std::lock_guard<std::mutex> lock(mutex_);
    return waits_;
  }
  Time Deadline() {
    Settle();
    std::lock_guard<std::mutex> lock(mutex_);
    return waiter_.deadline;
  }

 private:
  struct Waiter {
    std::mutex* mutex = nullptr;
    std::condition_variable* wake = nullptr;
    const bool* woken = nullptr;
    Time deadline = 0;
  };

  bool Reached(Time deadline) {
    std::lock_guard<std::mutex> lock(mutex_);
    return now_ >= deadline;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  Time now_ = 1000000000;
  int waits_ = 0;
  Waiter waiter_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_VIRTUALPLAYERCLOCK_H_
