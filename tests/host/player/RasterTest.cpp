// Fills against a plain reference that counts samples: random and awkward paths, gradients, pictures.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {
namespace {

constexpr int kSide = 40;
constexpr float kHuge = std::numeric_limits<float>::max();

/// How often a path runs around a point; curves as many short lines.
class Reference {
 public:
  explicit Reference(const Path& path) {
    Point start;
    Point at;
    size_t next = 0;
    for (const Path::Verb verb : path.verbs) {
      const Point* const p = path.points.data() + next;
      if (verb == Path::kMove) {
        Add(at, start);
        start = at = p[0];
      } else if (verb == Path::kLine) {
        Add(at, p[0]);
        at = p[0];
      } else if (verb == Path::kClose) {
        Add(at, start);
        at = start;
      } else {
        const Point from = at;
        for (int i = 1; i <= 200; ++i) {
          const float t = static_cast<float>(i) / 200;
          const float s = 1 - t;
          const float w[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
          const Point to{w[0] * from.x + w[1] * p[0].x + w[2] * p[1].x + w[3] * p[2].x,
                         w[0] * from.y + w[1] * p[0].y + w[2] * p[1].y + w[3] * p[2].y};
          Add(at, to);
          at = to;
        }
      }
      next += verb == Path::kCubic ? 3 : verb == Path::kClose ? 0 : 1;
    }
    Add(at, start);
    Count();
  }

  /// Winding numbers of 16 x 16 samples in each pixel.
  void Count() {
    windings_.assign(size_t{kSide} * 16 * kSide * 16, 0);
    for (const auto& [a, b] : lines_) {
      for (int row = 0; row < kSide * 16; ++row) {
        const float y = (static_cast<float>(row) + 0.5f) / 16;
        if ((a.y <= y) == (b.y <= y)) continue;
        const float x = a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y);
        const int first =
            static_cast<int>(std::ceil(std::min(std::max(x * 16 - 0.5f, 0.0f), kSide * 16.0f)));
        for (int i = first; i < kSide * 16; ++i) {
          windings_[static_cast<size_t>(row * kSide * 16 + i)] += a.y < b.y ? 1 : -1;
        }
      }
    }
  }

  /// Of the pixel's area. `crowded`: contours cross or lie on each other in it.
  double Cover(int x, int y, FillRule rule, bool* crowded) const {
    int inside = 0;
    int least = 1000;
    int most = -1000;
    for (int i = 0; i < 256; ++i) {
      const int winding =
          windings_[static_cast<size_t>((y * 16 + i / 16) * kSide * 16 + x * 16 + i % 16)];
      least = std::min(least, winding);
      most = std::max(most, winding);
      if (rule == FillRule::kEvenOdd ? winding % 2 != 0 : winding != 0) ++inside;
    }
    *crowded = most - least > 1;
    return inside / 256.0;
  }

 private:
  void Add(Point a, Point b) {
    if (a.y != b.y) lines_.emplace_back(a, b);
  }
  std::vector<std::pair<Point, Point>> lines_;
  std::vector<int> windings_;
};

/// A coverage plane of kSide x kSide.
class Plane {
 public:
  Coverage coverage() { return {values_.data(), kSide, kSide, kSide}; }
  int At(int x, int y) const { return values_[static_cast<size_t>(y * kSide + x)]; }
  int Sum() const {
    int sum = 0;
    for (const uint8_t value : values_) sum += value;
    return sum;
  }

 private:
  std::vector<uint8_t> values_ = std::vector<uint8_t>(size_t{kSide} * kSide, 77);
};

struct Difference {
  double most = 0;  ///< in pixels where no contours meet
  double mean = 0;
  double crowdedMean = 0;  ///< in those where they do
};

Difference Compare(const Path& path, FillRule rule) {
  Rasterizer raster;
  Plane plane;
  raster.Cover(plane.coverage(), path, Matrix(), rule);
  const Reference reference(path);
  Difference difference;
  int crowdedCount = 0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      bool crowded = false;
      const double expected = reference.Cover(x, y, rule, &crowded);
      const double off = std::abs(plane.At(x, y) / 255.0 - expected);
      if (crowded) {
        ++crowdedCount;
        difference.crowdedMean += off;
        continue;
      }
      difference.most = std::max(difference.most, off);
      difference.mean += off / (kSide * kSide);
    }
  }
  if (crowdedCount > 0) difference.crowdedMean /= crowdedCount;
  return difference;
}

TEST(RasterTest, RandomPathsCoverWhatSamplesCount) {
  std::mt19937 random(7);
  // Some points lie outside: the target cuts them off.
  std::uniform_real_distribution<float> place(-12, kSide + 12);
  Difference worst;
  for (int round = 0; round < 120; ++round) {
    Path path;
    const int contours = 1 + round % 3;
    for (int c = 0; c < contours; ++c) {
      path.Move(place(random), place(random));
      for (int i = 0; i < 2 + round % 4; ++i) {
        if ((round + i) % 2 == 0) {
          path.Line(place(random), place(random));
        } else {
          path.Cubic(place(random), place(random), place(random), place(random), place(random),
                     place(random));
        }
      }
      if (round % 2 == 0) path.Close();
    }
    const FillRule rule = round % 2 == 0 ? FillRule::kNonZero : FillRule::kEvenOdd;
    const Difference difference = Compare(path, rule);
    worst.most = std::max(worst.most, difference.most);
    worst.mean = std::max(worst.mean, difference.mean);
    worst.crowdedMean = std::max(worst.crowdedMean, difference.crowdedMean);
  }
  // Samples are off by a thirty-second of a pixel at an edge themselves.
  EXPECT_LT(worst.most, 0.05);
  EXPECT_LT(worst.mean, 0.002);
  EXPECT_LT(worst.crowdedMean, 0.5);
}

// Colours are laid straight from the sums, in vectors of any width: what is covered is found the long
// way as well. Sizes go from one pixel to more than fits into the cells of one band.
TEST(RasterTest, ColoursLieExactlyWhereTheCoverSaysAndNowhereElse) {
  std::mt19937 random(11);
  Rasterizer rasterizer;
  constexpr int kBorder = 3;
  for (int round = 0; round < 400; ++round) {
    const auto pick = [&](int most) { return static_cast<int>(random() % unsigned(most)); };
    const int width = 1 + pick(round % 10 == 0 ? 700 : 90);
    const int height = 1 + pick(round % 10 == 0 ? 120 : 40);
    Path path;
    for (int contour = 0; contour < 3; ++contour) {
      const auto x = [&] { return static_cast<float>(pick(width * 512) - width * 128) / 256; };
      const auto y = [&] { return static_cast<float>(pick(height * 512) - height * 128) / 256; };
      path.Move(x(), y());
      for (int i = 0; i < 4; ++i) path.Cubic(x(), y(), x(), y(), x(), y());
      path.Close();
    }
    const FillRule rule = round % 2 == 0 ? FillRule::kNonZero : FillRule::kEvenOdd;
    const int stride = width + 2 * kBorder;
    // The last row ends with its last pixel: what is written behind it is nobody's memory.
    std::vector<uint32_t> before(size_t(stride) * size_t(height) - kBorder);
    for (uint32_t& pixel : before) {
      const uint32_t grey = random() % 256;
      pixel = 0xff000000u | grey << 16 | grey << 8 | grey;
    }
    std::vector<uint32_t> drawn = before;
    const Surface target = {drawn.data() + kBorder, width, height, size_t(stride) * 4};
    Paint paint;
    paint.colour = {0.2f, 0.4f, 0.8f, round % 3 == 0 ? 0.5f : 1.0f};
    const IntRect clip = {pick(width), pick(height), width - pick(width / 2 + 1), height};
    rasterizer.Fill(target, path, Matrix(), rule, paint, &clip);

    std::vector<uint8_t> cover(size_t(width) * size_t(height));
    rasterizer.Cover({cover.data(), width, height, size_t(width)}, path, Matrix(), rule, &clip);
    Path everywhere;
    everywhere.AddRect({-1, -1, 2, 2});
    uint32_t colour = 0;
    rasterizer.Fill({&colour, 1, 1, 4}, everywhere, Matrix(), rule, paint);
    for (int y = 0; y < height; ++y) {
      const int end = std::min((y + 1) * stride, static_cast<int>(before.size()));
      std::vector<uint32_t> expected(before.begin() + y * stride, before.begin() + end);
      BlendColour(expected.data() + kBorder, colour, cover.data() + size_t(y) * size_t(width),
                  width);
      const std::vector<uint32_t> row(drawn.begin() + y * stride, drawn.begin() + end);
      ASSERT_EQ(row, expected) << "round " << round << ", row " << y << " of " << width << " x "
                               << height;
    }
  }
}

TEST(RasterTest, AwkwardPathsCoverWhatTheyEnclose) {
  Rasterizer raster;
  Path path;
  const auto sum = [&](FillRule rule, const IntRect* clip = nullptr) {
    Plane plane;
    plane.coverage().Clear(plane.coverage().Bounds());
    raster.Cover(plane.coverage(), path, Matrix(), rule, clip);
    path.Clear();
    return plane.Sum() / 255.0;
  };
  path.AddRect({3, 3, 3.25f, 23});  // thin
  EXPECT_NEAR(sum(FillRule::kNonZero), 5, 0.05);
  path.AddRect({5.5f, 5.5f, 5.75f, 5.75f});  // tiny
  EXPECT_NEAR(sum(FillRule::kNonZero), 0.0625, 0.01);
  path.AddRect({4, 4, 14, 14});  // twice the same: once, or not at all
  path.AddRect({4, 4, 14, 14});
  EXPECT_NEAR(sum(FillRule::kNonZero), 100, 0.01);
  path.AddRect({4, 4, 14, 14});
  path.AddRect({4, 4, 14, 14});
  EXPECT_EQ(sum(FillRule::kEvenOdd), 0);
  path.AddRect({-1e30f, -1e30f, 1e30f, 10});  // as large as numbers get
  EXPECT_NEAR(sum(FillRule::kNonZero), 10 * kSide, 0.01);
  path.AddRect({-kHuge, 4, 5, kHuge});
  EXPECT_NEAR(sum(FillRule::kNonZero), 5 * (kSide - 4), 0.01);
  path.AddEllipse({0, 20}, 1e7f, 8);
  EXPECT_NEAR(sum(FillRule::kNonZero), 16 * kSide, 1);
  path.AddRect({50, 0, 60, 40});  // outside on each side, and around all
  path.AddRect({-60, 0, -50, 40});
  path.AddRect({0, -10, 40, -5});
  EXPECT_EQ(sum(FillRule::kNonZero), 0);
  path.AddRect({-10, -10, 50, 50});
  const IntRect clip{10, 10, 20, 15};
  EXPECT_EQ(sum(FillRule::kNonZero, &clip), 50);
  path.Line(10, 0);  // without a move it begins where the line ends
  path.Line(10, 10);
  path.Line(0, 10);
  EXPECT_NEAR(sum(FillRule::kNonZero), 50, 0.3);
  for (const float bad : {kHuge * 10, -kHuge * 10, std::nanf("")}) {
    path.AddRect({4, 4, 14, 14});
    path.Line(bad, 3);
    EXPECT_EQ(sum(FillRule::kNonZero), 0) << bad;
  }
}

/// A surface of kSide x kSide.
struct Picture {
  std::vector<uint32_t> pixels = std::vector<uint32_t>(size_t{kSide} * kSide, 0);
  Surface surface{pixels.data(), kSide, kSide, kSide * 4};
  void Fill(const Paint& paint) {
    Path path;
    path.AddRect({0, 0, kSide, kSide});
    Rasterizer raster;
    raster.Fill(surface, path, Matrix(), FillRule::kNonZero, paint);
  }
};

/// What SVG says of a colour at `t`: pad beyond the ends, red, green, blue and alpha on their own.
std::array<double, 4> ColourAt(const std::vector<GradientStop>& stops, double t) {
  const auto parts = [](const Colour& c) -> std::array<double, 4> {
    return {c.red, c.green, c.blue, c.alpha};
  };
  if (t < stops.front().offset) return parts(stops.front().colour);
  for (size_t i = stops.size() - 1; i > 0; --i) {
    if (t >= stops[i].offset) return parts(stops[i].colour);
    if (t < stops[i - 1].offset) continue;
    const double part = (t - stops[i - 1].offset) / (stops[i].offset - stops[i - 1].offset);
    std::array<double, 4> a = parts(stops[i - 1].colour);
    const std::array<double, 4> b = parts(stops[i].colour);
    for (size_t c = 0; c < 4; ++c) a[c] += (b[c] - a[c]) * part;
    return a;
  }
  return parts(stops.front().colour);
}

TEST(RasterTest, GradientsAreWithinOneStepOfTheirFormula) {
  const std::vector<GradientStop> few = {{0.1f, {1, 0, 0, 1}}, {0.9f, {0, 0.5f, 1, 0.25f}}};
  std::vector<GradientStop> hard = {{0, {1, 1, 0, 1}},       {0.3f, {0, 1, 0, 0.2f}},
                                    {0.3f, {0, 0, 1, 0.9f}}, {0.7f, {1, 0, 1, 1}},
                                    {0.7f, {0, 1, 1, 0}},    {1, {1, 1, 1, 1}}};
  std::vector<GradientStop> many;
  for (int i = 0; i < 25; ++i) {
    const auto v = static_cast<float>(i);
    many.push_back({v / 24, {v / 24, i % 2 ? 0.7f : 0.2f, 1 - v / 24, 1}});
  }
  for (const auto& stops : {few, hard, many}) {
    for (const bool radial : {false, true}) {
      Paint paint;
      paint.kind = radial ? Paint::kRadial : Paint::kLinear;
      paint.start = radial ? Point{18, 21} : Point{3.2f, 7.7f};
      paint.end = {33, 29};
      paint.focus = {22, 16.5f};
      paint.radius = 17;
      paint.stops = stops.data();
      paint.stopCount = static_cast<int>(stops.size());
      paint.opacity = 0.8f;
      paint.matrix = {1.1, 0.2, -0.1, 0.9, 1, -2};
      Picture picture;
      picture.Fill(paint);
      Matrix inverse;
      ASSERT_TRUE(paint.matrix.Invert(inverse));
      for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
          const double px = inverse.a * (x + 0.5) + inverse.c * (y + 0.5) + inverse.e;
          const double py = inverse.b * (x + 0.5) + inverse.d * (y + 0.5) + inverse.f;
          double t = 0;
          if (radial) {
            // The circle through the point, of those from the focus to the whole one: by halving.
            double low = 0;
            double high = 100;
            for (int i = 0; i < 60; ++i) {
              t = (low + high) / 2;
              const double cx = paint.focus.x + (paint.start.x - paint.focus.x) * t;
              const double cy = paint.focus.y + (paint.start.y - paint.focus.y) * t;
              (std::hypot(px - cx, py - cy) < t * paint.radius ? high : low) = t;
            }
          } else {
            const double dx = paint.end.x - paint.start.x;
            const double dy = paint.end.y - paint.start.y;
            t = ((px - paint.start.x) * dx + (py - paint.start.y) * dy) / (dx * dx + dy * dy);
          }
          bool edge = false;  // a hard edge runs through the pixel's middle
          for (const GradientStop& stop : stops) edge = edge || std::abs(t - stop.offset) < 1e-4;
          if (edge) continue;
          const std::array<double, 4> colour = ColourAt(stops, t);
          const uint32_t pixel = picture.surface.Row(y)[x];
          const double alpha = colour[3] * 0.8;
          for (int c = 0; c < 4; ++c) {
            const double expected = c == 3 ? alpha : colour[static_cast<size_t>(c)] * alpha;
            const int value = static_cast<int>(c == 3 ? pixel >> 24 : pixel >> (16 - 8 * c) & 255);
            ASSERT_NEAR(value, expected * 255, 1)
                << x << ',' << y << " channel " << c << " radial " << radial << " t " << t;
          }
        }
      }
    }
  }
}

TEST(RasterTest, GradientsWithoutAWayAreOneColourOrNothing) {
  const GradientStop stops[] = {{0, {1, 0, 0, 1}}, {1, {0, 0, 1, 1}}};
  const auto draw = [&](const std::function<void(Paint&)>& change) {
    Paint paint;
    paint.kind = Paint::kLinear;
    paint.end = {10, 0};
    paint.radius = 10;
    paint.stops = stops;
    paint.stopCount = 2;
    change(paint);
    Picture picture;
    picture.Fill(paint);
    return picture.surface.Row(20)[20];
  };
  EXPECT_EQ(draw([](Paint& p) { p.end = p.start; }), 0xff0000ffu);
  EXPECT_EQ(draw([](Paint& p) {
              p.kind = Paint::kRadial;
              p.radius = 0;
            }),
            0xff0000ffu);
  EXPECT_EQ(draw([](Paint& p) { p.stopCount = 1; }), 0xffff0000u);
  EXPECT_EQ(draw([](Paint& p) { p.stopCount = 0; }), 0u);
  EXPECT_EQ(draw([](Paint& p) { p.matrix = {0, 0, 0, 0, 0, 0}; }), 0u);
  EXPECT_EQ(draw([](Paint& p) { p.end.x = kHuge * 10; }), 0u);
}

TEST(RasterTest, PicturesKeepTheirColoursAtAnySize) {
  // A gradient in x: enlarged or made smaller, each place keeps its colour.
  std::vector<uint32_t> pixels(256 * 256);
  for (uint32_t i = 0; i < 256 * 256; ++i) pixels[i] = 0xff000000u | i % 256 << 16 | i / 256;
  Image image({pixels.data(), 256, 256, 1024});
  Rasterizer raster;
  for (const double scale : {0.05, 0.13, 0.6, 1.0, 7.3}) {
    Picture picture;
    raster.Draw(picture.surface, image, {scale, 0, 0, scale, 0.5, 0.25}, 1);
    const int last = std::min(kSide, static_cast<int>(256 * scale)) - 1;
    for (int i = 1; i < last; ++i) {
      const uint32_t pixel = picture.surface.Row(i)[i];
      EXPECT_EQ(pixel >> 24, 255u);
      EXPECT_NEAR(pixel >> 16 & 255, i / scale - 0.5, 1.0 + 0.5 / scale) << scale << " at " << i;
      EXPECT_NEAR(pixel & 255, (i + 0.25) / scale - 0.5, 1.0 + 0.5 / scale) << scale;
    }
  }
  // A chessboard made much smaller is its mean, not a choice of its squares.
  for (uint32_t i = 0; i < 256 * 256; ++i)
    pixels[i] = (i ^ i / 256) & 1 ? 0xffffffffu : 0xff000000u;
  image.Changed();
  Picture picture;
  raster.Draw(picture.surface, image, {0.1, 0.03, -0.03, 0.1, 10, 5}, 0.5f);
  EXPECT_NEAR(picture.surface.Row(16)[20] & 255, 64, 2);
  EXPECT_EQ(picture.surface.Row(16)[20] >> 24, 128u);
  EXPECT_EQ(picture.surface.Row(39)[39], 0u);
}

}  // namespace
}  // namespace plexion_host::movie
