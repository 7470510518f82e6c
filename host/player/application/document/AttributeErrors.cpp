// Words for what is wrong with an attribute.
#include "host/player/application/document/AttributeErrors.h"

#include "host/base/NearestName.h"
#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

/// Of a value or name, as much stands in a message.
constexpr size_t kMostShown = 100;

}  // namespace

std::string Wrong(const XmlAttribute& attribute, const std::string& expected) {
  return "attribute \"" + std::string(attribute.name) + "\" is \"" +
         std::string(attribute.value.substr(0, kMostShown)) + "\"; expected " + expected;
}

std::string Meant(const std::string& typed, const std::vector<std::string>& names) {
  const std::string nearest = NearestName(typed, names);
  if (!nearest.empty()) return "; did you mean \"" + nearest + "\"?";
  if (names.empty()) return "; expected none";
  return std::string("; expected ") + (names.size() > 1 ? "one of " : "") + Join(names);
}

std::string Unknown(const XmlAttribute& attribute, const std::vector<std::string>& names) {
  return "unknown attribute \"" + std::string(attribute.name.substr(0, kMostShown)) + "\"" +
         Meant(std::string(attribute.name), names);
}

bool IsForEditors(std::string_view attribute) {
  return attribute.compare(0, 5, "xmlns") == 0 || attribute.compare(0, 4, "xsi:") == 0;
}

}  // namespace plexion_host::player::application
