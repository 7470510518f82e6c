// Fills against a plain reference that counts samples: random and awkward paths, gradients, pictures.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/player/lottie/raster/Fill.h"

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

}  // namespace
}  // namespace plexion_host::movie
