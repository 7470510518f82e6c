#include <gtest/gtest.h>

#include <thread>

#include "host/launcher/run/WindowList.h"
#include "tests/host/launcher/RunStage.h"

namespace plexion_host {
namespace {

using namespace qx::plexion;  // NOLINT: the statuses are many

class StatusesTest : public ::testing::Test {
 protected:
  void Notify(WindowObserver& observer, StageWindowStatus status, const char* message = nullptr) {
    StageWindowStatusData data{};
    data.message = message;
    observer.OnStageWindowNotification(nullptr, status, &data);
  }
  StatusBoard board_;
};

TEST_F(StatusesTest, TheFirstEndingIsTheCause) {
  WindowObserver observer(board_);
  Notify(observer, kStatusLoading);
  EXPECT_FALSE(observer.GetEnding().has_value());
  Notify(observer, kErrorCorruptMovie, "line 3: no layers");
  Notify(observer, kErrorRenderPlaneCreationFailure);
  ASSERT_TRUE(observer.GetEnding().has_value());
  EXPECT_EQ(kErrorCorruptMovie, observer.GetEnding()->status);
  EXPECT_EQ("line 3: no layers", observer.GetEnding()->message);
}

TEST_F(StatusesTest, EventsAreNoStates) {
  WindowObserver observer(board_);
  Notify(observer, kStatusPlaying);
  for (const StageWindowStatus event :
       {kInfoLoadProgress, kInfoRenderPlaneUpdated, kInfoWindowMoved, kInfoNotifyFPS}) {
    Notify(observer, event);
    EXPECT_EQ(kStatusPlaying, observer.GetState());
  }
  EXPECT_FALSE(observer.HasDrawn());
  Notify(observer, kInfoOutputPlaneUpdated);
  EXPECT_TRUE(observer.HasDrawn());
  EXPECT_EQ(kStatusPlaying, observer.GetState());
}

TEST_F(StatusesTest, WhatAWindowSaysBeforeItHasAPlayerIsNoEnding) {
  WindowObserver observer(board_);
  observer.TakeStatus(kErrorModuleUnavailable);
  EXPECT_FALSE(observer.GetEnding().has_value());
  observer.TakeStatus(kStatusConfigured);
  EXPECT_EQ(kStatusConfigured, observer.GetState());
  observer.TakeStatus(kErrorInvalidURL);
  EXPECT_TRUE(observer.GetEnding().has_value());
}

TEST_F(StatusesTest, AWaitEndsWithTheStatusThatItWaitsFor) {
  WindowObserver observer(board_);
  std::thread player([&] {
    for (const auto status : {kStatusLoading, kStatusLoaded, kStatusReadyToAnimate}) {
      Notify(observer, status);
    }
  });
  board_.Wait([&] { return observer.IsReadyLocked(); });
  EXPECT_EQ(kStatusReadyToAnimate, observer.GetState());
  player.join();
  EXPECT_FALSE(
      board_.WaitUntil(StatusBoard::Clock::now(), [&] { return observer.HasEndedLocked(); }));
}

TEST_F(StatusesTest, AskingForTheEndWakesWhoeverWaits) {
  WindowList windows(board_);
  int asked = 0;
  windows.SetQuitHandler([&asked] { ++asked; });
  std::thread person([&] { windows.RequestQuit(); });
  board_.Wait([&] { return windows.IsQuitting(); });
  person.join();
  EXPECT_EQ(1, asked);
}

TEST(KeyUps, AreDeliveredBeforeAWindowTakesThemWithIt) {
  RunStage stage;
  stage.windows.SetKeyUpDelay(std::chrono::milliseconds(40));
  const WindowLine line;
  StageWindow* const first = stage.service.CreateStageWindow();
  StageWindow* const second = stage.service.CreateStageWindow();
  stage.windows.Add(first, line);
  stage.windows.Add(second, line);
  const auto pressed = StatusBoard::Clock::now();
  stage.windows.DispatchKeyDown(65);
  stage.windows.Destroy(first);
  EXPECT_GE(StatusBoard::Clock::now() - pressed, std::chrono::milliseconds(40));
  stage.windows.SetKeyUpDelay(std::chrono::hours(1));
  stage.windows.DispatchKeyDown(65);
  stage.windows.RequestQuit();
  stage.windows.Destroy(second);  // at the end nobody is left to mind
  EXPECT_EQ(stage.service.Journal(),
            (Lines{"bare", "bare", "key 65", "destroy", "key 65", "destroy"}));
}

}  // namespace
}  // namespace plexion_host
