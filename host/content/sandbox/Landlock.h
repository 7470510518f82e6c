// Which files, ports and processes this process may reach, by the kernel's Landlock.

#ifndef HOST_CONTENT_SANDBOX_LANDLOCK_H_
#define HOST_CONTENT_SANDBOX_LANDLOCK_H_

#include <climits>
#include <string>

#include "host/content/sandbox/Rights.h"

namespace plexion_host::content {

/// The newest version of Landlock's interface that this knows: 1 and 2 files, 3 cutting files short, 4
/// ports, 5 calls to devices, 6 signals and abstract sockets.
constexpr int kKnownLandlock = 6;

/// What the kernel has; 0: nothing.
int LandlockOfKernel();

/// Gives up, for good, everything that `rights` do not name: of the calling thread and those that it
/// starts. `version`: the interface to use, from 1 to what the kernel has. The process must have given up
/// new privileges before.
/// Returns  false with the reason in `error`; the thread may then still do everything.
bool RestrictByLandlock(const Rights& rights, int version, std::string& error);

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_SANDBOX_LANDLOCK_H_
