// What fills and strokes look like at a moment.
#include "host/player/lottie/shapes/StyleValues.h"

#include <math.h>
#include <string.h>

#include <algorithm>

#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

/// Colours have steps of a 255th, as in the pictures that designers compare with.
float Channel(float value, bool nearest) {
  const float scaled = value * 255.0f;
  return std::clamp(nearest ? roundf(scaled) : floorf(scaled), 0.f, 255.f) / 255;
}

Colour Opaque(const float* rgb, bool nearest) {
  return {Channel(rgb[0], nearest), Channel(rgb[1], nearest), Channel(rgb[2], nearest), 1};
}

/// Offsets are whole percents, as in the pictures that designers compare with.
float Offset(float value) { return std::clamp(roundf(value * 100) / 100, 0.f, 1.f); }

Colour Mixed(const Colour& a, const Colour& b, float share) {
  auto mix = [share](float from, float to) { return from + (to - from) * share; };
  return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue), mix(a.alpha, b.alpha)};
}

/// The colour of a list of stops at an offset.
Colour At(const std::vector<GradientStop>& stops, float offset) {
  if (offset <= stops.front().offset) return stops.front().colour;
  for (size_t i = 1; i < stops.size(); ++i) {
    if (offset > stops[i].offset) continue;
    const float width = stops[i].offset - stops[i - 1].offset;
    if (width <= 0) return stops[i].colour;
    return Mixed(stops[i - 1].colour, stops[i].colour, (offset - stops[i - 1].offset) / width);
  }
  return stops.back().colour;
}

float OpacityAt(const float* pairs, size_t count, float offset) {
  float lastOffset = Offset(pairs[0]);
  if (offset <= lastOffset) return pairs[1];
  for (size_t i = 1; i < count; ++i) {
    const float here = std::max(lastOffset, Offset(pairs[2 * i]));
    if (offset <= here) {
      const float width = here - lastOffset;
      const float share = width > 0 ? (offset - lastOffset) / width : 1;
      return pairs[2 * i - 1] + (pairs[2 * i + 1] - pairs[2 * i - 1]) * share;
    }
    lastOffset = here;
  }
  return pairs[2 * count - 1];
}

void ReadGradient(const Shape& shape, const Moment& moment, std::vector<float>& numbers,
                  ShapeOp& op) {
  op.gradient = true;
  op.stops.clear();
  if (shape.stops != nullptr) {
    moment.All(*shape.stops, numbers);
    ReadStops(numbers, shape.stopCount, op.stops);
  }
  float start[2] = {0, 0};
  float end[2] = {0, 0};
  moment.Numbers(shape.gradientStart, start, 2);
  moment.Numbers(shape.gradientEnd, end, 2);
  op.x1 = op.focalX = start[0];
  op.y1 = op.focalY = start[1];
  op.x2 = end[0];
  op.y2 = end[1];
  if (!shape.radial) return;
  const double dx = double{end[0]} - start[0];
  const double dy = double{end[1]} - start[1];
  const double length = std::clamp(moment.Number(shape.highlightLength, 0) / 100, -0.99, 0.99);
  const double angle = atan2(dy, dx) + moment.Number(shape.highlightAngle, 0) * kDegrees;
  op.focalX = static_cast<float>(start[0] + cos(angle) * hypot(dx, dy) * length);
  op.focalY = static_cast<float>(start[1] + sin(angle) * hypot(dx, dy) * length);
}

void ReadDashes(const Shape& shape, const Moment& moment, ShapeOp& op) {
  op.dashes.clear();
  op.dashOffset = 0;
  float sum = 0;
  for (const Dash& dash : shape.dashes) {
    const auto length = static_cast<float>(moment.Number(dash.length, 0));
    if (dash.kind == Dash::kOffset) {
      op.dashOffset = length;
    } else {
      op.dashes.push_back(std::max(length, 0.f));
      sum += op.dashes.back();
    }
  }
  if (sum <= 0) op.dashes.clear();
}

class Sum {
 public:
  void Add(const void* bytes, size_t count) {
    const auto* at = static_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < count; ++i) value_ = (value_ ^ at[i]) * 0x100000001B3u;
  }
  template <typename T>
  void Add(const T& value) {
    Add(&value, sizeof value);
  }
  uint64_t Value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325u;
};

}  // namespace

/// Colours and opacities have stops of their own: together they change at each of both.
void ReadStops(const std::vector<float>& numbers, uint32_t colours,
               std::vector<GradientStop>& stops) {
  stops.clear();
  float last = 0;
  for (uint32_t i = 0; i < colours && i * 4 + 3 < numbers.size(); ++i) {
    last = std::max(last, Offset(numbers[i * 4]));
    stops.push_back({last, Opaque(&numbers[i * 4 + 1], true)});
  }
  if (stops.empty()) return;
  const float* pairs = numbers.data() + size_t{colours} * 4;
  const size_t pairCount = (numbers.size() - size_t{colours} * 4) / 2;
  if (pairCount == 0) return;
  bool together = pairCount == colours;
  for (size_t i = 0; together && i < pairCount; ++i) {
    together = fabsf(numbers[i * 4] - pairs[i * 2]) <= 0.01f;
  }
  if (together) {
    for (size_t i = 0; i < stops.size(); ++i) {
      stops[i].colour.alpha = std::clamp(pairs[i * 2 + 1], 0.f, 1.f);
    }
    return;
  }
  const std::vector<GradientStop> plain = stops;
  for (size_t i = 0; i < pairCount; ++i) {
    const float offset = Offset(pairs[i * 2]);
    const auto at = std::upper_bound(
        stops.begin(), stops.end(), offset,
        [](float wanted, const GradientStop& stop) { return wanted < stop.offset; });
    stops.insert(at, {offset, At(plain, offset)});
  }
  for (GradientStop& stop : stops) {
    stop.colour.alpha = std::clamp(OpacityAt(pairs, pairCount, stop.offset), 0.f, 1.f);
  }
}

Colour ColourOf(const float* rgb) { return Opaque(rgb, false); }

void ReadStyleValues(const Shape& shape, const Moment& moment, std::vector<float>& numbers,
                     ShapeOp& op) {
  op.opacity = static_cast<float>(std::clamp(moment.Number(shape.opacity, 100) / 100, 0.0, 1.0));
  op.gradient = false;
  if (shape.kind == ShapeKind::kGradientFill || shape.kind == ShapeKind::kGradientStroke) {
    ReadGradient(shape, moment, numbers, op);
  } else {
    float rgb[4] = {0, 0, 0, 1};
    moment.Numbers(shape.colour, rgb, 4);
    op.colour = ColourOf(rgb);
  }
  if (op.kind == ShapeOp::Kind::kStroke) {
    op.width = static_cast<float>(std::max(0.0, moment.Number(shape.width, 0)));
    ReadDashes(shape, moment, op);
  }
}

uint64_t OutlineSum(const ShapeOp& op) {
  Sum sum;
  sum.Add(op.kind);
  sum.Add(op.style);
  if (op.kind == ShapeOp::Kind::kStroke) {
    sum.Add(op.width);
    for (const float dash : op.dashes) sum.Add(dash);
    sum.Add(op.dashOffset);
  }
  return sum.Value();
}

uint64_t StyleSum(const ShapeOp& op) {
  Sum sum;
  sum.Add(OutlineSum(op));
  sum.Add(op.colour);
  if (op.gradient) {
    for (const GradientStop& stop : op.stops) sum.Add(stop);
    const float numbers[] = {op.x1, op.y1, op.x2, op.y2, op.focalX, op.focalY};
    sum.Add(numbers);
  }
  return sum.Value();
}

}  // namespace plexion_host::movie
