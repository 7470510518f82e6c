// Days and times of day by plain arithmetic, and what they mean in a zone.
#include "host/launcher/programme/time/LocalTime.h"

#include <algorithm>
#include <cstdio>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr int64_t kSecondMs = 1000;
constexpr int64_t kHourMs = 3600 * kSecondMs;

int64_t FloorDivide(int64_t value, int64_t by) { return value / by - (value % by < 0 ? 1 : 0); }

/// Proleptic Gregorian, by Howard Hinnant's "chrono-compatible low-level date algorithms".
void Civil(int32_t day, int& year, int& month, int& ofMonth) {
  const int64_t z = int64_t{day} + 719468;
  const int64_t era = FloorDivide(z, 146097);
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  ofMonth = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0));
}

int32_t DayOf(int64_t year, int month, int ofMonth) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = FloorDivide(year, 400);
  const int64_t yoe = year - era * 400;
  const int64_t doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + ofMonth - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return static_cast<int32_t>(era * 146097 + doe - 719468);
}

}  // namespace

LocalTime::Reading LocalTime::At(Moment moment) const {
  const int64_t local = moment + OffsetMs(moment);
  const int64_t day = FloorDivide(local, kDayMs);
  return {static_cast<int32_t>(day), static_cast<int32_t>(local - day * kDayMs)};
}

Moment LocalTime::Of(int32_t day, int64_t ms) const {
  // As if the zone were UTC; a day to each side is beyond every offset there is, so both sides'
  // offsets are known without the table of the zone.
  const int64_t local = day * kDayMs + ms;
  const int64_t before = OffsetMs(local - kDayMs);
  const int64_t after = OffsetMs(local + kDayMs);
  if (before == after) return local - before;
  // Around a change of the clock: with the old offset it was still before the change, or it is after.
  const Moment early = local - before;
  const Moment late = local - after;
  if (OffsetMs(early) == before) return early;
  if (OffsetMs(late) == after) return late;
  // The clock jumps over it: the moment of the jump, by halving.
  Moment low = std::min(early, late);
  Moment high = std::max(early, late);
  while (high - low > kSecondMs) {
    const Moment middle = low + (high - low) / 2;
    (OffsetMs(middle) == before ? low : high) = middle;
  }
  return FloorDivide(high, kSecondMs) * kSecondMs;
}

std::optional<int32_t> ReadDate(const std::string& text) {
  const std::vector<std::string> parts = SplitAt(text, '-');
  if (parts.size() != 3 || parts[0].size() != 4 || parts[1].size() != 2 || parts[2].size() != 2) {
    return std::nullopt;
  }
  const auto year = ReadWholeNumber(parts[0], 1970, 9999);
  const auto month = ReadWholeNumber(parts[1], 1, 12);
  const auto ofMonth = ReadWholeNumber(parts[2], 1, 31);
  if (!year || !month || !ofMonth) return std::nullopt;
  const int32_t day = DayOf(*year, static_cast<int>(*month), static_cast<int>(*ofMonth));
  // Days that a month does not have (31 April) come out as another date than was written.
  return ShowDate(day) == text ? std::optional<int32_t>(day) : std::nullopt;
}

std::string ShowDate(int32_t day) {
  int year = 0;
  int month = 0;
  int ofMonth = 0;
  Civil(day, year, month, ofMonth);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, ofMonth);
  return text;
}

std::optional<int32_t> ReadTimeOfDay(const std::string& text) {
  const std::vector<std::string> parts = SplitAt(text, ':');
  if (parts.size() < 2 || parts.size() > 3) return std::nullopt;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].size() != 2 && !(i == 0 && parts[i].size() == 1)) return std::nullopt;
  }
  const auto hours = ReadWholeNumber(parts[0], 0, 24);
  const auto minutes = ReadWholeNumber(parts[1], 0, 59);
  const auto seconds =
      parts.size() == 3 ? ReadWholeNumber(parts[2], 0, 59) : std::optional<int64_t>(0);
  if (!hours || !minutes || !seconds) return std::nullopt;
  const int64_t ms = *hours * kHourMs + *minutes * 60 * kSecondMs + *seconds * kSecondMs;
  if (ms > kDayMs) return std::nullopt;
  return static_cast<int32_t>(ms);
}

std::string ShowTimeOfDay(int64_t ms) {
  const int64_t seconds = ms / kSecondMs;
  char text[48];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", static_cast<int>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text;
}

int DayOfWeek(int32_t day) {
  // 1970-01-01 was a Thursday.
  const int64_t shifted = int64_t{day} + 3;
  return static_cast<int>(shifted - FloorDivide(shifted, 7) * 7);
}

}  // namespace plexion_host
