// The uses of layers and what each of them is at a moment.
#include "host/player/lottie/scene/Scene.h"

#include <math.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/player/lottie/paint/Images.h"
#include "host/player/lottie/paint/LayerEffects.h"
#include "host/player/lottie/shapes/StyleValues.h"

namespace plexion_host::movie {

namespace {

// A negative stretch plays backwards: the earlier moment inside is the later one outside.
/// The time in which a composition stays the same, in the frames of the one that shows it.
Constancy Outward(const Constancy& inside, const Layer& layer) {
  Constancy outside;
  const double from = layer.start + inside.from * layer.stretch;
  const double to = layer.start + inside.to * layer.stretch;
  outside.from = std::min(from, to);
  outside.to = std::max(from, to);
  return outside;
}

/// Says that something is under way, for as long as it lives.
class Busy {
 public:
  explicit Busy(bool& flag) : flag_(flag) { flag_ = true; }
  ~Busy() { flag_ = false; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  bool& flag_;
};

}  // namespace

bool LayerUse::Flat() const {
  for (const LayerUse* use = this; use != nullptr; use = use->parent_) {
    if (!use->layer_->flat) return false;
  }
  return true;
}

Matrix4 LayerUse::Matrix4At(double time, PropertyScripts* scripts, Constancy& constancy) const {
  Matrix4 matrix;
  // From the layer outwards: what a parent does comes behind what its child does.
  for (const LayerUse* use = this; use != nullptr; use = use->parent_) {
    const Moment moment = {time, &constancy, scripts, use};
    matrix = Then(matrix, Transform4At(use->layer_->transform, moment, use->layer_->autoOrient));
  }
  return matrix;
}

Matrix LayerUse::MatrixAt(double time, PropertyScripts* scripts, Constancy& constancy) const {
  // Two ways with the same answer: most movies have no depth, and 3x2 matrices cost a third of 4x4
  // ones.
  if (!Flat()) return Flattened(Matrix4At(time, scripts, constancy));
  Matrix matrix;
  for (const LayerUse* use = this; use != nullptr; use = use->parent_) {
    const Moment moment = {time, &constancy, scripts, use};
    matrix = Then(matrix, TransformAt(use->layer_->transform, moment, use->layer_->autoOrient));
  }
  return matrix;
}

Scene::Scene(const Movie& movie, SceneParts parts) : movie_(movie), parts_(std::move(parts)) {
  root_ = MakeComposition(movie.root, nullptr, blends_);
}

Scene::~Scene() = default;

std::unique_ptr<CompositionUse> Scene::MakeComposition(const Composition& composition,
                                                       const LayerUse* shownBy, bool& blends) {
  auto use = std::make_unique<CompositionUse>();
  use->composition = &composition;
  use->shownBy = shownBy;
  use->layers.reserve(composition.layers.count);
  for (const Layer& layer : composition.layers) {
    use->layers.push_back(std::make_unique<LayerUse>(layer, *use, ++uses_));
  }
  // Behind the loop that makes them: a parent may stand below its child in the document.
  for (size_t i = 0; i < use->layers.size(); ++i) {
    LayerUse& layer = *use->layers[i];
    const Layer& model = *layer.layer_;
    if (model.parent >= 0) layer.parent_ = use->layers[static_cast<size_t>(model.parent)].get();
    if (model.matte >= 0) layer.matte_ = use->layers[static_cast<size_t>(model.matte)].get();
    MakeContent(layer, blends);
    blends = blends || model.blend != 0 ||
             std::any_of(model.styles.begin(), model.styles.end(), BlendsBelow);
  }
  return use;
}

void Scene::MakeContent(LayerUse& use, bool& blends) {
  const Layer& layer = *use.layer_;
  bool inside = false;
  // The same composition, used twice, has two uses: each has its own time, and so its own values.
  if (layer.kind == LayerKind::kComposition && layer.composition != nullptr) {
    use.content_ = MakeComposition(*layer.composition, &use, inside);
    use.blendsInside_ = inside;
    inside = false;  // its clip keeps that to itself
  }
  // A blend inside of a layer reaches what is below it only within the composition. Such a
  // composition needs pixels of its own to begin with.
  std::function<bool(Span<Shape>)> blending = [&blending](Span<Shape> shapes) {
    return std::any_of(shapes.begin(), shapes.end(), [&](const Shape& shape) {
      return shape.blend != 0 || blending(shape.items);
    });
  };
  if (layer.kind == LayerKind::kShape) {
    use.shapes_ = std::make_unique<ShapeTree>(layer.shapes);
    inside = blending(layer.shapes);
  }
  if (layer.kind == LayerKind::kText && parts_.text) use.text_ = parts_.text(layer);
  if (layer.kind == LayerKind::kImage && layer.image != nullptr && parts_.image) {
    use.image_ = parts_.image(*layer.image);
  }
  blends = blends || inside;
  if (layer.kind == LayerKind::kSolid) {
    // A solid is a rectangle like any other shape from here on.
    use.solid_ = std::make_unique<ShapeOp>();
    ShapeOp& op = *use.solid_;
    op.path.AddRect({0, 0, layer.width, layer.height});
    op.right = layer.width;
    op.bottom = layer.height;
    op.colour = {static_cast<float>(layer.colour >> 16 & 255) / 255,
                 static_cast<float>(layer.colour >> 8 & 255) / 255,
                 static_cast<float>(layer.colour & 255) / 255,
                 static_cast<float>(layer.colour >> 24) / 255};
  }
  for (const Mask& mask : layer.masks) {
    // A mask that does nothing may still be what an effect strokes.
    const bool stroked = std::any_of(layer.effects.begin(), layer.effects.end(),
                                     [](const Effect& e) { return e.type == kEffectStroke; });
    if (mask.mode == Mask::Mode::kNone && !stroked) continue;
    use.masks_.emplace_back();
    use.masks_.back().mask = &mask;
  }
  for (const Effect& effect : layer.effects) {
    if (!effect.enabled || !IsDrawnEffect(effect)) continue;
    use.effects_.emplace_back();
    use.effects_.back().effect = &effect;
    use.effects_.back().values.resize(effect.values.count);
  }
  for (const LayerStyle& style : layer.styles) {
    if (IsDrawnStyle(style)) use.styles_.emplace_back().style = &style;
  }
  SortStyles(use.styles_);
}

Moment Scene::At(const LayerUse& use, double time, Constancy& constancy) const {
  return {time, &constancy, parts_.scripts, &use};
}

Constancy Scene::Evaluate(double frame, const Matrix& toPlane, int width, int height,
                          DisplayList& list) {
  PLEXION_CHECK(list_ == nullptr, "one moment is worked out at a time");
  PLEXION_CHECK(width >= 0 && height >= 0, "a plane has a size");
  Constancy constancy;
  // The whole tree first, then the list: what a layer is may depend, by an expression, on one that
  // is drawn later.
  EvaluateComposition(*root_, frame, constancy);
  list.clear();
  list_ = &list;
  plane_ = {0, 0, width, height};
  // What lies outside of the stage is not seen, also where the plane has another shape.
  plane_ = plane_.Cut(CoverOf(0, 0, movie_.width, movie_.height, toPlane, 0));
  EmitComposition(*root_, toPlane, 0);
  list_ = nullptr;
  return constancy;
}

size_t Scene::BytesOf(const CompositionUse& use) {
  size_t bytes = 0;
  for (const auto& layer : use.layers) {
    bytes += sizeof(LayerUse);
    if (layer->shapes_ != nullptr) bytes += layer->shapes_->Bytes();
    if (layer->text_ != nullptr) bytes += layer->text_->Bytes();
    for (const ShapeOp& stroke : layer->strokes_) bytes += sizeof stroke + stroke.Bytes();
    for (const MaskValue& mask : layer->masks_) {
      bytes += sizeof mask + mask.path.Bytes() + mask.outline.vertices.capacity() * sizeof(Vertex);
    }
    if (layer->content_ != nullptr) bytes += BytesOf(*layer->content_);
  }
  return bytes;
}

void Scene::EvaluateComposition(CompositionUse& use, double time, Constancy& constancy) {
  use.time = time;
  for (const auto& layer : use.layers) EvaluateLayer(*layer, time, constancy);
}

void Scene::EvaluateLayer(LayerUse& use, double time, Constancy& constancy) {
  const Layer& layer = *use.layer_;
  use.visible_ = false;
  if (layer.hidden || layer.kind == LayerKind::kNull || layer.kind == LayerKind::kAudio ||
      layer.kind == LayerKind::kCamera || layer.kind == LayerKind::kData ||
      layer.kind == LayerKind::kOther) {
    return;
  }
  if (time < layer.in) return constancy.Meet(-kForever, layer.in);
  // Outside of its time a layer is constant until it begins, or for ever.
  if (time >= layer.out) return constancy.Meet(layer.out, kForever);
  constancy.Meet(layer.in, layer.out);
  // The same answer as the last time: the values hold until one of their keys or scripts says
  // otherwise.
  if (!use.evaluated_ || !use.constancy_.Holds(time)) {
    use.constancy_ = Constancy();
    EvaluateOwn(use, time);
    use.evaluated_ = true;
  }
  constancy.Meet(use.constancy_.from, use.constancy_.to);
  // Nothing of the content can be seen, so it is not asked either.
  if (use.opacity_ <= 0) return;
  use.visible_ = true;
  EvaluateContent(use, time, constancy);
  if (!use.styles_.empty()) EvaluateStyles(use, time, constancy);
}

void Scene::EvaluateOwn(LayerUse& use, double time) {
  const Layer& layer = *use.layer_;
  const Moment moment = At(use, time, use.constancy_);
  use.opacity_ = static_cast<float>(OpacityAt(layer.transform, moment));
  use.matrix_ = use.MatrixAt(time, parts_.scripts, use.constancy_);
  use.strokes_.clear();
  for (EffectState& effect : use.effects_) {
    // Filled for effects that are not drawn by pixels as well: ApplyTransformEffect reads them.
    for (uint32_t i = 0; i < effect.effect->values.count; ++i) {
      moment.Numbers(effect.effect->values[i].value, effect.values[i].n, 4);
    }
    ApplyTransformEffect(effect, use.matrix_, use.opacity_);
  }
  for (MaskValue& value : use.masks_) {
    const Mask& mask = *value.mask;
    value.opacity =
        static_cast<float>(std::clamp(moment.Number(mask.opacity, 100) / 100, 0.0, 1.0));
    value.expansion = static_cast<float>(moment.Number(mask.expansion, 0));
    float feather[2] = {0, 0};
    moment.Numbers(mask.feather, feather, 2);
    value.featherX = std::max(0.f, feather[0]);
    value.featherY = std::max(0.f, feather[1]);
    if (mask.path != nullptr) moment.Path(*mask.path, value.outline);
    value.path.Clear();
    // An open mask lets nothing through.
    if (value.outline.closed) AppendOutline(value.outline, Matrix(), value.path);
  }
  if (use.solid_ != nullptr) CutSolid(use);
  for (const EffectState& effect : use.effects_) {
    if (effect.effect->type == kEffectStroke) EvaluateStrokes(use, effect);
  }
}

/// A solid behind one plain mask is a shape filled with a colour, and costs no more than one.
void Scene::CutSolid(LayerUse& use) {
  const Layer& layer = *use.layer_;
  ShapeOp& op = *use.solid_;
  const bool one = use.masks_.size() == 1 && use.effects_.empty();
  const MaskValue* mask = one ? &use.masks_[0] : nullptr;
  bool cut = one && mask->mask->mode == Mask::Mode::kAdd && !mask->mask->inverted &&
             // Only a mask that lies inside of the solid: beyond its edge the solid's own edge
             // would be seen.
             mask->expansion == 0 && mask->featherX == 0 && mask->featherY == 0;
  const Rect box = cut ? mask->path.Bounds() : Rect();
  cut = cut && box.left >= 0 && box.top >= 0 && box.right <= layer.width &&
        box.bottom <= layer.height;
  // Already as it should be, on both sides.
  if (!cut && !use.solidIsMask_) return;
  // Painting does not apply a mask that has become the shape, see EmitLayer.
  use.solidIsMask_ = cut;
  if (cut) {
    op.path.verbs = mask->path.verbs;
    op.path.points = mask->path.points;
    op.opacity = mask->opacity;
    op.left = box.left;
    op.top = box.top;
    op.right = box.right;
    op.bottom = box.bottom;
  } else {
    op.path.Clear();
    op.path.AddRect({0, 0, layer.width, layer.height});
    op.opacity = 1;
    op.left = op.top = 0;
    op.right = layer.width;
    op.bottom = layer.height;
  }
  LookSum look;
  for (const Point& point : op.path.points) look.Add(point);
  // The version is the sum of what it draws, so an outline that comes back has its picture still.
  op.version = op.outline = look.Value();
}

/// Strokes a layer's masks with a brush: dots of the brush's size, `spacing` apart.
void Scene::EvaluateStrokes(LayerUse& use, const EffectState& effect) {
  PLEXION_CHECK(effect.effect->type == kEffectStroke, "its values are those of a stroke");
  // The effect has eleven values in the format; fewer were written by something else.
  if (effect.values.size() < 11) return;
  const bool all = effect.At(1) == 1;
  const float wanted = effect.At(0) - 1;
  const float size = std::max(0.f, effect.At(4));
  const double start = std::clamp(std::min(effect.At(7), effect.At(8, 100)) / 100, 0.f, 1.f);
  const double end = std::clamp(std::max(effect.At(7), effect.At(8, 100)) / 100, 0.f, 1.f);
  // A style as the document would have it: round joins, and what the class has as its usual values.
  static const Shape* const round = [] {
    static Shape shape;
    shape.kind = ShapeKind::kStroke;
    shape.join = 1;
    return &shape;
  }();
  OutlineList line, part;
  OutlineLengths lengths;
  for (size_t i = 0; i < use.masks_.size(); ++i) {
    const MaskValue& mask = use.masks_[i];
    const auto number = static_cast<float>(mask.mask - use.layer_->masks.data);
    if (!all && number != wanted) continue;
    line.Clear();
    part.Clear();
    line.Add() = mask.outline;
    if (start > 0 || end < 1) {
      Measure(line, lengths);
      Trim(line, lengths, {start, end}, part);
    } else {
      part.Swap(line);
    }
    ShapeOp op;
    op.kind = ShapeOp::Kind::kStroke;
    op.style = round;
    op.width = size * 2;
    // A dot and a gap: dashes of almost nothing with round ends are the brush's dots.
    op.dashes = {1, std::max(0.f, size * 2 * effect.At(9) / 100)};
    op.dashOffset = 1;
    op.opacity = std::clamp(effect.At(6, 1), 0.f, 1.f);
    op.colour = ColourOf(effect.values[3].n);
    AppendOutlines(part, Matrix(), op.path);
    const Rect box = op.path.Bounds();
    op.left = box.left;
    op.top = box.top;
    op.right = box.right;
    op.bottom = box.bottom;
    LookSum look;
    for (const Point& point : op.path.points) look.Add(point);
    look.Add(op.width);
    look.Add(op.colour);
    look.Add(op.dashes[1]);
    op.version = op.outline = look.Value();
    use.strokes_.push_back(std::move(op));
  }
}

void Scene::EvaluateStyles(LayerUse& use, double time, Constancy& constancy) {
  const Moment moment = At(use, time, constancy);
  for (StyleState& state : use.styles_) {
    EvaluateStyle(moment, numbers_, state);
    if (state.style->kind != LayerStyleKind::kGradientOverlay) continue;
    const Composition& around = *use.owner_->composition;
    state.box = moment.Number(state.style->align, 1) != 0 ? BoxOf(use)
                                                          : Rect{0, 0, around.width, around.height};
  }
}

/// The box around what a layer shows at the moment, in its composition.
Rect Scene::BoxOf(const LayerUse& use) {
  const Layer& layer = *use.layer_;
  const bool shapes = use.shapes_ != nullptr;
  if (!shapes && use.text_ == nullptr) {
    const bool image = use.image_ != nullptr;
    const float width = image ? layer.image->width : layer.width;
    const float height = image ? layer.image->height : layer.height;
    return use.matrix_.Map(Rect{0, 0, width, height});
  }
  const std::vector<ShapeOp>& ops = shapes ? use.shapes_->Ops() : use.text_->Ops();
  const size_t count = shapes ? use.shapes_->OpCount() : use.text_->OpCount();
  Rect box;
  bool any = false;
  for (size_t i = 0; i < count; ++i) {
    const ShapeOp& op = ops[i];
    const bool stroke = op.kind == ShapeOp::Kind::kStroke;
    if ((!stroke && op.kind != ShapeOp::Kind::kFill) || op.path.IsEmpty()) continue;
    const float around = stroke ? op.width / 2 : 0;
    const Rect one =
        Then(op.matrix, use.matrix_)
            .Map(Rect{op.left - around, op.top - around, op.right + around, op.bottom + around});
    box = !any ? one
               : Rect{std::min(box.left, one.left), std::min(box.top, one.top),
                      std::max(box.right, one.right), std::max(box.bottom, one.bottom)};
    any = true;
  }
  return box;
}

void Scene::EvaluateContent(LayerUse& use, double time, Constancy& constancy) {
  const Layer& layer = *use.layer_;
  if (use.shapes_ != nullptr || use.text_ != nullptr) {
    // The flag tells an expression that asks for this layer's own outline that it is just being
    // made.
    const Busy busy(use.contentBusy_);
    const Moment moment = At(use, time, constancy);
    if (use.shapes_ != nullptr) {
      use.shapes_->Evaluate(moment);
    } else {
      use.text_->Evaluate(moment);
    }
  } else if (use.content_ != nullptr) {
    Constancy inside;
    // The reader refuses a stretch that is next to nothing.
    double inner = (time - layer.start) / layer.stretch;
    if (layer.timeRemap != nullptr) {
      inner = At(use, time, constancy).Number(layer.timeRemap, 0) * movie_.frameRate;
      // The very end of a composition shows its last frame, not the nothing behind it.
      if (inner == layer.out) inner = layer.out - 1;
      // Time inside goes where the map takes it: how long that holds is said above, unless something
      // in there looks outside.
      const uint64_t before = parts_.scripts != nullptr ? parts_.scripts->OutsideReads() : 0;
      EvaluateComposition(*use.content_, inner, inside);
      if (parts_.scripts != nullptr && parts_.scripts->OutsideReads() != before) {
        // An expression inside that reads outside of its composition depends on more than the
        // mapped time.
        constancy.Meet(time, time);
      }
      return;
    }
    EvaluateComposition(*use.content_, inner, inside);
    const Constancy outside = Outward(inside, layer);
    constancy.Meet(outside.from, outside.to);
  }
}

}  // namespace plexion_host::movie
