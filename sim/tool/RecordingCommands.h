// The commands that read recordings.

#ifndef SIM_TOOL_RECORDINGCOMMANDS_H_
#define SIM_TOOL_RECORDINGCOMMANDS_H_

#include <string>

namespace plexion_sim {

/// Prints a recording as a story or, with `html`, draws it into that file. Returns  the exit status.
int ShowRecording(const std::string& path, bool all, const std::string& html);

/// Replays a recording with `module` (empty: the one in this program) and prints how it went.
/// Returns  the exit status: 0 equal, 1 different, 3 unreadable.
int ReplayRecordingFile(const std::string& path, const std::string& module, bool ignoreMemory);

}  // namespace plexion_sim

#endif  // SIM_TOOL_RECORDINGCOMMANDS_H_
