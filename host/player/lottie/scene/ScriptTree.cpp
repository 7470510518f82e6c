// The scene as expressions walk over it: compositions, layers, and what stands in them.
#include <string_view>
#include <vector>

#include "host/base/Text.h"
#include "host/player/lottie/scene/SceneNodes.h"
#include "host/player/lottie/scene/ScriptAccess.h"

namespace plexion_host::movie {

namespace {

/// Type of an effect's value that names a layer.
constexpr int kLayerControl = 10;

struct TransformPart {
  const char* name;
  const Property* Transform::*member;
};
constexpr TransformPart kTransformParts[] = {
    {"a", &Transform::anchor},        {"p", &Transform::position},
    {"px", &Transform::positionX},    {"py", &Transform::positionY},
    {"pz", &Transform::positionZ},    {"s", &Transform::scale},
    {"r", &Transform::rotation},      {"rx", &Transform::rotationX},
    {"ry", &Transform::rotationY},    {"rz", &Transform::rotationZ},
    {"or", &Transform::orientation},  {"sk", &Transform::skew},
    {"sa", &Transform::skewAxis},     {"o", &Transform::opacity},
    {"so", &Transform::startOpacity}, {"eo", &Transform::endOpacity},
};

struct ShapePart {
  const char* types;  ///< with a blank behind each
  const char* name;
  const Property* Shape::*member;
};
constexpr ShapePart kShapeParts[] = {
    {"rc el sr ", "p", &Shape::position},
    {"rc el ", "s", &Shape::size},
    {"rc rd ", "r", &Shape::radius},
    {"sr ", "pt", &Shape::points},
    {"sr ", "r", &Shape::rotation},
    {"sr ", "or", &Shape::radius},
    {"sr ", "os", &Shape::roundness},
    {"sr ", "ir", &Shape::innerRadius},
    {"sr ", "is", &Shape::innerRoundness},
    {"fl st ", "c", &Shape::colour},
    {"fl st gf gs ", "o", &Shape::opacity},
    {"st gs ", "w", &Shape::width},
    {"gf gs ", "s", &Shape::gradientStart},
    {"gf gs ", "e", &Shape::gradientEnd},
    {"gf gs ", "h", &Shape::highlightLength},
    {"gf gs ", "a", &Shape::highlightAngle},
    {"tm ", "s", &Shape::start},
    {"tm ", "e", &Shape::end},
    {"tm rp ", "o", &Shape::offset},
    {"rp ", "c", &Shape::amount},
    {"pb op tw ", "a", &Shape::amount},
    {"zz ", "s", &Shape::size},
    {"zz ", "r", &Shape::amount},
    {"zz ", "pt", &Shape::points},
};

/// Whether one of `types`, each with a blank behind it, is `type`.
bool Lists(std::string_view types, std::string_view type) {
  for (size_t at = 0; at < types.size(); at = types.find(' ', at) + 1) {
    if (types.substr(at, types.find(' ', at) - at) == type) return true;
  }
  return false;
}

SceneNode PartOfShape(const Shape& shape, const void* owner, std::string_view part) {
  if (part == "it" && shape.kind == ShapeKind::kGroup) {
    return {NodeKind::kContents, &shape.items, owner};
  }
  if (part == "tr" && shape.transform != nullptr) {
    return {NodeKind::kTransform, shape.transform, owner};
  }
  if (part == "d" && !shape.dashes.empty()) return {NodeKind::kDashes, &shape.dashes, owner};
  if (part == "ks" && shape.path != nullptr) return PathNode(shape.path, owner);
  for (const ShapePart& entry : kShapeParts) {
    if (part == entry.name && Lists(entry.types, shape.type)) {
      return PropertyNode(shape.*entry.member, owner);
    }
  }
  return {};
}

/// A value of data: one that has others in it is a node, the others are properties.
SceneNode DataNode(const JsonValue& value, const void* owner) {
  if (value.IsObject() || value.IsArray()) return {NodeKind::kData, Odd(&value), owner};
  return TextNode(&value, owner);
}

/// "Outline" is the whole of a file; an element of a list is the list's name with its number behind.
SceneNode PartOfData(const SceneNode& node, std::string_view part) {
  if (!IsOdd(node.what)) {
    return part == "Outline" ? DataNode(*As<DataAsset>(node).value, node.where) : SceneNode();
  }
  const JsonValue& value = *FromOdd<JsonValue>(node.what);
  if (const JsonValue* member = value.Find(part)) return DataNode(*member, node.where);
  if (!value.IsArray() || value.count == 0) return {};
  const size_t digits = part.find_last_not_of("0123456789") + 1;
  const auto index = ReadWholeNumber(part.substr(digits), 0, int64_t{value.count} - 1);
  return index ? DataNode(value.elements[static_cast<size_t>(*index)], node.where) : SceneNode();
}

}  // namespace

SceneNode ScriptAccess::CompositionNamed(std::string_view name) {
  if (scene_ == nullptr) return {};
  if (name == movie_.name) return {NodeKind::kComposition, &scene_->Root(), nullptr};
  // The first use of a composition by that name, wherever it stands.
  std::vector<const CompositionUse*> open = {&scene_->Root()};
  while (!open.empty()) {
    const CompositionUse* use = open.back();
    open.pop_back();
    for (const auto& layer : use->layers) {
      const CompositionUse* content = layer->Content();
      if (content == nullptr) continue;
      if (content->composition->name == name || layer->Model().name == name) {
        return {NodeKind::kComposition, content, nullptr};
      }
      open.push_back(content);
    }
  }
  return {};
}

SceneNode ScriptAccess::CompositionOf(const SceneNode& layer) {
  return {NodeKind::kComposition, &UseOf(layer).Owner(), nullptr};
}

SceneNode ScriptAccess::SourceOf(const SceneNode& layer) {
  const CompositionUse* content = UseOf(layer).Content();
  return content != nullptr ? SceneNode{NodeKind::kComposition, content, nullptr} : SceneNode();
}

SceneNode ScriptAccess::ParentOf(const SceneNode& layer) {
  return LayerNode(UseOf(layer).Parent());
}

CompositionFacts ScriptAccess::FactsOfComposition(const SceneNode& composition) {
  const CompositionUse& use = As<CompositionUse>(composition);
  CompositionFacts facts;
  facts.width = use.composition->width;
  facts.height = use.composition->height;
  facts.frameSeconds = 1 / movie_.frameRate;
  facts.durationSeconds = (movie_.out - movie_.in) / movie_.frameRate;
  return facts;
}

LayerFacts ScriptAccess::FactsOfLayer(const SceneNode& node) {
  const LayerUse& use = UseOf(node);
  const Layer& layer = use.Model();
  LayerFacts facts;
  facts.inSeconds = layer.in / movie_.frameRate;
  facts.outSeconds = layer.out / movie_.frameRate;
  facts.startSeconds = layer.start / movie_.frameRate;
  facts.width = layer.image != nullptr ? layer.image->width : layer.width;
  facts.height = layer.image != nullptr ? layer.image->height : layer.height;
  const double now = use.Owner().time;
  facts.active = !layer.hidden && now >= layer.in && now < layer.out;
  return facts;
}

NodeNames ScriptAccess::NamesOf(const SceneNode& node) {
  switch (node.kind) {
    case NodeKind::kComposition:
      return {As<CompositionUse>(node).composition->name, {}, {}, 0};
    case NodeKind::kLayer:
      return {UseOf(node).Model().name, {}, {}, static_cast<int>(UseOf(node).Model().index)};
    case NodeKind::kShape: {
      const Shape& shape = As<Shape>(node);
      return {shape.name, shape.matchName, shape.type, shape.index};
    }
    case NodeKind::kEffect: {
      if (IsOdd(node.what)) {
        const EffectValue& value = *FromOdd<EffectValue>(node.what);
        return {value.name, value.matchName, value.type == kLayerControl ? "layer" : "", 0};
      }
      const Effect& effect = As<Effect>(node);
      return {effect.name, effect.matchName, {}, effect.index};
    }
    case NodeKind::kMask:
      return {As<Mask>(node).name, {}, {}, 0};
    case NodeKind::kProperty:
      if (TextAt(node) != nullptr) return {};
      return {
          {},
          {},
          {},
          IsOdd(node.what) ? FromOdd<PathProperty>(node.what)->index : As<Property>(node).index};
    default:
      return {};
  }
}

int ScriptAccess::CountOf(const SceneNode& list) {
  switch (list.kind) {
    case NodeKind::kComposition:
      return static_cast<int>(As<CompositionUse>(list).layers.size());
    case NodeKind::kContents:
      return static_cast<int>(As<Span<Shape>>(list).count);
    case NodeKind::kEffects:
      return static_cast<int>(As<Span<Effect>>(list).count);
    case NodeKind::kEffect:
      return IsOdd(list.what) ? 0 : static_cast<int>(As<Effect>(list).values.count);
    case NodeKind::kMasks:
      return static_cast<int>(As<Span<Mask>>(list).count);
    case NodeKind::kDashes:
      return static_cast<int>(As<Span<Dash>>(list).count);
    case NodeKind::kData:
      return IsOdd(list.what) ? static_cast<int>(FromOdd<JsonValue>(list.what)->count) : 0;
    default:
      return 0;
  }
}

SceneNode ScriptAccess::ItemOf(const SceneNode& list, int position) {
  if (position < 0 || position >= CountOf(list)) return {};
  const auto index = static_cast<size_t>(position);
  switch (list.kind) {
    case NodeKind::kComposition:
      return LayerNode(As<CompositionUse>(list).layers[index].get());
    case NodeKind::kContents:
      return {NodeKind::kShape, &As<Span<Shape>>(list)[index], list.where};
    case NodeKind::kEffects:
      return {NodeKind::kEffect, &As<Span<Effect>>(list)[index], list.where};
    case NodeKind::kEffect: {
      const EffectValue& value = As<Effect>(list).values[index];
      if (value.group != nullptr) return {NodeKind::kEffect, value.group, list.where};
      return {NodeKind::kEffect, Odd(&value), list.where};
    }
    case NodeKind::kMasks:
      return {NodeKind::kMask, &As<Span<Mask>>(list)[index], list.where};
    case NodeKind::kDashes:
      return PropertyNode(As<Span<Dash>>(list)[index].length, list.where);
    default:
      return {};
  }
}

SceneNode ScriptAccess::PartOfLayer(const LayerUse& use, std::string_view part) const {
  const Layer& layer = use.Model();
  if (part == "ks") return {NodeKind::kTransform, &layer.transform, &use};
  if (part == "shapes") return {NodeKind::kContents, &layer.shapes, &use};
  if (part == "ef") return {NodeKind::kEffects, &layer.effects, &use};
  if (part == "masksProperties") return {NodeKind::kMasks, &layer.masks, &use};
  if (part == "tm") return PropertyNode(layer.timeRemap, &use);
  if (part == "data" && layer.data != nullptr && layer.data->value != nullptr) {
    return {NodeKind::kData, layer.data, &use};
  }
  if (part == "t" && layer.text != nullptr) return {NodeKind::kText, layer.text, &use};
  return {};
}

SceneNode ScriptAccess::PartOf(const SceneNode& node, std::string_view part) {
  switch (node.kind) {
    case NodeKind::kLayer:
      return PartOfLayer(UseOf(node), part);
    case NodeKind::kTransform:
      for (const TransformPart& entry : kTransformParts) {
        if (part == entry.name) {
          return PropertyNode(As<Transform>(node).*entry.member, node.where);
        }
      }
      return {};
    case NodeKind::kShape:
      return PartOfShape(As<Shape>(node), node.where, part);
    case NodeKind::kEffect:
      if (part != "v" || !IsOdd(node.what)) return {};
      return PropertyNode(FromOdd<EffectValue>(node.what)->value, node.where);
    case NodeKind::kMask: {
      const Mask& mask = As<Mask>(node);
      if (part == "pt") return PathNode(mask.path, node.where);
      if (part == "o") return PropertyNode(mask.opacity, node.where);
      if (part == "x") return PropertyNode(mask.expansion, node.where);
      if (part == "f") return PropertyNode(mask.feather, node.where);
      return {};
    }
    case NodeKind::kData:
      return PartOfData(node, part);
    case NodeKind::kText:
      return part == "d" ? TextNode(As<JsonValue>(node).Find("d"), node.where) : SceneNode();
    default:
      return {};
  }
}

SceneNode ScriptAccess::GroupOf(const SceneNode& node) {
  // Which group something stands in is looked for where expressions ask for it: in its layer.
  if (node.kind == NodeKind::kLayer || node.kind == NodeKind::kComposition) return {};
  if (node.where == nullptr) return {};
  const LayerUse& use = *static_cast<const LayerUse*>(node.where);
  std::vector<SceneNode> open;
  for (const char* name : {"ks", "shapes", "ef", "masksProperties", "t"}) {
    const SceneNode part = PartOfLayer(use, name);
    if (part == node) return LayerNode(&use);
    if (part) open.push_back(part);
  }
  constexpr const char* kNames[] = {"a",  "p",  "px", "py", "pz", "s",  "r",  "rx", "ry", "rz",
                                    "or", "sk", "sa", "o",  "so", "eo", "pt", "os", "ir", "is",
                                    "c",  "w",  "e",  "h",  "ks", "x",  "f",  "d"};
  while (!open.empty()) {
    const SceneNode group = open.back();
    open.pop_back();
    for (const char* name : kNames) {
      if (PartOf(group, name) == node) return group;
    }
    for (int i = 0; i < CountOf(group); ++i) {
      const SceneNode item = ItemOf(group, i);
      // A value of an effect stands in the effect: what holds the number is no group of its own.
      if (item == node || PartOf(item, "v") == node) return group;
      open.push_back(item);
    }
    for (const char* name : {"it", "tr"}) {
      const SceneNode inside = PartOf(group, name);
      if (inside == node) return group;
      if (inside) open.push_back(inside);
    }
  }
  return {};
}

}  // namespace plexion_host::movie
