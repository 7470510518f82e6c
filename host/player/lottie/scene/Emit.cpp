// From evaluated layers to the list of what is drawn.
#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/compositing/BlendMode.h"
#include "host/player/lottie/paint/Images.h"
#include "host/player/lottie/paint/LayerEffects.h"
#include "host/player/lottie/paint/StylePixels.h"
#include "host/player/lottie/scene/Scene.h"

namespace plexion_host::movie {

namespace {

/// A thing's name from moment to moment: which layer, what of it, and for whom it is drawn.
uint64_t KeyOf(uint64_t layer, uint64_t part, uint64_t user) {
  uint64_t key =
      layer * 0x9E3779B97F4A7C15u + part * 0xC2B2AE3D27D4EB4Fu + user * 0x165667B19E3779F9u;
  key ^= key >> 29;
  key *= 0xBF58476D1CE4E5B9u;
  return key ^ key >> 32;
}

// Parts of one layer that are items of their own. A key that two of them shared would make damage
// compare the one with the other, and leave a part of the picture old.
constexpr uint64_t kLayerPart = 1;
constexpr uint64_t kContentPart = 2;
constexpr uint64_t kMattePart = 3;
constexpr uint64_t kStrokePart = 4;
constexpr uint64_t kCutPart = 5;
constexpr uint64_t kFirstOpPart = 16;

/// How many fills and strokes stand in a group, as far as a few of its items tell.
size_t StylesIn(const std::vector<ShapeOp>& ops, size_t begin, size_t end) {
  constexpr size_t kFew = 16;
  // Enough to know that it is more than one, which is all that is asked.
  if (end - begin > kFew) return kFew;
  size_t styles = 0;
  for (size_t i = begin; i < end; ++i) {
    const ShapeOp::Kind kind = ops[i].kind;
    const bool style = kind == ShapeOp::Kind::kFill || kind == ShapeOp::Kind::kStroke;
    styles += style || ops[i].blend != 0 ? 1 : 0;
  }
  return styles;
}

/// What masks can leave at most.
IntRect ReachOfMasks(const std::vector<MaskValue>& masks, const Matrix& matrix,
                     const IntRect& plane) {
  IntRect reach;
  bool first = true;
  for (const MaskValue& value : masks) {
    const Mask::Mode mode = value.mask->mode;
    if (mode == Mask::Mode::kNone) continue;
    const bool adds =
        mode == Mask::Mode::kAdd || mode == Mask::Mode::kLighten || mode == Mask::Mode::kDifference;
    // A first mask that takes away begins with everything.
    if (first && !adds && mode != Mask::Mode::kIntersect) return plane;
    if (value.mask->inverted && (adds || first)) return plane;
    if (!adds && !first) continue;
    first = false;
    if (value.path.IsEmpty()) continue;
    const Rect box = value.path.Bounds();
    // A feather is reckoned to be seen as far out as its radius. One pixel more for the edge that
    // is smoothed.
    const double around = std::max(0.f, value.expansion) * matrix.MaxScale() +
                          std::max(value.featherX, value.featherY) * matrix.MaxScale() + 1;
    reach =
        reach.Join(CoverOf(box.left, box.top, box.right, box.bottom, matrix, around).Cut(plane));
  }
  return reach;
}

bool AxisAligned(const Matrix& m) { return (m.b == 0 && m.c == 0) || (m.a == 0 && m.d == 0); }

}  // namespace

size_t Scene::BeginGroup(uint64_t key) {
  DrawItem item;
  item.kind = DrawItem::Kind::kGroup;
  item.key = key;
  list_->push_back(item);
  return list_->size() - 1;
}

/// Closes a group and works out which pixels it touches; without any it goes.
void Scene::EndGroup(size_t begin, const IntRect& limit) {
  DisplayList& list = *list_;
  PLEXION_CHECK(begin < list.size() && list[begin].kind == DrawItem::Kind::kGroup,
                "what is closed was begun");
  DrawItem group = list[begin];
  // The matte's own items stand behind the content in the group's range, and are not a part of what
  // it shows.
  const size_t contentEnd = group.matteAt != 0 ? group.matteAt : list.size();
  IntRect bounds;
  for (size_t i = begin + 1; i < contentEnd; ++i) {
    const DrawItem& item = list[i];
    bounds = bounds.Join(item.bounds);
    // What lies inside of an inner group is in its bounds.
    if (item.kind == DrawItem::Kind::kGroup) i = item.end;
  }
  int reach = 0;
  if (group.effects != nullptr) reach = ReachOf(*group.effects, group.matrix);
  if (group.styles != nullptr) reach = ReachOf(*group.styles, group.matrix);
  if (reach > 0 && !bounds.IsEmpty()) bounds = Grown(bounds, reach);
  bounds = bounds.Cut(limit).Cut(plane_);
  if (group.matteAt != 0 && group.matte % 2 == 1) {  // what is not inverted shows no more than it
    IntRect matte;
    for (size_t i = group.matteAt + 1; i < list.size(); ++i) {
      const DrawItem& item = list[i];
      matte = matte.Join(item.bounds);
      if (item.kind == DrawItem::Kind::kGroup) i = item.end;
    }
    bounds = bounds.Cut(matte);
  }
  if (group.clips) bounds = bounds.Cut(CoverOf(0, 0, group.width, group.height, group.matrix, 0));
  if (bounds.IsEmpty()) {
    // An empty group is taken out again: what hides or mattes nothing must not cost a buffer.
    list.resize(begin);
    return;
  }
  list[begin].bounds = bounds;
  list[begin].end = static_cast<uint32_t>(list.size());
  if (group.matteAt != 0) {
    // A matte is drawn where the group is seen, and nowhere else.
    list[group.matteAt].bounds = bounds;
    list[group.matteAt].end = static_cast<uint32_t>(list.size());
  }
  DrawItem end;
  end.kind = DrawItem::Kind::kEnd;
  list.push_back(end);
}

void Scene::EmitComposition(const CompositionUse& use, const Matrix& matrix, uint64_t user) {
  for (size_t i = use.layers.size(); i-- > 0;) EmitLayer(*use.layers[i], matrix, user, false);
}

void Scene::EmitLayer(const LayerUse& use, const Matrix& matrix, uint64_t user, bool asMatte) {
  // Compositions in compositions, and mattes of mattes: the reader refuses circles, not depth.
  constexpr unsigned kDeepest = 200;
  const Layer& layer = *use.layer_;
  if (!use.visible_ || (layer.isMatte && !asMatte) || depth_ > kDeepest) return;
  ++depth_;
  const Matrix toPixels = Then(use.matrix_, matrix);
  const LayerUse* matte = use.matte_;
  uint8_t matteMode = layer.matteMode;
  bool pixelEffects = false;
  // The matte of an effect is a layer by its number, in the same composition.
  for (const EffectState& effect : use.effects_) {
    pixelEffects = pixelEffects || ChangesPixels(effect);
    if (effect.effect->type == kEffectMatte && matte == nullptr) {
      for (const auto& other : use.owner_->layers) {
        if (other->layer_->index != effect.At(0, -1) || other.get() == &use) continue;
        matte = other.get();
        matteMode = 1;
      }
    }
  }
  const bool masked = !use.solidIsMask_ &&
                      std::any_of(use.masks_.begin(), use.masks_.end(), [](const MaskValue& mask) {
                        return mask.mask->mode != Mask::Mode::kNone;
                      });
  // Without what it is matted by, a layer shows nothing; inverted it shows all of itself.
  const bool clips = layer.kind == LayerKind::kComposition && layer.composition != nullptr;
  const bool blends = layer.blend > 0 && layer.blend < kBlendModes && !asMatte;
  const uint64_t key = KeyOf(use.number_, kLayerPart, user);
  // The plane's own edge is clip enough for a composition that is as large as the stage.
  const bool alignedClip = clips && AxisAligned(toPixels);
  // Half a pixel inwards: a clip that lies on the plane's edges, but for rounding, is none.
  const IntRect clipPixels =
      clips ? CoverOf(0, 0, layer.width, layer.height, toPixels, -0.5) : plane_;
  const bool realClip = clips && !(alignedClip && Same(clipPixels.Cut(plane_), plane_));
  // One style alone takes the layer's opacity itself. With two, the lower would show through the
  // upper.
  const bool leaf =
      use.solid_ != nullptr || use.image_ != nullptr ||
      (use.shapes_ != nullptr && StylesIn(use.shapes_->Ops(), 0, use.shapes_->OpCount()) == 1);
  const Cuts cuts = {masked, pixelEffects, realClip, use.blendsInside_ && clips};
  const bool styled = !use.styles_.empty();
  const bool group =
      (use.opacity_ < 1 && !leaf) || cuts.Any() || matte != nullptr || blends || styled;
  if (!group) {
    EmitContent(use, toPixels, user, use.opacity_);
    --depth_;
    return;
  }
  const size_t begin = BeginGroup(key);
  // What lies beside the plane may be blurred into it, or throw its shadow there.
  const IntRect plane = plane_;
  if (styled) plane_ = Grown(plane_, ReachOf(use.styles_, matrix));
  IntRect limit = plane_;
  if (!styled) {
    limit = EmitCut(use, cuts, toPixels, user, begin);
  } else if (cuts.Any()) {
    // Styles follow the edges that masks and effects leave.
    const IntRect around = plane_;
    const size_t inner = BeginGroup(KeyOf(use.number_, kCutPart, user));
    const IntRect cut = EmitCut(use, cuts, toPixels, user, inner);
    plane_ = around;
    EndGroup(inner, cut);
  } else {
    EmitContent(use, toPixels, user, 1);
  }
  const bool empty = list_->size() == begin + 1;
  if (matte != nullptr && !empty) {
    DrawItem start;
    start.kind = DrawItem::Kind::kMatte;
    start.key = KeyOf(use.number_, kMattePart, user);
    start.look = matteMode;
    (*list_)[begin].matteAt = static_cast<uint32_t>(list_->size());
    list_->push_back(start);
    EmitLayer(*matte, matrix, KeyOf(use.number_, kMattePart, user), true);
  }
  // Found only now: what was emitted has moved the list.
  DrawItem& item = (*list_)[begin];
  item.opacity = use.opacity_;
  item.blend = blends ? layer.blend : 0;
  item.matte = matte != nullptr ? matteMode : 0;
  LookSum look;
  look.Add(item.look);
  look.Add(item.opacity);
  look.Add(item.blend);
  look.Add(item.matte);
  if (styled) {
    item.matrix = matrix;
    item.styles = &use.styles_;
    item.spreads = true;
    look.Add(matrix);
    for (const StyleState& state : use.styles_) AddLook(state, look);
  }
  item.look = look.Value();
  plane_ = plane;
  EndGroup(begin, limit);
  --depth_;
}

/// Lists a layer's content in the group at `begin`, with all that its own edges are cut by. Leaves
/// the plane as large as the content needs it.
/// Returns  what the cuts leave at most.
IntRect Scene::EmitCut(const LayerUse& use, const Cuts& cuts, const Matrix& toPixels, uint64_t user,
                       size_t begin) {
  if (cuts.effects) plane_ = Grown(plane_, ReachOf(use.effects_, toPixels));
  // All that changes what the group looks like, and nothing that belongs to its content: its items
  // say that themselves.
  LookSum look;
  {
    // In a scope of its own: what is emitted below may move the list, and the reference with it.
    DrawItem& item = (*list_)[begin];
    item.matrix = toPixels;
    item.clips = cuts.clips;
    item.width = use.layer_->width;
    item.height = use.layer_->height;
    item.isolated = cuts.isolates;
    if (cuts.masked) item.masks = &use.masks_;
    if (cuts.effects) item.effects = &use.effects_;
    item.spreads = cuts.effects;
    if (cuts.clips || cuts.masked || cuts.effects) look.Add(item.matrix);
    if (cuts.clips) {
      look.Add(item.width);
      look.Add(item.height);
    }
    // The outlines, not the filled paths: an open mask has no path, and still may change.
    for (const MaskValue& mask : use.masks_) {
      for (const Vertex& vertex : mask.outline.vertices) look.Add(vertex);
      look.Add(mask.opacity);
      look.Add(mask.expansion);
      look.Add(mask.featherX);
      look.Add(mask.featherY);
    }
    if (cuts.effects) {
      for (const EffectState& effect : use.effects_) {
        for (const EffectState::Numbers& numbers : effect.values) look.Add(numbers);
      }
    }
    item.look = look.Value();
  }
  // What the masks hide is not even listed.
  const IntRect limit = cuts.masked ? ReachOfMasks(use.masks_, toPixels, plane_) : plane_;
  if (!limit.IsEmpty()) EmitContent(use, toPixels, user, 1);
  return limit;
}

void Scene::EmitContent(const LayerUse& use, const Matrix& matrix, uint64_t user, float opacity) {
  const Layer& layer = *use.layer_;
  if (use.content_ != nullptr) {
    EmitComposition(*use.content_, matrix, user);
  } else if (use.shapes_ != nullptr) {
    EmitOps(use, use.shapes_->Ops(), use.shapes_->OpCount(), matrix, user, opacity);
  } else if (use.text_ != nullptr) {
    EmitOps(use, use.text_->Ops(), use.text_->OpCount(), matrix, user, opacity);
  } else if (layer.kind == LayerKind::kSolid && use.solid_ != nullptr) {
    EmitOp(use, *use.solid_, 0, matrix, user, opacity);
  } else if (use.image_ != nullptr) {
    EmitImage(use, matrix, user, opacity);
  }
  for (size_t i = 0; i < use.strokes_.size(); ++i) {
    // Strokes of masks lie above the content. They get numbers far beyond any op's.
    EmitOp(use, use.strokes_[i], i + (kStrokePart << 32), matrix, user, 1);
  }
}

void Scene::EmitOps(const LayerUse& use, const std::vector<ShapeOp>& ops, size_t count,
                    const Matrix& matrix, uint64_t user, float opacity) {
  std::vector<OpenGroup>& open = openGroups_;
  const size_t outer = open.size();
  for (size_t i = 0; i < count; ++i) {
    const ShapeOp& op = ops[i];
    const float inherited = open.size() > outer ? open.back().opacity : opacity;
    switch (op.kind) {
      case ShapeOp::Kind::kBegin: {
        // Its whole range is passed over; the loop goes on behind its end.
        if (op.opacity <= 0) {
          i = op.closing;
          break;
        }
        // A group of one style needs no pixels of its own: the style takes its opacity.
        const bool single = op.blend == 0 && StylesIn(ops, i + 1, op.closing) == 1;
        if ((op.opacity >= 1 && op.blend == 0) || single) {
          // Marked by SIZE_MAX: opened here, but no group of the list. Opacities of such groups
          // multiply on the way in.
          open.push_back({SIZE_MAX, inherited * op.opacity});
          break;
        }
        const size_t begin = BeginGroup(KeyOf(use.number_, kFirstOpPart + i, user));
        DrawItem& item = (*list_)[begin];
        item.opacity = op.opacity * inherited;
        item.blend = op.blend < kBlendModes ? op.blend : 0;
        LookSum look;
        look.Add(item.opacity);
        look.Add(item.blend);
        item.look = look.Value();
        open.push_back({begin, 1});
        break;
      }
      case ShapeOp::Kind::kEnd:
        if (open.size() > outer) {
          if (open.back().begin != SIZE_MAX) EndGroup(open.back().begin, plane_);
          open.pop_back();
        }
        break;
      default:
        EmitOp(use, op, i, matrix, user, inherited);
        break;
    }
  }
  // A list whose groups do not close (the tree saw its budget end) leaves none open for the next
  // layer.
  open.resize(outer);
}

void Scene::EmitOp(const LayerUse& use, const ShapeOp& op, uint64_t index, const Matrix& matrix,
                   uint64_t user, float opacity) {
  PLEXION_CHECK(op.kind == ShapeOp::Kind::kFill || op.kind == ShapeOp::Kind::kStroke,
                "groups are emitted by whoever walks the list");
  if (op.path.IsEmpty() || op.opacity * opacity <= 0) return;
  const bool stroke = op.kind == ShapeOp::Kind::kStroke;
  if (stroke && op.width <= 0) return;
  DrawItem item;
  item.kind = DrawItem::Kind::kShape;
  item.op = &op;
  item.matrix = Then(op.matrix, matrix);
  item.opacity = op.opacity * opacity;
  item.blend = op.blend < kBlendModes ? op.blend : 0;
  float around = 0;
  if (stroke) {
    // How far a stroke reaches beyond its line: half its width, at a mitred corner as many times
    // that as the limit allows.
    const bool miter = op.style == nullptr || op.style->join == 1;
    const float corner = miter && op.style != nullptr ? std::max(op.style->miterLimit, 1.5f) : 1.5f;
    around = op.width / 2 * std::min(corner, 100.f);
  }
  item.bounds = CoverOf(op.left - around, op.top - around, op.right + around, op.bottom + around,
                        item.matrix, 1)
                    .Cut(plane_);
  if (item.bounds.IsEmpty()) return;
  item.key = KeyOf(use.number_, kFirstOpPart + index, user);
  LookSum look;
  look.Add(op.version);
  look.Add(item.matrix);
  look.Add(item.opacity);
  look.Add(item.blend);
  item.look = look.Value();
  // Blending needs what is below as a whole: the item gets a group of its own, which blends, and is
  // plain in it.
  if (item.blend != 0) {  // only groups blend
    const size_t begin = BeginGroup(KeyOf(use.number_, kFirstOpPart + index, ~user));
    (*list_)[begin].blend = item.blend;
    (*list_)[begin].look = item.blend;
    item.blend = 0;
    list_->push_back(item);
    EndGroup(begin, plane_);
    return;
  }
  list_->push_back(item);
}

void Scene::EmitImage(const LayerUse& use, const Matrix& matrix, uint64_t user, float opacity) {
  const ImageAsset& asset = *use.layer_->image;
  const Surface& pixels = use.image_->image.Pixels();
  if (pixels.width <= 0 || pixels.height <= 0) return;
  const float width = asset.width > 0 ? asset.width : static_cast<float>(pixels.width);
  const float height = asset.height > 0 ? asset.height : static_cast<float>(pixels.height);
  double scaleX = double{width} / pixels.width;
  double scaleY = double{height} / pixels.height;
  if (asset.fit != "none") {
    const bool whole = asset.fit.find("meet") != std::string_view::npos;
    scaleX = scaleY = whole ? std::min(scaleX, scaleY) : std::max(scaleX, scaleY);
  }
  const Matrix fit = {scaleX,
                      0,
                      0,
                      scaleY,
                      (width - scaleX * pixels.width) / 2,
                      (height - scaleY * pixels.height) / 2};
  DrawItem item;
  item.kind = DrawItem::Kind::kImage;
  item.image = use.image_;
  item.matrix = Then(fit, matrix);
  item.opacity = opacity;
  item.key = KeyOf(use.number_, kContentPart, user);
  item.bounds = CoverOf(0, 0, width, height, matrix, 1).Cut(plane_);
  if (item.bounds.IsEmpty()) return;
  LookSum look;
  look.Add(item.matrix);
  look.Add(opacity);
  item.look = look.Value();
  const bool overflows = fit.e < -0.5 || fit.f < -0.5;
  size_t begin = 0;
  if (overflows) {
    begin = BeginGroup(KeyOf(use.number_, kContentPart, ~user));
    DrawItem& group = (*list_)[begin];
    group.clips = true;
    group.matrix = matrix;
    group.width = width;
    group.height = height;
    group.look = look.Value();
  }
  list_->push_back(item);
  if (overflows) EndGroup(begin, plane_);
}

}  // namespace plexion_host::movie
