// Which system calls a content's process may make.

#ifndef HOST_CONTENT_SANDBOX_SYSTEMCALLS_H_
#define HOST_CONTENT_SANDBOX_SYSTEMCALLS_H_

#include <string>

#include "host/content/sandbox/Rights.h"

namespace plexion_host::content {

/// Gives up, for good and for all threads, every system call that drawing does not need, and those
/// that need an argument of a certain kind with any other. What is refused is answered as a kernel
/// would that does not have the call: a C library then takes an older one, or says so.
/// Returns  false with the reason in `error`.
bool RestrictSystemCalls(const Rights& rights, std::string& error);

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_SANDBOX_SYSTEMCALLS_H_
