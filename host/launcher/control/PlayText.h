// What plays, as text for people and as JSON for machines.

#ifndef HOST_LAUNCHER_CONTROL_PLAYTEXT_H_
#define HOST_LAUNCHER_CONTROL_PLAYTEXT_H_

#include <optional>
#include <string>

#include "host/launcher/control/PlayControl.h"

namespace plexion_host {

/// What of the whole display a report says beside what plays.
struct ScreenFacts {
  std::string display;  ///< "window 1280x720"; empty: there is none
  uint64_t framesPresented = 0;
};

/// Both end with a line end; the JSON is one line, in ASCII. Times are those of the system's zone.
/// Addresses are told without their passwords.
std::string ReportText(const PlayReport& report, const ScreenFacts& screen);
std::string ReportJson(const PlayReport& report, const ScreenFacts& screen);
std::string DayText(const PlannedDay& day);
std::string DayJson(const PlannedDay& day);

/// Rows as columns, two blanks between them; the last is as wide as it is.
std::string FormatColumns(const std::vector<std::vector<std::string>>& rows);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_CONTROL_PLAYTEXT_H_
