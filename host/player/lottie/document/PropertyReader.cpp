// Values that move in time, from a document's tree.
#include <math.h>
#include <stdio.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

// More numbers than any value has; a gradient of a thousand stops has four thousand.
constexpr uint32_t kMostDims = 4096;

float Number(const JsonValue* value, double otherwise = 0) {
  return static_cast<float>(value != nullptr ? value->Number(otherwise) : otherwise);
}

/// Easing has a number for all dimensions or a list with one for each.
float Axis(const JsonValue* curve, const char* axis, uint32_t dim, float otherwise) {
  const JsonValue* value = curve != nullptr ? curve->Find(axis) : nullptr;
  if (value == nullptr) return otherwise;
  if (!value->IsArray()) return Number(value, otherwise);
  if (value->count == 0) return otherwise;
  return Number(&value->elements[dim < value->count ? dim : 0], otherwise);
}

Easing EasingOf(const JsonValue& key, uint32_t dim) {
  const JsonValue* out = key.Find("o");
  const JsonValue* in = key.Find("i");
  constexpr auto kFurthest = static_cast<float>(kLargestEasing);
  if (out == nullptr || in == nullptr) return Easing();
  Easing easing;
  // Time only goes forward: handles of an easing lie between its keys. Values may overshoot, but
  // not beyond what a float can carry on with.
  easing.outX = std::clamp(Axis(out, "x", dim, 0), 0.f, 1.f);
  easing.outY = std::clamp(Axis(out, "y", dim, 0), -kFurthest, kFurthest);
  easing.inX = std::clamp(Axis(in, "x", dim, 1), 0.f, 1.f);
  easing.inY = std::clamp(Axis(in, "y", dim, 1), -kFurthest, kFurthest);
  return easing;
}

bool Same(const Easing& a, const Easing& b) {
  return a.outX == b.outX && a.outY == b.outY && a.inX == b.inX && a.inY == b.inY;
}

bool Linear(const Easing& easing) { return easing.outX == easing.outY && easing.inX == easing.inY; }

// Twice the area of the triangle that the three points span: nothing when they lie on a line.
bool OnLine(const float* from, const float* to, float x, float y) {
  const double twiceArea = double{from[0]} * to[1] + double{from[1]} * x + double{to[0]} * y -
                           double{x} * to[1] - double{y} * from[0] - double{to[0]} * from[1];
  return std::abs(twiceArea) < 0.001;
}

// Paths of keys are lists of one; exporters of old times left the list away.
const JsonValue* FirstOf(const JsonValue* list) {
  if (list == nullptr) return nullptr;
  if (!list->IsArray()) return list;
  return list->count > 0 ? &list->elements[0] : nullptr;
}

/// "ix", by which expressions find a property in its group; 0: none.
int IndexOf(const JsonValue& value) {
  const JsonValue* index = value.Find("ix");
  return index != nullptr ? static_cast<int>(std::clamp(index->Number(0), 0.0, 1e6)) : 0;
}

// Keys are objects, values numbers: the first element tells which.
bool AreKeys(const JsonValue& value) {
  return value.IsArray() && value.count > 0 && value.elements[0].IsObject();
}

template <typename Visitor>
void Visit(const Property* property, const Visitor& visit) {
  if (property == nullptr) return;
  for (uint32_t i = 0; i < property->dims; ++i) {
    visit(property->value[i]);
    for (const Segment& segment : property->segments) {
      visit(segment.start[i]);
      visit(segment.end[i]);
    }
  }
}

}  // namespace

double Highest(const Property* property) {
  double highest = 0;
  Visit(property, [&highest](float number) { highest = std::max<double>(highest, number); });
  return highest;
}

double Lowest(const Property* property) {
  double lowest = 0;
  bool any = false;
  Visit(property, [&](float number) {
    lowest = any ? std::min<double>(lowest, number) : number;
    any = true;
  });
  return lowest;
}

std::string Shown(double number) {
  char text[32];
  snprintf(text, sizeof text, "%.7g", number);
  return text;
}

std::string Quoted(std::string_view text) {
  constexpr size_t kLongestQuote = 60;
  std::string quoted(text.substr(0, kLongestQuote));
  if (text.size() > kLongestQuote) quoted += "...";
  for (char& byte : quoted) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) byte = '?';
  }
  return "\"" + quoted + "\"";
}

// A slot's value counts in place of the property's own: that is how themes change a movie.
const JsonValue* PropertyReader::Slotted(const JsonValue* value) const {
  if (value == nullptr || slots_ == nullptr) return value;
  const JsonValue* id = value->Find("sid");
  if (id == nullptr || !id->IsText()) return value;
  const JsonValue* slot = slots_->Find(id->Text());
  const JsonValue* content = slot != nullptr ? slot->Find("p") : nullptr;
  return content != nullptr ? content : value;
}

const float* PropertyReader::Numbers(const JsonValue& value, uint32_t dims, double factor) {
  PLEXION_CHECK(dims > 0, "a value has a number at least");
  float* numbers = arena_.NewArray<float>(dims);
  if (!value.IsArray()) {
    numbers[0] = static_cast<float>(value.Number(0) * factor);
    return numbers;
  }
  for (uint32_t i = 0; i < std::min(dims, value.count); ++i) {
    numbers[i] = static_cast<float>(value.elements[i].Number(0) * factor);
  }
  return numbers;
}

const Property* PropertyReader::Read(const JsonValue* value, uint32_t dims, double factor) {
  if (value == nullptr) return nullptr;
  // Read before the slot takes the property's place: its name and its expression stay, unless the
  // slot has one of its own.
  const JsonValue* slot = value->Find("sid");
  const JsonValue* expression = value->Find("x");
  const std::string_view slotName = slot != nullptr ? slot->Text() : std::string_view();
  value = Slotted(value);
  if (const JsonValue* own = value->Find("x")) expression = own;
  Property* property = arena_.New<Property>();
  property->number = count_++;
  property->index = IndexOf(*value);
  property->slot = slotName.empty() ? slotName : arena_.CopyText(slotName);
  const JsonValue* content = value->IsObject() ? value->Find("k") : value;
  if (value->IsObject() && expression != nullptr && expression->IsText() && expression->count > 0) {
    property->expression = arena_.CopyText(expression->Text());
    anyExpression_ = true;
  }
  property->dims = dims;
  if (content == nullptr) {
    property->value = arena_.NewArray<float>(dims);
  } else if (AreKeys(*content)) {
    ReadKeys(*content, *property, factor);
  } else {
    // A list may be longer than it has to be (colours with alpha, gradients); what is there is
    // kept, for expressions read it all.
    if (content->IsArray()) property->dims = std::clamp(content->count, dims, kMostDims);
    property->value = Numbers(*content, property->dims, factor);
  }
  return property;
}

Span<Easing> PropertyReader::ReadEasing(const JsonValue& key, uint32_t dims) {
  const Easing first = EasingOf(key, 0);
  // Easings of more than four numbers at once are the same for all: exporters write one for each
  // axis at most.
  const uint32_t axes = std::min(dims, 4u);
  bool same = true;
  for (uint32_t dim = 1; dim < axes; ++dim) same = same && Same(first, EasingOf(key, dim));
  if (same) {
    // None at all: the common case costs no memory and no solving.
    if (Linear(first)) return {};
    Easing* one = arena_.New<Easing>(first);
    return {one, 1};
  }
  Easing* each = arena_.NewArray<Easing>(dims);
  for (uint32_t dim = 0; dim < dims; ++dim) each[dim] = EasingOf(key, dim);
  return {each, dims};
}

/// The length of the curve up to each of its points, so that speed along it is even.
const SpatialCurve* PropertyReader::ReadCurve(const JsonValue& key, const Property& property,
                                              const Segment& segment, bool bothStarts) {
  const JsonValue* out = key.Find("to");
  const JsonValue* in = key.Find("ti");
  if (out == nullptr || in == nullptr || !out->IsArray() || !in->IsArray()) return nullptr;
  const uint32_t dims = std::min({property.dims, 3u, out->count});
  if (dims < 2) return nullptr;
  const float* outward = Numbers(*out, 3, 1);
  const float* inward = Numbers(*in, 3, 1);
  const float* from = segment.start;
  const float* to = segment.end;
  const bool still = from[0] == to[0] && from[1] == to[1];
  // A curve that is flat in the third direction, or has none.
  const bool level =
      property.dims < 3 || (from[2] == 0 && to[2] == 0 && outward[2] == 0 && inward[2] == 0);
  if (level && !still && (bothStarts || property.dims == 2) &&
      OnLine(from, to, from[0] + outward[0], from[1] + outward[1]) &&
      OnLine(from, to, to[0] + inward[0], to[1] + inward[1])) {
    return nullptr;  // a straight line, along which each dimension has its own easing
  }
  if (still && level && outward[0] == 0 && outward[1] == 0 && inward[0] == 0 && inward[1] == 0) {
    return nullptr;
  }
  SpatialCurve* curve = arena_.New<SpatialCurve>();
  curve->out = outward;
  curve->in = inward;
  curve->dims = dims;
  float* lengths = arena_.NewArray<float>(kCurvePoints);
  double last[3] = {};
  double length = 0;
  // Sampled once, at load; moving along it is a search in the list.
  for (uint32_t i = 0; i < kCurvePoints; ++i) {
    const double t = double{static_cast<float>(i)} / (kCurvePoints - 1);
    const double u = 1 - t;
    double distance = 0;
    for (uint32_t dim = 0; dim < dims; ++dim) {
      const double at = u * u * u * from[dim] + 3 * u * u * t * (double{from[dim]} + outward[dim]) +
                        3 * u * t * t * (double{to[dim]} + inward[dim]) + t * t * t * to[dim];
      if (i > 0) distance += (at - last[dim]) * (at - last[dim]);
      last[dim] = at;
    }
    length += sqrt(distance);
    lengths[i] = static_cast<float>(length);
  }
  curve->lengths = lengths;
  return curve;
}

void PropertyReader::ReadKeys(const JsonValue& keys, Property& property, double factor) {
  const Span<JsonValue> all = keys.Elements();
  // Dimensions first: a later key may have more numbers than the first, and all have the same
  // count.
  for (const JsonValue& key : all) {
    if (!key.IsObject()) throw ReadFault("a key of an animation is not an object");
    for (const char* name : {"s", "e"}) {
      const JsonValue* value = key.Find(name);
      if (value != nullptr && value->IsArray()) {
        property.dims = std::clamp(value->count, property.dims, kMostDims);
      }
    }
  }
  const float* nothing = arena_.NewArray<float>(property.dims);
  auto valueOf = [&](const JsonValue& key, const char* name) -> const float* {
    const JsonValue* value = key.Find(name);
    return value != nullptr ? Numbers(*value, property.dims, factor) : nullptr;
  };
  const float* first = valueOf(all[0], "s");
  property.value = first != nullptr ? first : nothing;
  if (all.count == 1) return;

  Segment* segments = arena_.NewArray<Segment>(all.count - 1);
  const float* start = property.value;
  for (uint32_t i = 0; i + 1 < all.count; ++i) {
    const JsonValue& key = all[i];
    const JsonValue& next = all[i + 1];
    Segment& segment = segments[i];
    segment.from = key.Find("t") != nullptr ? key.Find("t")->Number(0) : 0;
    segment.to = next.Find("t") != nullptr ? next.Find("t")->Number(0) : 0;
    // Keys out of order, or twice at a time, become segments of no length, which are never met.
    if (i > 0) segment.from = std::max(segment.from, segments[i - 1].to);
    segment.to = std::max(segment.to, segment.from);
    const JsonValue* hold = key.Find("h");
    segment.hold = hold != nullptr && hold->Truthy();
    segment.start = start;
    const float* nextStart = valueOf(next, "s");
    // Two forms: a key with the value at its end, or keys that begin where the one before has to
    // end.
    segment.end = nextStart;
    if (segment.end == nullptr) segment.end = valueOf(key, "e");
    if (segment.end == nullptr) segment.end = start;
    if (!segment.hold) {
      segment.easing = ReadEasing(key, property.dims);
      segment.curve = ReadCurve(key, property, segment, nextStart != nullptr);
    }
    // A key without a start of its own goes on from where the last one ended.
    start = nextStart != nullptr ? nextStart : segment.end;
  }
  property.segments = {segments, all.count - 1};
  // Behind the last key. A value that was held is the last key's own.
  property.value = segments[all.count - 2].hold ? start : segments[all.count - 2].end;
}

PathData PropertyReader::ReadPathData(const JsonValue& value, const JsonValue* closed) {
  PathData path;
  const JsonValue* at = value.Find("v");
  const JsonValue* in = value.Find("i");
  const JsonValue* out = value.Find("o");
  if (at == nullptr || !at->IsArray()) return path;
  const JsonValue* own = value.Find("c");
  path.closed = own != nullptr ? own->Truthy() : closed != nullptr && closed->Truthy();
  path.count = at->count;
  float* points = arena_.NewArray<float>(size_t{6} * path.count);
  path.points = points;
  auto pair = [](const JsonValue* list, uint32_t index, float* x, float* y) {
    if (list == nullptr || !list->IsArray() || index >= list->count) return;
    const Span<JsonValue> numbers = list->elements[index].Elements();
    if (numbers.count < 2) return;
    *x += static_cast<float>(numbers[0].Number(0));
    *y += static_cast<float>(numbers[1].Number(0));
  };
  // Handles are written relative to their point; kept absolute, they need no addition at each
  // moment.
  for (uint32_t i = 0; i < path.count; ++i, points += 6) {
    pair(at, i, points, points + 1);
    points[2] = points[4] = points[0];
    points[3] = points[5] = points[1];
    pair(in, i, points + 2, points + 3);
    pair(out, i, points + 4, points + 5);
  }
  return path;
}

const PathProperty* PropertyReader::ReadPath(const JsonValue* value, const JsonValue* closed) {
  PathProperty* property = arena_.New<PathProperty>();
  property->number = count_++;
  if (value != nullptr) property->index = IndexOf(*value);
  const JsonValue* expression = value != nullptr ? value->Find("x") : nullptr;
  value = Slotted(value);
  if (value == nullptr) return property;
  if (expression != nullptr && expression->IsText() && expression->count > 0) {
    property->expression = arena_.CopyText(expression->Text());
    anyExpression_ = true;
  }
  const JsonValue* content = value->Find("k");
  if (content == nullptr) content = value;
  // A list of paths without keys is told from keys by its vertices.
  if (AreKeys(*content) && content->elements[0].Find("v") == nullptr) {
    ReadPathKeys(*content, closed, *property);
  } else if (const JsonValue* data = FirstOf(content)) {
    property->value = ReadPathData(*data, closed);
  }
  uint64_t largest = property->value.count;
  for (const PathSegment& segment : property->segments) {
    largest = std::max<uint64_t>(largest, segment.start.count);
  }
  // For the reader's limit of what a moment may cost: the largest of its keys counts.
  vertices += largest;
  return property;
}

void PropertyReader::ReadPathKeys(const JsonValue& keys, const JsonValue* closed,
                                  PathProperty& property) {
  PLEXION_CHECK(keys.IsArray(), "whoever calls it has looked");
  const Span<JsonValue> all = keys.Elements();
  auto pathOf = [&](const JsonValue& key, const char* name, PathData& path) {
    const JsonValue* data = FirstOf(key.Find(name));
    if (data == nullptr || !data->IsObject()) return false;
    path = ReadPathData(*data, closed);
    return true;
  };
  pathOf(all[0], "s", property.value);
  if (all.count == 1) return;
  PathSegment* segments = arena_.NewArray<PathSegment>(all.count - 1);
  PathData start = property.value;
  for (uint32_t i = 0; i + 1 < all.count; ++i) {
    const JsonValue& key = all[i];
    PathSegment& segment = segments[i];
    segment.from = key.Find("t") != nullptr ? key.Find("t")->Number(0) : 0;
    segment.to = all[i + 1].Find("t") != nullptr ? all[i + 1].Find("t")->Number(0) : 0;
    if (i > 0) segment.from = std::max(segment.from, segments[i - 1].to);
    segment.to = std::max(segment.to, segment.from);
    const JsonValue* hold = key.Find("h");
    segment.hold = hold != nullptr && hold->Truthy();
    segment.easing = EasingOf(key, 0);
    segment.linear = Linear(segment.easing);
    segment.start = start;
    if (!pathOf(all[i + 1], "s", segment.end) && !pathOf(key, "e", segment.end)) {
      segment.end = start;
    }
    start = segment.end;
  }
  property.segments = {segments, all.count - 1};
  property.value = segments[all.count - 2].end;
}

/// A scale of one number is that of both directions.
const Property* PropertyReader::ReadScale(const JsonValue* value) {
  const Property* scale = Read(value, 2);
  const JsonValue* slotted = Slotted(value);
  const JsonValue* content =
      slotted != nullptr && slotted->IsObject() ? slotted->Find("k") : slotted;
  if (content == nullptr || AreKeys(*content)) return scale;
  if (content->IsArray() && content->count != 1) return scale;
  const bool number = content->IsArray() || !isnan(content->Number(NAN));
  if (number) const_cast<float*>(scale->value)[1] = scale->value[0];
  return scale;
}

const Transform* PropertyReader::ReadTransform(const JsonValue& value) {
  Transform* transform = arena_.New<Transform>();
  transform->anchor = Read(value.Find("a"), 2);
  const JsonValue* position = value.Find("p");
  const JsonValue* split = position != nullptr ? position->Find("s") : nullptr;
  // Position by axes, each with keys of its own.
  if (split != nullptr && split->Truthy()) {
    transform->positionX = Read(position->Find("x"), 1);
    transform->positionY = Read(position->Find("y"), 1);
    transform->positionZ = Read(position->Find("z"), 1);
  } else {
    transform->position = Read(position, 2);
  }
  transform->scale = ReadScale(value.Find("s"));
  // With depth there are three rotations, and the plain one is called "rz" here and "r" elsewhere.
  if (value.Find("rx") != nullptr) {
    transform->rotationX = Read(value.Find("rx"), 1);
    transform->rotationY = Read(value.Find("ry"), 1);
    transform->rotationZ = Read(value.Find("rz"), 1);
    transform->orientation = Read(value.Find("or"), 3);
    // Only the way between two orientations is short; tangents mean nothing for angles.
    if (transform->orientation != nullptr) {
      const_cast<Property*>(transform->orientation)->turns = true;
    }
  } else {
    transform->rotation = Read(value.Find("r"), 1);
    if (transform->rotation == nullptr) transform->rotation = Read(value.Find("rz"), 1);
  }
  transform->skew = Read(value.Find("sk"), 1);
  transform->skewAxis = Read(value.Find("sa"), 1);
  transform->opacity = Read(value.Find("o"), 1);
  transform->startOpacity = Read(value.Find("so"), 1);
  transform->endOpacity = Read(value.Find("eo"), 1);
  return transform;
}

}  // namespace plexion_host::movie
