// Reads what a document says of the whole application: its stage, and what it takes from the network.
#include "host/player/application/document/RootElements.h"

#include <math.h>

#include <algorithm>
#include <utility>

#include "host/base/Text.h"
#include "host/player/application/document/AttributeErrors.h"
#include "host/player/application/document/Document.h"
#include "host/player/application/net/WebAddress.h"
#include "host/player/application/stage/TimeZones.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kLongestAddress = 2000;
constexpr double kMostSeconds = 86400;
constexpr double kLongestTimeout = 60;

/// Whole from 1 to kLargestStage.
bool ReadSide(std::string_view text, uint32_t& side) {
  const auto number = ReadNumber(text, 1, kLargestStage);
  if (!number || *number != floor(*number)) return false;
  side = static_cast<uint32_t>(*number);
  return true;
}

/// With a host, without a user: what is told about it would tell the password as well.
bool IsWebAddress(std::string_view text) {
  return !HostOf(text).empty() && text.size() <= kLongestAddress &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

bool ReadSeconds(std::string_view text, double most, double& seconds) {
  const auto number = ReadNumber(text, 1, most);
  seconds = number.value_or(1);
  return number.has_value();
}

}  // namespace

std::string ReadRootAttribute(const XmlAttribute& attribute, Stage& stage) {
  const std::string_view name = attribute.name;
  if (name == "width" || name == "height") {
    return ReadSide(attribute.value, name == "width" ? stage.width : stage.height)
               ? ""
               : Wrong(attribute, "a whole number from 1 to " + std::to_string(kLargestStage));
  }
  if (name == "rate") {
    const auto rate = ReadNumber(attribute.value, kSlowestRate, kFastestRate);
    if (!rate) return Wrong(attribute, "a number of frames a second from 1 to 120");
    stage.framesPerSecond = *rate;
    return "";
  }
  if (name == "background") {
    return ReadColour(attribute.value, stage.background) ? "" : Wrong(attribute, kColourExpected);
  }
  if (name == "fallback") {
    stage.fallback = attribute.value;
    return stage.fallback.empty() ? Wrong(attribute, "the id of a scene") : "";
  }
  if (name == "timezone") {
    stage.timezone = attribute.value;
    return TimeZones().Has(stage.timezone)
               ? ""
               : Wrong(attribute, "a time zone of this device, such as Europe/Rome");
  }
  if (name == "title" || IsForEditors(name)) return "";
  return Unknown(attribute,
                 {"width", "height", "rate", "background", "fallback", "timezone", "title"});
}

std::string ReadDataSource(const XmlHandler::Attributes& attributes, bool isStream, Stage& stage) {
  if (stage.sources.size() >= kMostSources) {
    return "there are " + std::to_string(kMostSources) +
           " data and streams already, which is the limit";
  }
  DataSource source;
  source.isStream = isStream;
  for (const XmlAttribute& attribute : attributes) {
    if (attribute.name == "id") {
      source.id = attribute.value;
      if (source.id.empty() || source.id.size() > kLongestId) return Wrong(attribute, "a name");
    } else if (attribute.name == "address") {
      if (!IsWebAddress(attribute.value)) {
        return Wrong(attribute, "http:// or https:// with a host and without a user");
      }
      source.address = attribute.value;
    } else if (!isStream && attribute.name == "every") {
      if (!ReadSeconds(attribute.value, kMostSeconds, source.everySeconds)) {
        return Wrong(attribute, "seconds from 1 to 86400");
      }
    } else if (!isStream && attribute.name == "timeout") {
      if (!ReadSeconds(attribute.value, kLongestTimeout, source.timeoutSeconds)) {
        return Wrong(attribute, "seconds from 1 to 60");
      }
    } else if (isStream) {
      return Unknown(attribute, {"id", "address"});
    } else {
      return Unknown(attribute, {"id", "address", "every", "timeout"});
    }
  }
  if (source.id.empty()) return "has no id; expected id=\"...\"";
  if (source.address.empty()) return "has no address; expected address=\"https://...\"";
  for (const DataSource& each : stage.sources) {
    if (each.id == source.id && each.isStream == isStream) {
      return "id \"" + source.id + "\" is taken; expected one of its own";
    }
  }
  stage.sources.push_back(std::move(source));
  return "";
}

}  // namespace plexion_host::player::application
