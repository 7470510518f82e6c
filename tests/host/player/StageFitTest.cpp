#include <gtest/gtest.h>

#include "host/player/StageFit.h"

namespace plexion_host::player {
namespace {

using qx::plexion::Dims;

struct Case {
  const char* what;
  double width, height;
  Dims plane;
  Fit fit;
  int32_t x, y, w, h;
};

TEST(StageFitTest, AStageLiesInItsPlaneAsAsked) {
  const Case cases[] = {
      {"same shape", 1280, 720, {1920, 1080}, Fit::kContain, 0, 0, 1920, 1080},
      {"bars at the sides", 800, 600, {1920, 1080}, Fit::kContain, 240, 0, 1440, 1080},
      {"bars above and below", 1920, 1080, {1080, 1920}, Fit::kContain, 0, 656, 1080, 608},
      {"enlarged", 4, 4, {1920, 1080}, Fit::kContain, 420, 0, 1080, 1080},
      {"brought down", 4096, 4096, {1920, 1080}, Fit::kContain, 420, 0, 1080, 1080},
      {"a pixel off its shape", 1000, 500, {853, 427}, Fit::kContain, 0, 0, 853, 427},
      {"cut at the sides", 1920, 1080, {1080, 1920}, Fit::kCover, -1167, 0, 3413, 1920},
      {"cut above and below", 800, 600, {1920, 1080}, Fit::kCover, 0, -180, 1920, 1440},
      {"same shape, covered", 640, 360, {1920, 1080}, Fit::kCover, 0, 0, 1920, 1080},
      {"stretched", 800, 600, {1920, 1080}, Fit::kStretch, 0, 0, 1920, 1080},
      {"as it is", 300, 100, {1920, 1080}, Fit::kNone, 810, 490, 300, 100},
      {"as it is, and larger", 2001, 1200, {1920, 1080}, Fit::kNone, -41, -60, 2001, 1200},
      {"a line", 100000, 1, {100, 100}, Fit::kContain, 0, 49, 100, 1},
      {"a line over everything", 1, 4096, {1920, 1080}, Fit::kCover, 0, -3931620, 1920, 7864320},
      {"not whole pixels", 0.5, 0.25, {100, 50}, Fit::kContain, 0, 0, 100, 50},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    const StageFit fit = StageFit::Of(each.width, each.height, each.plane, each.fit);
    EXPECT_EQ(each.x, fit.x);
    EXPECT_EQ(each.y, fit.y);
    EXPECT_EQ(each.w, fit.width);
    EXPECT_EQ(each.h, fit.height);
    EXPECT_DOUBLE_EQ(fit.width, fit.scaleX * each.width);
    EXPECT_DOUBLE_EQ(fit.height, fit.scaleY * each.height);
    const qx::plexion::Rect seen = fit.Visible(each.plane);
    EXPECT_LE(seen.x + seen.width, each.plane.width);
    EXPECT_LE(seen.y + seen.height, each.plane.height);
    EXPECT_GT(seen.width * seen.height, 0u);
    if (each.fit == Fit::kCover || each.fit == Fit::kStretch) {
      EXPECT_EQ(each.plane.width, seen.width) << "nothing is left free";
      EXPECT_EQ(each.plane.height, seen.height);
    }
  }
}

TEST(StageFitTest, VariablesSayHow) {
  PlayerSettings settings;
  EXPECT_EQ(Fit::kContain, FitOf(settings));
  settings.morvelVars = "fit=cover&a=1&fit=none";
  std::string error;
  ASSERT_TRUE(ReadMorvelVars(settings, error)) << error;
  EXPECT_EQ(Fit::kNone, FitOf(settings)) << "the last one counts";
  ForgetFit(settings);
  EXPECT_EQ(Fit::kContain, FitOf(settings));
  EXPECT_EQ("a", settings.variables.front().first) << "the others stay";
  settings.morvelVars = "fit=fill";
  EXPECT_FALSE(ReadMorvelVars(settings, error));
  EXPECT_EQ("variable fit is \"fill\"; expected contain, cover, stretch or none", error);
}

}  // namespace
}  // namespace plexion_host::player
