// From a document's effects to those on pixels.
#include "host/player/lottie/paint/LayerEffects.h"

#include <math.h>

#include <algorithm>

#include "host/player/lottie/timeline/Angles.h"
#include "host/player/lottie/timeline/Transforms.h"

namespace plexion_host::movie {

namespace {

constexpr float kBlurSigma = 0.3f;     ///< of a blur's strength
constexpr float kShadowSigma = 0.25f;  ///< of a shadow's softness

Colour ColourAt(const EffectState& effect, size_t value) {
  if (value >= effect.values.size()) return {};
  const float* n = effect.values[value].n;
  return {n[0], n[1], n[2], 1};
}

Levels LevelsAt(const EffectState& effect, size_t first) {
  return {effect.At(first, 0), effect.At(first + 1, 1), effect.At(first + 2, 1),
          effect.At(first + 3, 0), effect.At(first + 4, 1)};
}

struct Sigmas {
  float x = 0, y = 0;
};

/// Lengths along the layer's own axes, in pixels.
Sigmas Scaled(const Matrix& m, float x, float y) {
  return {static_cast<float>(x * hypot(m.a, m.b)), static_cast<float>(y * hypot(m.c, m.d))};
}

Sigmas BlurOf(const EffectState& effect, const Matrix& matrix) {
  const float sigma = std::max(0.f, effect.At(0) * kBlurSigma);
  const float dimensions = effect.At(1, 1);
  return Scaled(matrix, dimensions == 3 ? 0 : sigma, dimensions == 2 ? 0 : sigma);
}

/// Along the layer's own axes, which may be turned.
void BlurLayer(const Sigmas& sigma, const Matrix& m, Blur& blur, SurfacePool& pool,
               const Surface& target, const IntRect& rect) {
  constexpr double kStraight = 0.02;  // what an axis may lean, of its length
  const bool upright = fabs(m.b) <= kStraight * fabs(m.a) && fabs(m.c) <= kStraight * fabs(m.d);
  const bool onItsSide = fabs(m.a) <= kStraight * fabs(m.b) && fabs(m.d) <= kStraight * fabs(m.c);
  const bool round = fabsf(sigma.x - sigma.y) <= 0.02f * std::max(sigma.x, sigma.y);
  if (round || upright) {
    blur.Run(target, rect, sigma.x, sigma.y);
  } else if (onItsSide) {
    blur.Run(target, rect, sigma.y, sigma.x);
  } else {
    BlurAlong(blur, pool, target, m.a, m.b, sigma.x);
    BlurAlong(blur, pool, target, m.c, m.d, sigma.y);
  }
}

struct Shadow {
  float x, y, sigma, opacity;
};

Shadow ShadowOf(const EffectState& effect, const Matrix& m) {
  const double angle = (effect.At(2) - 90) * kDegrees;
  const double x = effect.At(3) * cos(angle);
  const double y = effect.At(3) * sin(angle);
  const Sigmas sigma = Scaled(m, effect.At(4) * kShadowSigma, effect.At(4) * kShadowSigma);
  return {static_cast<float>(m.a * x + m.c * y), static_cast<float>(m.b * x + m.d * y),
          std::max(0.f, (sigma.x + sigma.y) / 2), std::clamp(effect.At(1, 255) / 255, 0.f, 1.f)};
}

}  // namespace

bool IsControl(const Effect& effect) {
  return effect.type == 0 || (effect.type >= 1 && effect.type <= 19);
}

bool IsDrawnEffect(const Effect& effect) {
  return (effect.type >= kEffectTint && effect.type <= kEffectShadow) ||
         effect.type == kEffectMatte || effect.type == kEffectBlur ||
         effect.type == kEffectTransform;
}

bool ChangesPixels(const EffectState& effect) {
  const int type = effect.effect->type;
  return type != kEffectTransform && type != kEffectMatte && type != kEffectStroke;
}

void ApplyTransformEffect(const EffectState& effect, Matrix& matrix, float& opacity) {
  if (effect.effect->type != kEffectTransform || effect.values.size() < 9) return;
  const float* anchor = effect.values[0].n;
  const float* position = effect.values[1].n;
  const double height = effect.At(3, 100) / 100;
  const double width = effect.At(2) == 1 ? height : effect.At(4, 100) / 100;
  const double skew = effect.At(5) * kDegrees;
  const double axis = (effect.At(6) + 90) * kDegrees;
  const double turn = effect.At(7) * kDegrees;
  auto rotation = [](double angle) {
    return Matrix{cos(angle), sin(angle), -sin(angle), cos(angle), 0, 0};
  };
  Matrix own = {1, 0, 0, 1, -double{anchor[0]}, -double{anchor[1]}};
  own = Then(own, {width, 0, 0, height, 0, 0});
  own = Then(own, rotation(turn));
  own = Then(Then(Then(own, rotation(axis)), {1, 0, tan(-skew), 1, 0, 0}), rotation(-axis));
  own.e += position[0];
  own.f += position[1];
  matrix = Then(own, matrix);
  opacity *= std::clamp(effect.At(8, 100) / 100, 0.f, 1.f);
}

int ReachOf(const std::vector<EffectState>& effects, const Matrix& matrix) {
  constexpr float kMost = 4096;
  float reach = 0;
  for (const EffectState& effect : effects) {
    if (effect.effect->type == kEffectBlur) {
      const Sigmas sigma = BlurOf(effect, matrix);
      reach += static_cast<float>(Blur::Reach(std::min(std::max(sigma.x, sigma.y), kMost)));
    } else if (effect.effect->type == kEffectShadow) {
      const Shadow shadow = ShadowOf(effect, matrix);
      reach += static_cast<float>(Blur::Reach(std::min(shadow.sigma, kMost))) +
               std::max(fabsf(shadow.x), fabsf(shadow.y));
    }
  }
  return static_cast<int>(std::clamp(ceilf(reach), 0.f, kMost));
}

void RunEffects(const std::vector<EffectState>& effects, const Matrix& matrix, Blur& blur,
                SurfacePool& pool, const Surface& target, const IntRect& rect) {
  for (const EffectState& effect : effects) {
    switch (effect.effect->type) {
      case kEffectTint:
        TintEffect(target, rect, ColourAt(effect, 0), ColourAt(effect, 1),
                   std::clamp(effect.At(2, 100) / 100, 0.f, 1.f));
        break;
      case kEffectFill:
        FillEffect(target, rect, ColourAt(effect, 2), std::clamp(effect.At(6, 1), 0.f, 1.f));
        break;
      case kEffectTritone:
        TritoneEffect(target, rect, ColourAt(effect, 2), ColourAt(effect, 1), ColourAt(effect, 0));
        break;
      case kEffectLevels:
        LevelsEffect(target, rect, LevelsAt(effect, 3), LevelsAt(effect, 10), LevelsAt(effect, 17),
                     LevelsAt(effect, 24), LevelsAt(effect, 31));
        break;
      case kEffectShadow: {
        const Shadow shadow = ShadowOf(effect, matrix);
        Colour colour = ColourAt(effect, 0);
        colour.alpha = shadow.opacity;
        const SurfacePool::Lease spare = pool.TakeSurface(target.width, target.height);
        DropShadowEffect(blur, target, spare.surface, rect, colour, shadow.x, shadow.y,
                         shadow.sigma, effect.At(5) == 1);
        break;
      }
      case kEffectBlur:
        BlurLayer(BlurOf(effect, matrix), matrix, blur, pool, target, rect);
        break;
      default:
        break;
    }
  }
}

}  // namespace plexion_host::movie
