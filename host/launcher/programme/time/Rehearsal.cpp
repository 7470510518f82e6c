// A programme's day, played as fast as one likes.

#include "host/launcher/programme/time/Rehearsal.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

/// A clock that is set is noticed within this.
constexpr int64_t kLongestSleepMs = 1000;
constexpr int64_t kShortestSleepMs = 10;

bool ReadTimes(const std::string& text, Rehearsal& rehearsal) {
  const std::vector<std::string> times = SplitAt(text, '-');
  if (times.size() != 2) return false;
  const auto from = ReadTimeOfDay(times[0]);
  const auto to = ReadTimeOfDay(times[1]);
  if (!from || !to || *from >= kDayMs) return false;
  rehearsal.fromMs = *from;
  rehearsal.toMs = *to;
  return true;
}

}  // namespace

std::optional<Rehearsal> ReadRehearsal(const std::string& text) {
  const std::vector<std::string> words = SplitAt(text, ',');
  const auto day = ReadDate(words[0]);
  if (!day || words.size() > 3) return std::nullopt;
  Rehearsal rehearsal;
  rehearsal.day = *day;
  if (words.size() > 1 && !ReadTimes(words[1], rehearsal)) return std::nullopt;
  if (words.size() > 2) {
    const auto speed = ReadNumber(words[2], 1, Rehearsal::kMostSpeed);
    if (!speed) return std::nullopt;
    rehearsal.speed = *speed;
  }
  return rehearsal;
}

ProgrammeClock::ProgrammeClock(const Rehearsal& rehearsal, const LocalTime& zone)
    : begin_(zone.Of(rehearsal.day, rehearsal.fromMs)),
      // "22:00-02:00" ends on the next day, as an entry of the schedule does.
      end_(zone.Of(rehearsal.day,
                   rehearsal.toMs + (rehearsal.toMs <= rehearsal.fromMs ? kDayMs : 0))),
      speed_(rehearsal.speed) {
  PLEXION_CHECK(speed_ >= 1, "a rehearsed clock goes on");
}

Moment ProgrammeClock::At(int64_t steadyMs, Moment systemMs) {
  if (!IsRehearsal()) return systemMs;
  // The first question starts the clock: opening the display before it takes nothing away from the
  // day.
  if (startedMs_ < 0) startedMs_ = steadyMs;
  return begin_ + std::llround(static_cast<double>(steadyMs - startedMs_) * speed_);
}

int64_t ProgrammeClock::LongestSleepMs() const {
  // A second of the rehearsed day is shorter on the steady clock; without this a fast rehearsal
  // would look at it in steps of minutes.
  if (!IsRehearsal()) return kLongestSleepMs;
  return std::max<int64_t>(kShortestSleepMs, std::llround(kLongestSleepMs / speed_));
}

}  // namespace plexion_host
