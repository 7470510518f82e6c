// From a document's layer styles to pixels.
#include "host/player/lottie/paint/LayerStyles.h"

#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/shapes/StyleValues.h"
#include "host/player/lottie/timeline/Angles.h"
#include "host/player/lottie/timeline/Transforms.h"

namespace plexion_host::movie {

namespace {

// The authoring tool's own bounds; what lies beyond them is no design.
constexpr float kLargestSize = 250;
constexpr float kFurthest = 1000;
/// What a style's pixels may reach at most.
constexpr float kMostReach = 1024;
/// The numbers of normal, multiply and screen.
constexpr int kNormalNumber = 1;
constexpr int kMultiplyNumber = 5;
constexpr int kScreenNumber = 11;
/// A size is two deviations of the blur.
constexpr float kSizeSigma = 0.5f;

struct UsualValues {
  float red, green, blue;
  float opacity;
  float angle, size, distance;
};

/// What the authoring tool begins with, for members that a document leaves out.
UsualValues UsualOf(LayerStyleKind kind) {
  switch (kind) {
    case LayerStyleKind::kStroke:
      return {1, 0, 0, 100, 0, 3, 0};
    case LayerStyleKind::kOuterGlow:
    case LayerStyleKind::kInnerGlow:
      return {1, 1, 0.745f, 75, 0, 5, 0};
    case LayerStyleKind::kBevel:
      return {1, 1, 1, 75, 120, 5, 0};
    case LayerStyleKind::kSatin:
      return {0, 0, 0, 50, 19, 14, 11};
    case LayerStyleKind::kColourOverlay:
      return {1, 0, 0, 100, 0, 0, 0};
    case LayerStyleKind::kGradientOverlay:
      return {0, 0, 0, 100, 90, 100, 0};
    default:
      return {0, 0, 0, 75, 120, 5, 5};
  }
}

float Finite(double value, double least, double most) {
  return value >= least ? static_cast<float>(std::min(value, most)) : static_cast<float>(least);
}

Colour StyleColourAt(const Moment& moment, const Property* colour, const Property* opacity,
                     const Colour& usual) {
  float n[4] = {usual.red, usual.green, usual.blue, 1};
  moment.Numbers(colour, n, 4);
  return {n[0], n[1], n[2], Finite(moment.Number(opacity, double{usual.alpha}) / 100, 0, 1)};
}

BlendMode StyleBlendAt(const Moment& moment, const Property* blend, const Colour& colour) {
  const BlendMode mode =
      StyleBlendOf(static_cast<int>(Finite(moment.Number(blend, kNormalNumber), 0, 1000)));
  // What these do with their own end of the scale is what normal does.
  const bool black = colour.red <= 0 && colour.green <= 0 && colour.blue <= 0;
  const bool white = colour.red >= 1 && colour.green >= 1 && colour.blue >= 1;
  if ((mode == BlendMode::kMultiply && black) || (mode == BlendMode::kScreen && white)) {
    return BlendMode::kNormal;
  }
  return mode;
}

void EvaluateGradient(const Moment& moment, std::vector<float>& numbers, StyleState& state) {
  const LayerStyle& style = *state.style;
  state.stops.clear();
  if (style.stops != nullptr && style.stopCount > 0) {
    moment.All(*style.stops, numbers);
    ReadStops(numbers, style.stopCount, state.stops);
  }
  if (moment.Number(style.reverse, 0) != 0) {
    std::reverse(state.stops.begin(), state.stops.end());
    for (GradientStop& stop : state.stops) stop.offset = 1 - stop.offset;
  }
  const int kind = static_cast<int>(Finite(moment.Number(style.gradientKind, 1), 1, 5));
  state.gradient = static_cast<Spread::Kind>(kind - 1);
  state.scale = Finite(moment.Number(style.scale, 100) / 100, 0.01, 100);
  float offset[2] = {0, 0};
  moment.Numbers(style.offset, offset, 2);
  state.offsetX = offset[0] / 100;
  state.offsetY = offset[1] / 100;
}

void EvaluateBevel(const Moment& moment, StyleState& state) {
  const LayerStyle& style = *state.style;
  state.shade = StyleColourAt(moment, style.shadeColour, style.shadeOpacity, {0, 0, 0, 75});
  state.shadeBlend = StyleBlendAt(moment, style.shadeBlend, state.shade);
  state.depth = Finite(moment.Number(style.strength, 100) / 100, 0, 10);
  state.soften = Finite(moment.Number(style.soften, 0), 0, 16);
  state.altitude = Finite(moment.Number(style.altitude, 30), 0, 90);
}

/// By how much lengths of the composition grow on their way to pixels.
float ScaleOf(const Matrix& m) {
  const double scale = sqrt(fabs(m.Determinant()));
  return std::isfinite(scale) ? static_cast<float>(scale) : 0;
}

/// Where a shadow falls to, away from the light, in pixels.
Point FallOf(const StyleState& state, const Matrix& m) {
  const double angle = state.angle * kDegrees;
  const double x = -state.distance * cos(angle);
  const double y = state.distance * sin(angle);
  const auto bounded = [](double v) { return Finite(v, -kMostReach, kMostReach); };
  return {bounded(m.a * x + m.c * y), bounded(m.b * x + m.d * y)};
}

float SizeOf(const StyleState& state, const Matrix& m) {
  return std::min(state.size * ScaleOf(m), kMostReach / 2);
}

int RankOf(LayerStyleKind kind) {
  constexpr LayerStyleKind kOrder[] = {
      LayerStyleKind::kDropShadow,      LayerStyleKind::kOuterGlow,     LayerStyleKind::kStroke,
      LayerStyleKind::kGradientOverlay, LayerStyleKind::kColourOverlay, LayerStyleKind::kSatin,
      LayerStyleKind::kInnerGlow,       LayerStyleKind::kInnerShadow,   LayerStyleKind::kBevel};
  const auto* const found = std::find(std::begin(kOrder), std::end(kOrder), kind);
  return static_cast<int>(found - std::begin(kOrder));
}

/// From pixels to the plane in which the colours of a gradient go from 0 to 1. A line in its
/// direction through the box's middle goes from edge to edge, or corner to corner, of the box.
bool UnitOf(const StyleState& state, const Matrix& matrix, Matrix& toUnit) {
  const Rect& box = state.box;
  const double width = double{box.right} - box.left;
  const double height = double{box.bottom} - box.top;
  const double angle = state.angle * kDegrees;
  const double x = cos(angle);
  const double y = -sin(angle);
  const double length = (fabs(width * x) + fabs(height * y)) * state.scale;
  if (!(length > 0)) return false;
  const bool linear = state.gradient == Spread::Kind::kLinear;
  // All but the linear one begin in the middle.
  const double unit = linear ? length : length / 2;
  const double middleX = (double{box.left} + box.right) / 2 + width * state.offsetX;
  const double middleY = (double{box.top} + box.bottom) / 2 + height * state.offsetY;
  const double startX = linear ? middleX - x * length / 2 : middleX;
  const double startY = linear ? middleY - y * length / 2 : middleY;
  const Matrix fromUnit = {x * unit, y * unit, -y * unit, x * unit, startX, startY};
  return Then(fromUnit, matrix).Invert(toUnit);
}

}  // namespace

BlendMode StyleBlendOf(int number, bool* known) {
  constexpr int kUnknownMode = -1;
  // 3, 9, 15, 23 and 26 are lines. Modes that only the authoring tool has are unknown here.
  constexpr int8_t kModes[] = {0, 0, 0, 0,  4,  1,  7,  -1, 4,  0,  5, 2,  6,  -1, 5, 0,
                               3, 9, 8, -1, -1, -1, -1, 0,  10, 11, 0, 12, 13, 14, 15};
  const bool listed = number >= 0 && number < static_cast<int>(std::size(kModes));
  const int mode = listed ? kModes[number] : kUnknownMode;
  // Dissolving, and by the darker and lighter colour as a whole, come near to modes that there are.
  constexpr int kNear[] = {2, 8, 14};
  const bool near = std::find(std::begin(kNear), std::end(kNear), number) != std::end(kNear);
  if (known != nullptr) *known = mode != kUnknownMode && !near;
  return mode == kUnknownMode ? BlendMode::kNormal : static_cast<BlendMode>(mode);
}

bool IsBelow(LayerStyleKind kind) {
  return kind == LayerStyleKind::kDropShadow || kind == LayerStyleKind::kOuterGlow ||
         kind == LayerStyleKind::kStroke;
}

bool BlendsBelow(const LayerStyle& style) {
  if (!IsBelow(style.kind) || style.blend == nullptr) return false;
  const Property& blend = *style.blend;
  const bool constant = blend.segments.empty() && blend.expression.empty();
  const auto number = static_cast<int>(std::clamp(blend.value[0], 0.f, 1000.f));
  if (constant && StyleBlendOf(number) == BlendMode::kNormal) return false;
  // Black that multiplies and white that screens look like normal ones.
  const Property* colour = style.colour;
  if (!constant || colour == nullptr || !colour->segments.empty() || !colour->expression.empty() ||
      colour->dims < 3) {
    return true;
  }
  const float* n = colour->value;
  const bool black = n[0] <= 0 && n[1] <= 0 && n[2] <= 0;
  const bool white = n[0] >= 1 && n[1] >= 1 && n[2] >= 1;
  return !((number == kMultiplyNumber && black) || (number == kScreenNumber && white));
}

void SortStyles(std::vector<StyleState>& styles) {
  std::stable_sort(styles.begin(), styles.end(), [](const StyleState& a, const StyleState& b) {
    return RankOf(a.style->kind) < RankOf(b.style->kind);
  });
}

void EvaluateStyle(const Moment& moment, std::vector<float>& numbers, StyleState& state) {
  PLEXION_CHECK(state.style != nullptr, "a state is that of a style");
  const LayerStyle& style = *state.style;
  const UsualValues usual = UsualOf(style.kind);
  state.colour = StyleColourAt(moment, style.colour, style.opacity,
                               {usual.red, usual.green, usual.blue, usual.opacity});
  state.blend = StyleBlendAt(moment, style.blend, state.colour);
  state.angle = Finite(moment.Number(style.angle, double{usual.angle}), -1e6, 1e6);
  state.size = Finite(moment.Number(style.size, double{usual.size}), 0, kLargestSize);
  state.distance =
      Finite(moment.Number(style.distance, double{usual.distance}), -kFurthest, kFurthest);
  state.spread = Finite(moment.Number(style.spread, 0) / 100, 0, 1);
  state.range = Finite(moment.Number(style.range, 50) / 100, 0.01, 1);
  state.option = static_cast<int>(Finite(moment.Number(style.option, 1), 0, 100));
  if (style.kind == LayerStyleKind::kGradientOverlay) EvaluateGradient(moment, numbers, state);
  if (style.kind == LayerStyleKind::kBevel) EvaluateBevel(moment, state);
}

void AddLook(const StyleState& state, LookSum& look) {
  look.Add(state.colour);
  look.Add(state.blend);
  const float values[] = {state.angle, state.size,   state.distance, state.spread,
                          state.range, state.scale,  state.offsetX,  state.offsetY,
                          state.depth, state.soften, state.altitude};
  look.Add(values);
  look.Add(state.option);
  look.Add(state.gradient);
  for (const GradientStop& stop : state.stops) look.Add(stop);
  look.Add(state.box);
  look.Add(state.shade);
  look.Add(state.shadeBlend);
}

int ReachOf(const std::vector<StyleState>& styles, const Matrix& matrix) {
  float reach = 0;
  for (const StyleState& state : styles) {
    const float size = SizeOf(state, matrix);
    float own = 1;
    switch (state.style->kind) {
      case LayerStyleKind::kStroke:
        own += size;
        break;
      case LayerStyleKind::kColourOverlay:
      case LayerStyleKind::kGradientOverlay:
        break;
      default: {
        // What lies outside takes part in what is seen inside, and the other way round.
        const Point fall = FallOf(state, matrix);
        own += static_cast<float>(Blur::Reach(size * kSizeSigma)) + size * state.spread +
               std::max(fabsf(fall.x), fabsf(fall.y));
        break;
      }
    }
    reach = std::max(reach, own);
  }
  return static_cast<int>(ceilf(std::min(reach, kMostReach)));
}

/// The hard part grows first, the rest is blurred.
void StylePixels::Soften(const Coverage& plane, float size, float spread) {
  if (size <= 0) return;
  if (spread > 0) {
    const SurfacePool::Lease spare = pool_.TakeSurface(plane.width, plane.height);
    grow_.Run(plane, spare.surface, size * spread);
  }
  const float sigma = size * (1 - spread) * kSizeSigma;
  blur_.Run(plane, plane.Bounds(), sigma, sigma, Blur::Edge::kRepeat);
}

void StylePixels::Below(const StyleState& state, const Matrix& matrix, const Coverage& shape,
                        const Coverage& inside, bool blends, const Surface& target) {
  PLEXION_CHECK(IsBelow(state.style->kind), "others lie on their layer");
  // A layer that blends shows what is below its edges in another colour than around them.
  const Coverage& hidden = blends ? shape : inside;
  const SurfacePool::Lease lease = pool_.TakeCoverage(shape.width, shape.height);
  const Coverage& cover = lease.coverage;
  const float size = SizeOf(state, matrix);
  switch (state.style->kind) {
    case LayerStyleKind::kDropShadow: {
      const Point fall = FallOf(state, matrix);
      MovePlane(cover, shape, fall.x, fall.y, 0);
      Soften(cover, size, state.spread);
      if (state.option != 0) CutPlane(cover, hidden);
      break;
    }
    case LayerStyleKind::kOuterGlow:
      MovePlane(cover, shape, 0, 0, 0);
      Soften(cover, size, state.spread);
      StretchPlane(cover, 1 / state.range);
      CutPlane(cover, hidden);
      break;
    default: {
      MovePlane(cover, shape, 0, 0, 0);
      const SurfacePool::Lease spare = pool_.TakeSurface(shape.width, shape.height);
      grow_.Run(cover, spare.surface, size);
      ClearPlane(cover, hidden);
      break;
    }
  }
  ColourPlane(target, cover, state.colour);
}

void StylePixels::Overlay(const Surface& target, const Coverage& cover, const Colour& colour,
                          BlendMode mode) {
  const SurfacePool::Lease pixels = pool_.TakeSurface(target.width, target.height);
  ColourPlane(pixels.surface, cover, colour);
  Composite(target, pixels.surface, 0, 0, target.Bounds(), 1, mode);
}

void StylePixels::On(const StyleState& state, const Matrix& matrix, const Coverage& shape, int left,
                     int top, const Surface& target) {
  PLEXION_CHECK(!IsBelow(state.style->kind), "others lie below their layer");
  const LayerStyleKind kind = state.style->kind;
  if (kind == LayerStyleKind::kSatin) return Satin(state, matrix, shape, target);
  if (kind == LayerStyleKind::kBevel) return Bevel(state, matrix, shape, target);
  if (kind == LayerStyleKind::kGradientOverlay) {
    Spread spread;
    spread.kind = state.gradient;
    if (!UnitOf(state, matrix, spread.toUnit)) return;
    const SurfacePool::Lease pixels = pool_.TakeSurface(target.width, target.height);
    spread_.Run(pixels.surface, left, top, spread, state.stops, state.colour.alpha);
    return Composite(target, pixels.surface, 0, 0, target.Bounds(), 1, state.blend);
  }
  const SurfacePool::Lease lease = pool_.TakeCoverage(shape.width, shape.height);
  const Coverage& cover = lease.coverage;
  if (kind == LayerStyleKind::kColourOverlay) {
    cover.Clear(cover.Bounds(), 255);
  } else {
    // Both come in from outside of the layer.
    const bool shadow = kind == LayerStyleKind::kInnerShadow;
    const Point fall = shadow ? FallOf(state, matrix) : Point{0, 0};
    MovePlane(cover, shape, fall.x, fall.y, 0);
    InvertPlane(cover);
    Soften(cover, SizeOf(state, matrix), state.spread);
    if (!shadow) {
      StretchPlane(cover, 1 / state.range);
      constexpr int kFromCentre = 2;
      if (state.option == kFromCentre) InvertPlane(cover);
    }
  }
  Overlay(target, cover, state.colour, state.blend);
}

/// Where two copies of the layer, moved apart and blurred, differ.
void StylePixels::Satin(const StyleState& state, const Matrix& matrix, const Coverage& shape,
                        const Surface& target) {
  const SurfacePool::Lease one = pool_.TakeCoverage(shape.width, shape.height);
  const SurfacePool::Lease other = pool_.TakeCoverage(shape.width, shape.height);
  const Point fall = FallOf(state, matrix);
  MovePlane(one.coverage, shape, fall.x, fall.y, 0);
  MovePlane(other.coverage, shape, -fall.x, -fall.y, 0);
  const float size = SizeOf(state, matrix);
  Soften(one.coverage, size, 0);
  Soften(other.coverage, size, 0);
  DifferPlane(one.coverage, other.coverage);
  if (state.option != 0) InvertPlane(one.coverage);
  Overlay(target, one.coverage, state.colour, state.blend);
}

void StylePixels::Bevel(const StyleState& state, const Matrix& matrix, const Coverage& shape,
                        const Surface& target) {
  const float size = SizeOf(state, matrix);
  if (size <= 0) return;
  const SurfacePool::Lease height = pool_.TakeCoverage(shape.width, shape.height);
  MovePlane(height.coverage, shape, 0, 0, 0);
  Soften(height.coverage, size, 0);
  const SurfacePool::Lease lit = pool_.TakeCoverage(shape.width, shape.height);
  const SurfacePool::Lease shaded = pool_.TakeCoverage(shape.width, shape.height);
  Relief relief;
  const double angle = state.angle * kDegrees;
  const double altitude = state.altitude * kDegrees;
  const double x = cos(angle);
  const double y = -sin(angle);
  // The composition may be turned on its way to pixels, and its light with it.
  const double turnedX = matrix.a * x + matrix.c * y;
  const double turnedY = matrix.b * x + matrix.d * y;
  const double length = hypot(turnedX, turnedY);
  if (!(length > 0)) return;
  relief.lightX = static_cast<float>(turnedX / length * cos(altitude));
  relief.lightY = static_cast<float>(turnedY / length * cos(altitude));
  relief.lightZ = static_cast<float>(sin(altitude));
  // An edge of full strength rises by as much as it is wide.
  relief.depth = size * state.depth;
  LightRelief(lit.coverage, shaded.coverage, height.coverage, relief);
  // Heights are whole steps, whose edges must not be seen.
  constexpr float kSmoothed = 2;
  const float soften = state.soften * ScaleOf(matrix) + kSmoothed;
  Soften(lit.coverage, soften, 0);
  Soften(shaded.coverage, soften, 0);
  Overlay(target, shaded.coverage, state.shade, state.shadeBlend);
  Overlay(target, lit.coverage, state.colour, state.blend);
}

}  // namespace plexion_host::movie
