#include <gtest/gtest.h>

#include "host/graphics/Display.h"
#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/window/SdlWindow.h"
#include "host/launcher/run/PlaneTransition.h"

namespace plexion_host {
namespace {

using Direction = Transition::Direction;
using Kind = Transition::Kind;
using qx::plexion::Dims;
using qx::plexion::Rect;

constexpr uint32_t kRed = 0xffff0000u;
constexpr uint32_t kBlue = 0xff0000ffu;
constexpr uint32_t kGrey = 0xff808080u;
constexpr Rect kZone = {10, 6, 40, 30};

/// A screen of grey with a zone in it, whose content is red and then blue.
class PlaneTransitionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Fill({0, 0, 80, 60}, kGrey);
    red_ = Fill(kZone, kRed);
    blue_ = Fill(kZone, kBlue);
  }

  qx::platform::OutputPlane* Fill(const Rect& rect, uint32_t colour) {
    qx::platform::OutputPlane* const plane =
        driver_.CreateOutputPlane(rect, false, nullptr, nullptr, "");
    auto* const pixels = static_cast<uint32_t*>(plane->LockPixels(false));
    std::fill(pixels, pixels + size_t{rect.width} * rect.height, colour);
    plane->UnlockPixels();
    plane->ShowRegion({0, 0, rect.width, rect.height});
    return plane;
  }

  uint32_t At(uint32_t x, uint32_t y) {
    Dims dims{};
    std::vector<uint32_t> pixels;
    display_.CopyScreen(dims, pixels);
    return pixels[size_t{y} * dims.width + x];
  }

  /// How many pixels of the zone are blue, when the others are red and all around is grey.
  size_t CountBlue() {
    Dims dims{};
    std::vector<uint32_t> pixels;
    display_.CopyScreen(dims, pixels);
    size_t blue = 0;
    size_t neither = 0;
    for (uint32_t y = 0; y < dims.height; ++y) {
      for (uint32_t x = 0; x < dims.width; ++x) {
        const uint32_t pixel = pixels[size_t{y} * dims.width + x];
        const bool inside =
            x >= kZone.x && x < kZone.x + kZone.width && y >= kZone.y && y < kZone.y + kZone.height;
        blue += pixel == kBlue ? 1 : 0;
        neither +=
            inside == (pixel == kGrey) || (inside && pixel != kRed && pixel != kBlue) ? 1 : 0;
      }
    }
    EXPECT_EQ(0u, neither) << "pixels of neither, or beside the zone";
    return blue;
  }

  std::shared_ptr<Screen> screen_ = std::make_shared<Screen>(Dims{80, 60});
  Display display_{screen_, SdlWindow::Open};
  GraphicsDriver driver_{screen_};
  qx::platform::OutputPlane* red_ = nullptr;
  qx::platform::OutputPlane* blue_ = nullptr;
};

TEST_F(PlaneTransitionTest, AFadeMixesTheTwo) {
  PlaneTransition fade(&display_, {Kind::kFade, 500}, *blue_, *red_);
  int last = -1;
  for (int step = 0; step <= 50; ++step) {
    fade.Draw(step / 50.0);
    const uint32_t pixel = At(20, 20);
    const int blue = static_cast<int>(pixel & 0xFF);
    const int red = static_cast<int>(pixel >> 16 & 0xFF);
    EXPECT_NEAR(255 * step / 50.0, blue, 1);
    EXPECT_NEAR(255, blue + red, 1) << "no darker in the middle";
    EXPECT_GT(blue, last);
    last = blue;
    EXPECT_EQ(kGrey, At(5, 5));
  }
}

TEST_F(PlaneTransitionTest, PushesAndWipesShowTheOneOrTheOther) {
  for (const Kind kind : {Kind::kPush, Kind::kWipe}) {
    for (const Direction direction :
         {Direction::kLeft, Direction::kRight, Direction::kUp, Direction::kDown}) {
      SCOPED_TRACE(static_cast<int>(kind) * 10 + static_cast<int>(direction));
      PlaneTransition motion(&display_, {kind, 500, direction}, *blue_, *red_);
      size_t last = 0;
      for (int step = 0; step <= 40; ++step) {
        motion.Draw(step / 40.0);
        const size_t blue = CountBlue();
        EXPECT_GE(blue, last);
        last = blue;
        EXPECT_TRUE(step > 0 || blue == 0);
        if (step != 20) continue;
        EXPECT_EQ(kZone.width * kZone.height / 2, blue);
        // The next one comes from the side that it moves away from.
        const bool across = direction == Direction::kLeft || direction == Direction::kRight;
        const bool backward = direction == Direction::kLeft || direction == Direction::kUp;
        EXPECT_EQ(backward ? kBlue : kRed, across ? At(48, 20) : At(30, 34));
        EXPECT_EQ(backward ? kRed : kBlue, across ? At(12, 20) : At(30, 8));
      }
      motion.End();
      EXPECT_EQ(kZone.width * kZone.height, CountBlue());
      for (qx::platform::OutputPlane* const plane : {red_, blue_}) {
        EXPECT_EQ(kZone.x, plane->GetRect().x);
        EXPECT_EQ(kZone.y, plane->GetRect().y);
      }
      // A clip that stays would show when the other is moved away.
      red_->SetAbove(nullptr);
      EXPECT_EQ(0u, CountBlue());
      blue_->SetAbove(nullptr);
    }
  }
}

TEST_F(PlaneTransitionTest, ADisplayThatCannotClipFades) {
  PlaneTransition motion(nullptr, {Kind::kPush, 500}, *blue_, *red_);
  motion.Draw(0.5);
  EXPECT_EQ(kZone.x, blue_->GetRect().x);
  EXPECT_EQ(128, blue_->GetAlpha());
  motion.End();
  EXPECT_EQ(255, blue_->GetAlpha());
}

TEST(TransitionTest, IsReadFromACommandLine) {
  Transition transition;
  EXPECT_EQ("", ReadTransition("push,700,up", transition));
  EXPECT_EQ(Kind::kPush, transition.kind);
  EXPECT_EQ(700, transition.durationMs);
  EXPECT_EQ(Direction::kUp, transition.direction);
  EXPECT_EQ("", ReadTransition("fade", transition));
  EXPECT_EQ(500, transition.durationMs);
  EXPECT_EQ("", ReadTransition("cut", transition));
  EXPECT_FALSE(transition.IsGradual());
  for (const char* wrong :
       {"", "dissolve", "fade,", "fade,-1", "fade,60001", "push,5,north", "a,1,up,2"}) {
    EXPECT_NE("", ReadTransition(wrong, transition)) << wrong;
  }
}

}  // namespace
}  // namespace plexion_host
