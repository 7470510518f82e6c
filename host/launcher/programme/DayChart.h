// A programme's day as a table and as a picture.

#ifndef HOST_LAUNCHER_PROGRAMME_DAYCHART_H_
#define HOST_LAUNCHER_PROGRAMME_DAYCHART_H_

#include <string>
#include <vector>

#include "host/launcher/programme/Schedule.h"

namespace plexion_host {

/// A part of the day in one zone, for people.
struct DayRow {
  std::string zone;
  DayPart part;
  std::string from;  ///< "07:00:00"
  std::string to;    ///< up to "24:00:00"
  std::string why;   ///< "line 12, priority 5", "zone's own", "fallback"
};
/// Zone by zone, from midnight to midnight.
std::vector<DayRow> DayRows(const Programme& programme, Schedule& schedule, int32_t day);

/// One line for each part of the day, zone by zone: from, to, playlist, and why.
std::string DayTable(const Programme& programme, Schedule& schedule, int32_t day);

/// The same as an SVG document: a row for each zone, hours from left to right.
std::string DaySvg(const Programme& programme, Schedule& schedule, int32_t day);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DAYCHART_H_
