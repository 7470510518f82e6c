// Shadows, glows and overlays of layers, from a document's tree.
#include <algorithm>

#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

class StyleMembers {
 public:
  StyleMembers(const JsonValue& value, PropertyReader& properties, double colourFactor)
      : value_(value), properties_(properties), colourFactor_(colourFactor) {}
  const Property* Number(const char* name) const { return properties_.Read(value_.Find(name), 1); }
  const Property* Colour(const char* name) const {
    return properties_.Read(value_.Find(name), 4, colourFactor_);
  }
  const Property* Place(const char* name) const { return properties_.Read(value_.Find(name), 2); }

 private:
  const JsonValue& value_;
  PropertyReader& properties_;
  double colourFactor_;
};

void ReadBevel(const StyleMembers& members, LayerStyle& style) {
  style.strength = members.Number("sr");
  style.soften = members.Number("sf");
  style.altitude = members.Number("ll");
  style.blend = members.Number("hm");
  style.colour = members.Colour("hc");
  style.opacity = members.Number("ho");
  style.shadeBlend = members.Number("sm");
  style.shadeColour = members.Colour("sc");
  style.shadeOpacity = members.Number("so");
}

void ReadStyle(const JsonValue& value, PropertyReader& properties, double colourFactor,
               LayerStyle& style) {
  const JsonValue* type = value.Find("ty");
  style.type = type != nullptr ? static_cast<int>(std::clamp(type->Number(-1), -1.0, 1e6)) : -1;
  if (style.type < 0 || style.type >= static_cast<int>(LayerStyleKind::kUnknown)) return;
  style.kind = static_cast<LayerStyleKind>(style.type);
  const StyleMembers members(value, properties, colourFactor);
  style.angle = members.Number("a");
  style.size = members.Number("s");
  if (style.kind == LayerStyleKind::kBevel) return ReadBevel(members, style);
  style.colour = members.Colour("c");
  style.opacity = members.Number("o");
  style.blend = members.Number("bm");
  style.distance = members.Number("d");
  style.spread = members.Number("ch");
  style.range = members.Number("r");
  style.noise = members.Number("no");
  switch (style.kind) {
    case LayerStyleKind::kDropShadow:
      style.option = members.Number("lc");
      break;
    case LayerStyleKind::kInnerGlow:
      style.option = members.Number("sr");
      break;
    case LayerStyleKind::kSatin:
      style.option = members.Number("in");
      break;
    case LayerStyleKind::kColourOverlay:
      // This one's opacity has a name of its own.
      if (const Property* opacity = members.Number("so")) style.opacity = opacity;
      break;
    case LayerStyleKind::kGradientOverlay:
      style.gradientKind = members.Number("gt");
      style.reverse = members.Number("re");
      style.align = members.Number("al");
      style.scale = style.size;
      style.offset = members.Place("of");
      if (const JsonValue* gradient = value.Find("gf")) {
        style.stops = ReadGradientStops(*gradient, properties, style.stopCount);
      }
      break;
    default:
      break;
  }
}

}  // namespace

Span<LayerStyle> ReadLayerStyles(const JsonValue* list, PropertyReader& properties,
                                 double colourFactor) {
  if (list == nullptr || !list->IsArray() || list->count == 0) return {};
  if (list->count > kMostLayerStyles) {
    throw ReadFault(std::to_string(list->count) + " layer styles; at most " +
                    std::to_string(kMostLayerStyles) + " are allowed");
  }
  LayerStyle* styles = properties.Memory().NewArray<LayerStyle>(list->count);
  uint32_t count = 0;
  for (const JsonValue& value : list->Elements()) {
    const JsonValue* hidden = value.Find("hd");
    if (hidden != nullptr && hidden->Truthy()) continue;
    ReadStyle(value, properties, colourFactor, styles[count++]);
  }
  return {styles, count};
}

}  // namespace plexion_host::movie
