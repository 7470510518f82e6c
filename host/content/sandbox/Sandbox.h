// Gives up what a content's process does not need, before it takes content.

#ifndef HOST_CONTENT_SANDBOX_SANDBOX_H_
#define HOST_CONTENT_SANDBOX_SANDBOX_H_

#include <string>

#include "host/content/sandbox/Rights.h"

namespace plexion_host::content {

/// Gives up, for good: new privileges, memory beyond `rights.memoryBytes`, large files, core files; then
/// files, ports and signals by Landlock, and system calls by a filter. Landlock holds for the calling
/// thread and those that come after it, so this waits a while until there is no other.
///
/// What this kernel does not have is left out; what cannot be had without it stays possible. The
/// environment variable PLEXION_LANDLOCK says a lower version of Landlock to use, 0 for none: for tests.
///
/// Returns  what protects now, in one line for people: "Landlock 6, system call filter, limits".
std::string GiveUpRights(const Rights& rights);

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_SANDBOX_SANDBOX_H_
