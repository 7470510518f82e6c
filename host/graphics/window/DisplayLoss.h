// What happens when the display's server goes while a window is open.

#ifndef HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_
#define HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_

#include <string>

namespace plexion_host {

/// Ends the launcher with an exit code of its own (IHostWindows::DisplayLost), where there is one.
/// Returns  false when there is none.
bool TellDisplayLost(const std::string& reason);

/// From now on a connection to the X server that breaks is told so, and does not, as the X library has it by
/// itself, end the process with the exit code of a content's error and past everything that wants to be
/// put right. Without a launcher it stays as it is.
///
/// Thread   the display's, once its connection is there.
void WatchDisplayConnection();

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_
