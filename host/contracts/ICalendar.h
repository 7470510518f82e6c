#ifndef HOST_CONTRACTS_ICALENDAR_H_
#define HOST_CONTRACTS_ICALENDAR_H_

#include <cstdint>
#include <string>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Time zones and recurring days: module "ICalendar", loaded by programmes only. Private to this
/// host.
///
/// Units    moments are milliseconds since 1970-01-01 00:00 UTC, days are days since 1970-01-01.
/// Thread   any.
class ICalendar : public IQXModule {
 public:
  /// A zone of the system's data base, "Europe/Rome"; an empty name is the system's own.
  /// Returns  its handle, or -1 when it is not known.
  virtual int OpenZone(const std::string& name) = 0;
  /// What is added to UTC there at `moment`, in milliseconds.
  virtual int64_t OffsetMs(int zone, int64_t moment) = 0;

  /// Whether `rule` is a recurrence of days as RFC 5545 writes them, "FREQ=WEEKLY;BYDAY=MO,TU".
  /// Returns  false with what was expected in `error`.
  virtual bool IsRule(const std::string& rule, std::string& error) = 0;
  /// Which of the 64 days from `first` on `rule` holds, the first in the lowest bit. COUNT and
  /// INTERVAL count from `start`.
  virtual uint64_t DaysOf(const std::string& rule, int32_t start, int32_t first) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_ICALENDAR_H_
