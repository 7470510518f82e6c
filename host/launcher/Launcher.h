// The launcher from command line to exit code.

#ifndef HOST_LAUNCHER_LAUNCHER_H_
#define HOST_LAUNCHER_LAUNCHER_H_

#include <string>
#include <vector>

namespace plexion_host {

/// The launcher from command line to exit code.
///
/// Thread   the process's main thread, before any other is there: the display loop runs on it, and
/// the service and the windows on a thread beside it.
int RunLauncher(const std::vector<std::string>& arguments);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_LAUNCHER_H_
