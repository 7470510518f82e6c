// A programme's day as a table and as a picture.

#ifndef HOST_LAUNCHER_PROGRAMME_DAYCHART_H_
#define HOST_LAUNCHER_PROGRAMME_DAYCHART_H_

#include <string>

#include "host/launcher/programme/Schedule.h"

namespace plexion_host {

/// One line for each part of the day, zone by zone: from, to, playlist, and why.
std::string DayTable(const Programme& programme, Schedule& schedule, int32_t day);

/// The same as an SVG document: a row for each zone, hours from left to right.
std::string DaySvg(const Programme& programme, Schedule& schedule, int32_t day);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DAYCHART_H_
