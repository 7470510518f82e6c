// The table of what spans of a text have.
#include "host/player/application/stage/SpanProperties.h"

#include <iterator>

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr double kLongestFont = 100;

constexpr SpanProperty kSpanProperties[] = {
    {"color", ValueType::kColour, 0, 0, nullptr, nullptr, nullptr, &TextSpan::color},
    {"font", ValueType::kText, 0, kLongestFont, nullptr, nullptr, &TextSpan::font, nullptr},
    {"size", ValueType::kNumber, 1, 2000, &TextSpan::size, nullptr, nullptr, nullptr},
    {"weight", ValueType::kNumber, 100, 1000, &TextSpan::weight, nullptr, nullptr, nullptr},
    {"italic", ValueType::kFlag, 0, 0, nullptr, &TextSpan::italic, nullptr, nullptr},
    {"underline", ValueType::kFlag, 0, 0, nullptr, &TextSpan::underline, nullptr, nullptr},
    {"strike", ValueType::kFlag, 0, 0, nullptr, &TextSpan::strike, nullptr, nullptr},
};

/// As an element's, so that both are described in the same words.
Property AsProperty(const SpanProperty& property) {
  Property same = {property.name, property.type, 0, false};
  same.lowest = property.lowest;
  same.highest = property.highest;
  return same;
}

}  // namespace

const SpanProperty* FindSpanProperty(std::string_view name) {
  for (const SpanProperty& each : kSpanProperties) {
    if (name == each.name) return &each;
  }
  return nullptr;
}

std::vector<std::string> SpanPropertyNames() {
  std::vector<std::string> names;
  for (const SpanProperty& each : kSpanProperties) names.emplace_back(each.name);
  return names;
}

std::string Expected(const SpanProperty& property) { return Expected(AsProperty(property)); }

bool SetSpanFromText(TextSpan& span, const SpanProperty& property, std::string_view value) {
  if (property.number != nullptr) {
    const auto number = ReadNumber(value, property.lowest, property.highest);
    if (!number) return false;
    span.*property.number = *number;
  } else if (property.flag != nullptr) {
    if (value != "true" && value != "false") return false;
    span.*property.flag = value == "true";
  } else if (property.colour != nullptr) {
    Colour colour;
    if (!ReadColour(value, colour)) return false;
    span.*property.colour = colour;
  } else {
    if (static_cast<double>(value.size()) > property.highest || !IsUtf8(value) ||
        value.find('\0') != std::string_view::npos) {
      return false;
    }
    span.*property.text = std::string(value);
  }
  return true;
}

}  // namespace plexion_host::player::application
