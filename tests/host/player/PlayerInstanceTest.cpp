// Statuses, commands and endings of a player instance, with a scripted engine on virtual time.
#include <gmock/gmock.h>

#include <future>

#include "qx/plexion/StageWindowParameters.h"
#include "tests/host/FakeStageWindow.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class PlayerInstanceTest : public PlayerFixture {};

TEST_F(PlayerInstanceTest, PassesThroughEveryStateOnTheWayToItsEnd) {
  LoadAndPlay();
  EXPECT_EQ(64u, player_->GetMVXAuthoredStageDims().width);
  EXPECT_EQ(36u, player_->GetMVXAuthoredStageDims().height);
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(window_.States(),
              ElementsAre(kStatusConfigured, kStatusLoading, kStatusLoaded, kStatusReadyToAnimate,
                          kStatusPlaying, kStatusComplete));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_EQ(0, Script().live) << "the engine is gone with the content";
}

TEST_F(PlayerInstanceTest, PreparesTheEngineAsSoonAsTheContentIsKnown) {
  ASSERT_TRUE(Configure());
  clock_.Settle();
  EXPECT_EQ("film.mvx", engines_.prepared);
  EXPECT_EQ("", engines_.opened.name) << "nothing is loaded unasked";
}

TEST_F(PlayerInstanceTest, StoresEachStatusBeforeItAnnouncesIt) {
  std::vector<StageWindowStatus> answered;
  window_.onStatus = [&](StageWindowStatus status) {
    if (status >= kStatusLoading && status < kInfoLoadProgress) {
      answered.push_back(player_->GetStageWindowStatus());
    }
  };
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(answered, ElementsAre(kStatusLoading, kStatusLoaded, kStatusReadyToAnimate,
                                    kStatusPlaying, kStatusComplete));
}

TEST_F(PlayerInstanceTest, DrawsTheFirstFrameAsSoonAsThereIsAPlane) {
  Load();
  EXPECT_TRUE(Script().drawnFrames.empty());
  ASSERT_TRUE(player_->SetRenderPlane(&plane_));
  clock_.Settle();
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0));
  ASSERT_EQ(1u, window_.Count(kInfoRenderPlaneUpdated));
  EXPECT_EQ(64u, window_.Events(kInfoRenderPlaneUpdated)[0].rect.width);
  EXPECT_EQ(kStatusReadyToAnimate, player_->GetStageWindowStatus());
  EXPECT_EQ(0, plane_.locks);
}

TEST_F(PlayerInstanceTest, StartsTheClockOnlyWhenThereIsAPlane) {
  Load();
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(1000 * kMs);
  EXPECT_EQ(kStatusReadyToAnimate, player_->GetStageWindowStatus());
  ASSERT_TRUE(player_->SetRenderPlane(&plane_));
  clock_.Settle();
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  EXPECT_THAT(Script().drawnFrames, ElementsAre(0));
}

TEST_F(PlayerInstanceTest, DrawsAllOfANewPlane) {
  Load();
  FakePlane other(32, 18);
  player_->SetRenderPlane(&plane_);
  clock_.Settle();
  EXPECT_TRUE(player_->ResetRenderPlane(&other));
  clock_.Settle();
  EXPECT_TRUE(player_->SetRenderPlane(&other)) << "the same one again: its size may be new";
  clock_.Settle();
  EXPECT_THAT(Script().drawnEverything, ElementsAre(true, true, true));
  EXPECT_EQ(32u, window_.Events(kInfoRenderPlaneUpdated)[1].rect.width);
}

TEST_F(PlayerInstanceTest, RefusesAPlaneThatItCannotDrawInto) {
  Load();
  FakePlane foreign(64, 36);
  foreign.format = 7;
  FakePlane empty(0, 0);
  EXPECT_FALSE(player_->SetRenderPlane(nullptr));
  EXPECT_FALSE(player_->SetRenderPlane(&foreign));
  EXPECT_FALSE(player_->SetRenderPlane(&empty));
}

TEST_F(PlayerInstanceTest, TellsThatAPlaneWithoutPixelsShowsNothing) {
  plane_.refuseLock = true;
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_EQ(0u, window_.Count(kInfoRenderPlaneUpdated));
  ASSERT_LT(0u, window_.Count(kInfoContentRenderFailure));
  EXPECT_THAT(window_.Events(kInfoContentRenderFailure)[0].message, HasSubstr("film.mvx"));
}

/// Counts as a test says.
class CountingWindow final : public FakeStageWindow {
 public:
  void GetMemoryInfo(unsigned long long& used, unsigned long long& limit,
                     unsigned long long& graphics) override {
    used = usedBytes;
    limit = limitBytes;
    graphics = graphicsBytes;
  }
  unsigned long long usedBytes = 0;
  unsigned long long limitBytes = 0;
};

TEST_F(PlayerInstanceTest, ContentSavesMemoryBeyondTheThresholdAndBeforeTheLimit) {
  constexpr unsigned long long kMiB = 1024 * 1024;
  CountingWindow window;
  stageWindow_ = &window;
  Script().facts.frameCount = 200;  // 20 s
  parameters_.graphicsMemThresholdMegabytes = 30;
  window.graphicsBytes = 8 * kMiB;
  window.usedBytes = 20 * kMiB;
  LoadAndPlay();
  const auto saved = [this] {
    clock_.RunFor(1000 * kMs);
    return Script().savedMemory;
  };
  EXPECT_EQ(0, saved()) << "below both";
  window.usedBytes = 23 * kMiB;
  EXPECT_EQ(1, saved()) << "planes and content together";
  EXPECT_EQ(1, saved()) << "once is enough";
  window.usedBytes = 25 * kMiB;
  EXPECT_EQ(2, saved()) << "it has grown again";
  window.graphicsBytes = 0;
  window.usedBytes = 28 * kMiB;
  EXPECT_EQ(2, saved());
  window.limitBytes = 32 * kMiB;
  EXPECT_EQ(3, saved()) << "there is a limit, and it is near";
  player_.reset();
}

TEST_F(PlayerInstanceTest, AThresholdOfNothingAsksForNothing) {
  CountingWindow window;
  stageWindow_ = &window;
  parameters_.graphicsMemThresholdMegabytes = 0;
  window.graphicsBytes = window.usedBytes = 1ull << 32;
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_EQ(0, Script().savedMemory);
  player_.reset();
}

TEST_F(PlayerInstanceTest, RefusesWhatDoesNotFitItsState) {
  player_ = std::make_unique<PlayerInstance>(nullptr, engines_, clock_);
  EXPECT_FALSE(player_->LoadMVX());
  EXPECT_FALSE(player_->Configure(parameters_)) << "nobody to tell";
  EXPECT_EQ(kErrorIncompleteConfiguration, player_->GetStageWindowStatus());

  ASSERT_TRUE(Configure());
  EXPECT_FALSE(player_->Configure(parameters_));
  EXPECT_FALSE(player_->Play());
  EXPECT_FALSE(player_->Pause());
  EXPECT_FALSE(player_->Terminate(kStatusPlaying)) << "no terminal status";
  EXPECT_TRUE(player_->LoadMVXAsync());
  EXPECT_FALSE(player_->LoadMVX()) << "already loading";
  EXPECT_TRUE(player_->Terminate(kStatusComplete));
  EXPECT_FALSE(player_->Terminate(kErrorFatalPlaybackError)) << "ending already";
  clock_.Settle();
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_FALSE(player_->Play());
  EXPECT_FALSE(player_->SetRenderPlane(&plane_));
  EXPECT_FALSE(player_->Terminate(kErrorFatalPlaybackError));
}

TEST_F(PlayerInstanceTest, LoadsWhatTheLoadSettingsSayAtThatMoment) {
  ASSERT_TRUE(Configure());
  EXPECT_STREQ("film.mvx", player_->GetLoadSettings()->contentUrl.Utf8());
  player_->GetLoadSettings()->contentUrl.Assign("other.mvx");
  player_->GetLoadSettings()->zorBase.Assign("/zor");
  ASSERT_TRUE(player_->LoadMVX());
  clock_.Settle();
  EXPECT_EQ("/zor/other.mvx", engines_.opened.path);
}

TEST_F(PlayerInstanceTest, EndsWithTheCauseWhenTheContentCannotBeOpened) {
  engines_.refusal = {kErrorInvalidURL, "cannot open \"film.mvx\": No such file or directory"};
  Load();
  EXPECT_EQ(kErrorInvalidURL, player_->GetStageWindowStatus());
  EXPECT_EQ("film.mvx: cannot open \"film.mvx\": No such file or directory", window_.EndMessage());
  EXPECT_EQ(0u, window_.Count(kStatusLoaded));
}

TEST_F(PlayerInstanceTest, EndsWithTheCauseWhenTheLoadFails) {
  Script().onLoad = [](EngineHost&, EngineError& error) {
    error = {kErrorCorruptMovie, "line 3, byte 512: no colon"};
    return false;
  };
  Load();
  EXPECT_EQ(kErrorCorruptMovie, player_->GetStageWindowStatus());
  EXPECT_EQ("film.mvx: line 3, byte 512: no colon", window_.EndMessage());
}

TEST_F(PlayerInstanceTest, EndsWhenContentHasNoSize) {
  Script().facts.stageDims = {0, 36};
  Load();
  EXPECT_EQ(kErrorCorruptMovie, player_->GetStageWindowStatus());
}

TEST_F(PlayerInstanceTest, EndsWhenAnEngineRunsOutOfMemory) {
  Script().onLoad = [](EngineHost&, EngineError&) -> bool { throw std::bad_alloc(); };
  Load();
  EXPECT_EQ(kErrorNotEnoughMemory, player_->GetStageWindowStatus());
  EXPECT_THAT(window_.EndMessage(), HasSubstr("film.mvx"));
}

TEST_F(PlayerInstanceTest, ReportsProgressThatOnlyGrows) {
  Script().onLoad = [](EngineHost& host, EngineError&) {
    for (unsigned percent : {10u, 10u, 5u, 60u, 400u}) host.ReportProgress(percent);
    return true;
  };
  Load();
  std::vector<unsigned> percents;
  for (const auto& event : window_.Events(kInfoLoadProgress)) percents.push_back(event.percent);
  EXPECT_THAT(percents, ElementsAre(0, 10, 60, 100));
}

TEST_F(PlayerInstanceTest, TerminatesInTheMiddleOfALoad) {
  std::promise<void> loading;
  Script().onLoad = [&](EngineHost& host, EngineError& error) {
    loading.set_value();
    while (!host.Cancelled()) std::this_thread::yield();
    error.message = "loading was stopped";
    return false;
  };
  ASSERT_TRUE(Configure());
  ASSERT_TRUE(player_->LoadMVX());
  loading.get_future().wait();
  ASSERT_TRUE(player_->Terminate(kErrorFatalPlaybackError));
  clock_.Settle();
  EXPECT_THAT(window_.States(),
              ElementsAre(kStatusConfigured, kStatusLoading, kErrorFatalPlaybackError));
  EXPECT_EQ("film.mvx: loading was stopped", window_.EndMessage());
}

TEST_F(PlayerInstanceTest, TerminatesOnItsOwnThreadFromInsideALoad) {
  // As a memory watchdog does when an allocation passes the limit.
  Script().onLoad = [this](EngineHost&, EngineError& error) {
    EXPECT_TRUE(player_->Terminate(kErrorNotEnoughMemory));
    error = {kErrorCorruptMovie, "no memory for 85658 bytes"};
    return false;
  };
  Load();
  EXPECT_EQ(kErrorNotEnoughMemory, player_->GetStageWindowStatus());
  EXPECT_EQ("film.mvx: no memory for 85658 bytes", window_.EndMessage());
}

TEST_F(PlayerInstanceTest, TerminatesOnItsOwnThreadFromInsideADrawing) {
  Script().onDraw = [this](EngineHost&) {
    if (Script().drawnFrames.size() == 3) player_->Terminate(kErrorNotEnoughMemory);
  };
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  EXPECT_EQ(kErrorNotEnoughMemory, player_->GetStageWindowStatus());
  EXPECT_EQ(3u, Script().drawnFrames.size());
  EXPECT_EQ(0, plane_.locks);
}

TEST_F(PlayerInstanceTest, TerminatesWhilePausedAndBeforeLoading) {
  LoadAndPlay();
  player_->Pause();
  clock_.Settle();
  player_->Terminate(kStatusComplete);
  clock_.Settle();
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());

  RecordingWindow window;
  VirtualPlayerClock clock;
  parameters_.notifier = &window;
  PlayerInstance fresh(nullptr, engines_, clock);
  ASSERT_TRUE(fresh.Configure(parameters_));
  ASSERT_TRUE(fresh.Terminate(kErrorFatalPlaybackError));
  EXPECT_TRUE(window.WaitForEnd());
}

TEST_F(PlayerInstanceTest, AnnouncesExactlyOneEnd) {
  Script().onDraw = [this](EngineHost& host) {
    host.Fail({kErrorFatalPlaybackError, "first"});
    host.Fail({kErrorCorruptMovie, "second"});
    host.Complete();
    player_->Terminate(kErrorNotEnoughMemory);
  };
  Load();
  player_->SetRenderPlane(&plane_);
  player_->Play();
  clock_.RunFor(1000 * kMs);
  size_t ends = 0;
  for (StageWindowStatus status : window_.States()) ends += IsTerminalStatus(status) ? 1 : 0;
  EXPECT_EQ(1u, ends);
}

TEST_F(PlayerInstanceTest, GoesWithoutAWordWhenItIsDestroyed) {
  LoadAndPlay();
  player_.reset();
  EXPECT_EQ(0, Script().live);
  EXPECT_THAT(window_.States(), ElementsAre(kStatusConfigured, kStatusLoading, kStatusLoaded,
                                            kStatusReadyToAnimate, kStatusPlaying));
}

TEST_F(PlayerInstanceTest, CanBeDestroyedInTheMiddleOfALoad) {
  std::promise<void> loading;
  Script().onLoad = [&](EngineHost& host, EngineError&) {
    loading.set_value();
    while (!host.Cancelled()) std::this_thread::yield();
    return false;
  };
  ASSERT_TRUE(Configure());
  ASSERT_TRUE(player_->LoadMVX());
  loading.get_future().wait();
  player_.reset();
  EXPECT_EQ(0, Script().live);
}

TEST_F(PlayerInstanceTest, DeliversInputInTheOrderOfItsArrival) {
  LoadAndPlay();
  player_->KeyDown(13);
  player_->KeyUp(13);
  player_->MouseMove(3, 4);
  player_->MouseButtonDown(kMouseButtonRight, 5, 6);
  player_->MouseButtonUp(kMouseButtonRight, 5, 6);
  player_->ScrollWheelScroll(kScrollWheelDown, 2);
  player_->SendEvent(7);
  player_->Activate();
  player_->Deactivate();
  player_->SetStageRect({0, 0, 32, 18});
  clock_.Settle();
  std::vector<InputEvent::Kind> kinds;
  for (const InputEvent& event : Script().inputs) kinds.push_back(event.kind);
  EXPECT_THAT(kinds,
              ElementsAre(InputEvent::kKeyDown, InputEvent::kKeyUp, InputEvent::kMouseMove,
                          InputEvent::kMouseButtonDown, InputEvent::kMouseButtonUp,
                          InputEvent::kScroll, InputEvent::kEventCode, InputEvent::kActivated,
                          InputEvent::kDeactivated, InputEvent::kStageRect));
  EXPECT_EQ(13u, Script().inputs[0].code);
  EXPECT_EQ(4u, Script().inputs[2].y);
  EXPECT_EQ(kMouseButtonRight, Script().inputs[3].button);
  EXPECT_EQ(kScrollWheelDown, Script().inputs[5].direction);
  EXPECT_EQ(7u, Script().inputs[6].code);
  EXPECT_EQ(32u, Script().inputs[9].stageRect.width);
}

TEST_F(PlayerInstanceTest, HandsOnANewProxy) {
  LoadAndPlay();
  player_->UpdateProxyParameters("10.0.0.1", 3128, "me", nullptr);
  clock_.Settle();
  ASSERT_EQ(1u, Script().proxies.size());
  EXPECT_EQ("10.0.0.1", Script().proxies[0].host);
  EXPECT_EQ(3128u, Script().proxies[0].port);
  EXPECT_EQ("", Script().proxies[0].password);
}

TEST_F(PlayerInstanceTest, TellsOfTracesAfterTheEngineIsDone) {
  bool inside = false;
  window_.onStatus = [&](StageWindowStatus status) {
    if (status == kInfoNotifyTSTrace) {
      EXPECT_FALSE(inside);
    }
  };
  Script().onAdvance = [&](EngineHost& host, const FrameStep& step) {
    inside = true;
    if (step.frame == 2) host.Notify(kInfoNotifyTSTrace, "hello");
    inside = false;
    return StepResult{true, step.position + 1};
  };
  LoadAndPlay();
  clock_.RunFor(1000 * kMs);
  ASSERT_EQ(1u, window_.Count(kInfoNotifyTSTrace));
  EXPECT_EQ("hello", window_.Events(kInfoNotifyTSTrace)[0].message);
}

TEST_F(PlayerInstanceTest, CallsBackBetweenFramesAlsoWhilePaused) {
  FakePlane larger(128, 72);
  window_.onInterFrame = [&] {
    EXPECT_EQ(0, plane_.locks) << "nothing is being drawn";
    EXPECT_TRUE(player_->SetRenderPlane(&larger));
  };
  LoadAndPlay();
  player_->Pause();
  clock_.Settle();
  player_->RequestInterFrameNotification();
  clock_.Settle();
  EXPECT_EQ(1, window_.InterFrames());
  EXPECT_EQ(128u, window_.Events(kInfoRenderPlaneUpdated).back().rect.width);

  player_->Play();
  player_->RequestInterFrameNotification();
  clock_.Settle();
  EXPECT_EQ(2, window_.InterFrames());
}

TEST_F(PlayerInstanceTest, SaysWhichVariableIsWrong) {
  parameters_.morvelVars.Assign("loop=2&speed=fast");
  Load();
  EXPECT_EQ(kErrorStartupFailure, player_->GetStageWindowStatus());
  EXPECT_EQ("film.mvx: variable speed is \"fast\"; expected a factor from 0.01 to 100",
            window_.EndMessage());
}

}  // namespace
}  // namespace plexion_host::player
