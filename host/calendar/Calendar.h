// Zones and recurrences by libical.

#ifndef HOST_CALENDAR_CALENDAR_H_
#define HOST_CALENDAR_CALENDAR_H_

#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/ICalendar.h"

namespace plexion_host {

class Calendar final : public ICalendar {
 public:
  int OpenZone(const std::string& name) override;
  int64_t OffsetMs(int zone, int64_t moment) override;
  bool IsRule(const std::string& rule, std::string& error) override;
  uint64_t DaysOf(const std::string& rule, int32_t start, int32_t first) override;

 private:
  /// The library expands a zone's changes when it is asked, and keeps its last error for all.
  Mutex mutex_;
  /// libical's, which keeps them as long as the process lives; null: UTC.
  std::vector<void*> zones_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_CALENDAR_CALENDAR_H_
