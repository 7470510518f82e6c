// Layer styles: how far planes grow, where shadows fall, what lies below its layer and what on it.
#include <gtest/gtest.h>

#include <cmath>

#include "host/player/lottie/compositing/Grow.h"
#include "host/player/lottie/compositing/Styles.h"
#include "host/player/lottie/paint/Painter.h"
#include "host/player/lottie/paint/StylePixels.h"
#include "tests/host/player/PlainHost.h"

namespace plexion_host::movie {
namespace {

constexpr int kSide = 64;

bool GoesOn() { return false; }

/// A plane of its own.
struct Plane {
  std::vector<uint8_t> bytes = std::vector<uint8_t>(size_t{kSide} * kSide);
  Coverage coverage{bytes.data(), kSide, kSide, kSide};
  uint8_t& At(int x, int y) { return coverage.Row(y)[x]; }
};

/// How much of a pixel a disc covers, by a grid of points.
int OfDisc(int x, int y, double radius) {
  constexpr int kGrid = 16;
  int inside = 0;
  for (int i = 0; i < kGrid * kGrid; ++i) {
    const double px = x + (i % kGrid + 0.5) / kGrid - 31.7;
    const double py = y + (i / kGrid + 0.5) / kGrid - 32.1;
    inside += px * px + py * py < radius * radius ? 1 : 0;
  }
  return inside * 255 / (kGrid * kGrid);
}

TEST(LayerStylesTest, ADiscGrowsToALargerDisc) {
  std::vector<uint32_t> spare(size_t{kSide} * kSide);
  Grow grow;
  for (const float by : {1.f, 3.f, 9.3f, 17.5f}) {
    Plane plane;
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) plane.At(x, y) = static_cast<uint8_t>(OfDisc(x, y, 12.6));
    }
    grow.Run(plane.coverage, {spare.data(), kSide, kSide, kSide * 4}, by);
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        // A quarter of a pixel at most.
        ASSERT_NEAR(OfDisc(x, y, 12.6 + double{by}), plane.At(x, y), 64)
            << by << ": " << x << ", " << y;
      }
    }
  }
}

TEST(LayerStylesTest, NumbersThatMeanNothingGrowAndMoveNothing) {
  Plane plane;
  plane.At(30, 20) = 200;
  Plane moved;
  std::vector<uint32_t> spare(size_t{kSide} * kSide);
  Grow grow;
  for (const float number : {NAN, -INFINITY, -5.f, 0.f}) {
    grow.Run(plane.coverage, {spare.data(), kSide, kSide, kSide * 4}, number);
    EXPECT_EQ(0, plane.At(31, 20));
  }
  grow.Run(plane.coverage, {spare.data(), kSide, kSide, kSide * 4}, INFINITY);
  EXPECT_EQ(255, plane.At(kSide - 1, kSide - 1)) << "no further than its limit, which is further";
  MovePlane(moved.coverage, plane.coverage, NAN, INFINITY, 0);
  EXPECT_EQ(plane.bytes, moved.bytes);
  MovePlane(moved.coverage, plane.coverage, 3e38f, -3e38f, 7);
  EXPECT_EQ(std::vector<uint8_t>(plane.bytes.size(), 7), moved.bytes);
}

TEST(LayerStylesTest, APlaneMovesByPartsOfPixels) {
  Plane plane;
  plane.At(10, 10) = 200;
  Plane moved;
  MovePlane(moved.coverage, plane.coverage, 2.25f, -3.5f, 0);
  EXPECT_EQ(75, moved.At(12, 7));
  EXPECT_EQ(75, moved.At(12, 6));
  EXPECT_EQ(25, moved.At(13, 7));
  EXPECT_EQ(25, moved.At(13, 6));
  MovePlane(moved.coverage, plane.coverage, 2, -3, 0);
  EXPECT_EQ(200, moved.At(12, 7));
}

TEST(LayerStylesTest, BlendModesAreCountedAsInTheMenuOfTheAuthoringTool) {
  bool known = false;
  EXPECT_EQ(BlendMode::kNormal, StyleBlendOf(1, &known));
  EXPECT_TRUE(known);
  EXPECT_EQ(BlendMode::kMultiply, StyleBlendOf(5));
  EXPECT_EQ(BlendMode::kScreen, StyleBlendOf(11));
  EXPECT_EQ(BlendMode::kOverlay, StyleBlendOf(16));
  EXPECT_EQ(BlendMode::kDifference, StyleBlendOf(24));
  EXPECT_EQ(BlendMode::kLuminosity, StyleBlendOf(30));
  for (const int number : {-1, 2, 7, 20, 31, 1 << 30}) {
    EXPECT_NO_FATAL_FAILURE(StyleBlendOf(number, &known));
    EXPECT_FALSE(known) << number;
  }
}

/// A square of 20 pixels in the middle, in a group with one style.
class StyledGroupTest : public ::testing::Test {
 protected:
  StyledGroupTest() : list_(3), pixels_(size_t{kSide} * kSide) {
    square_.path.AddRect({22, 22, 42, 42});
    square_.colour = {0, 1, 0, 1};
    list_[0].kind = DrawItem::Kind::kGroup;
    list_[0].end = 2;
    list_[0].styles = &styles_;
    list_[0].bounds = {0, 0, kSide, kSide};
    list_[1].op = &square_;
    list_[1].bounds = {22, 22, 42, 42};
    list_[2].kind = DrawItem::Kind::kEnd;
    for (size_t i = 0; i < list_.size(); ++i) list_[i].key = i + 1;
  }

  void Add(LayerStyleKind kind, StyleState state) {
    models_[count_].kind = kind;
    state.style = &models_[count_++];
    styles_.push_back(state);
  }

  void Draw(const IntRect& clip = {0, 0, kSide, kSide}) {
    const Surface surface = {pixels_.data(), kSide, kSide, kSide * 4};
    for (int y = clip.top; y < clip.bottom; ++y) {
      std::fill(surface.Row(y) + clip.left, surface.Row(y) + clip.right, 0xFFFFFFFFu);
    }
    ASSERT_TRUE(painter_.Paint(list_, 0, list_.size(), surface, clip, GoesOn));
  }
  uint32_t At(int x, int y) const { return pixels_[static_cast<size_t>(y * kSide + x)]; }

  LayerStyle models_[4];
  size_t count_ = 0;
  std::vector<StyleState> styles_;
  ShapeOp square_;
  DisplayList list_;
  std::vector<uint32_t> pixels_;
  Painter painter_;
};

constexpr uint32_t kWhite = 0xFFFFFFFF, kGreen = 0xFF00FF00, kRed = 0xFFFF0000;

TEST_F(StyledGroupTest, AShadowFallsAwayFromTheLight) {
  StyleState shadow;
  shadow.colour = {1, 0, 0, 1};
  shadow.angle = 90;
  shadow.distance = 8;
  Add(LayerStyleKind::kDropShadow, shadow);
  Draw();
  EXPECT_EQ(kWhite, At(32, 18)) << "the light comes from above";
  EXPECT_EQ(kGreen, At(32, 32));
  EXPECT_EQ(kRed, At(32, 46));
  EXPECT_EQ(kWhite, At(32, 51));
  EXPECT_EQ(kWhite, At(18, 32));
}

TEST_F(StyledGroupTest, AStrokeStandsAroundItsLayerAndAnOverlayOnIt) {
  StyleState stroke;
  stroke.colour = {1, 0, 0, 1};
  stroke.size = 5;
  Add(LayerStyleKind::kStroke, stroke);
  StyleState overlay;
  overlay.colour = {0, 0, 1, 1};
  Add(LayerStyleKind::kColourOverlay, overlay);
  Draw();
  EXPECT_EQ(0xFF0000FFu, At(32, 32));
  EXPECT_EQ(0xFF0000FFu, At(22, 22));
  EXPECT_EQ(kRed, At(18, 32));
  EXPECT_EQ(kWhite, At(15, 32));
  EXPECT_EQ(kWhite, At(17, 17)) << "round at the corner";
}

TEST_F(StyledGroupTest, WhatRestsIsKeptAndLooksTheSame) {
  StyleState glow;
  glow.colour = {1, 0, 0, 0.75f};
  glow.size = 10;
  Add(LayerStyleKind::kOuterGlow, glow);
  StyleState inner = glow;
  inner.colour = {0, 0, 0, 0.5f};
  inner.distance = 4;
  Add(LayerStyleKind::kInnerShadow, inner);
  painter_.BeginFrame();
  Draw();
  const std::vector<uint32_t> first = pixels_;
  EXPECT_EQ(0u, painter_.KeptBytes()) << "nothing has been seen to rest yet";
  painter_.BeginFrame();
  Draw({10, 12, 50, 40});
  EXPECT_EQ(first, pixels_);
  EXPECT_GT(painter_.KeptBytes(), 0u);
  painter_.BeginFrame();
  Draw();
  EXPECT_EQ(first, pixels_) << "from what was kept, also beyond what was asked for then";

  styles_[0].colour = {0, 0, 1, 1};
  list_[0].look = 99;
  painter_.BeginFrame();
  Draw();
  EXPECT_NE(first, pixels_);
  EXPECT_EQ(0u, painter_.KeptBytes());

  painter_.BeginFrame();
  Draw();
  EXPECT_GT(painter_.KeptBytes(), 0u);
  painter_.SaveMemory();
  EXPECT_EQ(0u, painter_.KeptBytes());
  for (int i = 0; i < 3; ++i) {
    painter_.BeginFrame();
    Draw();
  }
  EXPECT_EQ(0u, painter_.KeptBytes());
}

TEST_F(StyledGroupTest, AnyNumbersOfADocumentAreDrawnAndEnd) {
  Constancy constancy;
  const Moment moment = {0, &constancy, nullptr, nullptr};
  std::vector<float> lent;
  for (const float number : {-1.f, 3.4e38f}) {
    const float values[8] = {number, number, 1, number, number, 0, number, 1};
    Property property;
    property.dims = 8;
    property.value = values;
    LayerStyle all;
    for (const Property** member :
         {&all.colour,       &all.opacity,   &all.blend,  &all.angle,    &all.size,
          &all.distance,     &all.spread,    &all.range,  &all.noise,    &all.option,
          &all.gradientKind, &all.reverse,   &all.align,  &all.scale,    &all.offset,
          &all.stops,        &all.strength,  &all.soften, &all.altitude, &all.shadeColour,
          &all.shadeOpacity, &all.shadeBlend}) {
      *member = &property;
    }
    all.stopCount = 2;
    for (int kind = 0; kind < static_cast<int>(LayerStyleKind::kUnknown); ++kind) {
      all.kind = static_cast<LayerStyleKind>(kind);
      StyleState state;
      state.style = &all;
      EvaluateStyle(moment, lent, state);
      state.box = {number, 0, 1, number};
      styles_ = {state};
      // As far as anything reaches, but only in a corner: pixels cost time.
      Draw({0, 0, 4, 4});
    }
  }
}

}  // namespace
}  // namespace plexion_host::movie
