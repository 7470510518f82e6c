// Reads the options of media, and says which is wrong.

#include "host/player/MediaOptions.h"

#include "host/base/Text.h"
#include "host/player/content/CaptionAddress.h"

namespace plexion_host::player {

namespace {

constexpr double kShortestStill = 0.04;
constexpr double kLongestStill = 1000000;

bool ReadSwitch(const std::string& text, bool& on) {
  if (text == "1" || text == "true" || text == "yes" || text == "on") {
    on = true;
    return true;
  }
  on = false;
  return text == "0" || text == "false" || text == "no" || text == "off";
}

}  // namespace

bool ReadMediaOptions(const PlayerSettings& settings, MediaOptions& options, std::string& error) {
  for (const auto& [name, value] : settings.variables) {
    const char* expected = nullptr;
    if (name == "duration") {
      const auto seconds = ReadNumber(value, kShortestStill, kLongestStill);
      if (!seconds) expected = "seconds from 0.04 to 1000000";
      options.durationSeconds = seconds.value_or(kShortestStill);
    } else if (name == "volume") {
      const auto percent = ReadNumber(value, 0, 100);
      if (!percent) expected = "a number from 0 to 100";
      options.volume = percent.value_or(100) / 100;
    } else if (name == kCaptionsVariable) {
      options.captions = value != "off";
      if (value.empty()) expected = "on, off or a file's name";
    } else if (name == "mute") {
      if (!ReadSwitch(value, options.muted)) expected = "1, true, yes, on, 0, false, no or off";
    }
    if (expected != nullptr) {
      error = "variable " + name + " is \"" + value + "\"; expected " + expected;
      return false;
    }
  }
  return true;
}

}  // namespace plexion_host::player
