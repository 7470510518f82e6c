// --start-at: a time of day or of the calendar, and the moment it means.

#ifndef HOST_LAUNCHER_OPTIONS_STARTTIME_H_
#define HOST_LAUNCHER_OPTIONS_STARTTIME_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace plexion_host {

/// When the first content is to begin.
struct StartTime {
  bool timeOfDay = false;
  int64_t milliseconds = 0;  ///< since local midnight, or since the Unix epoch
};

/// Reads "HH:MM[:SS[.mmm]]" or a Unix time in seconds ("1795473000", "1795473000.250").
/// Returns  an empty text, or what was expected.
std::string ReadStartTime(const std::string& text, std::optional<StartTime>& startTime);

/// The moment that `startTime` means, seen from `now`. A time of day is today's, also when it has
/// passed: after a power cut at noon a display that begins at seven begins at once.
std::chrono::system_clock::time_point Resolve(const StartTime& startTime,
                                              std::chrono::system_clock::time_point now);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_STARTTIME_H_
