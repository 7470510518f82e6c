// Key ups and repeats that the device does not send, tick by tick.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "qx/plexion/parts/KeyEventSimulator.h"
#include "tests/core/RecordingKernel.h"
#include "tests/plexion/RecordingPlayer.h"

namespace {

using qx::plexion::KeyEventData;
using qx::plexion::KeyInputMode;
using qx::plexion::kKeyInputModeAutoRepeat;
using qx::plexion::kKeyInputModeDirect;
using qx::plexion::kKeyInputModeSimulateKeyUp;
using qx::plexion::PlexionKeyEventSimulator;
using tests::RecordingKernel;
using tests::RecordingPlayer;

constexpr IQXKernel::Time kMs = 1000000;

/// The worker runs on the test's own thread, in virtual time; what happens meanwhile is told
/// before.
class KeyEventSimulator : public ::testing::Test {
 protected:
  void SetUp() override {
    kernel.Restart();
    simulator = std::make_unique<PlexionKeyEventSimulator>();
    kernel.afterSleep = [this] { AfterTick(); };
  }
  void TearDown() override {
    simulator.reset();
    EXPECT_TRUE(kernel.live.empty()) << "the simulator kept memory";
    EXPECT_EQ(kernel.mutexes, 0u);
    EXPECT_EQ(kernel.threads, 0u);
  }

  void SetMode(KeyInputMode mode, int delayMs, int intervalMs) {
    EXPECT_TRUE(simulator->SetKeyInputMode(mode, delayMs * kMs, intervalMs * kMs));
  }
  void At(int ms, std::function<void()> action) { plan.emplace(ms * kMs, std::move(action)); }
  void Press(unsigned long key) { simulator->NotifyKeyDownEvent(&player, key); }
  void Release(unsigned long key) { simulator->NotifyKeyUpEvent(&player, key); }

  /// Lets the worker tick from now to `ms`; what is planned happens on time, before that tick.
  void RunTo(int ms) {
    end = ms * kMs;
    DoWhatIsDue();
    kernel.procedure(nullptr, kernel.argument);
    simulator->running = true;  // cleared only to get the worker to return
  }

  RecordingKernel& kernel = RecordingKernel::Get();
  RecordingPlayer player{&kernel};
  RecordingPlayer otherPlayer{&kernel};
  std::unique_ptr<PlexionKeyEventSimulator> simulator;

 private:
  void AfterTick() {
    DoWhatIsDue();
    if (kernel.now >= end) simulator->running = false;
  }
  void DoWhatIsDue() {
    while (!plan.empty() && plan.begin()->first <= kernel.now) {
      const auto action = plan.begin()->second;
      plan.erase(plan.begin());
      action();
    }
  }

  std::multimap<IQXKernel::Time, std::function<void()>> plan;
  IQXKernel::Time end = 0;
};

TEST_F(KeyEventSimulator, PassesKeysThroughAtFirst) {
  Press(5);
  Press(5);
  Release(5);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 5@0 up 5@0");
  EXPECT_EQ(kernel.threadLog, "") << "no thread for that";
}

TEST_F(KeyEventSimulator, MakesTheKeyUpAtTheFirstTickAfterTheDelay) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] { Press(5); });
  At(20, [this] { Release(5); });  // the device's own is ignored
  RunTo(100);
  // Due at 50, and a tick at exactly 50 is not after it.
  EXPECT_EQ(player.TakeKeys(), "down 5@0 up 5@60");
}

TEST_F(KeyEventSimulator, MakesAnEarlyKeyUpForAKeyPressedAgain) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] { Press(5); });
  At(10, [this] { Press(6); });
  At(30, [this] { Press(5); });
  RunTo(200);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 6@10 up 5@30 down 5@30 up 6@70 up 5@90");
}

TEST_F(KeyEventSimulator, SendsTheEarlyKeyUpToTheInstanceGivenNow) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] { simulator->NotifyKeyDownEvent(&otherPlayer, 5); });
  At(10, [this] { Press(5); });
  RunTo(100);
  EXPECT_EQ(otherPlayer.TakeKeys(), "down 5@0");
  EXPECT_EQ(player.TakeKeys(), "up 5@10 down 5@10 up 5@70");
}

TEST_F(KeyEventSimulator, HoldsEventsBackBehindOneThatIsNotDue) {
  // The queue is in order of insertion: whoever comes later waits, also with an earlier due time.
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] {
    Press(5);
    Press(6);
    simulator->events[1]->dueTime = 1;
    simulator->events[1]->isKeyDown = 1;
  });
  RunTo(100);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 6@0 up 5@60 down 6@60");
}

TEST_F(KeyEventSimulator, RepeatsAHeldKeyAfterTheDelayAndThenOnceAnInterval) {
  SetMode(kKeyInputModeAutoRepeat, 500, 100);
  At(0, [this] { Press(5); });
  At(250, [this] { Press(6); });
  At(990, [this] { Release(6); });
  RunTo(1500);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 6@250 down 6@750 down 6@850 down 6@950 up 6@990");
}

TEST_F(KeyEventSimulator, WaitsTheWholeDelayAgainForAnotherKeyThanTheRepeatingOne) {
  SetMode(kKeyInputModeAutoRepeat, 100, 20);
  At(0, [this] { Press(5); });
  At(110, [this] { Press(6); });
  RunTo(240);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 5@100 down 6@110 down 6@210 down 6@230");
}

/// Takes longer over a repeated key than a tick lasts, and releases the key after the fourth.
class SlowPlayer : public RecordingPlayer {
 public:
  SlowPlayer(RecordingKernel* kernel, PlexionKeyEventSimulator* simulator)
      : RecordingPlayer(kernel), kernel_(kernel), simulator_(simulator) {}
  void KeyDown(unsigned long key) override {
    RecordingPlayer::KeyDown(key);
    if (kernel_->now > 0) kernel_->now += 13 * kMs;
    if (++downs_ == 5) simulator_->keyHeld = false;
  }

 private:
  RecordingKernel* const kernel_;
  PlexionKeyEventSimulator* const simulator_;
  int downs_ = 0;
};

TEST_F(KeyEventSimulator, TicksAtOnceAfterATickThatTookTooLong) {
  SlowPlayer slow(&kernel, simulator.get());
  SetMode(kKeyInputModeAutoRepeat, 50, 10);
  At(0, [&] { simulator->NotifyKeyDownEvent(&slow, 5); });
  RunTo(150);
  EXPECT_EQ(slow.TakeKeys(), "down 5@0 down 5@50 down 5@63 down 5@76 down 5@89");
}

/// Takes 13 ms over every key, down and up.
class DeliberatePlayer : public RecordingPlayer {
 public:
  explicit DeliberatePlayer(RecordingKernel* kernel) : RecordingPlayer(kernel), kernel_(kernel) {}
  void KeyDown(unsigned long key) override {
    RecordingPlayer::KeyDown(key);
    kernel_->now += 13 * kMs;
  }
  void KeyUp(unsigned long key) override {
    RecordingPlayer::KeyUp(key);
    kernel_->now += 13 * kMs;
  }

 private:
  RecordingKernel* const kernel_;
};

TEST_F(KeyEventSimulator, CountsTheDelayFromBeforeTheContentHearsOfTheKey) {
  DeliberatePlayer slow(&kernel);
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [&] {
    simulator->NotifyKeyDownEvent(&slow, 5);
    simulator->NotifyKeyDownEvent(&slow, 6);  // due at 63, which is past when 5 has gone up
  });
  At(100, [&] {
    simulator->NotifyKeyDownEvent(&slow, 7);
    simulator->NotifyKeyDownEvent(&slow, 7);  // after its early key up, and counted from there
  });
  RunTo(250);
  EXPECT_EQ(slow.TakeKeys(),
            "down 5@0 down 6@13 up 5@56 up 6@69 down 7@102 up 7@115 down 7@128 up 7@181");
}

TEST_F(KeyEventSimulator, DoesNotDriftWhenTicksAreLate) {
  SetMode(kKeyInputModeAutoRepeat, 50, 25);
  At(0, [this] { Press(5); });
  RunTo(200);
  // Ticks are 10 ms apart and intervals 25: late by up to a tick, on the average none.
  EXPECT_EQ(player.TakeKeys(),
            "down 5@0 down 5@50 down 5@80 down 5@100 down 5@130 down 5@150 down 5@180");
}

TEST_F(KeyEventSimulator, SwallowsTheDevicesOwnRepeatsAndCountsTheDelayFromThem) {
  SetMode(kKeyInputModeAutoRepeat, 100, 50);
  At(0, [this] { Press(5); });
  At(60, [this] { Press(5); });
  At(90, [this] { Press(5); });
  RunTo(260);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 5@190 down 5@240");
}

TEST_F(KeyEventSimulator, SwallowsASecondPressAfterTheRelease) {
  SetMode(kKeyInputModeAutoRepeat, 100, 50);
  At(0, [this] { Press(5); });
  At(20, [this] { Release(5); });
  At(40, [this] { Press(5); });
  RunTo(150);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 up 5@20 down 5@140");
}

TEST_F(KeyEventSimulator, GoesOnRepeatingWhenAnotherKeyIsReleased) {
  SetMode(kKeyInputModeAutoRepeat, 50, 50);
  At(0, [this] { Press(5); });
  At(20, [this] { Release(6); });
  RunTo(110);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 up 6@20 down 5@50 down 5@100");
}

TEST_F(KeyEventSimulator, FreezesItsModeWithTheFirstKey) {
  SetMode(kKeyInputModeSimulateKeyUp, 70, 30);
  Press(5);
  EXPECT_FALSE(simulator->SetKeyInputMode(kKeyInputModeDirect, 1, 2));
  EXPECT_EQ(simulator->mode, kKeyInputModeSimulateKeyUp);
  EXPECT_EQ(simulator->repeatDelay, 70 * kMs);
  EXPECT_EQ(simulator->repeatInterval, 30 * kMs);
  EXPECT_EQ(kernel.threadLog, "start PlexionKeyEventSimulator;");
}

TEST_F(KeyEventSimulator, DropsKeysInAModeThatItDoesNotKnow) {
  SetMode(static_cast<KeyInputMode>(3), 10, 10);
  At(0, [this] { Press(5); });
  At(10, [this] { Release(5); });
  RunTo(50);
  EXPECT_EQ(player.TakeKeys(), "");
  EXPECT_EQ(kernel.threadLog, "start PlexionKeyEventSimulator;");
}

TEST_F(KeyEventSimulator, StartsAndStopsItsThreadWithTheMode) {
  SetMode(kKeyInputModeAutoRepeat, 1, 1);
  SetMode(kKeyInputModeSimulateKeyUp, 1, 1);
  const PlexionKeyEventSimulator* const observed = simulator.get();
  kernel.onJoin = [&] { EXPECT_FALSE(observed->running) << "else the join would never end"; };
  SetMode(kKeyInputModeDirect, 1, 1);
  SetMode(kKeyInputModeAutoRepeat, 1, 1);
  simulator.reset();
  EXPECT_EQ(kernel.threadLog,
            "start PlexionKeyEventSimulator;join;start PlexionKeyEventSimulator;join;destroy;");
}

TEST_F(KeyEventSimulator, TriesAgainWhenItsThreadCouldNotBeStarted) {
  kernel.threadsStart = false;
  SetMode(kKeyInputModeAutoRepeat, 1, 1);
  kernel.threadsStart = true;
  SetMode(kKeyInputModeAutoRepeat, 1, 1);
  EXPECT_EQ(kernel.threadLog, "start PlexionKeyEventSimulator;start PlexionKeyEventSimulator;");
}

TEST_F(KeyEventSimulator, EmptiesTheWholeQueueForOneInstance) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] {
    Press(5);
    simulator->NotifyKeyDownEvent(&otherPlayer, 6);
    KeyEventData* const leftToItself = simulator->events[1];
    simulator->ClearKeyEvents(&player, false);
    // Kept: another instance's event leaves the queue and is not released.
    EXPECT_EQ(kernel.live.count(reinterpret_cast<char*>(leftToItself) - 8), 1u);
    ::operator delete(leftToItself, nullptr, 0, QX_NEW_DELETE);
  });
  RunTo(100);
  EXPECT_EQ(player.TakeKeys(), "down 5@0");
  EXPECT_EQ(otherPlayer.TakeKeys(), "down 6@0");
  EXPECT_EQ(simulator->heldKey, 6u) << "the held key is another matter";
}

TEST_F(KeyEventSimulator, ForgetsTheHeldKeyWhenAsked) {
  SetMode(kKeyInputModeAutoRepeat, 50, 50);
  At(0, [this] { Press(5); });
  At(20, [this] { simulator->ClearKeyEvents(&otherPlayer, true); });
  At(120, [this] { Press(5); });
  RunTo(160);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 5@120") << "no repeat, and the key counts as new";
}

TEST_F(KeyEventSimulator, RepeatsNoMoreToAnInstanceThatIsCleared) {
  SetMode(kKeyInputModeAutoRepeat, 50, 50);
  At(0, [this] { Press(5); });
  At(70, [this] { simulator->ClearKeyEvents(&player, false); });
  RunTo(300);
  EXPECT_EQ(player.TakeKeys(), "down 5@0 down 5@50");
}

TEST_F(KeyEventSimulator, KeepsTheKeyDownWhenTheKeyUpCannotBeQueued) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  At(0, [this] {
    kernel.RefuseAllocationAfter(0);
    Press(5);
  });
  RunTo(100);
  EXPECT_EQ(player.TakeKeys(), "down 5@0");
}

TEST_F(KeyEventSimulator, LosesOneKeyUpWhenTheQueueCannotGrow) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  for (unsigned long key = 1; key <= 8; ++key) Press(key);
  kernel.RefuseAllocationAfter(1);  // the event is made, the queue's ninth place is not
  Press(9);
  EXPECT_EQ(simulator->events.Count(), 8u);
}

TEST_F(KeyEventSimulator, ReleasesWhatIsQueuedWhenItIsDestroyed) {
  SetMode(kKeyInputModeSimulateKeyUp, 50, 0);
  for (unsigned long key = 1; key <= 20; ++key) Press(key);
  EXPECT_EQ(simulator->events.Count(), 20u);
}

/// The host's thread and the worker side by side, for the thread sanitizer. Time stays virtual: the
/// worker ticks as fast as it can.
class KeyEventSimulatorThreads : public KeyEventSimulator {
 protected:
  class CountingPlayer : public RecordingPlayer {
   public:
    using RecordingPlayer::RecordingPlayer;
    void KeyDown(unsigned long) override { ++downs; }
    void KeyUp(unsigned long) override { ++ups; }
    std::atomic<unsigned> downs{0};
    std::atomic<unsigned> ups{0};
  };

  void SetUp() override {
    KeyEventSimulator::SetUp();
    kernel.afterSleep = nullptr;
    kernel.threadsRun = true;
  }
  static void WaitUntil(const std::function<bool()>& reached) {
    while (!reached()) std::this_thread::yield();
  }

  CountingPlayer counter{&kernel};
};

TEST_F(KeyEventSimulatorThreads, SendEveryKeyUpOnce) {
  SetMode(kKeyInputModeSimulateKeyUp, 20, 0);
  for (unsigned key = 0; key < 500; ++key) {
    simulator->NotifyKeyDownEvent(&counter, key % 7);
    std::this_thread::yield();
  }
  WaitUntil([&] { return counter.ups >= 500; });
  EXPECT_EQ(counter.downs, 500u);
  EXPECT_EQ(counter.ups, 500u);
}

TEST_F(KeyEventSimulatorThreads, SendNothingAfterTheClearing) {
  SetMode(kKeyInputModeAutoRepeat, 20, 10);
  for (unsigned key = 0; key < 500; ++key) {
    simulator->NotifyKeyDownEvent(&counter, key % 7 + 1);
    if (key % 3 == 0) simulator->NotifyKeyUpEvent(&counter, key % 7 + 1);
    std::this_thread::yield();
  }
  simulator->NotifyKeyDownEvent(&counter, 9);
  const unsigned before = counter.downs;
  WaitUntil([&] { return counter.downs >= before + 20; });
  simulator->ClearKeyEvents(&counter, false);
  const unsigned downs = counter.downs;
  const IQXKernel::Time later = kernel.now + 1000 * kMs;
  WaitUntil([&] { return kernel.now >= later; });
  EXPECT_EQ(counter.downs, downs);
}

TEST_F(KeyEventSimulator, SendsNothingToNobody) {
  SetMode(kKeyInputModeAutoRepeat, 20, 20);
  At(0, [this] { simulator->NotifyKeyDownEvent(nullptr, 5); });
  RunTo(100);
  EXPECT_TRUE(simulator->repeating);
}

}  // namespace
