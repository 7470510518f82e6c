// Strokes against what they are: all points within half a width of the path, cut or not at its ends.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Stroke.h"

namespace plexion_host::movie {
namespace {

constexpr int kSide = 48;

std::vector<uint8_t> Draw(const Path& path, const StrokeStyle& style) {
  Stroker stroker;
  Rasterizer raster;
  Path outline;
  stroker.Stroke(path, style, 1, outline);
  std::vector<uint8_t> cover(size_t{kSide} * kSide);
  raster.Cover({cover.data(), kSide, kSide, kSide}, outline, Matrix(), FillRule::kNonZero);
  return cover;
}

double Distance(double x, double y, Point a, Point b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double square = dx * dx + dy * dy;
  const double t =
      square == 0 ? 0 : std::clamp(((x - a.x) * dx + (y - a.y) * dy) / square, 0.0, 1.0);
  return std::hypot(x - a.x - t * dx, y - a.y - t * dy);
}

TEST(StrokeTest, RoundStrokesAreAllPointsNearThePath) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> place(4, kSide - 4);
  std::uniform_real_distribution<float> width(0.5, 9);
  double worstMean = 0;
  int far = 0;
  for (int round = 0; round < 24; ++round) {
    Path path;
    std::vector<Point> line;
    const bool curved = round % 2 == 0;
    const bool closed = round % 3 == 0;
    Point at{place(random), place(random)};
    path.Move(at.x, at.y);
    line.push_back(at);
    for (int i = 0; i < 3; ++i) {
      const Point p[3] = {{place(random), place(random)},
                          {place(random), place(random)},
                          {place(random), place(random)}};
      if (!curved) {
        path.Line(p[0].x, p[0].y);
        line.push_back(at = p[0]);
        continue;
      }
      path.Cubic(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
      for (int k = 1; k <= 40; ++k) {
        const float t = static_cast<float>(k) / 40;
        const float s = 1 - t;
        const float w[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
        line.push_back({w[0] * at.x + w[1] * p[0].x + w[2] * p[1].x + w[3] * p[2].x,
                        w[0] * at.y + w[1] * p[0].y + w[2] * p[1].y + w[3] * p[2].y});
      }
      at = p[2];
    }
    if (closed) {
      path.Close();
      line.push_back(line.front());
    }
    StrokeStyle style;
    style.width = width(random);
    style.cap = LineCap::kRound;
    style.join = LineJoin::kRound;
    const std::vector<uint8_t> cover = Draw(path, style);
    double mean = 0;
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const auto nearest = [&](double dx, double dy) {
          double least = 1e9;
          for (size_t k = 0; k + 1 < line.size(); ++k) {
            least = std::min(least, Distance(x + dx, y + dy, line[k], line[k + 1]));
          }
          return least - style.width / 2;
        };
        const double middle = nearest(0.5, 0.5);
        int inside = middle < 0 ? 16 : 0;
        if (std::abs(middle) < 0.75) {
          inside = 0;
          for (int i = 0; i < 16; ++i) {
            if (nearest((i % 4 + 0.5) / 4, (i / 4 + 0.5) / 4) <= 0) ++inside;
          }
        }
        const double off =
            std::abs(cover[static_cast<size_t>(y * kSide + x)] / 255.0 - inside / 16.0);
        mean += off / (kSide * kSide);
        if (off > 0.3) ++far;
      }
    }
    worstMean = std::max(worstMean, mean);
  }
  // Sixteen samples are coarse, and where two edges meet in a pixel areas add up.
  EXPECT_LT(worstMean, 0.02);
  EXPECT_LT(far, 24 * kSide * kSide / 1000);
}

struct Shape {
  const char* name;
  StrokeStyle style;
  double area;
};

double AreaOf(const Path& path, const StrokeStyle& style) {
  double area = 0;
  for (const uint8_t value : Draw(path, style)) area += value / 255.0;
  return area;
}

StrokeStyle Style(float width, LineCap cap, LineJoin join, float miterLimit = 4) {
  StrokeStyle style;
  style.width = width;
  style.cap = cap;
  style.join = join;
  style.miterLimit = miterLimit;
  return style;
}

TEST(StrokeTest, CapsAndJoinsCoverTheirAreas) {
  Path corner;  // two lines of 20 at a right angle
  corner.Move(10, 10);
  corner.Line(30, 10);
  corner.Line(30, 30);
  const double lines = 2 * 20 * 4 - 4;  // they share a square of 2 x 2 on the inner side
  const double circle = M_PI * 4;
  for (const Shape& shape : {
           Shape{"bevel", Style(4, LineCap::kButt, LineJoin::kBevel), lines + 2},
           Shape{"miter", Style(4, LineCap::kButt, LineJoin::kMiter), lines + 4},
           Shape{"limit", Style(4, LineCap::kButt, LineJoin::kMiter, 1.4f), lines + 2},
           Shape{"round", Style(4, LineCap::kButt, LineJoin::kRound), lines + circle / 4},
           Shape{"square", Style(4, LineCap::kSquare, LineJoin::kMiter), lines + 4 + 16},
           Shape{"caps", Style(4, LineCap::kRound, LineJoin::kMiter), lines + 4 + circle},
       }) {
    EXPECT_NEAR(AreaOf(corner, shape.style), shape.area, 0.15) << shape.name;
  }
}

TEST(StrokeTest, DashesAndDotsAreWhereThePatternPutsThem) {
  Path line;
  line.Move(4, 10);
  line.Line(44, 10);
  const float dashes[] = {6, 4};
  const float odd[] = {5};
  const float dots[] = {0, 10};
  StrokeStyle style = Style(2, LineCap::kButt, LineJoin::kMiter);
  style.dashes = dashes;
  style.dashCount = 2;
  EXPECT_NEAR(AreaOf(line, style), 4 * 6 * 2, 0.1);
  style.dashOffset = -2;  // the pattern begins two later: a gap's end comes first
  const std::vector<uint8_t> cover = Draw(line, style);
  EXPECT_EQ(cover[10 * kSide + 4], 0);
  EXPECT_EQ(cover[10 * kSide + 6], 255);
  EXPECT_EQ(cover[10 * kSide + 13], 0);
  style.dashOffset = 0;
  style.dashes = odd;
  style.dashCount = 1;
  EXPECT_NEAR(AreaOf(line, style), 20 * 2, 0.1);
  style.dashes = dots;
  style.dashCount = 2;
  style.cap = LineCap::kRound;
  style.width = 4;
  EXPECT_NEAR(AreaOf(line, style), 4 * M_PI * 4, 1.0);

  // Around a closed contour the last dash goes on into the first.
  Path square;
  square.AddRect({10, 10, 30, 30});
  style = Style(4, LineCap::kButt, LineJoin::kMiter);
  const float half[] = {40, 40};
  style.dashes = half;
  style.dashCount = 2;
  style.dashOffset = 20;
  EXPECT_NEAR(AreaOf(square, style), 40 * 4, 0.2);
  EXPECT_GT(Draw(square, style)[8 * kSide + 8], 250) << "the corner is joined";
}

TEST(StrokeTest, NothingIsDrawnOfWhatHasNoSize) {
  Path line;
  line.Move(10, 10);
  line.Line(20, 10);
  Path point;
  point.Move(10, 10);
  point.Line(10, 10);
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(AreaOf(line, Style(0, LineCap::kRound, LineJoin::kRound)), 0);
  EXPECT_EQ(AreaOf(line, Style(-3, LineCap::kRound, LineJoin::kRound)), 0);
  EXPECT_EQ(AreaOf(line, Style(kNan, LineCap::kRound, LineJoin::kRound)), 0);
  EXPECT_EQ(AreaOf(point, Style(4, LineCap::kButt, LineJoin::kRound)), 0);
  EXPECT_NEAR(AreaOf(point, Style(4, LineCap::kRound, LineJoin::kRound)), M_PI * 4, 0.2);
  EXPECT_NEAR(AreaOf(point, Style(4, LineCap::kSquare, LineJoin::kRound)), 16, 0.1);
  line.Line(kNan, 3);
  EXPECT_EQ(AreaOf(line, Style(3, LineCap::kRound, LineJoin::kRound)), 0);
  // Through a matrix that has no scale.
  Path curve;
  curve.Move(10, 10);
  curve.Cubic(12, 18, 18, 18, 20, 10);
  Path outline;
  Stroker().Stroke(curve, Style(3, LineCap::kRound, LineJoin::kRound), kNan, outline);
  EXPECT_TRUE(outline.verbs.empty());
}

TEST(StrokeTest, WidthsPastAllMeasureCoverEverything) {
  Path corner;
  corner.Move(10, 10);
  corner.Line(20, 23);
  corner.Line(20, 30);
  EXPECT_EQ(AreaOf(corner, Style(3e38f, LineCap::kRound, LineJoin::kRound)), kSide * kSide);
}

}  // namespace
}  // namespace plexion_host::movie
