// Planes of cover for shadows, glows and overlays, and their colours.

#include "host/player/lottie/compositing/Styles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "host/base/Check.h"
#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {

namespace {

bool SameSize(const Coverage& a, const Coverage& b) {
  return a.width == b.width && a.height == b.height;
}

uint64_t EightAt(const uint8_t* bytes) {
  uint64_t eight = 0;
  std::memcpy(&eight, bytes, sizeof eight);
  return eight;
}

/// Steps from the first colour to the last: more than a channel has.
constexpr int kSteps = 1024;
using Colours = std::array<uint32_t, kSteps + 1>;

/// The colours of a gradient by its own code, along a row of as many pixels as there are steps.
bool ColoursOf(Gradient& gradient, const std::vector<GradientStop>& stops, float opacity,
               Colours& colours) {
  Paint paint;
  paint.kind = Paint::kLinear;
  paint.opacity = opacity;
  paint.start = {0.5f, 0};
  paint.end = {kSteps + 0.5f, 0};
  paint.stops = stops.data();
  paint.stopCount = static_cast<int>(stops.size());
  const Gradient::Result result = gradient.Prepare(paint);
  if (result == Gradient::Result::kNothing) return false;
  if (result == Gradient::Result::kOneColour) {
    colours.fill(gradient.OneColour());
    return true;
  }
  std::array<uint32_t, kSteps + 1 + Gradient::kSlack> row;
  gradient.Row(0, 0, kSteps + 1, row.data());
  std::copy_n(row.begin(), kSteps + 1, colours.begin());
  return true;
}

double Along(Spread::Kind kind, double x, double y) {
  switch (kind) {
    case Spread::Kind::kRadial:
      return std::hypot(x, y);
    case Spread::Kind::kReflected:
      return std::abs(x);
    case Spread::Kind::kDiamond:
      return std::abs(x) + std::abs(y);
    case Spread::Kind::kAngle: {
      const double turns = std::atan2(-y, x) / (2 * 3.14159265358979);
      return turns < 0 ? turns + 1 : turns;
    }
    default:
      return x;
  }
}

}  // namespace

void OpacityOf(const Surface& from, const Coverage& plane) {
  PLEXION_CHECK(from.width == plane.width && from.height == plane.height, "both are of one size");
  for (int y = 0; y < plane.height; ++y) {
    const uint32_t* const in = from.Row(y);
    uint8_t* const out = plane.Row(y);
    for (int x = 0; x < plane.width; ++x) out[x] = static_cast<uint8_t>(in[x] >> 24);
  }
}

void MovePlane(const Coverage& target, const Coverage& source, float dx, float dy, uint8_t beyond) {
  PLEXION_CHECK(SameSize(target, source), "both are of one size");
  if (!std::isfinite(dx) || !std::isfinite(dy)) dx = dy = 0;
  constexpr float kFurthest = 1e6f;
  dx = std::clamp(dx, -kFurthest, kFurthest);
  dy = std::clamp(dy, -kFurthest, kFurthest);
  const int x0 = static_cast<int>(std::floor(dx));
  const int y0 = static_cast<int>(std::floor(dy));
  // A place between four pixels has of each as much as it covers of it.
  const auto right = static_cast<uint32_t>(std::lrint((dx - std::floor(dx)) * 256));
  const auto below = static_cast<uint32_t>(std::lrint((dy - std::floor(dy)) * 256));
  const auto at = [&](int x, int y) -> uint32_t {
    const bool inside = x >= 0 && y >= 0 && x < source.width && y < source.height;
    return inside ? source.Row(y)[x] : beyond;
  };
  for (int y = 0; y < target.height; ++y) {
    uint8_t* const row = target.Row(y);
    const int from = y - y0;
    if (right == 0 && below == 0) {
      for (int x = 0; x < target.width; ++x) row[x] = static_cast<uint8_t>(at(x - x0, from));
      continue;
    }
    for (int x = 0; x < target.width; ++x) {
      const int left = x - x0;
      const uint32_t upper = at(left, from - 1) * (256 - right) + at(left - 1, from - 1) * right;
      const uint32_t lower = at(left, from) * (256 - right) + at(left - 1, from) * right;
      row[x] = static_cast<uint8_t>((upper * below + lower * (256 - below) + 32768) >> 16);
    }
  }
}

void InvertPlane(const Coverage& plane) {
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    for (int x = 0; x < plane.width; ++x) row[x] = static_cast<uint8_t>(255 - row[x]);
  }
}

void StretchPlane(const Coverage& plane, float factor) {
  if (!(factor >= 0) || !std::isfinite(factor) || factor == 1) return;
  uint8_t table[256];
  for (int i = 0; i < 256; ++i) {
    table[i] = static_cast<uint8_t>(std::lrint(std::min(static_cast<float>(i) * factor, 255.0f)));
  }
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    for (int x = 0; x < plane.width; ++x) row[x] = table[row[x]];
  }
}

void DifferPlane(const Coverage& plane, const Coverage& other) {
  PLEXION_CHECK(SameSize(plane, other), "both are of one size");
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    const uint8_t* const with = other.Row(y);
    for (int x = 0; x < plane.width; ++x) {
      row[x] = static_cast<uint8_t>(std::abs(int{row[x]} - int{with[x]}));
    }
  }
}

void InsideOf(const Coverage& inside, const Coverage& shape) {
  PLEXION_CHECK(SameSize(inside, shape), "both are of one size");
  inside.Clear(inside.Bounds());
  for (int y = 1; y + 1 < shape.height; ++y) {
    const uint8_t* const rows[] = {shape.Row(y - 1), shape.Row(y), shape.Row(y + 1)};
    uint8_t* const out = inside.Row(y);
    for (int x = 1; x + 1 < shape.width; ++x) {
      // Most of a shape is the same all around: eight pixels at once.
      constexpr int kAtOnce = 8;
      while (x + kAtOnce + 1 < shape.width) {
        uint64_t all = ~uint64_t{0};
        for (const uint8_t* const row : rows) all &= EightAt(row + x - 1) & EightAt(row + x + 1);
        if (all == ~uint64_t{0}) {
          std::memset(out + x, 255, kAtOnce);
        } else if (EightAt(rows[1] + x) != 0) {
          break;
        }
        x += kAtOnce;
      }
      const uint8_t own = rows[1][x];
      if (own == 0) continue;
      uint8_t least = own;
      uint8_t most = own;
      for (const uint8_t* const row : rows) {
        least = std::min({least, row[x - 1], row[x], row[x + 1]});
        most = std::max({most, row[x - 1], row[x], row[x + 1]});
      }
      out[x] = own == most ? own : least;
    }
  }
}

void CutPlane(const Coverage& plane, const Coverage& other) {
  PLEXION_CHECK(SameSize(plane, other), "both are of one size");
  for (int y = 0; y < plane.height; ++y) {
    CombineCover(plane.Row(y), other.Row(y), plane.width, CoverSum::kWithout, 0, 255);
  }
}

void ClearPlane(const Coverage& plane, const Coverage& other) {
  PLEXION_CHECK(SameSize(plane, other), "both are of one size");
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    const uint8_t* const covered = other.Row(y);
    for (int x = 0; x < plane.width; ++x) row[x] = covered[x] != 0 ? 0 : row[x];
  }
}

void ColourPlane(const Surface& target, const Coverage& plane, const Colour& colour) {
  PLEXION_CHECK(target.width == plane.width && target.height == plane.height,
                "both are of one size");
  uint32_t table[256];
  const uint32_t pixel = PixelOf(colour, 1);
  for (uint32_t i = 0; i < 256; ++i) table[i] = PixelTimes(pixel, i);
  for (int y = 0; y < target.height; ++y) {
    const uint8_t* const in = plane.Row(y);
    uint32_t* const out = target.Row(y);
    for (int x = 0; x < target.width; ++x) out[x] = table[in[x]];
  }
}

void MakeOpaque(const Surface& target) {
  for (int y = 0; y < target.height; ++y) {
    uint32_t* const row = target.Row(y);
    for (int x = 0; x < target.width; ++x) {
      if (row[x] >> 24 != 0 && row[x] >> 24 != 255) {
        row[x] = Unpremultiplied(row[x]) | kOpaqueBlack;
      }
    }
  }
}

void ColourSpread::Run(const Surface& target, int left, int top, const Spread& spread,
                       const std::vector<GradientStop>& stops, float opacity) {
  Colours colours;
  if (stops.empty() || !spread.toUnit.IsFinite() || !ColoursOf(gradient_, stops, opacity, colours))
    return;
  const Matrix& m = spread.toUnit;
  for (int y = 0; y < target.height; ++y) {
    uint32_t* const row = target.Row(y);
    const double py = top + y + 0.5;
    for (int x = 0; x < target.width; ++x) {
      const double px = left + x + 0.5;
      const double along = Along(spread.kind, m.a * px + m.c * py + m.e, m.b * px + m.d * py + m.f);
      // No number at all counts as none.
      const double share = along > 0 ? std::min(along, 1.0) : 0;
      row[x] = colours[static_cast<size_t>(share * kSteps + 0.5)];
    }
  }
}

void LightRelief(const Coverage& lit, const Coverage& shaded, const Coverage& height,
                 const Relief& relief) {
  PLEXION_CHECK(SameSize(lit, height) && SameSize(shaded, height), "all are of one size");
  // Steeper than this is a wall from every side.
  constexpr float kSteepest = 1e4f;
  const float depth = relief.depth > 0 ? std::min(relief.depth, kSteepest) : 0;
  const float lightness = relief.lightX + relief.lightY + relief.lightZ;
  if (!(std::abs(lightness) < kSteepest)) return;
  const auto at = [&](int x, int y) {
    return static_cast<float>(
        height.Row(std::clamp(y, 0, height.height - 1))[std::clamp(x, 0, height.width - 1)]);
  };
  for (int y = 0; y < height.height; ++y) {
    for (int x = 0; x < height.width; ++x) {
      // The slope, by Sobel's weights.
      const float dx = (at(x + 1, y - 1) + 2 * at(x + 1, y) + at(x + 1, y + 1) - at(x - 1, y - 1) -
                        2 * at(x - 1, y) - at(x - 1, y + 1)) *
                       depth / (8 * 255);
      const float dy = (at(x - 1, y + 1) + 2 * at(x, y + 1) + at(x + 1, y + 1) - at(x - 1, y - 1) -
                        2 * at(x, y - 1) - at(x + 1, y - 1)) *
                       depth / (8 * 255);
      const float length = std::sqrt(dx * dx + dy * dy + 1);
      const float light = (-dx * relief.lightX - dy * relief.lightY + relief.lightZ) / length;
      const float more = light - relief.lightZ;
      const float most = std::max(more > 0 ? 1 - relief.lightZ : relief.lightZ, 1e-3f);
      const auto share =
          static_cast<uint8_t>(std::lrint(std::min(std::abs(more) / most, 1.0f) * 255));
      lit.Row(y)[x] = more > 0 ? share : 0;
      shaded.Row(y)[x] = more < 0 ? share : 0;
    }
  }
}

}  // namespace plexion_host::movie
