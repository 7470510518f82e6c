// The pixels of layer styles, from planes of cover and their colours.
#include "host/player/lottie/paint/StylePixels.h"

#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/timeline/Angles.h"
#include "host/player/lottie/timeline/Transforms.h"

namespace plexion_host::movie {

namespace {

/// What a style's pixels may reach at most.
constexpr float kMostReach = 1024;
/// A size is two deviations of the blur.
constexpr float kSizeSigma = 0.5f;

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
  const auto bounded = [](double v) {
    return v >= -kMostReach ? static_cast<float>(std::min(v, double{kMostReach})) : -kMostReach;
  };
  return {bounded(m.a * x + m.c * y), bounded(m.b * x + m.d * y)};
}

float SizeOf(const StyleState& state, const Matrix& m) {
  return std::min(state.size * ScaleOf(m), kMostReach / 2);
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
