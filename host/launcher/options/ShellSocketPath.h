// Where the operator's socket usually is.

#ifndef HOST_LAUNCHER_OPTIONS_SHELLSOCKETPATH_H_
#define HOST_LAUNCHER_OPTIONS_SHELLSOCKETPATH_H_

#include <string>
#include <vector>

namespace plexion_host {

/// "$XDG_RUNTIME_DIR/plexion.sock", which a launcher with a programme or a playlist serves unless it
/// is told otherwise; empty without such a folder.
std::string UsualShellSocket();

/// Where a client looks when it is not told: $PLEXION_SOCKET alone if it is set, else the usual place,
/// then that of the packaged service.
std::vector<std::string> ShellSocketsToTry();

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_SHELLSOCKETPATH_H_
