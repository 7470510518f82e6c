// Times of day in a named zone, and the moments that they mean, summer time included.

#ifndef HOST_LAUNCHER_PROGRAMME_TIME_LOCALTIME_H_
#define HOST_LAUNCHER_PROGRAMME_TIME_LOCALTIME_H_

#include <cstdint>
#include <optional>
#include <string>

#include "host/contracts/ICalendar.h"

namespace plexion_host {

/// Milliseconds since 1970-01-01 00:00 UTC.
using Moment = int64_t;
constexpr Moment kNever = INT64_MAX;
/// A day without a change of summer time.
constexpr int64_t kDayMs = int64_t{24} * 3600 * 1000;

/// A time zone.
///
/// Summer time  a time of day that the clock jumps over means the moment of the jump; one that comes
///              twice means the first.
/// Thread       as the calendar's.
class LocalTime {
 public:
  /// `calendar` must outlive it. UTC until opened.
  explicit LocalTime(ICalendar& calendar) : calendar_(calendar) {}

  /// An empty name is the system's zone. Returns  false when the zone is not known.
  bool Open(const std::string& name) {
    zone_ = calendar_.OpenZone(name);
    return zone_ >= 0;
  }

  /// The day (since 1970-01-01) that it is there at `moment`, and the time of that day.
  struct Reading {
    int32_t day = 0;
    int32_t ms = 0;
  };
  Reading At(Moment moment) const;

  /// The moment of a time of day; `ms` may be 24:00 or more, and is then on a later day.
  Moment Of(int32_t day, int64_t ms) const;

 private:
  int64_t OffsetMs(Moment moment) const { return calendar_.OffsetMs(zone_, moment); }

  ICalendar& calendar_;
  int zone_ = -1;
};

/// "YYYY-MM-DD" as days since 1970-01-01.
std::optional<int32_t> ReadDate(const std::string& text);
std::string ShowDate(int32_t day);
/// "HH:MM" or "HH:MM:SS", up to 24:00.
std::optional<int32_t> ReadTimeOfDay(const std::string& text);
std::string ShowTimeOfDay(int64_t ms);
/// 0 Monday to 6 Sunday.
int DayOfWeek(int32_t day);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_TIME_LOCALTIME_H_
