// What expressions read of the scene at a time: values, keys, matrices, boxes, markers.
#include <new>
#include <vector>

#include "host/player/lottie/scene/SceneNodes.h"
#include "host/player/lottie/scene/ScriptAccess.h"
#include "host/player/lottie/scene/ScriptNumbers.h"

namespace plexion_host::movie {

namespace {

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

}  // namespace

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
