#include "host/player/lottie/MovieCheck.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <vector>

#include "host/player/lottie/MovieShapes.h"
#include "host/player/lottie/MovieValues.h"

namespace plexion_host::player {

namespace {

class Checker {
 public:
  Checker(MovieTree& movie, std::string& error) : movie_(movie), error_(error) {}

  bool Run(MovieHeader& header) {
    if (!movie_.IsObject()) return Refuse("the document is not an object; expected {\"v\": ...}");
    if (!ReadHeader(header)) return false;
    widestStroke_ = kWidestStroke * std::max(header.stageDims.width, header.stageDims.height);
    BoundEasing(movie_, kLargestEasing);
    MovieCost whole;
    for (MovieMember& member : movie_.GetObject()) {
      if (NameIs(member, "assets") && !ReadAssets(member.value)) return false;
    }
    for (Composition& composition : compositions_) {
      if (!Expand(composition)) return false;
    }
    place_.clear();
    for (const MovieMember& member : movie_.GetObject()) {
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
    MovieCost cost;
  };

  bool Refuse(const std::string& what) {
    error_ = place_.empty() ? what : place_ + ": " + what;
    return false;
  }

  bool BoundCost(const MovieCost& cost) {
    if (cost.layers > kMostLayers) {
      return Refuse("more than " + std::to_string(kMostLayers) +
                    " layers when every use of a composition is counted");
    }
    if (cost.items > kMostDrawnItems) {
      return Refuse("more than " + std::to_string(kMostDrawnItems) +
                    " shapes when every repeater copy and every use of a composition is counted");
    }
    if (cost.scale > kLargestScale) {
      return Refuse("something is enlarged by more than a factor of " + Shown(kLargestScale) +
                    " when all scales that apply to it are taken together");
    }
    if (cost.strokeWidth > widestStroke_) {
      return Refuse("a stroke is " + Shown(cost.strokeWidth) +
                    " wide with all scales that apply to it; at most " + Shown(widestStroke_) +
                    ", twice the stage, is allowed");
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
    for (MovieMember& member : movie_.GetObject()) {
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
    if (end - first < 1) {
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
    for (const MovieMember& member : asset.GetObject()) {
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
    for (MovieMember& member : asset.GetObject()) {
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
    for (const MovieMember& member : composition.asset->GetObject()) {
      place_ = "composition \"" + composition.id + "\"";
      if (NameIs(member, "layers") && !CheckLayers(member.value, composition.cost)) return false;
    }
    if (!BoundCost(composition.cost)) return false;
    place_ = outer;
    --chain_;
    composition.state = Composition::kDone;
    return true;
  }

  bool AddUses(const char* id, double scale, MovieCost& cost) {
    // An id that stands twice counts twice: which of them the renderer takes is its own affair.
    for (Composition& composition : compositions_) {
      if (composition.id != id) continue;
      if (!Expand(composition)) return false;
      cost.Add(composition.cost, scale);
    }
    return true;
  }

  // Layers.

  bool CheckLayers(const MovieValue& layers, MovieCost& cost) {
    if (!layers.IsArray()) return Refuse("\"layers\" is not an array");
    const std::string outer = place_;
    std::vector<double> inherited;
    if (!FollowParents(layers, inherited)) return false;
    size_t number = 0;
    for (const MovieValue& layer : layers.GetArray()) {
      ++number;
      place_ = (outer.empty() ? "layer " : outer + ", layer ") + std::to_string(number);
      if (!layer.IsObject()) return Refuse("not an object");
      const MovieValue* name = Find(layer, "nm");
      if (name != nullptr && name->IsString()) place_ += " (" + Quoted(*name) + ")";
      if (!CheckLayer(layer, inherited[number - 1], cost)) return false;
    }
    place_ = outer;
    return true;
  }

  /// `scale`: its own and that of its parents.
  bool CheckLayer(const MovieValue& layer, double scale, MovieCost& cost) {
    cost.layers = Plus(cost.layers, 1);
    cost.scale = std::max(cost.scale, scale);
    for (const MovieMember& member : layer.GetObject()) {
      const MovieValue& value = member.value;
      if (NameIs(member, "refId") && value.IsString() && !AddUses(value.GetString(), scale, cost)) {
        return false;
      }
      MovieCost inside;
      if (NameIs(member, "layers") && !CheckLayers(value, inside)) return false;
      std::string what;
      if (NameIs(member, "shapes") && !CheckShapes(value, inside, what)) return Refuse(what);
      cost.Add(inside, scale);
      if (NameIs(member, "sr") &&
          (!value.IsNumber() || fabs(value.GetDouble()) < kSlowestTimeStretch)) {
        return Refuse("a time stretch \"sr\" of " +
                      (value.IsNumber() ? Shown(value.GetDouble()) : "no number") +
                      "; expected a factor other than 0");
      }
    }
    return BoundCost(cost);
  }

  /// Works out for each layer what its own scale and those of its parents come to together. A layer
  /// that is its own ancestor would send the renderer round for ever.
  bool FollowParents(const MovieValue& layers, std::vector<double>& scales) {
    struct Link {
      const MovieValue* layer;
      double scale;
    };
    std::map<double, Link> byIndex;
    for (const MovieValue& layer : layers.GetArray()) {
      if (!layer.IsObject()) continue;
      const MovieValue* index = Find(layer, "ind");
      // An index that stands twice: the first is the one that the renderer finds.
      if (index != nullptr && index->IsNumber()) {
        byIndex.insert({index->GetDouble(), {&layer, OwnScale(layer)}});
      }
    }
    for (const MovieValue& layer : layers.GetArray()) {
      double scale = layer.IsObject() ? OwnScale(layer) : 1;
      const MovieValue* ancestor = &layer;
      for (size_t steps = 0; ancestor->IsObject(); ++steps) {
        const MovieValue* parent = Find(*ancestor, "parent");
        if (parent == nullptr || !parent->IsNumber()) break;
        const auto next = byIndex.find(parent->GetDouble());
        if (next == byIndex.end()) break;
        if (steps > byIndex.size()) {
          return Refuse("the layer with \"ind\" " + Shown(parent->GetDouble()) +
                        " is its own ancestor");
        }
        scale = std::min(scale * next->second.scale, 1e300);
        ancestor = next->second.layer;
      }
      scales.push_back(scale);
    }
    return true;
  }

  static double OwnScale(const MovieValue& layer) {
    double scale = 1;
    for (const MovieMember& member : layer.GetObject()) {
      if (NameIs(member, "ks")) scale = std::max(scale, ScaleOf(member.value));
    }
    return scale;
  }

  MovieTree& movie_;
  std::string& error_;
  std::string place_;
  std::vector<Composition> compositions_;
  double widestStroke_ = 0;
  uint64_t chain_ = 0;
};

}  // namespace

bool CheckMovie(MovieTree& movie, MovieHeader& header, std::string& error) {
  return Checker(movie, error).Run(header);
}

}  // namespace plexion_host::player
