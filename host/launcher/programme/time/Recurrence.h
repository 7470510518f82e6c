// The days that a rule names.

#ifndef HOST_LAUNCHER_PROGRAMME_TIME_RECURRENCE_H_
#define HOST_LAUNCHER_PROGRAMME_TIME_RECURRENCE_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "host/contracts/ICalendar.h"

namespace plexion_host {

/// Which days a rule holds. Answers are kept, since a schedule asks again and again for the same
/// days.
///
/// Thread   one at a time.
class Recurrence {
 public:
  /// An empty rule holds every day. `firstDay` is the day that COUNT and INTERVAL count from, in
  /// days since 1970-01-01; INT32_MIN: none is given. `calendar` must outlive it.
  Recurrence(ICalendar& calendar, std::string rule, int32_t firstDay)
      : calendar_(calendar), rule_(std::move(rule)), firstDay_(firstDay) {}

  bool Holds(int32_t day) {
    constexpr int32_t kDaysAtOnce = 64;
    /// Of a rule without a first date: a Monday, so that weeks begin as on a calendar.
    constexpr int32_t kUsualFirstDay = 18631;  // 2021-01-04
    constexpr size_t kMostKept = 64;           // a schedule lives for years
    if (rule_.empty()) return true;
    if (day < 0 || day < firstDay_) return false;
    const int32_t first = day - day % kDaysAtOnce;
    auto found = known_.find(first);
    if (found == known_.end()) {
      if (known_.size() >= kMostKept) known_.clear();
      const int32_t start = firstDay_ != INT32_MIN ? firstDay_ : kUsualFirstDay;
      found = known_.emplace(first, calendar_.DaysOf(rule_, start, first)).first;
    }
    return (found->second >> (day - first) & 1) != 0;
  }

 private:
  ICalendar& calendar_;
  std::string rule_;
  int32_t firstDay_;
  std::map<int32_t, uint64_t> known_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_TIME_RECURRENCE_H_
