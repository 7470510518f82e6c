// The items of shape layers, from a document's tree.
#include <math.h>

#include <algorithm>
#include <string>

#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

// Counts are multiplied by copies and capped here, so that no product can wrap and look small.
constexpr uint64_t kMostCounted = UINT64_MAX / 4096;

struct KindName {
  const char* type;
  ShapeKind kind;
};

constexpr KindName kKinds[] = {
    {"gr", ShapeKind::kGroup},     {"sh", ShapeKind::kPath},
    {"rc", ShapeKind::kRectangle}, {"el", ShapeKind::kEllipse},
    {"sr", ShapeKind::kStar},      {"fl", ShapeKind::kFill},
    {"st", ShapeKind::kStroke},    {"gf", ShapeKind::kGradientFill},
    {"no", ShapeKind::kNoStyle},   {"gs", ShapeKind::kGradientStroke},
    {"tm", ShapeKind::kTrim},      {"rd", ShapeKind::kRound},
    {"rp", ShapeKind::kRepeater},  {"mm", ShapeKind::kMerge},
    {"op", ShapeKind::kOffset},    {"zz", ShapeKind::kZigZag},
    {"pb", ShapeKind::kPucker},    {"tw", ShapeKind::kTwist},
    {"tr", ShapeKind::kTransform},
};

ShapeKind KindOf(std::string_view type) {
  for (const KindName& entry : kKinds) {
    if (type == entry.type) return entry.kind;
  }
  return ShapeKind::kUnknown;
}

uint8_t Small(const JsonValue* value, uint8_t otherwise) {
  if (value == nullptr) return otherwise;
  return static_cast<uint8_t>(std::clamp(value->Number(otherwise), 0.0, 255.0));
}

}  // namespace

Span<Shape> ShapeReader::Read(const JsonValue* list, Cost& cost, unsigned depth) {
  if (list == nullptr) return {};
  if (!list->IsArray()) throw ReadFault("a list of shapes is not an array");
  // Costs of this list, before whoever stands around it multiplies them.
  Cost here;
  Shape* shapes = properties_.Memory().NewArray<Shape>(list->count);
  uint32_t number = 0;
  for (const JsonValue& value : list->Elements()) {
    if (!value.IsObject()) throw ReadFault("a shape is not an object");
    const uint64_t before = properties_.vertices;
    ReadOne(value, shapes[number++], here, depth);
    here.items = std::min(here.items + 1, kMostCounted);
    here.vertices = std::min(here.vertices + properties_.vertices - before, kMostCounted);
    // Taken back: a group's vertices are in its cost, and must not count twice when the group is
    // copied.
    properties_.vertices = before;
  }
  cost.items = std::min(cost.items + here.items, kMostCounted);
  cost.vertices = std::min(cost.vertices + here.vertices, kMostCounted);
  return {shapes, list->count};
}

void ShapeReader::ReadOne(const JsonValue& value, Shape& shape, Cost& cost, unsigned depth) {
  const JsonValue* type = value.Find("ty");
  Arena& arena = properties_.Memory();
  // Without a type it is one that nobody knows, which is told.
  if (type != nullptr) shape.type = arena.CopyText(type->Text());
  shape.kind = KindOf(shape.type);
  if (const JsonValue* name = value.Find("nm")) shape.name = arena.CopyText(name->Text());
  if (const JsonValue* name = value.Find("mn")) shape.matchName = arena.CopyText(name->Text());
  if (const JsonValue* index = value.Find("ix")) shape.index = static_cast<int>(index->Number(0));
  const JsonValue* hidden = value.Find("hd");
  shape.hidden = hidden != nullptr && hidden->Truthy();
  shape.blend = Small(value.Find("bm"), 0);
  const JsonValue* direction = value.Find("d");
  if (direction != nullptr && direction->IsNumber()) shape.direction = Small(direction, 0);
  switch (shape.kind) {
    case ShapeKind::kGroup:
      shape.items = Read(value.Find("it"), cost, depth + 1);
      // The transform stands among the items, usually last; of several the last counts.
      for (const Shape& item : shape.items) {
        if (item.kind == ShapeKind::kTransform) shape.transform = item.transform;
      }
      break;
    case ShapeKind::kTransform:
      shape.transform = properties_.ReadTransform(value);
      break;
    case ShapeKind::kPath: {
      const JsonValue* closed = value.Find("closed");
      shape.path = properties_.ReadPath(value.Find("ks"), closed);
      break;
    }
    case ShapeKind::kRectangle:
    case ShapeKind::kEllipse:
      shape.position = properties_.Read(value.Find("p"), 2);
      shape.size = properties_.Read(value.Find("s"), 2);
      shape.radius = properties_.Read(value.Find("r"), 1);
      // Four corners, rounded.
      properties_.vertices += 8;
      break;
    case ShapeKind::kStar: {
      shape.position = properties_.Read(value.Find("p"), 2);
      shape.points = properties_.Read(value.Find("pt"), 1);
      shape.rotation = properties_.Read(value.Find("r"), 1);
      shape.radius = properties_.Read(value.Find("or"), 1);
      shape.roundness = properties_.Read(value.Find("os"), 1);
      shape.innerRadius = properties_.Read(value.Find("ir"), 1);
      shape.innerRoundness = properties_.Read(value.Find("is"), 1);
      shape.polygon = Small(value.Find("sy"), 1) != 1;
      // Checked over all keys, as an expression may not exceed them either: memory for a star is
      // what its points ask for.
      const double points = Highest(shape.points);
      if (points > kMostStarPoints) {
        throw ReadFault("a star with " + Shown(points) + " points; at most " +
                        Shown(kMostStarPoints) + " are allowed");
      }
      properties_.vertices += static_cast<uint64_t>(2 * points);
      break;
    }
    case ShapeKind::kFill:
    case ShapeKind::kStroke:
    case ShapeKind::kGradientFill:
    case ShapeKind::kGradientStroke:
      ReadStyle(value, shape);
      break;
    default:
      ReadModifier(value, shape, cost);
      break;
  }
}

double ColourFactor(unsigned version) {
  // Before 4.1.9 colours went up to 255.
  constexpr unsigned kColoursUpToOne = 40109;
  return version < kColoursUpToOne ? 1.0 / 255 : 1;
}

void ShapeReader::ReadStyle(const JsonValue& value, Shape& shape) {
  shape.colour = properties_.Read(value.Find("c"), 4, ColourFactor(version_));
  shape.opacity = properties_.Read(value.Find("o"), 1);
  shape.evenOdd = Small(value.Find("r"), 1) == 2;
  shape.width = properties_.Read(value.Find("w"), 1);
  shape.cap = Small(value.Find("lc"), 2);
  shape.join = Small(value.Find("lj"), 2);
  if (const JsonValue* limit = value.Find("ml")) {
    shape.miterLimit = static_cast<float>(limit->Number(4));
  }
  if (shape.kind == ShapeKind::kStroke || shape.kind == ShapeKind::kGradientStroke) {
    ReadDashes(value.Find("d"), shape);
  }
  if (shape.kind == ShapeKind::kGradientFill || shape.kind == ShapeKind::kGradientStroke) {
    ReadGradient(value, shape);
  }
}

void ShapeReader::ReadGradient(const JsonValue& value, Shape& shape) {
  shape.radial = Small(value.Find("t"), 1) != 1;
  shape.gradientStart = properties_.Read(value.Find("s"), 2);
  shape.gradientEnd = properties_.Read(value.Find("e"), 2);
  shape.highlightLength = properties_.Read(value.Find("h"), 1);
  shape.highlightAngle = properties_.Read(value.Find("a"), 1);
  if (const JsonValue* gradient = value.Find("g")) {
    shape.stops = ReadGradientStops(*gradient, properties_, shape.stopCount);
  }
}

const Property* ReadGradientStops(const JsonValue& gradient, PropertyReader& properties,
                                  uint32_t& count) {
  const Property* stops = properties.Read(gradient.Find("k"), 4);
  if (const JsonValue* wanted = gradient.Find("p")) {
    count = static_cast<uint32_t>(std::clamp(wanted->Number(0), 0.0, 1000.0));
  }
  // What is behind the stops' colours is their opacity; there are no more stops than numbers for
  // them.
  count = std::min(count, stops != nullptr ? stops->dims / 4 : 0);
  return stops;
}

/// A pattern of dashes without length never comes to the end of its line.
void ShapeReader::ReadDashes(const JsonValue* list, Shape& shape) {
  if (list == nullptr || !list->IsArray()) return;
  std::vector<Dash> dashes;
  for (const JsonValue& value : list->Elements()) {
    if (!value.IsObject()) throw ReadFault("a dash is not an object");
    const JsonValue* name = value.Find("n");
    Dash dash;
    if (name != nullptr && name->Text() == "g") dash.kind = Dash::kGap;
    if (name != nullptr && name->Text() == "o") dash.kind = Dash::kOffset;
    dash.length = properties_.Read(value.Find("v"), 1);
    const double lowest = Lowest(dash.length);
    if (dash.kind != Dash::kOffset && lowest != 0 && lowest < kShortestDash) {
      throw ReadFault("a dash of length " + Shown(lowest) + "; expected 0, or at least " +
                      Shown(kShortestDash));
    }
    dashes.push_back(dash);
  }
  shape.dashes = properties_.Memory().Copy(dashes);
}

void ShapeReader::ReadModifier(const JsonValue& value, Shape& shape, Cost& cost) {
  shape.mode = Small(value.Find(shape.kind == ShapeKind::kMerge ? "mm" : "m"), 0);
  switch (shape.kind) {
    case ShapeKind::kTrim:
      shape.start = properties_.Read(value.Find("s"), 1);
      shape.end = properties_.Read(value.Find("e"), 1);
      shape.offset = properties_.Read(value.Find("o"), 1);
      break;
    case ShapeKind::kRound:
      shape.radius = properties_.Read(value.Find("r"), 1);
      // A corner becomes two points.
      cost.vertices = std::min(cost.vertices * 2, kMostCounted);
      break;
    case ShapeKind::kRepeater: {
      shape.amount = properties_.Read(value.Find("c"), 1);
      shape.offset = properties_.Read(value.Find("o"), 1);
      if (const JsonValue* transform = value.Find("tr")) {
        shape.transform = properties_.ReadTransform(*transform);
      }
      // Over all keys. The limit and the product below are what keeps copies of copies from filling
      // the memory.
      const double copies = std::max(1.0, ceil(Highest(shape.amount)));
      if (copies > kMostRepeaterCopies) {
        throw ReadFault("a repeater with " + Shown(copies) + " copies; at most " +
                        Shown(kMostRepeaterCopies) + " are allowed");
      }
      const auto times = static_cast<uint64_t>(copies);
      cost.items = cost.items > kMostCounted / times ? kMostCounted : cost.items * times;
      cost.vertices = cost.vertices > kMostCounted / times ? kMostCounted : cost.vertices * times;
      break;
    }
    case ShapeKind::kOffset:
      shape.amount = properties_.Read(value.Find("a"), 1);
      shape.miter = properties_.Read(value.Find("ml"), 1);
      shape.join = Small(value.Find("lj"), 1);
      cost.vertices = std::min(cost.vertices * 8, kMostCounted);
      break;
    case ShapeKind::kZigZag: {
      shape.size = properties_.Read(value.Find("s"), 1);
      shape.amount = properties_.Read(value.Find("r"), 1);
      shape.points = properties_.Read(value.Find("pt"), 1);
      const double ridges = Highest(shape.amount);
      if (ridges > kMostStarPoints) {
        throw ReadFault("a zig-zag with " + Shown(ridges) + " ridges; at most " +
                        Shown(kMostStarPoints) + " are allowed");
      }
      cost.vertices = std::min(cost.vertices * (2 + static_cast<uint64_t>(ridges)), kMostCounted);
      break;
    }
    case ShapeKind::kMerge: {
      // Each line may cross each other one.
      const uint64_t points = cost.vertices;
      shape.tooLarge = shape.mode > 1 && points > kMostMergedVertices;
      if (shape.mode > 1 && !shape.tooLarge) cost.vertices += points * points / 4;
      break;
    }
    case ShapeKind::kPucker:
    case ShapeKind::kTwist:
      shape.amount = properties_.Read(value.Find("a"), 1);
      shape.position = properties_.Read(value.Find("c"), 2);
      break;
    default:
      break;
  }
}

bool ReadShapes(const JsonValue& list, Arena& arena, Span<Shape>& shapes, std::string& error) {
  constexpr unsigned kNewest = 999999;
  PropertyReader properties(arena, nullptr);
  ShapeReader reader(properties, kNewest);
  try {
    Cost cost;
    shapes = reader.Read(&list, cost);
    if (cost.items > kMostDrawnItems) throw ReadFault("too many shapes");
  } catch (const ReadFault& fault) {
    error = fault.what();
    return false;
  }
  return true;
}

}  // namespace plexion_host::movie
