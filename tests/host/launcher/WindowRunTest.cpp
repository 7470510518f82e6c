// Windows that play at the same time: who begins when, and that all of them come to an end.

#include <gmock/gmock.h>

#include <thread>

#include "host/base/NamedThread.h"
#include "host/launcher/run/WindowRun.h"
#include "tests/host/launcher/RunStage.h"

namespace plexion_host {
namespace {

using testing::HasSubstr;

class WindowRunTest : public testing::Test {
 protected:
  /// Runs the windows on a thread; joined at the end of the test.
  void Start(const std::vector<std::string>& contents) {
    run_ = std::make_unique<WindowRun>(stage_.session, stage_.OpenAll(contents));
    thread_ = NamedThread("Run", [this] { run_->Run(); });
  }
  Lines End() {
    thread_.Join();
    EXPECT_EQ(stage_.service.Alive(), 0U);
    EXPECT_THAT(stage_.windows.GetContents(), testing::IsEmpty());
    return stage_.service.Journal();
  }

  RunStage stage_;
  std::unique_ptr<WindowRun> run_;
  NamedThread thread_;
};

TEST_F(WindowRunTest, WindowsBeginTogetherWhoeverIsReadyFirst) {
  stage_.session.waitForOthers = std::chrono::hours(1);
  Start({"ends", "waits"});
  stage_.service.AwaitLine("load waits");
  stage_.service.MakeReady("waits");
  EXPECT_EQ(End(), (Lines{"open ends", "open waits", "load ends", "load waits", "play ends",
                          "play waits", "destroy ends", "destroy waits"}));
}

TEST_F(WindowRunTest, OneThatFailedComesBackAsOftenAsAsked) {
  stage_.options.restartFailed = 2;
  stage_.session.second = std::chrono::milliseconds(1);
  Start({"missing", "plays"});
  stage_.service.AwaitLine("play plays");
  // Away or back, it does not keep the other from playing.
  while (stage_.service.CountOf("load missing") < 3) std::this_thread::yield();
  stage_.windows.TerminateAll();
  End();
  EXPECT_EQ(stage_.service.CountOf("load missing"), 3U);
  EXPECT_EQ(stage_.service.CountOf("destroy missing"), 3U);
  EXPECT_EQ(stage_.service.CountOf("load plays"), 1U);
}

TEST_F(WindowRunTest, TheEndDoesNotWaitForOneThatIsAway) {
  stage_.options.restartFailed = 1;
  stage_.session.second = std::chrono::hours(1);
  Start({"missing"});
  stage_.service.AwaitLine("load missing");
  stage_.windows.RequestQuit();
  EXPECT_EQ(End().back(), "destroy missing");
}

TEST(RestartsTest, PausesDoubleUpToAMinuteAndAMinuteOfHealthForgetsThem) {
  using std::chrono::seconds;
  Restarts restarts(9);
  for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
    EXPECT_EQ(restarts.Next(seconds(59)), seconds(pause));
  }
  EXPECT_EQ(restarts.Next(seconds(60)), seconds(1)) << "anew";
  Restarts few(1);
  EXPECT_TRUE(few.Next(seconds(0)));
  EXPECT_FALSE(few.Next(seconds(0)));
  EXPECT_TRUE(few.Next(seconds(61)));
}

TEST_F(WindowRunTest, OneThatTakesLongDoesNotKeepTheOthersFromPlaying) {
  stage_.session.waitForOthers = std::chrono::milliseconds(1);
  Start({"waits", "ends"});
  stage_.service.AwaitLine("destroy ends");
  EXPECT_EQ(stage_.service.CountOf("play waits"), 0U);
  stage_.service.MakeReady("waits");
  EXPECT_EQ(End().back(), "destroy waits");
}

TEST_F(WindowRunTest, AllMayEndWhileOneWaitsForTheOthers) {
  stage_.session.waitForOthers = std::chrono::hours(1);
  Start({"plays", "waits"});
  stage_.service.AwaitLine("load waits");
  stage_.windows.TerminateAll();
  const Lines journal = End();
  EXPECT_EQ(stage_.service.CountOf("destroy plays"), 1U);
  EXPECT_EQ(stage_.errors.Read(), "") << "whoever ends the run does not hear what it was ended in";
}

TEST_F(WindowRunTest, ASlowLoadOfOneContentIsNotGivenUp) {
  // The service's own operation has come back already: it waits ten seconds.
  Start({"waits"});
  stage_.service.AwaitLine("load waits");
  EXPECT_EQ(stage_.service.CountOf("destroy waits"), 0U);
  stage_.service.MakeReady("waits");
  EXPECT_EQ(End(), (Lines{"open waits", "load waits", "play waits", "destroy waits"}));
}

TEST_F(WindowRunTest, SeveralWindowsWaitForGoBeforeAnyIsLoaded) {
  stage_.windows.SetPausePending(true);
  Start({"ends", "ends"});
  const Lines journal = End();
  EXPECT_EQ(journal[2], "wait for go");
  EXPECT_EQ(stage_.service.CountOf("load ends"), 2U);
  EXPECT_FALSE(stage_.windows.IsPausePending());
}

TEST_F(WindowRunTest, AContentThatFailsIsNamedAndTheOthersPlay) {
  Start({"missing", "ends", "odd"});
  EXPECT_EQ(End().back(), "destroy ends");
  const std::string said = stage_.errors.Read();
  EXPECT_THAT(said, HasSubstr("plexion: missing: status: no such file\n"));
  EXPECT_THAT(said, HasSubstr("plexion: odd: status: it is odd\n"));
  EXPECT_TRUE(stage_.session.someContentFailed);
}

TEST_F(WindowRunTest, TheFirstWindowThatOpensIsTheFirstThatTheServiceMakes) {
  // Or the service would print neither its banner nor the player's version.
  stage_.options.memoryLimitBytes = 1000;
  Start({"odd", "--locale", "de_DE.UTF-8", "ends", "ends"});
  const Lines journal = End();
  EXPECT_EQ(journal[0], "open ends");
  EXPECT_EQ(journal[1], "bare");
  EXPECT_EQ(stage_.service.Locales(), (Lines{"de_DE.UTF-8", "de_DE.UTF-8"}));
  EXPECT_EQ(stage_.service.Limits(), (std::vector<uint32_t>{1000, 1000}));
}

}  // namespace
}  // namespace plexion_host
