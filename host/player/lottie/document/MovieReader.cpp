// A movie's header, assets and layers, from a document's tree; and what it would cost to draw.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

constexpr uint64_t kTooMuch = UINT64_MAX / 4096;

std::string_view TextOf(const JsonValue& object, const char* name) {
  const JsonValue* value = object.Find(name);
  return value != nullptr ? value->Text() : std::string_view();
}

double NumberOf(const JsonValue& object, const char* name, double otherwise) {
  const JsonValue* value = object.Find(name);
  return value != nullptr ? value->Number(otherwise) : otherwise;
}

/// Not there, or null: to exporters that is the same.
bool IsNothing(const JsonValue* value) {
  return value == nullptr || value->kind == JsonValue::Kind::kNull;
}

bool Flag(const JsonValue& object, const char* name) {
  const JsonValue* value = object.Find(name);
  return value != nullptr && value->Truthy();
}

uint8_t Small(const JsonValue& object, const char* name) {
  return static_cast<uint8_t>(std::clamp(NumberOf(object, name, 0), 0.0, 255.0));
}

/// A solid's colour as style sheets have it: "#rrggbb", "#rgb", both also with an opacity, "rgb(r, g,
/// b)" and "rgba(r, g, b, opacity)". Anything else is black.
uint32_t ColourOf(std::string_view text) {
  const std::string copy(text.substr(0, 40));
  if (!copy.empty() && copy[0] == '#') {
    char* end = nullptr;
    const auto digits = static_cast<uint32_t>(strtoul(copy.c_str() + 1, &end, 16));
    const size_t count = copy.size() - 1;
    if (*end != '\0') return 0xFF000000u;
    if (count == 6) return 0xFF000000u | digits;
    if (count == 8) return digits >> 8 | digits << 24;
    if (count != 3 && count != 4) return 0xFF000000u;
    const uint32_t with = count == 3 ? digits << 4 | 15 : digits;
    const uint32_t r = with >> 12 & 15, g = with >> 8 & 15, b = with >> 4 & 15, a = with & 15;
    return a * 0x11000000 | r * 0x110000 | g * 0x1100 | b * 0x11;
  }
  double n[4] = {0, 0, 0, 1};
  const int found =
      sscanf(copy.c_str(), "rgb%*[a( ]%lf%*[, ]%lf%*[, ]%lf%*[, ]%lf", &n[0], &n[1], &n[2], &n[3]);
  if (found < 3) return 0xFF000000u;
  const auto byte = [](double v) { return static_cast<uint32_t>(std::clamp(v, 0.0, 255.0)); };
  return byte(n[3] * 255) << 24 | byte(n[0]) << 16 | byte(n[1]) << 8 | byte(n[2]);
}

/// "5.7.13" as 50713; a document without one is taken for a new one.
unsigned VersionOf(std::string_view text) {
  if (text.empty()) return 999999;
  unsigned parts[3] = {};
  size_t part = 0;
  for (const char c : text) {
    if (c == '.' && part < 2) {
      ++part;
    } else if (c >= '0' && c <= '9') {
      parts[part] = std::min(parts[part] * 10 + static_cast<unsigned>(c - '0'), 99u);
    }
  }
  return parts[0] * 10000 + parts[1] * 100 + parts[2];
}

/// Somewhere in a text: it is kept as it is, so its values are not read one by one.
bool HasExpression(const JsonValue& value) {
  if (value.IsArray()) {
    for (const JsonValue& element : value.Elements()) {
      if (HasExpression(element)) return true;
    }
  } else if (value.IsObject()) {
    for (uint32_t i = 0; i < value.count; ++i) {
      const JsonMember& member = value.members[i];
      if ((member.name == "x" && member.value.IsText()) || HasExpression(member.value)) return true;
    }
  }
  return false;
}

class MovieReader {
 public:
  MovieReader(const JsonValue& document, Movie& movie)
      : document_(document),
        movie_(movie),
        properties_(movie.arena, document.Find("slots")),
        shapes_(properties_, VersionOf(TextOf(document, "v"))) {}

  void Run() {
    if (!document_.IsObject())
      throw ReadFault("the document is not an object; expected {\"v\": ...}");
    ReadHeader();
    FindAssets();
    for (Asset& asset : assets_) Expand(asset);
    place_.clear();
    Composition& root = movie_.root;
    root.width = movie_.width;
    root.height = movie_.height;
    root.name = movie_.name;
    Cost whole;
    ReadLayers(*document_.Find("layers"), root, whole);
    place_.clear();
    Bound(whole);
    movie_.compositions = {compositions_, compositionCount_};
    movie_.images = movie_.arena.Copy(images_);
    movie_.data = movie_.arena.Copy(data_);
    ReadRest();
    movie_.hasExpressions = properties_.AnyExpression() || textExpression_;
    movie_.propertyCount = properties_.Count();
  }

  /// Where in the document the reader is, for its messages.
  const std::string& Place() const { return place_; }

 private:
  /// An asset with layers of its own, used by layers through its name.
  struct Asset {
    std::string_view id;
    const JsonValue* value;
    Composition* composition;
    enum { kNew, kUnderWay, kDone } state = kNew;
    Cost cost;
  };

  [[noreturn]] static void Refuse(const std::string& what) { throw ReadFault(what); }

  void Bound(const Cost& cost) {
    if (cost.layers > kMostLayers) {
      Refuse("more than " + std::to_string(kMostLayers) +
             " layers when every use of a composition is counted");
    }
    if (cost.items > kMostDrawnItems) {
      Refuse("more than " + std::to_string(kMostDrawnItems) +
             " shapes when every repeater copy and every use of a composition is counted");
    }
    if (cost.vertices > kMostVertices) {
      Refuse("more than " + std::to_string(kMostVertices) +
             " points of paths when every copy of them is counted");
    }
  }

  // The header.

  double Required(const char* name, double lowest, double highest, const char* what) {
    const JsonValue* value = document_.Find(name);
    const std::string label = std::string("\"") + name + "\" (" + what + ")";
    if (value == nullptr) Refuse(label + " is missing: not a Lottie movie");
    const double number = value->IsNumber() || value->IsText() ? value->Number(NAN) : NAN;
    if (isnan(number)) Refuse(label + " is not a number");
    if (number < lowest || number > highest) {
      Refuse(label + " is " + Shown(number) + "; expected " + Shown(lowest) + " to " +
             Shown(highest));
    }
    return number;
  }

  void ReadHeader() {
    const JsonValue* layers = document_.Find("layers");
    if (layers == nullptr) Refuse("\"layers\" is missing: not a Lottie movie");
    if (!layers->IsArray()) Refuse("\"layers\" is not an array: not a Lottie movie");
    movie_.version = VersionOf(TextOf(document_, "v"));
    movie_.name = movie_.arena.CopyText(TextOf(document_, "nm"));
    movie_.width = static_cast<float>(Required("w", 1, kLargestStage, "stage width"));
    movie_.height = static_cast<float>(Required("h", 1, kLargestStage, "stage height"));
    movie_.frameRate = Required("fr", kSlowestFrameRate, kFastestFrameRate, "frame rate");
    if (document_.Find("ip") != nullptr) {
      movie_.in = Required("ip", -kMostFrames, kMostFrames, "first frame");
    }
    movie_.out = Required("op", -kMostFrames, kMostFrames, "end frame");
    if (movie_.out - movie_.in < 1) {
      Refuse("the end frame \"op\" " + Shown(movie_.out) +
             " does not come after the first frame \"ip\" " + Shown(movie_.in));
    }
    if (movie_.out - movie_.in >= kMostFrames) {
      Refuse("the movie has " + Shown(kMostFrames) + " frames or more");
    }
  }

  // Assets.

  void FindAssets() {
    const JsonValue* assets = document_.Find("assets");
    if (IsNothing(assets)) return;
    if (!assets->IsArray()) Refuse("\"assets\" is not an array");
    for (const JsonValue& asset : assets->Elements()) {
      if (!asset.IsObject()) Refuse("an asset is not an object");
      const std::string_view id = movie_.arena.CopyText(TextOf(asset, "id"));
      place_ = id.empty() ? "asset without \"id\"" : "asset " + Quoted(id);
      if (asset.Find("layers") != nullptr) {
        assets_.push_back({id, &asset, nullptr, Asset::kNew, {}});
      } else if (asset.Find("p") != nullptr && asset.Find("t") == nullptr) {
        ReadImage(asset, id);
      } else if (asset.Find("p") != nullptr && NumberOf(asset, "t", 0) == 3) {
        data_.push_back(movie_.arena.New<DataAsset>());
        data_.back()->id = id;
        data_.back()->folder = movie_.arena.CopyText(TextOf(asset, "u"));
        data_.back()->source = movie_.arena.CopyText(TextOf(asset, "p"));
      }
    }
    compositions_ = movie_.arena.NewArray<Composition>(assets_.size());
    for (Asset& asset : assets_) {
      asset.composition = &compositions_[compositionCount_++];
      asset.composition->id = asset.id;
      asset.composition->name = movie_.arena.CopyText(TextOf(*asset.value, "nm"));
      asset.composition->frameRate = NumberOf(*asset.value, "fr", 0);
    }
  }

  void ReadImage(const JsonValue& asset, std::string_view id) {
    const JsonValue* slotted = properties_.Slotted(&asset);
    ImageAsset image;
    image.id = id;
    image.width = static_cast<float>(NumberOf(asset, "w", NumberOf(*slotted, "w", 0)));
    image.height = static_cast<float>(NumberOf(asset, "h", NumberOf(*slotted, "h", 0)));
    image.source = TextOf(*slotted, "p");
    image.folder = movie_.arena.CopyText(TextOf(*slotted, "u"));
    image.fit = movie_.arena.CopyText(TextOf(asset, "pr"));
    image.embedded = Flag(*slotted, "e") || image.source.substr(0, 5) == "data:";
    images_.push_back(image);
  }

  /// Reads a composition, those that it uses first.
  void Expand(Asset& asset) {
    if (asset.state == Asset::kDone) return;
    if (asset.state == Asset::kUnderWay) {
      place_.clear();
      Refuse("composition " + Quoted(asset.id) + " contains itself");
    }
    if (++depth_ > kDeepestCompositions) {
      Refuse("compositions are nested deeper than " + std::to_string(kDeepestCompositions));
    }
    asset.state = Asset::kUnderWay;
    const std::string outer = place_;
    place_ = "composition " + Quoted(asset.id);
    asset.composition->width = static_cast<float>(NumberOf(*asset.value, "w", movie_.width));
    asset.composition->height = static_cast<float>(NumberOf(*asset.value, "h", movie_.height));
    ReadLayers(*asset.value->Find("layers"), *asset.composition, asset.cost);
    Bound(asset.cost);
    place_ = outer;
    --depth_;
    asset.state = Asset::kDone;
  }

  // Layers.

  void ReadLayers(const JsonValue& list, Composition& composition, Cost& cost) {
    if (!list.IsArray()) Refuse("\"layers\" is not an array");
    const std::string outer = place_;
    Layer* layers = movie_.arena.NewArray<Layer>(list.count);
    for (uint32_t i = 0; i < list.count; ++i) {
      place_ = (outer.empty() ? "layer " : outer + ", layer ") + std::to_string(i + 1);
      const JsonValue& value = list.elements[i];
      if (!value.IsObject()) Refuse("not an object");
      const std::string_view name = TextOf(value, "nm");
      if (!name.empty()) place_ += " (" + Quoted(name) + ")";
      ReadLayer(value, layers[i], cost);
      composition.hasCamera = composition.hasCamera || layers[i].kind == LayerKind::kCamera;
    }
    place_ = outer;
    composition.layers = {layers, list.count};
    Link(list, layers);
  }

  void ReadLayer(const JsonValue& value, Layer& layer, Cost& cost) {
    Arena& arena = movie_.arena;
    cost.layers = std::min(cost.layers + 1, kTooMuch);
    layer.type = static_cast<int>(NumberOf(value, "ty", 3));
    layer.kind = (layer.type >= 0 && layer.type <= 6) || layer.type == 13 || layer.type == 15
                     ? static_cast<LayerKind>(layer.type)
                     : LayerKind::kOther;
    layer.name = arena.CopyText(TextOf(value, "nm"));
    layer.index = NumberOf(value, "ind", -1);
    layer.isMatte = Flag(value, "td");
    layer.hidden = Flag(value, "hd");
    layer.flat = !Flag(value, "ddd");
    layer.autoOrient = Flag(value, "ao");
    layer.blend = Small(value, "bm");
    layer.in = NumberOf(value, "ip", movie_.in);
    layer.out = NumberOf(value, "op", movie_.out);
    layer.start = NumberOf(value, "st", 0);
    layer.stretch = NumberOf(value, "sr", 1);
    if (fabs(layer.stretch) < kSlowestTimeStretch) {
      Refuse("a time stretch \"sr\" of " + Shown(layer.stretch) +
             "; expected a factor other than 0");
    }
    const JsonValue* transform = value.Find("ks");
    if (transform != nullptr) layer.transform = *properties_.ReadTransform(*transform);
    layer.styles = ReadLayerStyles(value.Find("sy"), properties_, ColourFactor(movie_.version));
    cost.items = std::min(cost.items + layer.styles.count * kItemsOfLayerStyle, kTooMuch);
    ReadMasks(value, layer, cost);
    layer.effects = ReadEffects(value.Find("ef"), 0);
    layer.timeRemap = properties_.Read(value.Find("tm"), 1);
    layer.perspective = properties_.Read(value.Find("pe"), 1);
    ReadContent(value, layer, cost);
    Bound(cost);
  }

  void ReadContent(const JsonValue& value, Layer& layer, Cost& cost) {
    const std::string_view reference = TextOf(value, "refId");
    switch (layer.kind) {
      case LayerKind::kComposition:
        layer.width = static_cast<float>(NumberOf(value, "w", 0));
        layer.height = static_cast<float>(NumberOf(value, "h", 0));
        Use(reference, value, layer, cost);
        break;
      case LayerKind::kSolid:
        layer.width = static_cast<float>(NumberOf(value, "sw", 0));
        layer.height = static_cast<float>(NumberOf(value, "sh", 0));
        layer.colour = ColourOf(TextOf(value, "sc"));
        break;
      case LayerKind::kImage:
        imageUses_.push_back({&layer, movie_.arena.CopyText(reference)});
        break;
      case LayerKind::kData:
        for (const DataAsset* asset : data_) {
          if (asset->id == reference) layer.data = asset;
        }
        break;
      case LayerKind::kShape: {
        const uint64_t before = properties_.vertices;
        layer.shapes = shapes_.Read(value.Find("shapes"), cost);
        properties_.vertices = before;
        break;
      }
      case LayerKind::kText:
        if (const JsonValue* text = value.Find("t")) {
          layer.text = movie_.arena.New<JsonValue>(CopyJson(*text, movie_.arena));
          textExpression_ = textExpression_ || HasExpression(*text);
        }
        break;
      default:
        break;
    }
  }

  /// A composition with layers of its own inside of the layer was usual in old files.
  void Use(std::string_view reference, const JsonValue& value, Layer& layer, Cost& cost) {
    if (const JsonValue* own = value.Find("layers")) {
      if (++depth_ > kDeepestCompositions) {
        Refuse("compositions are nested deeper than " + std::to_string(kDeepestCompositions));
      }
      Composition* composition = movie_.arena.New<Composition>();
      composition->width = layer.width;
      composition->height = layer.height;
      ReadLayers(*own, *composition, cost);
      layer.composition = composition;
      --depth_;
      return;
    }
    for (Asset& asset : assets_) {
      if (asset.id != reference) continue;
      Expand(asset);
      layer.composition = asset.composition;
      cost.layers = std::min(cost.layers + asset.cost.layers, kTooMuch);
      cost.items = std::min(cost.items + asset.cost.items, kTooMuch);
      cost.vertices = std::min(cost.vertices + asset.cost.vertices, kTooMuch);
      return;
    }
  }

  void ReadMasks(const JsonValue& value, Layer& layer, Cost& cost) {
    const JsonValue* list = value.Find("masksProperties");
    if (list == nullptr || !list->IsArray() || list->count == 0) return;
    Mask* masks = movie_.arena.NewArray<Mask>(list->count);
    for (uint32_t i = 0; i < list->count; ++i) {
      const JsonValue& item = list->elements[i];
      Mask& mask = masks[i];
      mask.name = movie_.arena.CopyText(TextOf(item, "nm"));
      mask.inverted = Flag(item, "inv");
      const std::string_view mode = TextOf(item, "mode");
      const char letter = mode.empty() ? 'a' : mode[0];
      constexpr char kLetters[] = "nasildf";
      const char* found = std::find(kLetters, kLetters + 7, letter);
      mask.mode =
          found < kLetters + 7 ? static_cast<Mask::Mode>(found - kLetters) : Mask::Mode::kAdd;
      const uint64_t before = properties_.vertices;
      mask.path = properties_.ReadPath(item.Find("pt"), item.Find("cl"));
      cost.vertices = std::min(cost.vertices + properties_.vertices - before, kTooMuch);
      properties_.vertices = before;
      mask.opacity = properties_.Read(item.Find("o"), 1);
      mask.expansion = properties_.Read(item.Find("x"), 1);
      mask.feather = properties_.Read(item.Find("f"), 2);
    }
    cost.items = std::min(cost.items + list->count, kTooMuch);
    layer.masks = {masks, list->count};
  }

  Span<Effect> ReadEffects(const JsonValue* list, unsigned depth) {
    if (list == nullptr || !list->IsArray() || list->count == 0) return {};
    Effect* effects = movie_.arena.NewArray<Effect>(list->count);
    for (uint32_t i = 0; i < list->count; ++i) ReadEffect(list->elements[i], effects[i], depth);
    return {effects, list->count};
  }

  void ReadEffect(const JsonValue& value, Effect& effect, unsigned depth) {
    effect.type = static_cast<int>(NumberOf(value, "ty", 5));
    effect.enabled = value.Find("en") == nullptr || Flag(value, "en");
    effect.name = movie_.arena.CopyText(TextOf(value, "nm"));
    effect.matchName = movie_.arena.CopyText(TextOf(value, "mn"));
    effect.index = static_cast<int>(NumberOf(value, "ix", 0));
    const JsonValue* list = value.Find("ef");
    if (list == nullptr || !list->IsArray()) return;
    EffectValue* values = movie_.arena.NewArray<EffectValue>(list->count);
    for (uint32_t i = 0; i < list->count; ++i) {
      const JsonValue& item = list->elements[i];
      values[i].type = static_cast<int>(NumberOf(item, "ty", 0));
      values[i].name = movie_.arena.CopyText(TextOf(item, "nm"));
      values[i].matchName = movie_.arena.CopyText(TextOf(item, "mn"));
      if (item.Find("ef") != nullptr && depth < 8) {
        Effect* group = movie_.arena.New<Effect>();
        ReadEffect(item, *group, depth + 1);
        values[i].group = group;
      } else if (const JsonValue* content = item.Find("v")) {
        values[i].value = properties_.Read(content, values[i].type == 2 ? 4 : 1);
      }
    }
    effect.values = {values, list->count};
  }

  /// Finds parents and mattes, and refuses a layer that is its own ancestor.
  void Link(const JsonValue& list, Layer* layers) {
    std::map<double, int32_t> byIndex;
    for (uint32_t i = 0; i < list.count; ++i) {
      if (layers[i].index >= 0) byIndex.insert({layers[i].index, static_cast<int32_t>(i)});
    }
    auto find = [&](const JsonValue* reference) {
      if (reference == nullptr || !reference->IsNumber()) return -1;
      const auto found = byIndex.find(reference->number);
      return found != byIndex.end() ? found->second : -1;
    };
    for (uint32_t i = 0; i < list.count; ++i) {
      const JsonValue& value = list.elements[i];
      layers[i].parent = find(value.Find("parent"));
      const uint8_t mode = Small(value, "tt");
      if (mode < 1 || mode > 4) continue;
      const JsonValue* reference = value.Find("tp");
      layers[i].matte = reference != nullptr ? find(reference) : static_cast<int32_t>(i) - 1;
      if (layers[i].matte >= 0 && layers[i].matte != static_cast<int32_t>(i)) {
        layers[i].matteMode = mode;
      } else {
        layers[i].matte = -1;
      }
    }
    RefuseCircles(layers, list.count);
  }

  /// Follows each chain once: what was found to end is not followed again.
  static void RefuseCircles(const Layer* layers, uint32_t count) {
    std::vector<uint32_t> seen(count, UINT32_MAX);
    for (uint32_t i = 0; i < count; ++i) {
      int32_t at = static_cast<int32_t>(i);
      while (at >= 0 && seen[static_cast<uint32_t>(at)] == UINT32_MAX) {
        seen[static_cast<uint32_t>(at)] = i;
        at = layers[at].parent;
      }
      if (at >= 0 && seen[static_cast<uint32_t>(at)] == i) {
        Refuse("the layer with \"ind\" " + Shown(layers[at].index) + " is its own ancestor");
      }
    }
    std::fill(seen.begin(), seen.end(), UINT32_MAX);
    for (uint32_t i = 0; i < count; ++i) {
      int32_t at = static_cast<int32_t>(i);
      while (at >= 0 && seen[static_cast<uint32_t>(at)] == UINT32_MAX) {
        seen[static_cast<uint32_t>(at)] = i;
        at = layers[at].matte;
      }
      if (at >= 0 && seen[static_cast<uint32_t>(at)] == i) {
        Refuse("the layer with \"ind\" " + Shown(layers[at].index) + " is its own matte");
      }
    }
  }

  void ReadRest() {
    for (const ImageUse& use : imageUses_) {
      for (const ImageAsset& image : movie_.images) {
        if (image.id == use.id) use.layer->image = &image;
      }
    }
    if (const JsonValue* fonts = document_.Find("fonts")) {
      movie_.fonts = movie_.arena.New<JsonValue>(CopyJson(*fonts, movie_.arena));
    }
    if (const JsonValue* glyphs = document_.Find("chars")) {
      movie_.glyphs = movie_.arena.New<JsonValue>(CopyJson(*glyphs, movie_.arena));
    }
    std::vector<Marker> markers;
    if (const JsonValue* list = document_.Find("markers")) {
      for (const JsonValue& value : list->Elements()) {
        markers.push_back({movie_.arena.CopyText(TextOf(value, "cm")), NumberOf(value, "tm", 0),
                           NumberOf(value, "dr", 0)});
      }
    }
    movie_.markers = movie_.arena.Copy(markers);
  }

  struct ImageUse {
    Layer* layer;
    std::string_view id;
  };

  const JsonValue& document_;
  Movie& movie_;
  PropertyReader properties_;
  ShapeReader shapes_;
  std::string place_;
  std::vector<Asset> assets_;
  std::vector<ImageAsset> images_;
  std::vector<ImageUse> imageUses_;
  std::vector<DataAsset*> data_;
  Composition* compositions_ = nullptr;
  uint32_t compositionCount_ = 0;
  unsigned depth_ = 0;
  bool textExpression_ = false;
};

}  // namespace

JsonValue CopyJson(const JsonValue& value, Arena& arena) {
  JsonValue copy = value;
  if (value.IsText()) {
    copy.text = arena.CopyText(value.Text()).data();
  } else if (value.IsArray()) {
    JsonValue* elements = arena.NewArray<JsonValue>(value.count);
    for (uint32_t i = 0; i < value.count; ++i) elements[i] = CopyJson(value.elements[i], arena);
    copy.elements = elements;
  } else if (value.IsObject()) {
    JsonMember* members = arena.NewArray<JsonMember>(value.count);
    for (uint32_t i = 0; i < value.count; ++i) {
      members[i].name = arena.CopyText(value.members[i].name);
      members[i].value = CopyJson(value.members[i].value, arena);
    }
    copy.members = members;
  }
  return copy;
}

bool ReadMovie(const JsonValue& document, Movie& movie, std::string& error) {
  PLEXION_CHECK(movie.root.layers.empty() && movie.compositions.empty(), "a movie is read once");
  MovieReader reader(document, movie);
  try {
    reader.Run();
    return true;
  } catch (const ReadFault& fault) {
    error = reader.Place().empty() ? fault.what() : reader.Place() + ": " + fault.what();
    return false;
  }
}

}  // namespace plexion_host::movie
