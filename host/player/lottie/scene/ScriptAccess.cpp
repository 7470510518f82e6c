// The scene as expressions see it.
#include "host/player/lottie/scene/ScriptAccess.h"

#include <algorithm>
#include <array>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

/// Type of an effect's value that names a layer.
constexpr int kLayerControl = 10;

// A node's pointer says what it is by its kind, but for those that share one: a path among
// properties and a value among effects are marked by an odd address, a text among properties by the
// bit above.

template <typename T>
const void* Odd(const T* pointer) {
  return reinterpret_cast<const char*>(pointer) + 1;
}
bool IsOdd(const void* pointer) { return (reinterpret_cast<uintptr_t>(pointer) & 1) != 0; }
template <typename T>
const T* FromOdd(const void* pointer) {
  return reinterpret_cast<const T*>(static_cast<const char*>(pointer) - 1);
}
SceneNode TextNode(const JsonValue* source, const void* owner) {
  if (source == nullptr) return {};
  return {NodeKind::kProperty, reinterpret_cast<const char*>(source) + 2, owner};
}
/// Null when it is no text.
const JsonValue* TextAt(const SceneNode& node) {
  if (node.kind != NodeKind::kProperty || (reinterpret_cast<uintptr_t>(node.what) & 2) == 0) {
    return nullptr;
  }
  return reinterpret_cast<const JsonValue*>(static_cast<const char*>(node.what) - 2);
}

/// The keys of a text; empty when it has one value.
Span<JsonValue> KeysOf(const JsonValue& source) {
  const JsonValue* keys = source.Find("k");
  return keys != nullptr && keys->IsArray() ? Span<JsonValue>{keys->elements, keys->count}
                                            : Span<JsonValue>();
}

double KeyTimeOf(const JsonValue& key) {
  const JsonValue* time = key.Find("t");
  return time != nullptr ? time->Number(0) : 0;
}

/// The text of a key, or of what has no keys.
void ToValue(const JsonValue& holder, ScriptValue& value) {
  const JsonValue* document = holder.Find("s");
  if (document == nullptr) document = holder.Find("k");
  const JsonValue* text = (document != nullptr ? *document : holder).Find("t");
  value.kind = ScriptValue::Kind::kText;
  value.text = text != nullptr ? text->Text() : std::string_view();
}

template <typename T>
const T& As(const SceneNode& node) {
  return *static_cast<const T*>(node.what);
}

const LayerUse& UseOf(const SceneNode& node) {
  return *static_cast<const LayerUse*>(node.kind == NodeKind::kLayer ? node.what : node.where);
}

SceneNode LayerNode(const LayerUse* use) {
  return use != nullptr ? SceneNode{NodeKind::kLayer, use, nullptr} : SceneNode();
}
SceneNode PropertyNode(const Property* property, const void* owner) {
  return property != nullptr ? SceneNode{NodeKind::kProperty, property, owner} : SceneNode();
}
SceneNode PathNode(const PathProperty* property, const void* owner) {
  return property != nullptr ? SceneNode{NodeKind::kProperty, Odd(property), owner} : SceneNode();
}

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

void ToValue(const float* numbers, uint32_t dims, ScriptValue& value) {
  dims = std::min(dims, ScriptValue::kMostNumbers);
  value.kind = dims == 1 ? ScriptValue::Kind::kNumber : ScriptValue::Kind::kVector;
  value.numbers.assign(numbers, numbers + dims);
}

void ToValue(const Vertex* vertices, size_t count, bool closed, ScriptValue& value) {
  value.kind = ScriptValue::Kind::kPath;
  value.closed = closed;
  value.path.clear();
  for (size_t i = 0; i < count; ++i) {
    const Vertex& v = vertices[i];
    value.path.insert(value.path.end(), {v.x, v.y, v.inX, v.inY, v.outX, v.outY});
  }
}

void FromValue(const ScriptValue& value, Outline& outline) {
  outline.closed = value.closed;
  outline.vertices.clear();
  for (size_t i = 0; i + 5 < value.path.size(); i += 6) {
    const double* p = &value.path[i];
    outline.Add(p[0], p[1], p[2], p[3], p[4], p[5]);
  }
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
  const size_t digits = part.find_last_not_of("0123456789") + 1;
  if (!value.IsArray() || digits == part.size() || part.size() - digits > 6) return {};
  const auto index = static_cast<size_t>(std::stoi(std::string(part.substr(digits))));
  return index < value.count ? DataNode(value.elements[index], node.where) : SceneNode();
}

}  // namespace

ScriptAccess::ScriptAccess(const Movie& movie, qx::plexion::MemoryWatchdog* watchdog)
    : movie_(movie), expressions_(watchdog) {}

int ScriptAccess::Compiled(std::string_view source, const void* owner) {
  const auto [entry, fresh] = compiled_.try_emplace(source.data(), Expressions::kNone);
  if (!fresh) return entry->second;
  std::string error;
  const int compiled = entry->second = expressions_.Compile(source, error);
  if (compiled == Expressions::kNone) Note(owner, error);
  return compiled;
}

void ScriptAccess::Note(const void* owner, const std::string& why) {
  constexpr size_t kMostTold = 8;
  if (failures_.size() >= kMostTold) return;
  const auto* use = static_cast<const LayerUse*>(owner);
  const std::string layer = use != nullptr ? "layer " + Quoted(use->Model().name) + ": " : "";
  failures_.push_back(layer + "an expression is not used: " + why);
}

bool ScriptAccess::Evaluate(int expression, const void* owner, double time,
                            const ExpressionSite& site, const ScriptValue& keyed,
                            ScriptValue& result, Constancy& constancy) {
  PLEXION_CHECK(scene_ != nullptr, "SetScene comes before the first value");
  const auto* layer = static_cast<const LayerUse*>(owner);
  Reading reading;
  reading.composition = layer != nullptr ? &layer->Owner() : nullptr;
  reading.time = time;
  Reading* const outer = reading_;
  reading_ = &reading;
  bool timeless = false;
  const bool good = expressions_.Evaluate(expression, *this, site, keyed, result, &timeless);
  reading_ = outer;
  if (!timeless && reading.otherTime) ++outside_;
  // One that has failed may be tried again: its budget is that of a frame.
  if (!good || !timeless) reading.holds.Meet(time, time);
  constancy.Meet(reading.holds.from, reading.holds.to);
  if (good) return true;
  ++cuts_;
  int failed = 0;
  std::string why;
  while (expressions_.TakeFailure(failed, why)) Note(owner, why);
  return false;
}

KeptResults::Key ScriptAccess::KeyOf(const void* property, const void* owner, double time) {
  const auto* use = static_cast<const LayerUse*>(owner);
  return {property, owner, time, use != nullptr ? use->Owner().time : time};
}

void ScriptAccess::NoteRead(const LayerUse* layer, const Constancy& holds) {
  if (reading_ == nullptr) return;
  const Constancy always;
  if (holds.from == always.from && holds.to == always.to) return;
  if (layer != nullptr && &layer->Owner() == reading_->composition) {
    reading_->holds.Meet(holds.from, holds.to);
  } else {
    // Other compositions count other frames.
    ++outside_;
    reading_->holds.Meet(reading_->time, reading_->time);
  }
}

void ScriptAccess::TellFailures(const std::function<void(const std::string&)>& tell) {
  for (const std::string& failure : failures_) tell(failure);
  failures_.clear();
}

ExpressionSite ScriptAccess::SiteOf(const SceneNode& property, const LayerUse* owner,
                                    double time) const {
  ExpressionSite site;
  site.property = property;
  site.layer = LayerNode(owner);
  site.seconds = time / movie_.frameRate;
  return site;
}

bool ScriptAccess::Run(const Property& property, const void* owner, double time, float* values,
                       Constancy& constancy) {
  const int expression = Compiled(property.expression, owner);
  if (expression == Expressions::kNone || property.dims > ScriptValue::kMostNumbers) return false;
  const KeptResults::Key key = KeyOf(&property, owner, time);
  Constancy holds;
  if (kept_.Find(key, values, property.dims, holds)) {
    constancy.Meet(holds.from, holds.to);
    return true;
  }
  ScriptValue keyed, result;
  ToValue(values, property.dims, keyed);
  ExpressionSite site =
      SiteOf(PropertyNode(&property, owner), static_cast<const LayerUse*>(owner), time);
  site.seed = property.number;
  const Context before = ContextNow();
  const bool good = Evaluate(expression, owner, time, site, keyed, result, holds);
  constancy.Meet(holds.from, holds.to);
  if (!good) return false;
  std::array<float, KeptResults::kMostNumbers> given = {};
  std::copy_n(values, std::min(property.dims, KeptResults::kMostNumbers), given.begin());
  for (size_t i = 0; i < std::min<size_t>(property.dims, result.numbers.size()); ++i) {
    values[i] = static_cast<float>(std::clamp(result.numbers[i], -1e9, 1e9));
  }
  if (ContextNow() == before) kept_.Keep(key, given.data(), values, property.dims, holds);
  return true;
}

bool ScriptAccess::RunPath(const PathProperty& property, const void* owner, double time,
                           Outline& outline, Constancy& constancy) {
  const int expression = Compiled(property.expression, owner);
  if (expression == Expressions::kNone) return false;
  const KeptResults::Key key = KeyOf(&property, owner, time);
  Constancy holds;
  if (kept_.Find(key, outline, holds)) {
    constancy.Meet(holds.from, holds.to);
    return true;
  }
  ScriptValue keyed, result;
  ToValue(outline.vertices.data(), outline.vertices.size(), outline.closed, keyed);
  ExpressionSite site =
      SiteOf(PathNode(&property, owner), static_cast<const LayerUse*>(owner), time);
  site.seed = property.number;
  const Context before = ContextNow();
  const bool good = Evaluate(expression, owner, time, site, keyed, result, holds);
  constancy.Meet(holds.from, holds.to);
  if (!good) return false;
  if (result.kind != ScriptValue::Kind::kPath) return true;
  const Outline given = outline;
  FromValue(result, outline);
  if (ContextNow() == before) kept_.Keep(key, given, outline, holds);
  return true;
}

bool ScriptAccess::RunText(const JsonValue& source, const void* owner, double time,
                           std::string& text, Constancy& constancy) {
  const JsonValue* script = source.Find("x");
  if (script == nullptr || script->Text().empty()) return false;
  const int expression = Compiled(script->Text(), owner);
  if (expression == Expressions::kNone) return false;
  ScriptValue keyed, result;
  keyed.kind = ScriptValue::Kind::kText;
  keyed.text = text;
  const ExpressionSite site =
      SiteOf(TextNode(&source, owner), static_cast<const LayerUse*>(owner), time);
  if (!Evaluate(expression, owner, time, site, keyed, result, constancy)) return false;
  text = result.text;
  std::replace(text.begin(), text.end(), '\n', '\r');
  return true;
}

bool ScriptAccess::RunSelector(std::string_view source, const void* owner, double time, int index,
                               int total, double percent[3], Constancy& constancy) {
  const int expression = Compiled(source, owner);
  if (expression == Expressions::kNone) return false;
  PLEXION_CHECK(owner != nullptr && index >= 1 && index <= total, "it is one of a text's parts");
  const auto* use = static_cast<const LayerUse*>(owner);
  ExpressionSite site = SiteOf(PartOfLayer(*use, "t"), use, time);
  site.textIndex = index;
  site.textTotal = total;
  ScriptValue keyed, result;
  keyed.kind = ScriptValue::Kind::kVector;
  keyed.numbers.assign(site.selectorValue, site.selectorValue + 3);
  if (!Evaluate(expression, owner, time, site, keyed, result, constancy)) return false;
  std::copy_n(result.numbers.begin(), std::min<size_t>(3, result.numbers.size()), percent);
  return true;
}

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

double ScriptAccess::NowOf(const SceneNode& node) {
  const CompositionUse* composition = nullptr;
  if (node.kind == NodeKind::kComposition) {
    composition = &As<CompositionUse>(node);
  } else {
    const void* use = node.kind == NodeKind::kLayer ? node.what : node.where;
    if (use == nullptr) return 0;
    composition = &static_cast<const LayerUse*>(use)->Owner();
  }
  if (reading_ != nullptr && composition != reading_->composition) reading_->otherTime = true;
  return composition->time / movie_.frameRate;
}

bool ScriptAccess::ValueAt(const SceneNode& node, double seconds, bool scripted,
                           ScriptValue& value) {
  if (node.kind != NodeKind::kProperty) return false;
  Constancy holds;
  const auto* layer = static_cast<const LayerUse*>(node.where);
  const double time = seconds * movie_.frameRate;
  if (const JsonValue* text = TextAt(node)) {
    if (!text->IsObject()) {
      value.kind = text->IsText() ? ScriptValue::Kind::kText : ScriptValue::Kind::kNumber;
      value.text = text->Text();
      value.numbers = {text->Number(0)};
      return true;
    }
    const Span<JsonValue> keys = KeysOf(*text);
    const JsonValue* at = keys.empty() ? text : &keys[0];
    for (const JsonValue& key : keys) {
      if (KeyTimeOf(key) <= time) at = &key;
    }
    ToValue(*at, value);
    if (scripted) RunText(*text, node.where, time, value.text, holds);
    if (keys.count > 1) holds.Meet(time, time);
    NoteRead(layer, holds);
    return true;
  }
  Moment moment = {time, &holds, scripted ? this : nullptr, node.where};
  if (IsOdd(node.what)) {
    Outline outline;
    moment.Path(*FromOdd<PathProperty>(node.what), outline);
    ToValue(outline.vertices.data(), outline.vertices.size(), outline.closed, value);
    NoteRead(layer, holds);
    return true;
  }
  std::vector<float> numbers;
  moment.All(As<Property>(node), numbers);
  ToValue(numbers.data(), static_cast<uint32_t>(numbers.size()), value);
  NoteRead(layer, holds);
  return true;
}

int ScriptAccess::KeyCount(const SceneNode& node) {
  if (node.kind != NodeKind::kProperty) return 0;
  if (const JsonValue* text = TextAt(node)) return static_cast<int>(KeysOf(*text).count);
  const uint32_t segments = IsOdd(node.what) ? FromOdd<PathProperty>(node.what)->segments.count
                                             : As<Property>(node).segments.count;
  return segments > 0 ? static_cast<int>(segments) + 1 : 0;
}

double ScriptAccess::KeyTime(const SceneNode& node, int key) {
  const int count = KeyCount(node);
  if (key < 0 || key >= count) return 0;
  const auto index = static_cast<size_t>(key);
  if (const JsonValue* text = TextAt(node))
    return KeyTimeOf(KeysOf(*text)[index]) / movie_.frameRate;
  const bool last = key == count - 1;
  double time = 0;
  if (IsOdd(node.what)) {
    const PathProperty& path = *FromOdd<PathProperty>(node.what);
    time = last ? path.segments[index - 1].to : path.segments[index].from;
  } else {
    const Property& property = As<Property>(node);
    time = last ? property.segments[index - 1].to : property.segments[index].from;
  }
  return time / movie_.frameRate;
}

void ScriptAccess::KeyValue(const SceneNode& node, int key, ScriptValue& value) {
  const int count = KeyCount(node);
  if (key < 0 || key >= count) return;
  const auto index = static_cast<size_t>(key);
  if (const JsonValue* text = TextAt(node)) return ToValue(KeysOf(*text)[index], value);
  if (IsOdd(node.what)) {
    const PathProperty& path = *FromOdd<PathProperty>(node.what);
    const PathData& data = key == count - 1 ? path.value : path.segments[index].start;
    std::vector<Vertex> vertices(data.count);
    for (uint32_t i = 0; i < data.count; ++i) {
      const float* p = data.points + size_t{6} * i;
      vertices[i] = {p[0], p[1], p[2], p[3], p[4], p[5]};
    }
    ToValue(vertices.data(), vertices.size(), data.closed, value);
    return;
  }
  const Property& property = As<Property>(node);
  ToValue(key == count - 1 ? property.value : property.segments[index].start, property.dims, value);
}

Matrix ScriptAccess::MatrixOf(const SceneNode& layer, double seconds) {
  Constancy holds;
  const LayerUse& use = UseOf(layer);
  const Matrix matrix = use.MatrixAt(seconds * movie_.frameRate, this, holds);
  NoteRead(&use, holds);
  return matrix;
}

bool ScriptAccess::SourceRectOf(const SceneNode& node, double seconds, double box[4],
                                double& cost) {
  const LayerUse& use = UseOf(node);
  const LayerKind kind = use.Model().kind;
  if (kind == LayerKind::kShape || kind == LayerKind::kText) {
    NoteRead(&use, {use.Owner().time, use.Owner().time});
    bool found = false;
    try {
      found = scene_ != nullptr && scene_->SourceRect(use, seconds * movie_.frameRate, box, cost);
    } catch (const std::bad_alloc&) {
      found = false;
    }
    if (!found) ++cuts_;  // it may be that the layer is being worked out just now
    return found;
  }
  const LayerFacts facts = FactsOfLayer(node);
  if (facts.width <= 0 || facts.height <= 0) return false;
  box[0] = box[1] = 0;
  box[2] = facts.width;
  box[3] = facts.height;
  return true;
}

int ScriptAccess::MarkerCount(const SceneNode& composition) {
  const bool root = scene_ != nullptr && composition.what == &scene_->Root();
  return root ? static_cast<int>(movie_.markers.count) : 0;
}

ScriptMarker ScriptAccess::MarkerAt(const SceneNode& composition, int position) {
  if (position < 0 || position >= MarkerCount(composition)) return {};
  const Marker& marker = movie_.markers[static_cast<size_t>(position)];
  return {marker.time / movie_.frameRate, marker.duration / movie_.frameRate, marker.comment};
}

}  // namespace plexion_host::movie
