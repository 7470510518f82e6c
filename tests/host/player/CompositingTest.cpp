// Blend modes, masks and mattes against their definitions in plain numbers.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numeric>
#include <random>

#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/compositing/Mask.h"
#include "host/player/lottie/compositing/SurfacePool.h"

namespace plexion_host::movie {
namespace {

using Rgb = std::array<double, 3>;

double Lum(const Rgb& c) { return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]; }
double Sat(const Rgb& c) {
  return *std::max_element(c.begin(), c.end()) - *std::min_element(c.begin(), c.end());
}
Rgb SetLum(Rgb c, double lum) {
  const double d = lum - Lum(c);
  for (double& v : c) v += d;
  const double l = Lum(c);
  const double n = *std::min_element(c.begin(), c.end());
  const double x = *std::max_element(c.begin(), c.end());
  for (double& v : c) {
    if (n < 0) v = l + (v - l) * l / (l - n);
  }
  for (double& v : c) {
    if (x > 1) v = l + (v - l) * (1 - l) / (x - l);
  }
  return c;
}
Rgb SetSat(Rgb c, double s) {
  const double least = *std::min_element(c.begin(), c.end());
  const double range = Sat(c);
  for (double& v : c) v = range > 0 ? (v - least) * s / range : 0;
  return c;
}

double Separable(BlendMode mode, double b, double s) {
  switch (mode) {
    case BlendMode::kMultiply:
      return b * s;
    case BlendMode::kScreen:
      return b + s - b * s;
    case BlendMode::kOverlay:
      return Separable(BlendMode::kHardLight, s, b);
    case BlendMode::kDarken:
      return std::min(b, s);
    case BlendMode::kLighten:
      return std::max(b, s);
    case BlendMode::kColourDodge:
      return b == 0 ? 0 : s >= 1 ? 1 : std::min(1.0, b / (1 - s));
    case BlendMode::kColourBurn:
      return b >= 1 ? 1 : s <= 0 ? 0 : 1 - std::min(1.0, (1 - b) / s);
    case BlendMode::kHardLight:
      return s <= 0.5 ? b * 2 * s : b + (2 * s - 1) - b * (2 * s - 1);
    case BlendMode::kSoftLight: {
      const double d = b <= 0.25 ? ((16 * b - 12) * b + 4) * b : std::sqrt(b);
      return s <= 0.5 ? b - (1 - 2 * s) * b * (1 - b) : b + (2 * s - 1) * (d - b);
    }
    case BlendMode::kDifference:
      return std::abs(b - s);
    case BlendMode::kExclusion:
      return b + s - 2 * b * s;
    default:
      return s;
  }
}

Rgb Mixed(BlendMode mode, const Rgb& b, const Rgb& s) {
  switch (mode) {
    case BlendMode::kHue:
      return SetLum(SetSat(s, Sat(b)), Lum(b));
    case BlendMode::kSaturation:
      return SetLum(SetSat(b, Sat(s)), Lum(b));
    case BlendMode::kColour:
      return SetLum(s, Lum(b));
    case BlendMode::kLuminosity:
      return SetLum(b, Lum(s));
    default:
      return {Separable(mode, b[0], s[0]), Separable(mode, b[1], s[1]),
              Separable(mode, b[2], s[2])};
  }
}

/// Channel `i` of a premultiplied pixel, 0 red to 2 blue, 3 alpha; 0 to 1.
double Part(uint32_t pixel, int i) {
  return (i == 3 ? pixel >> 24 : pixel >> (16 - 8 * i) & 255) / 255.0;
}

uint32_t RandomPixel(std::mt19937& random) {
  const uint32_t kind = random() % 4;
  const uint32_t alpha = kind == 0 ? 255 : kind == 1 ? 0 : random() % 256;
  uint32_t pixel = alpha << 24;
  for (int i = 0; i < 3; ++i) {
    const uint32_t edge = random() % 4;
    const uint32_t value = edge == 0 ? 0 : edge == 1 ? alpha : random() % (alpha + 1);
    pixel |= value << (8 * i);
  }
  return pixel;
}

TEST(CompositingTest, EachModeBlendsAsItIsDefined) {
  std::mt19937 random(5);
  constexpr int kCount = 1027;  // no multiple of any vector
  for (int m = 0; m < kBlendModes; ++m) {
    const auto mode = static_cast<BlendMode>(m);
    std::vector<uint32_t> source(kCount);
    std::vector<uint32_t> before(kCount);
    for (int i = 0; i < kCount; ++i) {
      source[static_cast<size_t>(i)] = RandomPixel(random);
      before[static_cast<size_t>(i)] = RandomPixel(random);
    }
    std::vector<uint32_t> target = before;
    const float opacity = m % 2 == 0 ? 1.0f : 0.6f;
    Composite({target.data(), kCount, 1, kCount * 4}, {source.data(), kCount, 1, kCount * 4}, 0, 0,
              {0, 0, kCount, 1}, opacity, mode);
    for (size_t i = 0; i < kCount; ++i) {
      const double as = Part(source[i], 3) * opacity;
      const double ab = Part(before[i], 3);
      Rgb cs{};
      Rgb cb{};
      for (int c = 0; c < 3; ++c) {
        const auto at = static_cast<size_t>(c);
        cs[at] = as > 0 ? Part(source[i], c) / Part(source[i], 3) : 0;
        cb[at] = ab > 0 ? Part(before[i], c) / ab : 0;
      }
      const Rgb mixed = Mixed(mode, cb, cs);
      for (int c = 0; c < 4; ++c) {
        const auto at = static_cast<size_t>(c % 3);
        const double expected =
            c == 3 ? as + ab - as * ab
                   : (1 - ab) * as * cs[at] + (1 - as) * ab * cb[at] + as * ab * mixed[at];
        ASSERT_NEAR(Part(target[i], c) * 255, expected * 255, 1.3)
            << "mode " << m << " channel " << c << std::hex << " source " << source[i] << " target "
            << before[i];
      }
    }
  }
}

TEST(CompositingTest, GroupsAreCutToTargetAndClip) {
  std::vector<uint32_t> target(8 * 8);
  std::vector<uint32_t> group(6 * 6, 0xff00ff00u);
  Composite({target.data(), 8, 8, 32}, {group.data(), 6, 6, 24}, -2, 5, {0, 0, 3, 100}, 1,
            BlendMode::kNormal);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      EXPECT_EQ(target[static_cast<size_t>(y * 8 + x)], x < 3 && y >= 5 ? 0xff00ff00u : 0u);
    }
  }
}

struct MaskCase {
  MaskMode mode;
  uint8_t before, mask;
  float opacity;
  bool inverted;
  int after;
};

TEST(CompositingTest, MasksMeetByTheirModes) {
  for (const MaskCase& c : {
           MaskCase{MaskMode::kAdd, 128, 128, 1, false, 192},
           MaskCase{MaskMode::kAdd, 0, 255, 0.5f, false, 128},
           MaskCase{MaskMode::kAdd, 0, 255, 1, true, 0},
           MaskCase{MaskMode::kSubtract, 255, 128, 1, false, 127},
           MaskCase{MaskMode::kSubtract, 255, 0, 0.5f, true, 127},
           MaskCase{MaskMode::kIntersect, 255, 51, 1, false, 51},
           MaskCase{MaskMode::kLighten, 100, 200, 1, false, 200},
           MaskCase{MaskMode::kDarken, 100, 200, 1, false, 100},
           MaskCase{MaskMode::kDifference, 255, 200, 1, false, 55},
       }) {
    uint8_t into = c.before;
    uint8_t mask = c.mask;
    AddMask({&into, 1, 1, 1}, {&mask, 1, 1, 1}, {0, 0, 1, 1}, c.mode, c.opacity, c.inverted);
    EXPECT_NEAR(into, c.after, 1) << static_cast<int>(c.mode);
  }
  EXPECT_EQ(MaskStart(MaskMode::kAdd), 0);
  EXPECT_EQ(MaskStart(MaskMode::kSubtract), 255);
}

TEST(CompositingTest, MasksMeetAlikeAllAlongARow) {
  std::vector<uint8_t> before(203), mask(203);
  for (size_t i = 0; i < before.size(); ++i) {
    before[i] = static_cast<uint8_t>(i * 89);
    mask[i] = static_cast<uint8_t>(i * 151 + 7);
  }
  for (int mode = 0; mode <= static_cast<int>(MaskMode::kDifference); ++mode) {
    std::vector<uint8_t> into = before;
    AddMask({into.data(), 203, 1, 203}, {mask.data(), 203, 1, 203}, {1, 0, 202, 1},
            static_cast<MaskMode>(mode), 0.7f, mode % 2 == 1);
    EXPECT_EQ(into[0], before[0]);
    EXPECT_EQ(into[202], before[202]);
    for (size_t i = 1; i < 202; ++i) {
      uint8_t one = before[i];
      AddMask({&one, 1, 1, 1}, {&mask[i], 1, 1, 1}, {0, 0, 1, 1}, static_cast<MaskMode>(mode), 0.7f,
              mode % 2 == 1);
      EXPECT_EQ(into[i], one) << mode << " at " << i;
    }
  }
}

TEST(CompositingTest, MattesLeaveWhatTheyShow) {
  uint32_t matte = 0x80800000u;  // half red
  const auto leaves = [&matte](MatteMode mode) {
    uint32_t pixel = 0xffffffffu;
    ApplyMatte({&pixel, 1, 1, 4}, {&matte, 1, 1, 4}, {0, 0, 1, 1}, mode);
    return static_cast<int>(pixel >> 24);
  };
  EXPECT_EQ(leaves(MatteMode::kAlpha), 128);
  EXPECT_EQ(leaves(MatteMode::kAlphaInverted), 127);
  EXPECT_NEAR(leaves(MatteMode::kLuma), 128 * 0.2125, 1);
  EXPECT_NEAR(leaves(MatteMode::kLumaInverted), 255 - 128 * 0.2125, 1);
}

TEST(CompositingTest, MasksGrowAndShrinkOnAllSides) {
  Rasterizer raster;
  Stroker stroker;
  Path scratch;
  Path square;
  square.AddRect({10, 10, 20, 20});
  const auto side = [&](float pixels) {
    std::vector<uint8_t> plane(32 * 32);
    std::vector<uint8_t> spare(32 * 32);
    CoverExpanded(raster, stroker, scratch, {plane.data(), 32, 32, 32}, {spare.data(), 32, 32, 32},
                  square, Matrix(), FillRule::kNonZero, pixels);
    return std::sqrt(std::accumulate(plane.begin(), plane.end(), 0) / 255.0);
  };
  EXPECT_NEAR(side(3), 16, 0.01);
  EXPECT_NEAR(side(-2), 6, 0.01);
  EXPECT_NEAR(side(-20), 0, 0.01);
}

TEST(CompositingTest, PoolsLendTheSameMemoryAgainAndClean) {
  SurfacePool pool;
  const uint32_t* first = nullptr;
  for (int i = 0; i < 3; ++i) {
    SurfacePool::Lease lease = pool.TakeSurface(100, 50 - i);
    EXPECT_EQ(lease.surface.Row(3)[7], 0u);
    lease.surface.Row(3)[7] = 5;
    if (i == 0) first = lease.surface.pixels;
    EXPECT_EQ(lease.surface.pixels, first);
  }
  EXPECT_GE(pool.Bytes(), 100u * 50 * 4);
  pool.Trim();
  pool.Trim();
  EXPECT_EQ(pool.Bytes(), 0u);
}

TEST(CompositingTest, PoolsComeDownAfterAPeak) {
  SurfacePool pool;
  for (int i = 1; i <= 50; ++i) {  // a group that grows from frame to frame is one group
    pool.BeginFrame();
    pool.TakeSurface(100, 10 * i);
  }
  EXPECT_LE(pool.Bytes(), 2u * 100 * 500 * 4);
  for (int i = 0; i < 200; ++i) {
    pool.BeginFrame();
    pool.TakeSurface(100, 10);
  }
  EXPECT_LE(pool.Bytes(), 2u * 100 * 10 * 4);
}

TEST(CompositingTest, PoolsKeepWhatEveryPassNeeds) {
  SurfacePool pool;
  const auto pass = [&pool](bool steady) {
    const size_t bytes = pool.Bytes();
    for (int frame = 0; frame < 300; ++frame) {
      pool.BeginFrame();
      if (frame < 100) pool.TakeSurface(100, 10);
      if (frame == 150) pool.TakeSurface(500, 500);
      if (steady) {
        ASSERT_EQ(bytes, pool.Bytes()) << frame;
      }
    }
  };
  for (int i = 0; i < 8; ++i) pass(false);
  for (int i = 0; i < 8; ++i) pass(true);
}

}  // namespace
}  // namespace plexion_host::movie
