#ifndef HOST_PLAYER_LOTTIE_PAINT_LAYEREFFECTS_H_
#define HOST_PLAYER_LOTTIE_PAINT_LAYEREFFECTS_H_

#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/SurfacePool.h"
#include "host/player/lottie/paint/DisplayList.h"

namespace plexion_host::movie {

/// Numbers of effects in documents ("ty").
enum EffectType : int {
  kEffectTint = 20,
  kEffectFill = 21,
  kEffectStroke = 22,
  kEffectTritone = 23,
  kEffectLevels = 24,
  kEffectShadow = 25,
  kEffectMatte = 28,
  kEffectBlur = 29,
  kEffectTransform = 35,
};

/// True for effects that change pixels or places; false for controls and what is not drawn.
bool IsDrawnEffect(const Effect& effect);
/// True for those that only hold values for expressions.
bool IsControl(const Effect& effect);

/// An effect that moves its layer: into `matrix` and `opacity`. Others change nothing.
void ApplyTransformEffect(const EffectState& effect, Matrix& matrix, float& opacity);

/// How far the pixels of a group may reach beyond it with its effects.
int ReachOf(const std::vector<EffectState>& effects, const Matrix& matrix);
bool ChangesPixels(const EffectState& effect);

/// Runs a layer's effects over `rect` of its group. `matrix`: from the layer's plane to pixels.
void RunEffects(const std::vector<EffectState>& effects, const Matrix& matrix, Blur& blur,
                SurfacePool& pool, const Surface& target, const IntRect& rect);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_LAYEREFFECTS_H_
