// The values of the launcher's options.

#ifndef HOST_LAUNCHER_OPTIONS_OPTIONVALUES_H_
#define HOST_LAUNCHER_OPTIONS_OPTIONVALUES_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/launcher/options/CommandLine.h"

namespace plexion_host {

// Each returns an empty text, or what was expected; what it would have been put into is then as it was. Which
// option it is, and what stood there, is for the table to say.

std::string ReadDisplayMode(const std::string& text, DisplayMode& mode);

/// "1280x720", each side from 1 to 16384 pixels.
std::string ReadScreen(const std::string& text, DisplayOptions& display);

/// 0 to 1000000 times.
std::string ReadRestarts(const std::string& text, std::optional<unsigned>& most);

/// Milliseconds from `least` to 31 years.
std::string ReadTime(const std::string& text, int64_t least, int64_t& milliseconds);
std::string ReadTime(const std::string& text, int64_t least, std::optional<int64_t>& milliseconds);

/// A mode, with its times in milliseconds where it has some.
std::string ReadKeyMode(const std::string& text, std::optional<KeyMode>& keyMode);

/// Bytes, kilobytes ("64K") or megabytes ("64M"). `text` must not be empty.
std::string ReadMemoryLimit(std::string text, uint32_t& bytes);

/// A number of `unit`, which is told in what is expected.
std::string ReadCount(const std::string& text, int64_t least, int64_t most, const char* unit,
                      uint64_t& count);
std::string ReadOnOff(const std::string& text, std::optional<bool>& on);

/// "NAME:FILE", added to `map`; the later of two for one name counts.
std::string ReadModuleMap(const std::string& pair, std::map<std::string, std::string>& map);

/// A file that is named at the launcher lies where the launcher runs, not beside the content. "on", "off" and
/// nothing stay.
std::string WholeCaptionPath(const std::string& value);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_OPTIONVALUES_H_
