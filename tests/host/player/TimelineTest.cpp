#include <gtest/gtest.h>

#include "host/player/Timeline.h"

namespace plexion_host::player {
namespace {

constexpr IQXKernel::Time kSecond = 1000000000;

TEST(TimelineTest, ReachesEachPositionExactlyAtItsDeadline) {
  for (const double rate : {1.0, 10.0, 23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0, 240.0}) {
    for (const double speed : {0.01, 0.5, 1.0, 3.0, 100.0}) {
      Timeline timeline(rate, 0, 0, speed);
      timeline.Start(123456789);
      for (const uint64_t position : {1ull, 2ull, 3ull, 59ull, 1000ull, 1234567ull, 500000000ull}) {
        const IQXKernel::Time deadline = timeline.DeadlineOf(position);
        if (deadline == IQXKernel::kInfinite) continue;  // centuries away
        EXPECT_EQ(position, timeline.PositionAt(deadline)) << rate << " x " << speed;
        // Well before it is still the position before; a millionth of a frame is its margin.
        const auto frame = static_cast<IQXKernel::Time>(1e9 / rate / speed);
        EXPECT_EQ(position - 1, timeline.PositionAt(deadline - frame / 2))
            << rate << " x " << speed;
      }
    }
  }
}

TEST(TimelineTest, KeepsItsPlaceOverPauses) {
  Timeline timeline(10, 100, 1, 1);
  timeline.Start(5 * kSecond);
  timeline.Stop(6 * kSecond + kSecond / 20);
  EXPECT_EQ(10u, timeline.PositionAt(100 * kSecond));
  EXPECT_EQ(IQXKernel::kInfinite, timeline.DeadlineOf(11));
  timeline.Start(200 * kSecond);
  EXPECT_EQ(10u, timeline.PositionAt(200 * kSecond));
  EXPECT_EQ(200 * kSecond + kSecond / 20, timeline.DeadlineOf(11));
}

TEST(TimelineTest, CountsPassesAndKnowsTheEnd) {
  const Timeline thrice(10, 4, 3, 1);
  EXPECT_EQ(3u, thrice.FrameOf(7));
  EXPECT_EQ(1u, thrice.PassOf(7));
  EXPECT_FALSE(thrice.EndsAt(11));
  EXPECT_TRUE(thrice.EndsAt(12));

  const Timeline endless(10, 4, 0, 1);
  EXPECT_FALSE(endless.EndsAt(1000000000000));
  const Timeline unbounded(10, 0, 1, 1);
  EXPECT_EQ(77u, unbounded.FrameOf(77));
  EXPECT_FALSE(unbounded.EndsAt(1000000000000));
}

TEST(TimelineTest, HasNoDeadlinesWithoutAPace) {
  Timeline timeline(0, 0, 1, 1);
  timeline.Start(0);
  EXPECT_EQ(IQXKernel::kInfinite, timeline.DeadlineOf(1));
  EXPECT_EQ(0u, timeline.PositionAt(kSecond));
}

}  // namespace
}  // namespace plexion_host::player
