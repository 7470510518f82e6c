// --start-at: a time of day or of the calendar, and the moment it means.

#include "host/launcher/options/StartTime.h"

#include <cstdlib>
#include <ctime>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

constexpr int64_t kMsPerSecond = 1000;

/// Takes up to `maxDigits` digits from the front of `text`. Returns  -1 without any.
int64_t TakeNumber(std::string& text, size_t maxDigits) {
  size_t digits = 0;
  while (digits < text.size() && digits < maxDigits && text[digits] >= '0' && text[digits] <= '9') {
    ++digits;
  }
  if (digits == 0) return -1;
  const int64_t number = std::strtoll(text.substr(0, digits).c_str(), nullptr, 10);
  text.erase(0, digits);
  return number;
}

bool TakeCharacter(std::string& text, char character) {
  if (text.empty() || text[0] != character) return false;
  text.erase(0, 1);
  return true;
}

/// Takes an optional fraction of a second. Returns  milliseconds, -1 when a dot stands alone.
int64_t TakeFraction(std::string& text) {
  if (!TakeCharacter(text, '.')) return 0;
  const size_t before = text.size();
  int64_t fraction = TakeNumber(text, 3);
  if (fraction < 0) return -1;
  for (size_t digits = before - text.size(); digits < 3; ++digits) fraction *= 10;
  return fraction;
}

}  // namespace

std::string ReadStartTime(const std::string& text, std::optional<StartTime>& startTime) {
  const char* const expected = "a time HH:MM[:SS[.mmm]] or a Unix time in seconds";
  std::string rest = text;
  StartTime result;
  if (text.find(':') != std::string::npos) {
    result.timeOfDay = true;
    const int64_t hours = TakeNumber(rest, 2);
    if (hours < 0 || hours > 23 || !TakeCharacter(rest, ':')) return expected;
    const int64_t minutes = TakeNumber(rest, 2);
    if (minutes < 0 || minutes > 59) return expected;
    const bool toTheMinute = rest.empty();
    if (!toTheMinute && !TakeCharacter(rest, ':')) return expected;
    const int64_t seconds = toTheMinute ? 0 : TakeNumber(rest, 2);
    if (seconds < 0 || seconds > 59) return expected;
    result.milliseconds = ((hours * 60 + minutes) * 60 + seconds) * kMsPerSecond;
  } else {
    // Eleven digits reach the year 5138, and their milliseconds stay in 64 bits.
    const int64_t seconds = TakeNumber(rest, 11);
    if (seconds < 0) return expected;
    result.milliseconds = seconds * kMsPerSecond;
  }
  const int64_t fraction = TakeFraction(rest);
  if (fraction < 0 || !rest.empty()) return expected;
  result.milliseconds += fraction;
  startTime = result;
  return {};
}

std::chrono::system_clock::time_point Resolve(const StartTime& startTime,
                                              std::chrono::system_clock::time_point now) {
  using std::chrono::milliseconds;
  using std::chrono::system_clock;
  PLEXION_CHECK(startTime.milliseconds >= 0, "a start was read by ReadStartTime");
  if (!startTime.timeOfDay) return system_clock::time_point(milliseconds(startTime.milliseconds));
  const std::time_t nowSeconds = system_clock::to_time_t(now);
  std::tm day{};
  localtime_r(&nowSeconds, &day);
  const auto seconds = static_cast<int>(startTime.milliseconds / kMsPerSecond);
  day.tm_hour = seconds / 3600;
  day.tm_min = seconds / 60 % 60;
  day.tm_sec = seconds % 60;
  day.tm_isdst = -1;  // that moment's own, which may differ from this one's
  return system_clock::from_time_t(std::mktime(&day)) +
         milliseconds(startTime.milliseconds % kMsPerSecond);
}

}  // namespace plexion_host
