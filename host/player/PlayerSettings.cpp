// The settings that every content knows, read from its variables and copied out of the parameters of its window.

#include "host/player/PlayerSettings.h"

#include <algorithm>

#include "host/base/Text.h"
#include "host/contracts/ContentFit.h"
#include "host/contracts/ContentGround.h"
#include "host/player/ContentAddress.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/plexion/StageWindowParameters.h"

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
  settings.contentUrl = parameters.contentUrl.Utf8();
  settings.base = parameters.base.Utf8();
  settings.zorBase = parameters.zorBase.Utf8();
  settings.zorCmdLine = parameters.zorCmdLine.Utf8();
  settings.keymap = parameters.keymap.Utf8();
  settings.morvelVars = parameters.morvelVars.Utf8();
  settings.qlrArgs = parameters.qlrArgs.Utf8();
  settings.sslClientCertTable = parameters.sslClientCertTable.Utf8();
  settings.sslCertsDir = parameters.sslCertsDir.Utf8();
  settings.fontDirs = parameters.fontDirs.Utf8();
  settings.extensionsDir = parameters.extensionsDir.Utf8();
  settings.proxy = parameters.proxy.Utf8();
  settings.proxyUser = parameters.proxyUser.Utf8();
  settings.proxyPassword = parameters.proxyPassword.Utf8();
  settings.locale = parameters.locale.Utf8();
  settings.proxyPort = parameters.proxyPort;
  settings.contentWidth = parameters.contentWidth;
  settings.contentHeight = parameters.contentHeight;
  settings.bgAlpha = static_cast<uint8_t>(parameters.bgAlpha > 255 ? 255 : parameters.bgAlpha);
  settings.profile = parameters.profile;
  settings.traceFlags = parameters.traceFlags;
  settings.traceFpsMs = parameters.traceFpsMs;
  settings.gcHeapLimitMegabytes = parameters.gcHeapLimitMegabytes;
  settings.graphicsMemThresholdMegabytes = parameters.graphicsMemThresholdMegabytes;
  settings.noSpeedLimit = parameters.noSpeedLimit;
  settings.extraWord = parameters.extraWord;
  settings.extraFlag = parameters.extraFlag;
  settings.gl = parameters.gl;
  settings.dcts = parameters.dcts;
  settings.debugMode = parameters.debugMode;
  settings.spdump = parameters.spdump;
  settings.instrument = parameters.instrument;
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
