#include "host/player/lottie/MovieShapes.h"

#include <math.h>

#include "host/player/lottie/MovieCheck.h"
#include "host/player/lottie/MovieValues.h"

namespace plexion_host::player {

namespace {

bool Refuse(std::string& error, std::string what) {
  error = std::move(what);
  return false;
}

/// A pattern of dashes without length never comes to the end of its line.
bool CheckDashes(const MovieValue& dashes, std::string& error) {
  for (const MovieValue& dash : dashes.GetArray()) {
    if (!dash.IsObject()) return Refuse(error, "a dash is not an object");
    const MovieValue* kind = Find(dash, "n");
    if (kind != nullptr && TextIs(*kind, "o")) continue;
    const MovieValue* length = Find(dash, "v");
    if (length == nullptr) continue;
    const double lowest = Lowest(*length);
    if (lowest != 0 && lowest < kShortestDash) {
      return Refuse(error, "a dash of length " + Shown(lowest) + "; expected 0, or at least " +
                               Shown(kShortestDash));
    }
  }
  return true;
}

/// A repeater repeats all that stands before it in its list, each copy larger than the last.
bool CheckRepeater(const MovieValue& repeater, MovieCost& before, std::string& error) {
  double copies = 1;
  double scale = 1;
  for (const MovieMember& member : repeater.GetObject()) {
    if (NameIs(member, "c")) copies = std::max(copies, Highest(member.value));
    if (NameIs(member, "tr")) scale = std::max(scale, ScaleOf(member.value));
  }
  if (copies > kMostRepeaterCopies) {
    return Refuse(error, "a repeater with " + Shown(copies) + " copies; at most " +
                             Shown(kMostRepeaterCopies) + " are allowed");
  }
  before.items = Times(before.items, static_cast<uint64_t>(copies));
  const double growth = std::min(pow(scale, copies), 1e150);
  before.scale = std::min(before.scale * growth, 1e150);
  before.strokeWidth *= growth;
  return true;
}

bool CheckShape(const MovieValue& shape, const MovieValue& type, MovieCost& cost,
                std::string& error) {
  for (const MovieMember& member : shape.GetObject()) {
    if (NameIs(member, "it") && !CheckShapes(member.value, cost, error)) return false;
    if (NameIs(member, "pt") && TextIs(type, "sr") && Highest(member.value) > kMostStarPoints) {
      return Refuse(error, "a star with " + Shown(Highest(member.value)) + " points; at most " +
                               Shown(kMostStarPoints) + " are allowed");
    }
    if (NameIs(member, "w") && (TextIs(type, "st") || TextIs(type, "gs"))) {
      const double width = std::max(Highest(member.value), -Lowest(member.value));
      cost.strokeWidth = std::max(cost.strokeWidth, width);
    }
    if (NameIs(member, "d") && member.value.IsArray() && !CheckDashes(member.value, error)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool CheckShapes(const MovieValue& shapes, MovieCost& cost, std::string& error) {
  if (!shapes.IsArray()) return Refuse(error, "a list of shapes is not an array");
  MovieCost here;
  double scale = 1;
  for (const MovieValue& shape : shapes.GetArray()) {
    if (!shape.IsObject()) return Refuse(error, "a shape is not an object");
    const MovieValue* type = Find(shape, "ty");
    if (type == nullptr || !type->IsString()) return Refuse(error, "a shape without a type \"ty\"");
    here.items = Plus(here.items, 1);
    // A group's transform stands among its shapes.
    if (TextIs(*type, "tr")) scale = std::max(scale, ScaleOf(shape));
    if (TextIs(*type, "rp") && !CheckRepeater(shape, here, error)) return false;
    if (!CheckShape(shape, *type, here, error)) return false;
  }
  cost.Add(here, scale);
  return true;
}

}  // namespace plexion_host::player
