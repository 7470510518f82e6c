// What plays where at which moment: a function of the programme and the time, and of nothing else.

#ifndef HOST_LAUNCHER_PROGRAMME_SCHEDULE_H_
#define HOST_LAUNCHER_PROGRAMME_SCHEDULE_H_

#include <string>
#include <vector>

#include "host/launcher/programme/document/Programme.h"
#include "host/launcher/programme/time/LocalTime.h"
#include "host/launcher/programme/time/Recurrence.h"

namespace plexion_host {

/// What a zone shows for some time.
struct DayPart {
  std::string playlist;  ///< empty: nothing but the plain picture
  Moment begin = 0;     ///< when it began; for what the schedule does not name, when it became free
  Moment end = kNever;  ///< the next moment at which another answer is possible
  const Entry* entry = nullptr;  ///< null: the zone's own playlist or the fallback
  bool fallback = false;
};

/// Thread   one at a time. `programme` and `calendar` must outlive it.
class Schedule {
 public:
  Schedule(const Programme& programme, ICalendar& calendar);

  /// The entry with the highest priority counts; of two alike the one that began later, then the
  /// one further down in the document.
  DayPart At(const Zone& zone, Moment moment);

  /// Whether an entry's own time lasts at `moment`, whichever counts then. What is no entry always
  /// does.
  bool Holds(const Entry* entry, Moment moment);

  /// All day parts of a zone from midnight to midnight of a day.
  std::vector<DayPart> Day(const Zone& zone, int32_t day);

  const LocalTime& Clock() const { return clock_; }

 private:
  struct Rule {
    const Entry* entry;
    Recurrence days;
  };
  /// An entry's own time around a moment.
  struct Span {
    Moment begin = kNever;
    Moment end = kNever;
  };

  /// The time in which `moment` lies, or the next one, or none.
  Span Around(Rule& rule, Moment moment);

  const Programme& programme_;
  LocalTime clock_;
  std::vector<Rule> rules_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_SCHEDULE_H_
