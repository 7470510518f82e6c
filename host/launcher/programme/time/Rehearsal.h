// A programme's day, played as fast as one likes.

#ifndef HOST_LAUNCHER_PROGRAMME_TIME_REHEARSAL_H_
#define HOST_LAUNCHER_PROGRAMME_TIME_REHEARSAL_H_

#include <cstdint>
#include <optional>
#include <string>

#include "host/launcher/programme/time/LocalTime.h"

namespace plexion_host {

/// The schedule's clock runs `speed` times as fast; contents play at their own speed, so that what is
/// seen of each part of the day looks as it will.
struct Rehearsal {
  static constexpr double kMostSpeed = 10000;

  int32_t day = 0;                     ///< since 1970-01-01, in the programme's zone
  int32_t fromMs = 0;                  ///< time of day
  int32_t toMs = 24 * 60 * 60 * 1000;  ///< not after `fromMs`: on the next day
  double speed = 240;                  ///< a day in six minutes
};

/// "2026-11-23", "2026-11-23,07:00-01:00", "2026-11-23,07:00-01:00,480".
std::optional<Rehearsal> ReadRehearsal(const std::string& text);

/// What a programme's clock shows: the system's, or a rehearsal's.
///
/// Thread   the programme's.
class ProgrammeClock {
 public:
  ProgrammeClock() = default;
  /// The rehearsal begins at the first question for the time.
  ProgrammeClock(const Rehearsal& rehearsal, const LocalTime& zone);

  /// Units  milliseconds; `steadyMs` of the steady clock, `systemMs` since 1970.
  Moment At(int64_t steadyMs, Moment systemMs);
  bool IsRehearsal() const { return speed_ > 0; }
  bool IsOver(Moment now) const { return IsRehearsal() && now >= end_; }
  /// How long one may sleep so that nothing of the schedule is seen late.
  int64_t LongestSleepMs() const;

 private:
  Moment begin_ = 0;
  Moment end_ = 0;
  double speed_ = 0;  ///< 0: the system's time
  int64_t startedMs_ = -1;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_TIME_REHEARSAL_H_
