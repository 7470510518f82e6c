// Blurs against a Gaussian in plain numbers, and effects against what they do to single colours.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/SurfacePool.h"

namespace plexion_host::movie {
namespace {

/// A row's mean over a box that begins `before` places to the left; transparent beyond its ends.
std::vector<double> Box(const std::vector<double>& row, int width, int before) {
  std::vector<double> result(row.size());
  for (int i = 0; i < static_cast<int>(row.size()); ++i) {
    for (int k = i - before; k < i - before + width; ++k) {
      if (k >= 0 && k < static_cast<int>(row.size())) {
        result[static_cast<size_t>(i)] += row[static_cast<size_t>(k)] / width;
      }
    }
  }
  return result;
}

struct BlurCase {
  float sigma;
  int box;  ///< as SVG's feGaussianBlur says; the screens of a browser agree to half a step
};

TEST(EffectsTest, BlurIsThreeBoxesInBothDirections) {
  constexpr int kLength = 301;
  std::vector<uint8_t> row(kLength);
  for (size_t i = 0; i < kLength; ++i) row[i] = (i > 60 && i < 160) || i == 220 ? 255 : 0;
  // Wide space at both ends: what leaves the row between two boxes is lost here.
  for (const BlurCase& c : {BlurCase{0.7f, 1}, BlurCase{0.8f, 2}, BlurCase{1.5f, 3}, BlurCase{3, 6},
                            BlurCase{8, 15}, BlurCase{16, 30}}) {
    std::vector<double> expected(row.begin(), row.end());
    expected = Box(expected, c.box, c.box / 2);
    expected = Box(expected, c.box, (c.box - 1) / 2);
    expected = Box(expected, c.box | 1, c.box / 2);
    for (const bool across : {true, false}) {
      Blur blur;
      std::vector<uint8_t> plane(row);
      std::vector<uint32_t> pixels;
      for (const uint8_t value : row) pixels.push_back(value * 0x01010101u);
      const int width = across ? kLength : 1;
      const int height = across ? 1 : kLength;
      const auto stride = static_cast<size_t>(width);
      blur.Run(Coverage{plane.data(), width, height, stride}, {0, 0, width, height},
               across * c.sigma, !across * c.sigma);
      blur.Run(Surface{pixels.data(), width, height, stride * 4}, {0, 0, width, height},
               across * c.sigma, !across * c.sigma);
      for (size_t i = 0; i < kLength; ++i) {
        ASSERT_NEAR(plane[i], expected[i], 0.6) << c.sigma << " at " << i;
        ASSERT_EQ(pixels[i], plane[i] * 0x01010101u) << "all channels alike";
      }
    }
  }
}

TEST(EffectsTest, BlurKeepsEdgesWhereItRepeatsThemAndNothingElseWhereItIsCut) {
  Blur blur;
  std::vector<uint32_t> pixels(40 * 40, 0xff336699u);
  const Surface surface{pixels.data(), 40, 40, 160};
  blur.Run(surface, {10, 10, 30, 30}, 9, 0.9f, Blur::Edge::kRepeat);
  for (const uint32_t pixel : pixels) ASSERT_EQ(pixel, 0xff336699u);
  blur.Run(surface, {10, 10, 30, 30}, 4, 4);
  EXPECT_EQ(pixels[9 * 40 + 20], 0xff336699u);
  EXPECT_LT(pixels[10 * 40 + 20] >> 24, 160u);
  blur.Run(surface, {0, 0, 40, 40}, -1, std::nanf(""));
  EXPECT_EQ(pixels[0], 0xff336699u);
}

TEST(EffectsTest, BlurAlongADirectionSpreadsThatWayAndNotAcross) {
  constexpr int kSide = 121;
  constexpr float kSigma = 8;
  struct Direction {
    double x, y;
  };
  for (const Direction& d : {Direction{1, 0}, {0, -3}, {1, 1}, {-2, 1}, {0.3, 1}, {5, -4}}) {
    Blur blur;
    SurfacePool pool;
    std::vector<uint32_t> pixels(kSide * kSide);
    const Surface surface{pixels.data(), kSide, kSide, kSide * 4};
    for (int y = -2; y <= 2; ++y) {
      for (int x = -2; x <= 2; ++x) surface.Row(60 + y)[60 + x] = 0xffffffffu;
    }
    BlurAlong(blur, pool, surface, d.x, d.y, kSigma);
    const double length = std::hypot(d.x, d.y);
    double sum = 0, along = 0, across = 0;
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const uint32_t pixel = surface.Row(y)[x];
        ASSERT_EQ(pixel, (pixel & 255) * 0x01010101u) << "all channels alike";
        const double way = ((x - 60) * d.x + (y - 60) * d.y) / length;
        const double beside = ((x - 60) * d.y - (y - 60) * d.x) / length;
        sum += pixel & 255;
        along += (pixel & 255) * way * way;
        across += (pixel & 255) * beside * beside;
      }
    }
    // The square has a variance of two either way; shifting adds a little, and faint ends are lost to whole steps.
    EXPECT_NEAR(sum / (25 * 255), 1, 0.06) << d.x << ", " << d.y;
    EXPECT_NEAR(std::sqrt(along / sum), std::sqrt(kSigma * kSigma + 2), 1.2) << d.x << ", " << d.y;
    EXPECT_LT(across / sum, 3) << d.x << ", " << d.y;
  }
  // What has no direction, or no pixels, stays.
  Blur blur;
  SurfacePool pool;
  uint32_t pixel = 0xff336699u;
  BlurAlong(blur, pool, {&pixel, 1, 1, 4}, 0, 0, 9);
  BlurAlong(blur, pool, {&pixel, 0, 1, 4}, 1, 1, 9);
  EXPECT_EQ(pixel, 0xff336699u);
}

uint32_t After(uint32_t pixel, const std::function<void(const Surface&, const IntRect&)>& effect) {
  effect({&pixel, 1, 1, 4}, {0, 0, 1, 1});
  return pixel;
}

TEST(EffectsTest, ColoursChangeAsTheEffectSays) {
  const Colour black{0, 0, 0, 1};
  const Colour red{1, 0, 0, 1};
  const Colour white{1, 1, 1, 1};
  EXPECT_EQ(After(0x80402010u, [&](auto& s, auto& r) { FillEffect(s, r, red, 0.5f); }),
            0x40400000u);
  // A grey keeps its lightness; of a full green a third of the light is left.
  EXPECT_EQ(After(0xff646464u, [&](auto& s, auto& r) { TintEffect(s, r, black, white, 1); }),
            0xff646464u);
  EXPECT_EQ(After(0xff00ff00u, [&](auto& s, auto& r) { TintEffect(s, r, black, white, 1); }),
            0xff9c9c9cu);
  EXPECT_EQ(After(0xff00ff00u, [&](auto& s, auto& r) { TintEffect(s, r, black, red, 0); }),
            0xff00ff00u);
  EXPECT_EQ(After(0xffffffffu, [&](auto& s, auto& r) { TritoneEffect(s, r, black, red, white); }),
            0xffffffffu);
  EXPECT_EQ(After(0xff000000u, [&](auto& s, auto& r) { TritoneEffect(s, r, red, black, white); }),
            0xffff0000u);
  Levels all;
  all.inputBlack = 0.5f;
  Levels blue;
  blue.outputBlack = 1;
  EXPECT_EQ(
      After(0xff40c000u, [&](auto& s, auto& r) { LevelsEffect(s, r, all, {}, {}, blue, {}); }),
      0xff0081ffu);
}

TEST(EffectsTest, ShadowsLieBelow) {
  std::vector<uint32_t> pixels(30 * 30);
  std::vector<uint32_t> spare(30 * 30);
  const Surface surface{pixels.data(), 30, 30, 120};
  for (int y = 5; y < 15; ++y) std::fill(surface.Row(y) + 5, surface.Row(y) + 15, 0xff00ff00u);
  Blur blur;
  DropShadowEffect(blur, surface, {spare.data(), 30, 30, 120}, surface.Bounds(), {1, 0, 0, 0.5f}, 8,
                   6, 0);
  EXPECT_EQ(surface.Row(12)[14], 0xff00ff00u);
  EXPECT_EQ(surface.Row(17)[17], 0x80800000u);
  EXPECT_EQ(surface.Row(4)[4], 0u);
  EXPECT_EQ(surface.Row(21)[17], 0u);
}

}  // namespace
}  // namespace plexion_host::movie
