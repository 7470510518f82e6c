// Playlists: what follows what, what is left out, and that nothing of it stays.

#include <gmock/gmock.h>

#include "host/launcher/run/SignageRun.h"
#include "tests/host/launcher/RunStage.h"

namespace plexion_host {
namespace {

using testing::HasSubstr;

class SignageRunTest : public testing::Test {
 protected:
  bool Run(const std::vector<std::string>& contents) {
    SignageRun run(stage_.session, stage_.Split(contents));
    return run.Run();
  }
  RunStage stage_;
};

TEST_F(SignageRunTest, EveryWindowOfALoopIsDestroyedSoonAfterItsTurn) {
  stage_.options.loop = true;
  std::thread operatorAtWork([this] {
    for (int i = 0; stage_.service.CountOf("play ends") < 40; ++i) std::this_thread::yield();
    stage_.windows.RequestQuit();
    stage_.windows.TerminateAll();
  });
  EXPECT_TRUE(Run({"ends", "ends", "ends"}));
  operatorAtWork.join();
  EXPECT_EQ(stage_.service.Alive(), 0U);
  EXPECT_LE(stage_.service.MostAtOnce(), 2U) << "the one that plays, and the next or the last one";
}

TEST_F(SignageRunTest, WhatIsNotReadyInTimeIsNamedLeftOutAndAskedForAgain) {
  stage_.options.loadTimeoutMs = 20;
  std::thread repair([this] {
    while (stage_.service.CountOf("play ends") < 2) std::this_thread::yield();
    stage_.service.Release();
  });
  EXPECT_TRUE(Run({"ends", "hangs", "ends"}));
  repair.join();
  const std::string said = stage_.errors.Read();
  EXPECT_THAT(said, HasSubstr("hangs: not ready after 20 ms (--load-timeout); left out for now"));
  EXPECT_TRUE(said.find("it still hangs") != std::string::npos ||
              stage_.service.CountOf("open hangs") == 2)
      << "asked for again behind the last one";
  EXPECT_EQ(stage_.service.Alive(), 0U);
  EXPECT_TRUE(stage_.session.someContentFailed);
}

TEST_F(SignageRunTest, ALocaleHoldsForTheContentsThatFollow) {
  EXPECT_TRUE(Run({"ends", "--locale", "de_DE.UTF-8", "ends", "ends"}));
  EXPECT_EQ(stage_.service.Locales(), (Lines{"", "de_DE.UTF-8", "de_DE.UTF-8"}));
}

TEST_F(SignageRunTest, NothingIsOpenedBeforeGo) {
  stage_.windows.SetPausePending(true);
  EXPECT_TRUE(Run({"ends", "ends"}));
  EXPECT_EQ(stage_.service.Journal().front(), "wait for go");
}

TEST_F(SignageRunTest, ARoundOfFailuresEndsIt) {
  stage_.options.loop = true;
  EXPECT_FALSE(Run({"missing", "odd"}));
  EXPECT_THAT(stage_.errors.Read(), HasSubstr("none of the 2 contents can be played"));
}

}  // namespace
}  // namespace plexion_host
