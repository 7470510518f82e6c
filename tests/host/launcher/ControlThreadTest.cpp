#include <gtest/gtest.h>

#include <future>

#include "host/launcher/process/ControlThread.h"

namespace plexion_host {
namespace {

using Clock = ControlThread::Clock;

TEST(ControlThreadTest, AsksAgainUntilTheEndHasBeenReached) {
  std::promise<void> reached;
  int asked = 0;
  ControlThread control;
  control.Start([&] {
    if (++asked < 3) return false;
    reached.set_value();
    return true;
  });
  control.RequestQuit();
  reached.get_future().wait();
  control.RequestQuit();  // once reached, the end is not asked for any more
  control.Stop();
  EXPECT_EQ(3, asked);
}

TEST(ControlThreadTest, RunsATimerOnceAndNotBeforeItsTime) {
  std::promise<Clock::time_point> fired;
  ControlThread control;
  control.Start([] { return true; });
  control.SetSnapshotTimer(Clock::now() + std::chrono::hours(1), [] { FAIL() << "replaced"; });
  const Clock::time_point due = Clock::now() + std::chrono::milliseconds(5);
  control.SetSnapshotTimer(due, [&] { fired.set_value(Clock::now()); });
  EXPECT_GE(fired.get_future().get(), due);
}

TEST(ControlThreadTest, ACancelledTimerDoesNotRun) {
  std::promise<void> quit;
  bool ran = false;
  ControlThread control;
  control.SetSnapshotTimer(Clock::now(), [&] { ran = true; });
  control.CancelSnapshotTimer();
  control.Start([&] {
    quit.set_value();
    return true;
  });
  control.QuitAt(Clock::now());
  quit.get_future().wait();
  control.Stop();
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace plexion_host
