// Frames that an engine works on before they are due, and what else may happen until then. The scripted
// content has 50 frames a second.
#include <gmock/gmock.h>

#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr IQXKernel::Time kFrame = 20 * kMs;

class PlayerAheadTest : public PlayerFixture {
 protected:
  PlayerAheadTest() {
    Script().facts.framesPerSecond = 50;
    Script().facts.frameCount = 0;
    Script().worksAhead = true;
  }
  uint64_t Shown() { return Script().drawnFrames.back(); }
  /// Plays until the frame behind `frame` is worked on, and then half of the time until that is due.
  void PlayUntilBehind(uint64_t frame) {
    LoadAndPlay();
    clock_.RunFor(static_cast<IQXKernel::Time>(frame) * kFrame + kFrame / 2);
    ASSERT_EQ(frame, Shown());
    ASSERT_EQ(frame + 1, Script().ahead.back()) << "worked on, and not shown";
  }
};

TEST_F(PlayerAheadTest, EachFrameIsOrderedWhenTheOneBeforeIsShownAndShownWhenItIsDue) {
  LoadAndPlay();
  clock_.RunFor(4 * kFrame - 1);
  EXPECT_THAT(Script().ahead, IsEmpty()) << "not before it is known to be calm";
  const int waits = clock_.Waits();
  for (uint64_t frame = 4; frame < 10; ++frame) {
    clock_.RunFor(1);
    EXPECT_EQ(frame, Shown());
    EXPECT_EQ(frame + 1, Script().ahead.back());
    clock_.RunFor(kFrame - 1);
    EXPECT_EQ(frame, Shown()) << "not before it is due";
  }
  EXPECT_EQ(waits + 6, clock_.Waits()) << "one sleep for each frame";
}

TEST_F(PlayerAheadTest, AKeyFindsTheEngineWhereThePictureIsAndIsSeenAtOnce) {
  PlayUntilBehind(6);
  player_->KeyDown(5);
  clock_.Settle();
  ASSERT_EQ(1u, Script().inputs.size());
  EXPECT_EQ(7u, Shown());
  EXPECT_EQ(2, std::count(Script().drawnFrames.begin(), Script().drawnFrames.end(), 7u))
      << "as it was drawn before the key, and with it";
  clock_.RunFor(kFrame / 2 + 29 * kFrame);
  EXPECT_EQ(36u, Shown()) << "the time is as before";
  EXPECT_EQ(7u, Script().ahead.back()) << "where one key came another is likely";
  clock_.RunFor(3 * kFrame);
  EXPECT_EQ(40u, Script().ahead.back());
}

TEST_F(PlayerAheadTest, AFrameThatTheEngineAsksForComesAtOnce) {
  PlayUntilBehind(6);
  Script().host->RequestFrame();
  clock_.Settle();
  EXPECT_EQ(7u, Shown());
  EXPECT_EQ(2, std::count(Script().drawnFrames.begin(), Script().drawnFrames.end(), 7u));
}

TEST_F(PlayerAheadTest, APauseShowsWhatIsDrawnAndGoesOnBehindIt) {
  PlayUntilBehind(6);
  ASSERT_TRUE(player_->Pause());
  clock_.RunFor(10000 * kMs);
  EXPECT_EQ(7u, Shown());
  EXPECT_EQ(kStatusPaused, player_->GetStageWindowStatus());
  EXPECT_EQ(IQXKernel::kInfinite, clock_.Deadline());
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(kFrame / 2 + kFrame - 1);
  EXPECT_EQ(7u, Shown());
  clock_.RunFor(1);
  EXPECT_EQ(8u, Shown());
}

TEST_F(PlayerAheadTest, AJumpLeavesWhatWasWorkedOn) {
  Script().facts.frameCount = 500;
  PlayUntilBehind(6);
  std::string fault = "not told";
  ASSERT_TRUE(player_->Seek(2, false, [&fault](const std::string& said) { fault = said; }));
  clock_.Settle();
  EXPECT_EQ("", fault);
  EXPECT_EQ(100u, Shown());
  clock_.RunFor(kFrame);
  EXPECT_EQ(101u, Shown());
}

TEST_F(PlayerAheadTest, AnotherPlaneGetsTheWholePictureAtOnce) {
  PlayUntilBehind(6);
  FakePlane other(64, 36);
  ASSERT_TRUE(player_->SetRenderPlane(&other));
  clock_.Settle();
  EXPECT_EQ(7u, Shown());
  EXPECT_TRUE(Script().drawnEverything.back());
  EXPECT_EQ(7u, other.At(0, 0));
  player_.reset();
}

TEST_F(PlayerAheadTest, TheEndComesInItsTimeAndNothingIsWorkedOnBehindIt) {
  Script().facts.frameCount = 10;
  LoadAndPlay();
  clock_.RunFor(10 * kFrame - 1);
  EXPECT_EQ(9u, Shown());
  EXPECT_EQ(9u, Script().ahead.back());
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  clock_.RunFor(1);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(PlayerAheadTest, ContentThatCompletesInBetweenShowsItsLastFrame) {
  PlayUntilBehind(6);
  Script().host->Complete();
  clock_.Settle();
  EXPECT_EQ(7u, Shown());
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(PlayerAheadTest, WhatIsSaidInBetweenIsHeardAndChangesNoFrame) {
  PlayUntilBehind(6);
  Script().host->Notify(kInfoNotifyTSTrace, "half way");
  clock_.Settle();
  EXPECT_EQ(1u, window_.Count(kInfoNotifyTSTrace));
  EXPECT_EQ(6u, Shown());
  Script().host->Fail({kErrorFatalPlaybackError, "gone"});
  clock_.Settle();
  EXPECT_EQ(6u, Shown()) << "whose engine is gone has no frame to show";
  EXPECT_EQ(kErrorFatalPlaybackError, player_->GetStageWindowStatus());
}

TEST_F(PlayerAheadTest, WhoComesTooLateShowsWhatIsDueNow) {
  PlayUntilBehind(6);
  clock_.Jump(5 * kFrame);
  EXPECT_EQ(11u, Shown());
  EXPECT_THAT(Script().drawnFrames, Contains(7u));
  EXPECT_THAT(Script().drawnFrames, Not(Contains(9u)));
}

TEST_F(PlayerAheadTest, FramesThatAreFarApartAreNotWorkedOn) {
  Script().facts.framesPerSecond = 10;
  LoadAndPlay();
  clock_.RunFor(5000 * kMs);
  EXPECT_EQ(50u, Shown());
  EXPECT_THAT(Script().ahead, IsEmpty());
}

TEST_F(PlayerAheadTest, NoMomentIsWorkedOnThatTheEngineDoesNotName) {
  Script().onAdvance = [](EngineHost&, const FrameStep& step) {
    return StepResult{true, step.position + 2};
  };
  LoadAndPlay();
  clock_.RunFor(50 * kFrame);
  EXPECT_EQ(50u, Shown());
  EXPECT_THAT(Script().ahead, IsEmpty());
}

}  // namespace
}  // namespace plexion_host::player
