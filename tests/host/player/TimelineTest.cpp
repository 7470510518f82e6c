#include <gtest/gtest.h>

#include "host/player/EnginePacer.h"
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
  EXPECT_EQ(12u, thrice.EndPosition());

  const Timeline endless(10, 4, 0, 1);
  EXPECT_EQ(UINT64_MAX, endless.EndPosition());
  const Timeline uncountable(10, 4, UINT64_MAX / 2, 1);
  EXPECT_EQ(UINT64_MAX, uncountable.EndPosition());
  const Timeline unbounded(10, 0, 1, 1);
  EXPECT_EQ(77u, unbounded.FrameOf(77));
  EXPECT_EQ(UINT64_MAX, unbounded.EndPosition());
}

TEST(TimelineTest, HasNoDeadlinesWithoutAPace) {
  Timeline timeline(0, 0, 1, 1);
  timeline.Start(0);
  EXPECT_EQ(IQXKernel::kInfinite, timeline.DeadlineOf(1));
  EXPECT_EQ(0u, timeline.PositionAt(kSecond));
}

/// Says what comes next, and keeps what it was asked.
class StepEngine final : public Engine {
 public:
  bool Load(const ContentAddress&, ContentFacts&, EngineError&) override { return true; }
  StepResult Advance(const FrameStep& step) override {
    steps.push_back(step);
    StepResult result;
    result.nextPosition = next;
    return result;
  }
  DrawResult Draw(const DrawTarget&) override { return {}; }

  uint64_t next = 0;
  std::vector<FrameStep> steps;
};

EnginePacer PacerOf(double framesPerSecond, uint64_t frames, uint64_t loops, bool noSpeedLimit) {
  ContentFacts facts;
  facts.framesPerSecond = framesPerSecond;
  facts.frameCount = frames;
  PlayerSettings settings;
  settings.loops = loops;
  settings.noSpeedLimit = noSpeedLimit;
  return EnginePacer(facts, settings);
}

TEST(EnginePacerTest, LeavesOutWhatIsLateAndCountsIt) {
  StepEngine engine;
  EnginePacer pacer = PacerOf(10, 4, 2, false);
  pacer.Step(engine, 0);
  EXPECT_EQ(IQXKernel::kInfinite, pacer.NextDeadline()) << "not started";
  pacer.Start(kSecond);
  EXPECT_EQ(kSecond + kSecond / 10, pacer.NextDeadline());
  EXPECT_FALSE(pacer.IsNew(pacer.DueAt(kSecond + kSecond / 20)));

  const uint64_t due = pacer.DueAt(kSecond + kSecond / 2);
  EXPECT_EQ(5u, due);
  EXPECT_EQ(4u, pacer.SkippedBefore(due)) << "1 to 4";
  pacer.Step(engine, due);
  EXPECT_EQ(1u, engine.steps.back().frame);
  EXPECT_EQ(1u, engine.steps.back().pass);
  EXPECT_FALSE(pacer.IsLate(kSecond + kSecond / 2));
  EXPECT_TRUE(pacer.IsLate(kSecond + kSecond));

  EXPECT_EQ(pacer.EndPosition(), pacer.DueAt(100 * kSecond));
  EXPECT_EQ(1u, pacer.SkippedBefore(8)) << "6; the last frame is shown in any case";
  pacer.Finish();
  EXPECT_EQ(IQXKernel::kInfinite, pacer.NextDeadline());
  EXPECT_EQ(5u, pacer.DueAt(200 * kSecond)) << "what stays is the last frame shown";
}

TEST(EnginePacerTest, WhatStandsStillIsNotAskedAndEndsInTime) {
  StepEngine engine;
  EnginePacer pacer = PacerOf(10, 4, 1, false);
  engine.next = kNoFrame;
  pacer.Step(engine, 0);
  pacer.Start(0);
  EXPECT_FALSE(pacer.IsNew(pacer.DueAt(kSecond / 4)));
  EXPECT_EQ(4 * kSecond / 10, pacer.NextDeadline());
}

TEST(EnginePacerTest, WithoutALimitEachFrameIsDueAtOnce) {
  StepEngine engine;
  EnginePacer pacer = PacerOf(10, 3, 1, true);
  pacer.Step(engine, 0);
  pacer.Start(0);
  for (const uint64_t position : {1u, 2u}) {
    EXPECT_EQ(0, pacer.NextDeadline());
    EXPECT_EQ(position, pacer.DueAt(0));
    pacer.Step(engine, position);
  }
  EXPECT_EQ(pacer.EndPosition(), pacer.DueAt(0));
  EXPECT_FALSE(pacer.IsLate(1000 * kSecond));

  EnginePacer still = PacerOf(10, 0, 1, true);
  engine.next = kNoFrame;
  still.Step(engine, 0);
  still.Start(0);
  EXPECT_EQ(0u, still.DueAt(0)) << "nothing to come, and no end to hurry to";
  EXPECT_EQ(IQXKernel::kInfinite, still.NextDeadline());
}

TEST(TimelineTest, GoesToAnotherMoment) {
  Timeline timeline(25, 100, 1, 2);
  timeline.GoTo(50, 0);
  EXPECT_EQ(50u, timeline.PositionAt(7)) << "while it stands";
  timeline.Start(1000000000);
  EXPECT_EQ(50u, timeline.PositionAt(1000000000));
  EXPECT_EQ(60u, timeline.PositionAt(1200000000)) << "at double speed";
  timeline.GoTo(10, 1200000000);
  EXPECT_EQ(10u, timeline.PositionAt(1200000000));
  EXPECT_EQ(11u, timeline.PositionAt(1220000000));
}

TEST(TimelineTest, FramesOfOneRateAreDueTogether) {
  constexpr int64_t kBegin = 3000000000000007;  // a month after a machine was started
  constexpr int64_t kFrame = 1000000000 / 60;
  for (const int64_t later : {1, 1000, 5000001, 16666666, 123456789}) {
    Timeline first(60, 0, 1, 1);
    first.Start(kBegin);
    first.Align();
    // Half the rate, and played before.
    Timeline second(30, 0, 1, 1);
    second.Start(0);
    second.Stop(100000001);
    second.Start(kBegin + later);
    second.Align();
    const uint64_t next = second.PositionAt(kBegin + later) + 1;
    const uint64_t same = first.PositionAt(second.DeadlineOf(next) + 5);
    EXPECT_NEAR(first.DeadlineOf(same), second.DeadlineOf(next), 5) << later;
    EXPECT_NEAR(kBegin, first.DeadlineOf(0), kFrame);
    EXPECT_LE(first.DeadlineOf(0), kBegin) << "no frame is due later for it";
    EXPECT_EQ(3u, second.PositionAt(kBegin + later - 2 * kFrame) + 1);
  }
  Timeline slow(0.1, 0, 1, 1);
  slow.Start(kBegin);
  slow.Align();
  EXPECT_EQ(kBegin, slow.DeadlineOf(0)) << "a still picture's ten seconds are not cut";
}

}  // namespace
}  // namespace plexion_host::player
