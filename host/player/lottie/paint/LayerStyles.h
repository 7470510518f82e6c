#ifndef HOST_PLAYER_LOTTIE_PAINT_LAYERSTYLES_H_
#define HOST_PLAYER_LOTTIE_PAINT_LAYERSTYLES_H_

#include <vector>

#include "host/player/lottie/compositing/BlendMode.h"
#include "host/player/lottie/compositing/Styles.h"
#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/paint/DisplayList.h"
#include "host/player/lottie/timeline/Values.h"

namespace plexion_host::movie {

/// A layer style at a moment. Lengths and angles are those of the layer's composition: styles do not
/// grow or turn with their layer.
struct StyleState {
  const LayerStyle* style = nullptr;
  Colour colour;  ///< with the opacity
  BlendMode blend = BlendMode::kNormal;
  float angle = 0;  ///< degrees, against the clock from the right
  float size = 0;
  float distance = 0;
  float spread = 0;  ///< 0 to 1
  float range = 0.5f;
  int option = 0;  ///< see LayerStyle::option

  std::vector<GradientStop> stops;
  Spread::Kind gradient = Spread::Kind::kLinear;
  float scale = 1;
  float offsetX = 0, offsetY = 0;  ///< of the box's width and height
  Rect box;                        ///< over which the gradient goes

  Colour shade;  ///< bevel: where the light does not come from
  BlendMode shadeBlend = BlendMode::kNormal;
  float depth = 1;
  float soften = 0;
  float altitude = 30;
};

/// The mode that a style's number means: they are counted as the authoring tool's menu has them, with
/// the lines between its groups. `known` is set to false for modes that are drawn as normal ones.
BlendMode StyleBlendOf(int number, bool* known = nullptr);
/// True when the style may blend with what lies below its layer.
bool BlendsBelow(const LayerStyle& style);
/// True for styles that are drawn at all.
inline bool IsDrawnStyle(const LayerStyle& style) { return style.kind != LayerStyleKind::kUnknown; }

/// Sorts styles in the order in which they are drawn, from bottom to top.
void SortStyles(std::vector<StyleState>& styles);
/// Below its layer: shadows, outer glows, strokes. Others lie on it.
bool IsBelow(LayerStyleKind kind);

/// Works out everything but the box. `numbers` lends its memory.
void EvaluateStyle(const Moment& moment, std::vector<float>& numbers, StyleState& state);
void AddLook(const StyleState& state, LookSum& look);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_LAYERSTYLES_H_
