// What counts as frozen and as dead, in virtual time.

#include <gmock/gmock.h>

#include "host/launcher/health/HealthJudge.h"

namespace plexion_host {
namespace {

using testing::HasSubstr;
using Verdict = HealthJudge::Verdict;

/// One window that plays in front of a display that presents.
class HealthJudgeTest : public testing::Test {
 protected:
  /// Looks every five seconds for `seconds`; `step` changes what is seen before each look.
  template <typename Step>
  Verdict RunFor(int seconds, const Step& step) {
    Verdict last;
    for (int i = 0; i < seconds; i += 5) {
      sample_.nowMs += 5000;
      step();
      last = judge_.Judge(sample_);
      for (const Verdict::Change& change : last.changes) changes_.push_back(change);
      if (last.wantsFrame) ++sample_.presented;  // as a display that lives does
    }
    return last;
  }
  void Play(const char* content) {
    WindowHealth window;
    window.number = ++number_;
    window.content = content;
    window.plays = window.visible = true;
    window.picture = 1;
    sample_.windows = {window};
    changes_.clear();
  }
  WindowHealth& Window() { return sample_.windows[0]; }
  void Move() {
    Window().frames += 125;
    ++Window().picture;
    sample_.presented += 125;
  }
  void DrawTheSame() {
    Window().frames += 125;
    sample_.presented += 125;
  }
  static void Nothing() {}

  HealthJudge judge_{60000};
  HealthJudge::Sample sample_;
  std::vector<Verdict::Change> changes_;
  unsigned number_ = 0;
};

TEST_F(HealthJudgeTest, AVideoThatStandsStillIsNamedOnceAndEndsIt) {
  EXPECT_EQ(MotionOf("a/film.MP4"), Motion::kVideo);
  Play("a/film.mp4");
  EXPECT_TRUE(RunFor(300, [this] { Move(); }).alive);
  EXPECT_TRUE(changes_.empty());
  EXPECT_TRUE(RunFor(55, Nothing).alive);
  EXPECT_TRUE(changes_.empty()) << "not yet";
  EXPECT_TRUE(RunFor(10, Nothing).windows[0].frozen);
  ASSERT_EQ(changes_.size(), 1U);
  EXPECT_TRUE(changes_[0].frozen);
  EXPECT_FALSE(changes_[0].drawn);
  EXPECT_EQ(changes_[0].stillMs, 60000);
  const Verdict dead = RunFor(60, Nothing);
  EXPECT_EQ(changes_.size(), 1U) << "once an episode";
  EXPECT_FALSE(dead.alive);
  EXPECT_THAT(dead.reason, HasSubstr("every video has stood still"));
  const Verdict again = RunFor(5, [this] { Move(); });
  EXPECT_TRUE(again.alive);
  ASSERT_EQ(changes_.size(), 2U);
  EXPECT_FALSE(changes_[1].frozen);
}

TEST_F(HealthJudgeTest, AVideoOfOnePictureIsNamedAndLives) {
  Play("slide.webm");
  EXPECT_TRUE(RunFor(600, [this] { DrawTheSame(); }).alive);
  ASSERT_EQ(changes_.size(), 1U);
  EXPECT_TRUE(changes_[0].drawn);
}

TEST_F(HealthJudgeTest, WhatMayStandStillIsNeverCalledFrozen) {
  for (const char* const content : {"photo.jpg", "menu-board", "menu/application.xml", "a.mp3",
                                    "http://host/page?film=x.mp4", "mp4", "b.mp4/c"}) {
    Play(content);
    EXPECT_TRUE(RunFor(300, Nothing).alive) << content;
    EXPECT_TRUE(changes_.empty()) << content;
  }
  // A movie that is a picture never moved; one that did is named, and may have come to its last.
  Play("still.mvx");
  RunFor(300, Nothing);
  EXPECT_TRUE(changes_.empty());
  RunFor(10, [this] { Move(); });
  EXPECT_TRUE(RunFor(300, Nothing).alive);
  EXPECT_EQ(changes_.size(), 1U);
  // What is paused or not to be seen says nothing.
  Play("film.mp4");
  RunFor(30, [this] { Move(); });
  Window().plays = false;
  EXPECT_TRUE(RunFor(300, Nothing).alive);
  Window().plays = true;
  EXPECT_TRUE(RunFor(55, Nothing).alive) << "counts from when it goes on";
  EXPECT_TRUE(changes_.empty());
}

TEST_F(HealthJudgeTest, OneVideoThatMovesIsEnough) {
  Play("film.mp4");
  WindowHealth other = Window();
  other.number = 99;
  sample_.windows.push_back(other);
  EXPECT_TRUE(RunFor(600, [this] { Move(); }).alive);
  EXPECT_EQ(changes_.size(), 1U);
  EXPECT_EQ(changes_[0].number, 99U);
}

TEST_F(HealthJudgeTest, ADisplayThatPresentsNothingIsDead) {
  Play("photo.jpg");
  EXPECT_TRUE(RunFor(300, Nothing).alive) << "it was asked for frames, and gave them";
  const uint64_t stuck = sample_.presented;
  const auto hang = [&] { sample_.presented = stuck; };
  EXPECT_TRUE(RunFor(15, hang).alive);
  const Verdict dead = RunFor(10, hang);
  EXPECT_FALSE(dead.alive);
  EXPECT_THAT(dead.reason, HasSubstr("the display has presented nothing"));
  EXPECT_TRUE(RunFor(5, [this] { ++sample_.presented; }).alive);
}

TEST_F(HealthJudgeTest, AProgrammeThatDoesNotComeRoundIsDead) {
  Play("photo.jpg");
  EXPECT_TRUE(RunFor(60, [this] { sample_.turnAtMs = sample_.nowMs - 1000; }).alive);
  EXPECT_THAT(RunFor(30, Nothing).reason, HasSubstr("the programme has not been looked at"));
  EXPECT_TRUE(RunFor(5, [this] { sample_.turnAtMs = -1; }).alive) << "it has ended";
}

TEST_F(HealthJudgeTest, NothingIsFrozenWhereNobodyWantsToKnow) {
  judge_ = HealthJudge(0);
  Play("film.mp4");
  EXPECT_TRUE(RunFor(3600, Nothing).alive);
  EXPECT_TRUE(changes_.empty());
}

}  // namespace
}  // namespace plexion_host
