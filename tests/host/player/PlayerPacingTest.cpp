// Which frame is shown when, and what wakes a player. The scripted content has 10 frames a second.
#include <gmock/gmock.h>

#include "qx/plexion/StageWindowParameters.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;

class PlayerPacingTest : public PlayerFixture {
 protected:
  size_t Updates() { return window_.Count(kInfoRenderPlaneUpdated); }
};

TEST_F(PlayerPacingTest, ShowsEachFrameAtItsMomentAndTheLastOneInFull) {
  LoadAndPlay();
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0));
  clock_.RunFor(99 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0));
  clock_.RunFor(1 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1));
  clock_.RunFor(399 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  clock_.RunFor(1 * kMs);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_EQ(5u, Updates());
}

TEST_F(PlayerPacingTest, LeavesOutLateFramesAndKeepsTheTime) {
  Script().facts.frameCount = 10;
  Script().onDraw = [this](EngineHost&) {
    // Frame 2 takes until the middle of frame 5.
    if (Script().drawnFrames.back() == 2) clock_.Spend(350 * kMs);
  };
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1, 2, 5, 6, 7, 8, 9));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(PlayerPacingTest, ShowsTheLastFrameHoweverLate) {
  LoadAndPlay();
  clock_.Jump(5000 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 4));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(PlayerPacingTest, StandsStillWhilePausedAndGoesOnWhereItWas) {
  LoadAndPlay();
  clock_.RunFor(250 * kMs);
  ASSERT_TRUE(player_->Pause());
  clock_.RunFor(10000 * kMs);
  EXPECT_EQ(kStatusPaused, player_->GetStageWindowStatus());
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1, 2));
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(49 * kMs);
  EXPECT_EQ(3u, Script().drawnFrames.size());
  clock_.RunFor(1 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(Script().playing, ElementsAre(true, false, true));
}

TEST_F(PlayerPacingTest, TakesPlayAndPauseInTheirOrder) {
  Load();
  player_->SetRenderPlane(&plane_);
  for (int i = 0; i < 2; ++i) {
    player_->Play();
    player_->Pause();
  }
  clock_.Settle();
  EXPECT_EQ(kStatusPaused, player_->GetStageWindowStatus());
  EXPECT_EQ(2u, window_.Count(kStatusPlaying));
  EXPECT_EQ(2u, window_.Count(kStatusPaused));
}

TEST_F(PlayerPacingTest, SleepsWithoutADeadlineWhenNothingIsDue) {
  ASSERT_TRUE(Configure());
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline());
  player_->LoadMVX();
  clock_.Settle();
  player_->SetRenderPlane(&plane_);
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline()) << "ready";
  player_->Play();
  EXPECT_NE(IQXKernel::kInfinite, clock_.Deadline());
  player_->Pause();
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline()) << "paused";
  player_->Play();
  clock_.RunFor(1000 * kMs);
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline()) << "complete";
}

TEST_F(PlayerPacingTest, VisitsOnlyTheMomentsThatAnEngineNames) {
  Script().facts.frameCount = 0;
  Script().onAdvance = [](EngineHost&, const FrameStep& step) {
    return StepResult{step.position == 0 || step.position == 30,
                      step.position < 30 ? 30 : kNoFrame};
  };
  LoadAndPlay();
  const int waits = clock_.Waits();
  clock_.RunFor(100000 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 30));
  EXPECT_EQ(waits + 1, clock_.Waits());
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline());

  player_->KeyDown(5);
  clock_.Settle();
  EXPECT_EQ(1000u, Script().steps.back().position) << "an input brings it to the present moment";
}

TEST_F(PlayerPacingTest, DrawsNothingWhileThePictureStaysTheSame) {
  Script().onAdvance = [](EngineHost&, const FrameStep& step) {
    return StepResult{step.frame % 2 == 0, step.position + 1};
  };
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 2, 4));
}

TEST_F(PlayerPacingTest, FollowsAnEngineWithAPaceOfItsOwn) {
  Script().facts.framesPerSecond = 0;
  Script().facts.frameCount = 0;
  LoadAndPlay();
  clock_.RunFor(5000 * kMs);
  EXPECT_EQ(1u, Script().drawnFrames.size());
  Script().host->RequestFrame();
  clock_.Settle();
  EXPECT_EQ(2u, Script().drawnFrames.size());
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline());
  Script().host->RequestFrame();
  Script().host->Complete();
  clock_.Settle();
  EXPECT_EQ(3u, Script().drawnFrames.size()) << "the last frame is still shown";
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

struct VariableCase {
  const char* variables;
  int64_t endsAfterMs;  ///< -1: never
};

class PlayerVariablesTest : public PlayerFixture,
                            public ::testing::WithParamInterface<VariableCase> {};

TEST_P(PlayerVariablesTest, EndsWhenLoopAndSpeedSaySo) {
  parameters_.morvelVars.Assign(GetParam().variables);
  LoadAndPlay();
  if (GetParam().endsAfterMs < 0) {
    clock_.RunFor(10000 * kMs);
    EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
    return;
  }
  clock_.RunFor((GetParam().endsAfterMs - 1) * kMs);
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  clock_.RunFor(2 * kMs);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

INSTANTIATE_TEST_SUITE_P(Variables, PlayerVariablesTest,
                         ::testing::Values(VariableCase{"", 500}, VariableCase{"loop=3", 1500},
                                           VariableCase{"speed=0.5", 1000},
                                           VariableCase{"loop=2&speed=4", 250},
                                           VariableCase{"title=a%26b&loop=2", 1000},
                                           VariableCase{"loop=0", -1},
                                           VariableCase{"loop=forever", -1}));

TEST_F(PlayerPacingTest, BeginsThePassesAgainAtTheFirstFrame) {
  parameters_.morvelVars.Assign("loop=2");
  Script().facts.frameCount = 3;
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0, 1, 2, 0, 1, 2));
  EXPECT_EQ(1u, Script().steps.back().pass);
}

TEST_F(PlayerPacingTest, TakesNoTimeAtAllWithoutASpeedLimit) {
  parameters_.noSpeedLimit = true;
  Script().facts.frameCount = 200;
  Load();
  player_->SetRenderPlane(&plane_);
  player_->Play();
  clock_.Settle();
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_EQ(200u, Script().drawnFrames.size());
}

TEST_F(PlayerPacingTest, ReportsTheFrameRateOncePerSample) {
  parameters_.traceFlags = kTraceFrameRate;
  parameters_.traceFpsMs = 1000;
  Script().facts.frameCount = 0;
  LoadAndPlay();
  clock_.RunFor(3000 * kMs);
  ASSERT_EQ(3u, window_.Count(kInfoNotifyFPS));
  EXPECT_NEAR(10, window_.Events(kInfoNotifyFPS)[1].framesPerSecond, 0.01);
  player_->Pause();
  clock_.RunFor(10000 * kMs);
  EXPECT_EQ(3u, window_.Count(kInfoNotifyFPS)) << "nothing is sampled while paused";
}

TEST_F(PlayerPacingTest, AFrameIsLateWhenTheNextOneIsDueBeforeItIsDrawn) {
  // Frames stand for five positions of 100 ms.
  for (const auto& [drawMs, late] : {std::pair(300, "late 0,"), {600, "late 6,"}}) {
    parameters_.instrument = true;
    Script() = EngineScript();
    Script().facts.frameCount = 40;
    Script().onAdvance = [](EngineHost&, const FrameStep& step) {
      return StepResult{true, step.position / 5 * 5 + 5};
    };
    Script().onDraw = [this, ms = drawMs](EngineHost&) {
      if (Script().steps.back().playing) clock_.Spend(ms * kMs);
    };
    testing::internal::CaptureStdout();
    LoadAndPlay();
    clock_.RunFor(6000 * kMs);
    EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
    player_.reset();
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, said.find(late)) << said;
  }
}

TEST_F(PlayerPacingTest, CountsWhatItDidWithEachFrame) {
  PlayStatistics statistics;
  statistics.LoadBegins(0);
  statistics.LoadEnds(12 * kMs);
  statistics.FrameDrawn(20 * kMs, 24 * kMs, false);
  statistics.FrameDrawn(30 * kMs, 38 * kMs, true);
  statistics.FrameUnchanged();
  statistics.FramesSkipped(3);
  EXPECT_EQ(
      "load 12.0 ms, first frame 24.0 ms, frames drawn 2, unchanged 1, skipped 3, late 1, "
      "draw mean 6.00 ms, longest 8.00 ms",
      statistics.Describe());
}

}  // namespace
}  // namespace plexion_host::player
