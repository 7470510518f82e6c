// Asks libical for offsets of zones and for the days of rules, sixty-four at a time.
#include "host/calendar/Calendar.h"

#include <libical/ical.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace plexion_host {
namespace {

constexpr int64_t kSecondMs = 1000;
constexpr int64_t kDaySeconds = 24 * 3600;
constexpr int32_t kDaysAtOnce = 64;
constexpr size_t kLongestRule = 1000;

/// The system's zone by name: TZ, or where /etc/localtime leads.
std::string SystemZone() {
  const char* const variable = std::getenv("TZ");
  std::string name = variable != nullptr ? variable : "";
  if (!name.empty() && name[0] == ':') name.erase(0, 1);
  if (!name.empty()) return name;
  std::error_code fault;
  const std::string target = std::filesystem::canonical("/etc/localtime", fault).string();
  const size_t at = target.find("zoneinfo/");
  return fault || at == std::string::npos ? "UTC" : target.substr(at + 9);
}

icaltimetype MidnightOf(int32_t day) {
  return icaltime_from_timet_with_zone(static_cast<time_t>(day * kDaySeconds), 1,
                                       icaltimezone_get_utc_timezone());
}

struct FreeIterator {
  void operator()(icalrecur_iterator* iterator) const { icalrecur_iterator_free(iterator); }
};

}  // namespace

int Calendar::OpenZone(const std::string& name) {
  const std::string wanted = name.empty() ? SystemZone() : name;
  const MutexLock lock(mutex_);
  void* zone = nullptr;
  const bool utc = wanted == "UTC" || wanted == "Etc/UTC";
  if (!utc) {
    if (wanted[0] == '/' || wanted.find("..") != std::string::npos) return -1;
    // The system's data base, which is kept up to date; not the library's own copy.
    icaltimezone_set_builtin_tzdata(0);
    zone = icaltimezone_get_builtin_timezone(wanted.c_str());
    if (zone == nullptr && !name.empty()) return -1;
  }
  zones_.push_back(zone);
  return static_cast<int>(zones_.size()) - 1;
}

int64_t Calendar::OffsetMs(int zone, int64_t moment) {
  const MutexLock lock(mutex_);
  if (zone < 0 || zone >= static_cast<int>(zones_.size())) return 0;
  auto* const found = static_cast<icaltimezone*>(zones_[static_cast<size_t>(zone)]);
  if (found == nullptr) return 0;
  const int64_t second = moment / kSecondMs - (moment % kSecondMs < 0 ? 1 : 0);
  icaltimetype time = icaltime_from_timet_with_zone(static_cast<time_t>(second), 0,
                                                    icaltimezone_get_utc_timezone());
  int summer = 0;
  return icaltimezone_get_utc_offset_of_utc_time(found, &time, &summer) * kSecondMs;
}

bool Calendar::IsRule(const std::string& rule, std::string& error) {
  const MutexLock lock(mutex_);
  icalerror_clear_errno();
  const icalrecurrencetype read = icalrecurrencetype_from_string(rule.c_str());
  if (rule.size() > kLongestRule || icalerrno != ICAL_NO_ERROR || read.freq == ICAL_NO_RECURRENCE) {
    error = "\"" + rule + "\" is no rule; expected one like \"FREQ=WEEKLY;BYDAY=MO,TU\"";
    return false;
  }
  if (read.freq < ICAL_DAILY_RECURRENCE) {
    error = "it recurs within a day; expected DAILY, WEEKLY, MONTHLY or YEARLY";
    return false;
  }
  return true;
}

uint64_t Calendar::DaysOf(const std::string& rule, int32_t start, int32_t first) {
  const MutexLock lock(mutex_);
  const icalrecurrencetype read = icalrecurrencetype_from_string(rule.c_str());
  const std::unique_ptr<icalrecur_iterator, FreeIterator> iterator(
      icalrecur_iterator_new(read, MidnightOf(start)));
  if (iterator == nullptr) return 0;
  // A rule that counts must be followed from its beginning.
  if (first > start && read.count == 0) {
    icalrecur_iterator_set_start(iterator.get(), MidnightOf(first));
  }
  uint64_t days = 0;
  constexpr int kMostSteps = 100000;
  for (int step = 0; step < kMostSteps; ++step) {
    const icaltimetype time = icalrecur_iterator_next(iterator.get());
    if (icaltime_is_null_time(time) != 0) break;
    const int64_t seconds = icaltime_as_timet_with_zone(time, icaltimezone_get_utc_timezone());
    const int64_t day = seconds / kDaySeconds;
    if (day >= int64_t{first} + kDaysAtOnce) break;
    if (day >= first) days |= uint64_t{1} << (day - first);
  }
  return days;
}

}  // namespace plexion_host
