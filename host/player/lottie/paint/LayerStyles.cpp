// From a document's layer styles to pixels.
#include "host/player/lottie/paint/LayerStyles.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/shapes/StyleValues.h"

namespace plexion_host::movie {

namespace {

// The authoring tool's own bounds; what lies beyond them is no design.
constexpr float kLargestSize = 250;
constexpr float kFurthest = 1000;
/// The numbers of normal, multiply and screen.
constexpr int kNormalNumber = 1;
constexpr int kMultiplyNumber = 5;
constexpr int kScreenNumber = 11;

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

int RankOf(LayerStyleKind kind) {
  constexpr LayerStyleKind kOrder[] = {
      LayerStyleKind::kDropShadow,      LayerStyleKind::kOuterGlow,     LayerStyleKind::kStroke,
      LayerStyleKind::kGradientOverlay, LayerStyleKind::kColourOverlay, LayerStyleKind::kSatin,
      LayerStyleKind::kInnerGlow,       LayerStyleKind::kInnerShadow,   LayerStyleKind::kBevel};
  const auto* const found = std::find(std::begin(kOrder), std::end(kOrder), kind);
  return static_cast<int>(found - std::begin(kOrder));
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

}  // namespace plexion_host::movie
