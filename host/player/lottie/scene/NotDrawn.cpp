// What a movie asks for in vain.
#include "host/player/lottie/scene/NotDrawn.h"

#include <algorithm>
#include <set>

#include "host/player/lottie/compositing/BlendMode.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/paint/LayerEffects.h"
#include "host/player/lottie/paint/LayerStyles.h"

namespace plexion_host::movie {

namespace {

class Teller {
 public:
  Teller(const Movie& movie, const std::function<void(const std::string&)>& tell) : tell_(tell) {
    if (movie.glyphs == nullptr) return;
    for (const JsonValue& glyph : movie.glyphs->Elements()) {
      const JsonValue* type = glyph.Find("t");
      glyphsMove_ = glyphsMove_ || (type != nullptr && type->Number(0) == 1);
    }
  }

  void Look(const Composition& composition) {
    for (const Layer& layer : composition.layers) Look(layer);
  }

 private:
  void Look(const Layer& layer) {
    if (layer.hidden) return;
    layer_ = &layer;
    if (layer.kind == LayerKind::kCamera) Tell("the camera's perspective");
    if (layer.kind == LayerKind::kAudio) Tell("sound");
    if (layer.kind == LayerKind::kOther) Tell("layers of type " + std::to_string(layer.type));
    if (layer.kind == LayerKind::kData && layer.data == nullptr) {
      Tell("data that is not in the document");
    }
    for (const LayerStyle& style : layer.styles) Look(style);
    if (layer.blend >= kBlendModes) Tell("blend mode " + std::to_string(layer.blend));
    if (layer.kind == LayerKind::kComposition && layer.composition == nullptr) {
      Tell("a composition that is not in the document");
    }
    if (layer.kind == LayerKind::kImage && layer.image == nullptr) {
      Tell("a picture that is not in the document");
    }
    for (const Effect& effect : layer.effects) {
      if (effect.enabled && !IsControl(effect) && !IsDrawnEffect(effect)) {
        const std::string_view name = effect.name.empty() ? effect.matchName : effect.name;
        Tell("the effect " + Quoted(name));
      }
    }
    if (layer.text != nullptr) LookAtText(*layer.text);
    Look(layer.shapes);
  }

  void Look(const LayerStyle& style) {
    if (!IsDrawnStyle(style)) Tell("a layer style of type " + std::to_string(style.type));
    if (Highest(style.noise) > 0) Tell("the noise of a layer style");
    for (const Property* blend : {style.blend, style.shadeBlend}) {
      if (blend == nullptr) continue;
      const auto mode = static_cast<int>(std::clamp(blend->value[0], 0.f, 1000.f));
      bool known = true;
      StyleBlendOf(mode, &known);
      if (!known) Tell("blend mode " + std::to_string(mode) + " of a layer style");
    }
  }

  void LookAtText(const JsonValue& text) {
    if (glyphsMove_) Tell("a character that is a composition");
    const JsonValue* animators = text.Find("a");
    if (animators == nullptr) return;
    for (const JsonValue& animator : animators->Elements()) {
      const JsonValue* parts = animator.Find("a");
      if (parts != nullptr && parts->Find("bl") != nullptr) Tell("the blur of characters");
    }
  }

  void Look(Span<Shape> shapes) {
    for (const Shape& shape : shapes) {
      if (shape.hidden) continue;
      if (shape.kind == ShapeKind::kUnknown) Tell("shapes of type " + Quoted(shape.type));
      if (shape.kind == ShapeKind::kMerge && shape.tooLarge) {
        Tell("the cut of merged paths of more than " + std::to_string(kMostMergedVertices) +
             " points");
      }
      if (shape.blend >= kBlendModes) Tell("blend mode " + std::to_string(shape.blend));
      Look(shape.items);
    }
  }

  void Tell(const std::string& feature) {
    constexpr size_t kMost = 32;
    if (told_.size() >= kMost || !told_.insert(feature).second) return;
    tell_("layer " + Quoted(layer_->name) + ": " + feature + " is not drawn");
  }

  const std::function<void(const std::string&)>& tell_;
  const Layer* layer_ = nullptr;
  bool glyphsMove_ = false;
  std::set<std::string> told_;
};

}  // namespace

void TellNotDrawn(const Movie& movie, const std::function<void(const std::string&)>& tell) {
  Teller teller(movie, tell);
  teller.Look(movie.root);
  for (const Composition& composition : movie.compositions) teller.Look(composition);
}

}  // namespace plexion_host::movie
