// The windows as a table for people.

#ifndef HOST_LAUNCHER_COMMANDS_WINDOWTABLE_H_
#define HOST_LAUNCHER_COMMANDS_WINDOWTABLE_H_

#include <string>
#include <vector>

#include "host/contracts/IHostWindows.h"

namespace plexion_host {

/// The windows for people: a heading and one line a window, in columns.
std::string FormatWindowTable(const std::vector<HostWindow>& windows,
                              qx::plexion::IPlexionSets* service);

/// "kStatusPlaying" and so on; the number where there is no name, or no service to know it.
std::string StatusName(const HostWindow& window, qx::plexion::IPlexionSets* service);

/// True while a question to the window could have to wait for its load to end.
bool IsWindowBusy(const HostWindow& window);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_WINDOWTABLE_H_
