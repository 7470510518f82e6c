// Reads the values of the launcher's options, one function for each kind.

#include "host/launcher/options/OptionValues.h"

#include <filesystem>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr int64_t kMostMilliseconds = 999999999999;  // 31 years

bool ReadDelay(const std::string& text, int64_t& milliseconds) {
  return ReadTime(text, 0, milliseconds).empty();
}

}  // namespace

std::string ReadDisplayMode(const std::string& text, DisplayMode& mode) {
  const std::pair<const char*, DisplayMode> modes[] = {{"auto", DisplayMode::kAuto},
                                                       {"window", DisplayMode::kWindow},
                                                       {"fullscreen", DisplayMode::kFullscreen},
                                                       {"headless", DisplayMode::kHeadless}};
  for (const auto& [name, value] : modes) {
    if (text != name) continue;
    mode = value;
    return {};
  }
  return "auto, window, fullscreen or headless";
}

std::string ReadScreen(const std::string& text, DisplayOptions& display) {
  constexpr int64_t kMaxSide = 16384;
  const char* const expected = "a size WxH from 1x1 to 16384x16384, for example 1280x720";
  const std::vector<std::string> sides = SplitAt(text, 'x');
  if (sides.size() != 2) return expected;
  const auto width = ReadWholeNumber(sides[0], 1, kMaxSide);
  const auto height = ReadWholeNumber(sides[1], 1, kMaxSide);
  if (!width || !height) return expected;
  display.width = static_cast<uint32_t>(*width);
  display.height = static_cast<uint32_t>(*height);
  return {};
}

std::string ReadRestarts(const std::string& text, std::optional<unsigned>& most) {
  constexpr int64_t kMost = 1000000;
  const auto value = ReadWholeNumber(text, 0, kMost);
  if (!value) return "a number from 0 to 1000000";
  most = static_cast<unsigned>(*value);
  return {};
}

std::string ReadTime(const std::string& text, int64_t least, int64_t& milliseconds) {
  const auto value = ReadWholeNumber(text, least, kMostMilliseconds);
  if (!value) return "a number of milliseconds";
  milliseconds = *value;
  return {};
}

std::string ReadTime(const std::string& text, int64_t least, std::optional<int64_t>& milliseconds) {
  int64_t read = 0;
  const std::string expected = ReadTime(text, least, read);
  if (expected.empty()) milliseconds = read;
  return expected;
}

std::string ReadKeyMode(const std::string& text, std::optional<KeyMode>& keyMode) {
  const char* const expected =
      "direct, simulate-key-up[,DELAY] or auto-repeat[,DELAY,INTERVAL], in milliseconds";
  const std::vector<std::string> words = SplitAt(text, ',');
  KeyMode result;
  if (words[0] == "direct") {
    if (words.size() != 1) return expected;
  } else if (words[0] == "simulate-key-up") {
    result.mode = qx::plexion::kKeyInputModeSimulateKeyUp;
    if (words.size() > 2) return expected;
    if (words.size() == 2 && !ReadDelay(words[1], result.delayMs)) return expected;
  } else if (words[0] == "auto-repeat") {
    result.mode = qx::plexion::kKeyInputModeAutoRepeat;
    // As desktops have it: long enough not to repeat a plain press, then ten a second.
    result.delayMs = 500;
    result.intervalMs = 100;
    if (words.size() != 1 && words.size() != 3) return expected;
    if (words.size() == 3 &&
        (!ReadDelay(words[1], result.delayMs) || !ReadDelay(words[2], result.intervalMs))) {
      return expected;
    }
  } else {
    return expected;
  }
  keyMode = result;
  return {};
}

std::string ReadMemoryLimit(std::string text, uint32_t& bytes) {
  const char* const expected =
      "a number of bytes from 1 to 4294967295, or of kilobytes (64K) or megabytes (64M)";
  int64_t unit = 1;
  PLEXION_CHECK(!text.empty(), "an empty value is refused before it is read");
  if (text.back() == 'K') unit = 1024;
  if (text.back() == 'M') unit = 1024 * 1024;
  if (unit > 1) text.pop_back();
  const auto number = ReadWholeNumber(text, 1, UINT32_MAX / unit);
  if (!number) return expected;
  bytes = static_cast<uint32_t>(*number * unit);
  return {};
}

std::string ReadCount(const std::string& text, int64_t least, int64_t most, const char* unit,
                      uint64_t& count) {
  const auto number = ReadWholeNumber(text, least, most);
  if (!number) {
    return "a number of " + std::string(unit) + " from " + std::to_string(least) + " to " +
           std::to_string(most);
  }
  count = static_cast<uint64_t>(*number);
  return {};
}

std::string ReadOnOff(const std::string& text, std::optional<bool>& on) {
  if (text != "on" && text != "off") return "on or off";
  on = text == "on";
  return {};
}

std::string ReadModuleMap(const std::string& pair, std::map<std::string, std::string>& map) {
  const size_t colon = pair.find(':');
  // Repeated colons are skipped, as the service's own check of this option does.
  const size_t file = colon == std::string::npos ? colon : pair.find_first_not_of(':', colon);
  if (colon == 0 || file == std::string::npos) return "NAME:FILE, for example IShell:my/Shell.so";
  map[pair.substr(0, colon)] = pair.substr(file);
  return {};
}

std::string WholeCaptionPath(const std::string& value) {
  if (value.empty() || value == "on" || value == "off") return value;
  std::error_code ignored;
  return std::filesystem::absolute(value, ignored).string();
}

}  // namespace plexion_host
