// The settings that every content knows, read from its variables and copied out of the parameters of its window.

#include "host/player/PlayerSettings.h"

#include <algorithm>
#include <type_traits>

#include "host/base/Text.h"
#include "host/contracts/ContentFit.h"
#include "host/contracts/ContentGround.h"
#include "host/player/SettingsFields.h"

namespace plexion_host::player {

namespace {

constexpr double kSlowest = 0.01;
constexpr double kFastest = 100;
constexpr int64_t kMostLoops = 1000000000;

bool ReadLoops(std::string_view text, uint64_t& loops) {
  if (text == "forever") {
    loops = 0;
    return true;
  }
  const auto passes = ReadWholeNumber(text, 0, kMostLoops);
  loops = static_cast<uint64_t>(passes.value_or(1));
  return passes.has_value();
}

bool ReadSpeed(std::string_view text, double& speed) {
  const auto factor = ReadNumber(text, kSlowest, kFastest);
  speed = factor.value_or(1);
  return factor.has_value();
}

bool ReadVariable(std::string_view item, PlayerSettings& settings, std::string& error) {
  const size_t equals = item.find('=');
  const std::string_view rawValue =
      equals == std::string_view::npos ? std::string_view() : item.substr(equals + 1);
  std::string name;
  std::string value;
  if (!DecodePercent(item.substr(0, equals), name) || !DecodePercent(rawValue, value)) {
    error =
        "variable \"" + std::string(item) + "\" has a % without two hexadecimal digits after it";
    return false;
  }
  if (name.empty()) {
    error = "variable \"" + std::string(item) + "\" has no name; expected name=value";
    return false;
  }
  settings.loopsGiven = settings.loopsGiven || name == "loop";
  if (name == "loop" && !ReadLoops(value, settings.loops)) {
    error = "variable loop is \"" + value +
            "\"; expected a number of passes up to 1000000000, or 0 or \"forever\" for no end";
    return false;
  }
  if (name == "speed" && !ReadSpeed(value, settings.speed)) {
    error = "variable speed is \"" + value + "\"; expected a factor from 0.01 to 100";
    return false;
  }
  if (name == kFitVariable && !ReadFit(value)) {
    error = "variable fit is \"" + value + "\"; expected " + kFitsExpected;
    return false;
  }
  if (name == kGroundVariable && !ReadColour(value)) {
    error = "variable backdrop is \"" + value + "\"; expected a colour like #203040";
    return false;
  }
  settings.variables.emplace_back(std::move(name), std::move(value));
  return true;
}

}  // namespace

PlayerSettings CopySettings(const qx::core::morvellib::MorvelInstanceParameters& parameters) {
  PlayerSettings settings;
  EachSetting([&](const char*, const auto&, auto ofInstance, auto ofPlayer, auto...) {
    const auto& value = parameters.*ofInstance;
    auto& own = settings.*ofPlayer;
    using Own = std::remove_reference_t<decltype(own)>;
    if constexpr (std::is_same_v<Own, std::string>) {
      own = value.Utf8();
    } else if constexpr (std::is_same_v<Own, uint8_t>) {
      // A host of a later contract may have a wider range for it than pixels have.
      own = static_cast<uint8_t>(value > 255 ? 255 : value);
    } else {
      own = value;
    }
  });
  return settings;
}

bool ReadMorvelVars(PlayerSettings& settings, std::string& error) {
  std::string_view rest = settings.morvelVars;
  while (!rest.empty()) {
    const size_t end = rest.find('&');
    const std::string_view item = rest.substr(0, end);
    if (!item.empty() && !ReadVariable(item, settings, error)) return false;
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  const auto isProfile = [](const auto& variable) { return variable.first == "profile"; };
  if (std::none_of(settings.variables.begin(), settings.variables.end(), isProfile)) {
    settings.variables.emplace_back(
        "profile", settings.profile == qx::plexion::kProfileExtendedTv ? "extendedTV" : "tv");
  }
  return true;
}

}  // namespace plexion_host::player
