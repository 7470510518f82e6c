#include "host/player/lottie/MovieCheck.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <vector>

namespace plexion_host::player {

namespace {

using Member = MovieValue::Member;

bool NameIs(const Member& member, const char* name) {
  return strcmp(member.name.GetString(), name) == 0;
}

bool TextIs(const MovieValue& value, const char* text) {
  return value.IsString() && strcmp(value.GetString(), text) == 0;
}

/// A number as it is written: 24, 29.97.
std::string Shown(double number) {
  char text[32];
  snprintf(text, sizeof text, "%.10g", number);
  return text;
}

std::string Quoted(const MovieValue& text) {
  constexpr size_t kLongestQuote = 60;
  std::string quoted(text.GetString(), text.GetStringLength());
  if (quoted.size() > kLongestQuote) quoted = quoted.substr(0, kLongestQuote) + "...";
  return "\"" + quoted + "\"";
}

/// The last value of that name, as the renderer reads it; null when there is none.
const MovieValue* Find(const MovieValue& object, const char* name) {
  const MovieValue* found = nullptr;
  for (const Member& member : object.GetObject()) {
    if (NameIs(member, name)) found = &member.value;
  }
  return found;
}

// Costs multiply; beyond this they are all the same.
constexpr uint64_t kTooMuch = UINT64_MAX / 4096;

uint64_t Times(uint64_t amount, uint64_t factor) {
  return factor != 0 && amount > kTooMuch / factor ? kTooMuch : amount * factor;
}

uint64_t Plus(uint64_t left, uint64_t right) { return std::min(left + right, kTooMuch); }

/// What it takes to draw something once.
struct Cost {
  uint64_t layers = 0;
  uint64_t items = 0;

  void Add(const Cost& other) {
    layers = Plus(layers, other.layers);
    items = Plus(items, other.items);
  }
};

class Checker {
 public:
  Checker(MovieTree& movie, std::string& error) : movie_(movie), error_(error) {}

  bool Run(MovieHeader& header) {
    if (!movie_.IsObject()) return Refuse("the document is not an object; expected {\"v\": ...}");
    if (!ReadHeader(header)) return false;
    Cost whole;
    for (Member& member : movie_.GetObject()) {
      if (NameIs(member, "assets") && !ReadAssets(member.value)) return false;
    }
    for (Composition& composition : compositions_) {
      if (!Expand(composition)) return false;
    }
    place_.clear();
    for (const Member& member : movie_.GetObject()) {
      if (NameIs(member, "layers") && !CheckLayers(member.value, whole)) return false;
    }
    return BoundCost(whole);
  }

 private:
  /// An asset with layers of its own, used by layers through its name.
  struct Composition {
    std::string id;
    const MovieValue* asset = nullptr;
    enum { kNew, kUnderWay, kDone } state = kNew;
    Cost cost;
  };

  bool Refuse(const std::string& what) {
    error_ = place_.empty() ? what : place_ + ": " + what;
    return false;
  }

  bool BoundCost(const Cost& cost) {
    if (cost.layers > kMostLayers) {
      return Refuse("more than " + std::to_string(kMostLayers) +
                    " layers when every use of a composition is counted");
    }
    if (cost.items > kMostDrawnItems) {
      return Refuse("more than " + std::to_string(kMostDrawnItems) +
                    " shapes when every repeater copy and every use of a composition is counted");
    }
    return true;
  }

  // The header.

  bool ReadNumber(const char* name, double lowest, double highest, const char* what,
                  double& number) {
    const MovieValue* value = Find(movie_, name);
    if (value == nullptr) {
      return Refuse(std::string("\"") + name + "\" (" + what + ") is missing: not a Lottie movie");
    }
    if (!value->IsNumber()) {
      return Refuse(std::string("\"") + name + "\" (" + what + ") is not a number");
    }
    number = value->GetDouble();
    if (number < lowest || number > highest) {
      return Refuse(std::string("\"") + name + "\" (" + what + ") is " + Shown(number) +
                    "; expected " + Shown(lowest) + " to " + Shown(highest));
    }
    return true;
  }

  bool ReadSize(const char* name, const char* what, uint32_t& size) {
    double number = 0;
    if (!ReadNumber(name, 1, kLargestStage, what, number)) return false;
    size = static_cast<uint32_t>(lround(number));
    // The renderer takes a size that is not whole for a broken document.
    for (Member& member : movie_.GetObject()) {
      if (NameIs(member, name)) member.value.SetUint(size);
    }
    return true;
  }

  bool ReadHeader(MovieHeader& header) {
    const MovieValue* layers = Find(movie_, "layers");
    if (layers == nullptr) return Refuse("\"layers\" is missing: not a Lottie movie");
    if (!layers->IsArray()) return Refuse("\"layers\" is not an array: not a Lottie movie");
    double first = 0;
    double end = 0;
    if (!ReadSize("w", "stage width", header.stageDims.width) ||
        !ReadSize("h", "stage height", header.stageDims.height) ||
        !ReadNumber("fr", kSlowestFrameRate, kFastestFrameRate, "frame rate",
                    header.framesPerSecond) ||
        !ReadNumber("ip", -kMostFrames, kMostFrames, "first frame", first) ||
        !ReadNumber("op", -kMostFrames, kMostFrames, "end frame", end)) {
      return false;
    }
    if (end <= first) {
      return Refuse("the end frame \"op\" " + Shown(end) +
                    " does not come after the first frame "
                    "\"ip\" " +
                    Shown(first));
    }
    // A number at the bound may stand for a larger one.
    if (end - first >= kMostFrames) {
      return Refuse("the movie has " + Shown(kMostFrames) + " frames or more");
    }
    return true;
  }

  // Assets.

  bool ReadAssets(MovieValue& assets) {
    if (!assets.IsArray()) return Refuse("\"assets\" is not an array");
    for (MovieValue& asset : assets.GetArray()) {
      if (!asset.IsObject()) return Refuse("an asset is not an object");
      if (!ReadAsset(asset)) return false;
    }
    return true;
  }

  bool ReadAsset(MovieValue& asset) {
    const MovieValue* id = Find(asset, "id");
    place_ = id != nullptr && id->IsString() ? "asset " + Quoted(*id) : "asset without \"id\"";
    bool picture = false;
    for (const Member& member : asset.GetObject()) {
      if (NameIs(member, "layers") && id != nullptr && id->IsString()) {
        compositions_.push_back({id->GetString(), &asset, Composition::kNew, {}});
      }
      if (!NameIs(member, "p")) continue;
      picture = true;
      if (!member.value.IsString() || strncmp(member.value.GetString(), "data:", 5) != 0) {
        return Refuse("the picture is " +
                      (member.value.IsString() ? "the file " + Quoted(member.value) : "no text") +
                      "; only pictures inside the document (\"data:\") are allowed");
      }
    }
    if (picture) SayEmbedded(asset);
    return true;
  }

  /// Without this mark the renderer takes the picture's data for a file name.
  void SayEmbedded(MovieValue& asset) {
    bool said = false;
    for (Member& member : asset.GetObject()) {
      if (!NameIs(member, "e")) continue;
      member.value.SetInt(1);
      said = true;
    }
    if (!said) asset.AddMember("e", 1, movie_.GetAllocator());
  }

  /// Works out what a composition costs, those that it uses first. Recursion is no deeper than
  /// there are compositions in a chain, and a chain costs a layer each.
  bool Expand(Composition& composition) {
    if (composition.state == Composition::kDone) return true;
    if (composition.state == Composition::kUnderWay) {
      place_.clear();
      return Refuse("composition \"" + composition.id + "\" contains itself");
    }
    if (++chain_ > kMostLayers) return Refuse("compositions are nested too deep");
    composition.state = Composition::kUnderWay;
    const std::string outer = place_;
    for (const Member& member : composition.asset->GetObject()) {
      place_ = "composition \"" + composition.id + "\"";
      if (NameIs(member, "layers") && !CheckLayers(member.value, composition.cost)) return false;
    }
    if (!BoundCost(composition.cost)) return false;
    place_ = outer;
    --chain_;
    composition.state = Composition::kDone;
    return true;
  }

  bool AddUses(const char* id, Cost& cost) {
    // An id that stands twice counts twice: which of them the renderer takes is its own affair.
    for (Composition& composition : compositions_) {
      if (composition.id != id) continue;
      if (!Expand(composition)) return false;
      cost.Add(composition.cost);
    }
    return true;
  }

  // Layers.

  bool CheckLayers(const MovieValue& layers, Cost& cost) {
    if (!layers.IsArray()) return Refuse("\"layers\" is not an array");
    const std::string outer = place_;
    size_t number = 0;
    for (const MovieValue& layer : layers.GetArray()) {
      ++number;
      place_ = (outer.empty() ? "layer " : outer + ", layer ") + std::to_string(number);
      if (!layer.IsObject()) return Refuse("not an object");
      const MovieValue* name = Find(layer, "nm");
      if (name != nullptr && name->IsString()) place_ += " (" + Quoted(*name) + ")";
      if (!CheckLayer(layer, cost)) return false;
    }
    place_ = outer;
    return CheckParents(layers);
  }

  bool CheckLayer(const MovieValue& layer, Cost& cost) {
    cost.layers = Plus(cost.layers, 1);
    for (const Member& member : layer.GetObject()) {
      const MovieValue& value = member.value;
      if (NameIs(member, "refId") && value.IsString() && !AddUses(value.GetString(), cost)) {
        return false;
      }
      if (NameIs(member, "layers") && !CheckLayers(value, cost)) return false;
      if (NameIs(member, "shapes") && !CheckShapes(value, cost.items)) return false;
      if (NameIs(member, "sr") &&
          (!value.IsNumber() || fabs(value.GetDouble()) < kSlowestTimeStretch)) {
        return Refuse("a time stretch \"sr\" of " +
                      (value.IsNumber() ? Shown(value.GetDouble()) : "no number") +
                      "; expected a factor other than 0");
      }
    }
    return BoundCost(cost);
  }

  /// A layer that is its own ancestor sends the renderer round for ever.
  bool CheckParents(const MovieValue& layers) {
    std::map<double, double> parentOf;
    for (const MovieValue& layer : layers.GetArray()) {
      const MovieValue* index = Find(layer, "ind");
      const MovieValue* parent = Find(layer, "parent");
      if (parent == nullptr || !parent->IsNumber()) continue;
      const double own = index != nullptr && index->IsNumber() ? index->GetDouble() : -1;
      parentOf[own] = parent->GetDouble();
    }
    for (const auto& [layer, parent] : parentOf) {
      double ancestor = parent;
      for (size_t steps = 0; steps <= parentOf.size(); ++steps) {
        if (ancestor == layer) {
          return Refuse("the layer with \"ind\" " + Shown(layer) + " is its own ancestor");
        }
        const auto next = parentOf.find(ancestor);
        if (next == parentOf.end()) break;
        ancestor = next->second;
      }
    }
    return true;
  }

  // Shapes.

  bool CheckShapes(const MovieValue& shapes, uint64_t& items) {
    if (!shapes.IsArray()) return Refuse("a list of shapes is not an array");
    uint64_t here = 0;
    for (const MovieValue& shape : shapes.GetArray()) {
      if (!shape.IsObject()) return Refuse("a shape is not an object");
      if (!CheckShape(shape, here)) return false;
    }
    items = Plus(items, here);
    return true;
  }

  bool CheckShape(const MovieValue& shape, uint64_t& items) {
    items = Plus(items, 1);
    const MovieValue* type = Find(shape, "ty");
    if (type == nullptr || !type->IsString()) return Refuse("a shape without a type \"ty\"");
    for (const Member& member : shape.GetObject()) {
      if (NameIs(member, "it") && !CheckShapes(member.value, items)) return false;
      if (NameIs(member, "c") && TextIs(*type, "rp")) {
        const double copies = Highest(member.value);
        if (copies > kMostRepeaterCopies) {
          return Refuse("a repeater with " + Shown(copies) + " copies; at most " +
                        Shown(kMostRepeaterCopies) + " are allowed");
        }
        // A repeater repeats all that stands before it in its list.
        items = Times(items, copies > 1 ? static_cast<uint64_t>(copies) : 1);
      }
      if (NameIs(member, "pt") && TextIs(*type, "sr") && Highest(member.value) > kMostStarPoints) {
        return Refuse("a star with " + Shown(Highest(member.value)) + " points; at most " +
                      Shown(kMostStarPoints) + " are allowed");
      }
      if (NameIs(member, "d") && member.value.IsArray() && !CheckDashes(member.value)) {
        return false;
      }
    }
    return true;
  }

  /// A pattern of dashes without length never comes to the end of its line.
  bool CheckDashes(const MovieValue& dashes) {
    for (const MovieValue& dash : dashes.GetArray()) {
      if (!dash.IsObject()) return Refuse("a dash is not an object");
      const MovieValue* kind = Find(dash, "n");
      if (kind != nullptr && TextIs(*kind, "o")) continue;
      const MovieValue* length = Find(dash, "v");
      if (length == nullptr) continue;
      const double lowest = Lowest(*length);
      if (lowest != 0 && lowest < kShortestDash) {
        return Refuse("a dash of length " + Shown(lowest) + "; expected 0, or at least " +
                      Shown(kShortestDash));
      }
    }
    return true;
  }

  // Values that may be animated: {"k": 3}, {"k": [{"t": 0, "s": [3], "e": [5]}, ...]}.

  template <typename Visitor>
  static void VisitValues(const MovieValue& value, const Visitor& visit) {
    if (value.IsNumber()) {
      visit(value.GetDouble());
    } else if (value.IsArray()) {
      for (const MovieValue& element : value.GetArray()) VisitValues(element, visit);
    } else if (value.IsObject()) {
      for (const Member& member : value.GetObject()) {
        if (NameIs(member, "k") || NameIs(member, "s") || NameIs(member, "e")) {
          VisitValues(member.value, visit);
        }
      }
    }
  }

  static double Highest(const MovieValue& value) {
    double highest = 0;
    VisitValues(value, [&highest](double number) { highest = std::max(highest, number); });
    return highest;
  }

  static double Lowest(const MovieValue& value) {
    double lowest = kLargestNumber;
    VisitValues(value, [&lowest](double number) { lowest = std::min(lowest, number); });
    return lowest;
  }

  MovieTree& movie_;
  std::string& error_;
  std::string place_;
  std::vector<Composition> compositions_;
  uint64_t chain_ = 0;
};

}  // namespace

bool CheckMovie(MovieTree& movie, MovieHeader& header, std::string& error) {
  return Checker(movie, error).Run(header);
}

}  // namespace plexion_host::player
