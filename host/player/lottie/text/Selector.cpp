// The shapes of range selectors.
#include "host/player/lottie/text/Selector.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/timeline/Angles.h"
#include "host/player/lottie/timeline/CubicEase.h"

namespace plexion_host::movie {

namespace {

double ShapeAt(TextSelector::Shape shape, double start, double end, int index) {
  const double range = end - start;
  const double ramp = range == 0 ? 0 : std::clamp(0.5 / range + (index - start) / range, 0.0, 1.0);
  const double inside = std::min(std::max(0.0, index + 0.5 - start), range);
  switch (shape) {
    case TextSelector::Shape::kRampUp:
      return range == 0 ? (index >= end ? 1 : 0) : ramp;
    case TextSelector::Shape::kRampDown:
      return range == 0 ? (index >= end ? 0 : 1) : 1 - ramp;
    case TextSelector::Shape::kTriangle:
      return range == 0 ? 0 : ramp < 0.5 ? ramp * 2 : 2 - ramp * 2;
    case TextSelector::Shape::kRound: {
      if (range == 0) return 0;
      const double away = (inside - range / 2) / (range / 2);
      return std::sqrt(std::max(0.0, 1 - away * away));
    }
    case TextSelector::Shape::kSmooth:
      return range == 0 ? 0 : (1 + std::cos(kPi + 2 * kPi * inside / range)) / 2;
    case TextSelector::Shape::kSquare:
      break;
  }
  if (index < std::floor(start)) return 0;
  if (index < start) return std::clamp(std::min(end, 1.0) - (start - index), 0.0, 1.0);
  return std::clamp(end - index, 0.0, 1.0);
}

}  // namespace

TextShare ShareOf(const TextSelector& selector, int index, int total, ITextSelectorScript* script) {
  if (selector.scripted) {
    double percent[3] = {0, 0, 0};
    if (script != nullptr) script->Select(selector.script, index + 1, total, percent);
    return {percent[0] / 100, percent[1] / 100, percent[2] / 100};
  }
  const double unit = selector.inUnits ? 1 : total / 100.0;
  double start = (selector.start + selector.offset) * unit;
  double end = ((selector.hasEnd ? selector.end : 100) + selector.offset) * unit;
  if (start > end) std::swap(start, end);
  double share = ShapeAt(selector.shape, start, end, index);

  const double low = selector.easeLow / 100;
  const double high = selector.easeHigh / 100;
  if (low != 0 || high != 0) {
    share = CubicEase(share, std::clamp(low, 0.0, 1.0), std::max(-low, 0.0),
                      std::clamp(high > 0 ? 1 - high : 1, 0.0, 1.0), high > 0 ? 1 : 1 + high);
  }
  if (selector.smoothness != 100) {
    const double smoothness = std::max(selector.smoothness / 100, 1e-8);
    share = std::clamp((share - (0.5 - smoothness / 2)) / smoothness, 0.0, 1.0);
  }
  share *= selector.amount / 100;
  return {share, share, share};
}

}  // namespace plexion_host::movie
