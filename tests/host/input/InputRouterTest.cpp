// Which window hears what, and what is let go of.

#include <gtest/gtest.h>

#include "host/input/InputRouter.h"
#include "tests/host/input/InputStage.h"

namespace plexion_host {
namespace {

using Lines = std::vector<std::string>;
using Window = InputStage::Window;

constexpr InputSource kDisplay = InputSource::kDisplay;
constexpr InputSource kShell = InputSource::kShell;
constexpr InputSource kNetwork = InputSource::kPointerStream;
constexpr auto kLeft = qx::plexion::kMouseButtonLeft;
constexpr auto kRight = qx::plexion::kMouseButtonRight;

class InputRouterTest : public ::testing::Test {
 protected:
  InputStage stage_;
  InputRouter router_{stage_};
};

TEST_F(InputRouterTest, ForwardsKeysAndRepeatsAndDropsUpsWithoutDown) {
  router_.KeyUp(kDisplay, 65);
  router_.KeyDown(kDisplay, 65);
  router_.KeyDown(kDisplay, 65);
  router_.KeyUp(kDisplay, 65);
  router_.KeyUp(kDisplay, 65);
  router_.KeyDown(kDisplay, 0);
  EXPECT_EQ((Lines{"key down 65", "key down 65", "key up 65"}), stage_.Taken());
}

TEST_F(InputRouterTest, AKeyHeldByTwoSourcesIsUpWhenBothLetGo) {
  router_.KeyDown(kDisplay, 65);
  router_.KeyDown(kNetwork, 65);
  router_.KeyUp(kDisplay, 65);
  EXPECT_EQ((Lines{"key down 65", "key down 65"}), stage_.Taken());
  router_.ReleaseAll(kNetwork);
  EXPECT_EQ(Lines{"key up 65"}, stage_.Taken());
}

TEST_F(InputRouterTest, ASourceThatGoesAwayLetsGoOfEverythingItHolds) {
  stage_.OpenWindow({0, 0, 200, 200});
  router_.KeyDown(kNetwork, 70);
  router_.KeyDown(kNetwork, 66);
  router_.KeyDown(kShell, 66);
  router_.KeyDown(kShell, 99);
  router_.PointerDown(kNetwork, kLeft, 10, 20);
  router_.PointerMove(kNetwork, 30, 40);
  stage_.Taken();
  router_.ReleaseAll(kNetwork);
  EXPECT_EQ((Lines{"key up 70", "up 0 30 40"}), stage_.Taken());
  router_.ReleaseAll(kNetwork);
  EXPECT_EQ(Lines{}, stage_.Taken());
  router_.ReleaseAll(kShell);
  EXPECT_EQ((Lines{"key up 66", "key up 99"}), stage_.Taken());
}

TEST_F(InputRouterTest, MapsPositionsToTheActiveWindowsPlane) {
  Window& window = stage_.OpenWindow({100, 50, 400, 300});
  const std::pair<std::pair<int32_t, int32_t>, const char*> cases[] = {
      {{100, 50}, "move 0 0"},
      {{260, 170}, "move 160 120"},
      {{10, 10}, "move 0 0"},
      {{-5000, 5000}, "move 0 4950"},
      {{2000000000, -2000000000}, "move 65535 0"},
  };
  for (const auto& [at, expected] : cases) {
    router_.PointerMove(kDisplay, at.first, at.second);
    EXPECT_EQ(Lines{expected}, stage_.Taken());
  }
  window.plane->MoveTo({static_cast<uint32_t>(-30), static_cast<uint32_t>(-40)});
  router_.PointerMove(kDisplay, 5, 6);
  EXPECT_EQ(Lines{"move 35 46"}, stage_.Taken()) << "a plane partly left of the screen";
  router_.PointerMove(kDisplay, 5, 6);
  EXPECT_EQ(Lines{}, stage_.Taken()) << "a pointer that stands still says nothing";
}

TEST_F(InputRouterTest, APressActivatesTheWindowInFrontOfThePointer) {
  Window& first = stage_.OpenWindow({0, 0, 300, 300});
  Window& second = stage_.OpenWindow({200, 0, 300, 300});
  router_.PointerDown(kDisplay, kLeft, 250, 10);
  EXPECT_EQ((Lines{"activate 2", "down 0 50 10"}), stage_.Taken());
  router_.PointerUp(kDisplay, kLeft, 251, 11);
  EXPECT_EQ(Lines{"up 0 51 11"}, stage_.Taken());
  first.plane->SetAbove(second.plane);
  router_.PointerDown(kDisplay, kRight, 250, 10);
  EXPECT_EQ((Lines{"activate 1", "down 2 250 10"}), stage_.Taken());
  router_.PointerUp(kDisplay, kRight, 250, 10);
  first.plane->SetVisible(false);
  stage_.Taken();
  router_.PointerDown(kDisplay, kLeft, 250, 10);
  EXPECT_EQ((Lines{"activate 2", "down 0 50 10"}), stage_.Taken()) << "hidden windows are not hit";
}

TEST_F(InputRouterTest, AWindowThatBecomesActiveMeanwhileGetsNothingOfAnothersPlane) {
  Window& first = stage_.OpenWindow({0, 0, 300, 300});
  Window& second = stage_.OpenWindow({200, 0, 300, 300});
  stage_.onActiveAsked = [&] { stage_.active = &second; };
  const auto again = [&] { stage_.active = &first; };
  again();
  router_.PointerMove(kDisplay, 10, 20);
  again();
  router_.PointerDown(kDisplay, kLeft, 30, 40);
  again();
  router_.PointerUp(kDisplay, kLeft, 50, 60);
  stage_.onActiveAsked = nullptr;
  EXPECT_EQ((Lines{"window 1 move 10 20", "window 1 down 0 30 40", "up 0 50 60"}), stage_.Taken());
}

TEST_F(InputRouterTest, APressOnNothingOrOnAWindowThatDoesNotPlayIsDropped) {
  stage_.OpenWindow({0, 0, 300, 300});
  Window& paused = stage_.OpenWindow({200, 0, 300, 300});
  paused.playing = false;
  router_.PointerDown(kDisplay, kLeft, 250, 10);
  router_.PointerUp(kDisplay, kLeft, 250, 10);
  router_.PointerDown(kDisplay, kLeft, 1000, 600);
  router_.PointerUp(kDisplay, kLeft, 10, 10);
  EXPECT_EQ(Lines{}, stage_.Taken());
}

TEST_F(InputRouterTest, AWindowWithoutAPlaneIsHitBelowTheOthers) {
  stage_.OpenWindow({0, 0, 100, 100});
  stage_.OpenWindow({50, 0, 200, 100}, false);
  router_.PointerDown(kDisplay, kLeft, 60, 5);
  EXPECT_EQ(Lines{"down 0 60 5"}, stage_.Taken());
  router_.PointerUp(kDisplay, kLeft, 60, 5);
  stage_.Taken();
  router_.PointerDown(kDisplay, kLeft, 160, 5);
  EXPECT_EQ((Lines{"activate 2", "down 0 110 5"}), stage_.Taken());
}

TEST_F(InputRouterTest, ADragStaysWithItsWindowUntilAllButtonsAreUp) {
  Window& first = stage_.OpenWindow({0, 0, 100, 100});
  Window& second = stage_.OpenWindow({100, 0, 100, 100});
  router_.PointerDown(kDisplay, kLeft, 10, 10);
  router_.PointerMove(kDisplay, 150, 10);
  router_.PointerDown(kDisplay, kRight, 150, 10);
  router_.PointerDown(kDisplay, kRight, 151, 10);
  router_.PointerUp(kDisplay, kLeft, 150, 10);
  EXPECT_EQ((Lines{"down 0 10 10", "move 150 10", "down 2 150 10", "up 0 150 10"}), stage_.Taken());
  // Somebody else makes the other window active in mid-drag.
  stage_.active = &second;
  router_.PointerMove(kDisplay, 160, 10);
  router_.PointerUp(kDisplay, kRight, 161, 10);
  router_.PointerMove(kDisplay, 162, 10);
  EXPECT_EQ((Lines{"window 1 move 160 10", "window 1 up 2 161 10", "move 62 10"}), stage_.Taken());
  stage_.active = &first;
  router_.PointerDown(kDisplay, kLeft, 20, 20);
  stage_.CloseWindow(first);
  router_.PointerMove(kDisplay, 30, 30);
  router_.PointerUp(kDisplay, kLeft, 30, 30);
  EXPECT_EQ(Lines{"down 0 20 20"}, stage_.Taken()) << "the window of the drag has gone";
  router_.PointerDown(kDisplay, kLeft, 150, 30);
  EXPECT_EQ((Lines{"activate 2", "down 0 50 30"}), stage_.Taken());
}

TEST_F(InputRouterTest, WithoutServiceOrWindowsNothingHappensAndNothingStaysHeld) {
  router_.PointerMove(kDisplay, 5, 5);
  router_.PointerDown(kDisplay, kLeft, 5, 5);
  router_.PointerUp(kDisplay, kLeft, 5, 5);
  stage_.hasService = false;
  router_.KeyDown(kDisplay, 65);
  router_.Wheel(qx::plexion::kScrollWheelUp, 3);
  router_.PointerDown(kDisplay, kLeft, 5, 5);
  router_.KeyUp(kDisplay, 65);
  stage_.hasService = true;
  router_.ReleaseAll(kDisplay);
  EXPECT_EQ(Lines{}, stage_.Taken());
  router_.Wheel(qx::plexion::kScrollWheelLeft, 3);
  router_.Wheel(qx::plexion::kScrollWheelLeft, 0);
  EXPECT_EQ(Lines{"scroll 2 3"}, stage_.Taken());
}

}  // namespace
}  // namespace plexion_host
