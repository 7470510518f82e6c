// Assertions that stay in every build: a broken precondition is a fault of ours, and going on from it
// costs more than ending.

#ifndef HOST_BASE_CHECK_H_
#define HOST_BASE_CHECK_H_

#include <cstdio>
#include <cstdlib>

namespace plexion_host {

[[noreturn]] inline void FailCheck(const char* file, int line, const char* condition,
                                   const char* expected) {
  std::fprintf(stderr, "plexion: %s:%d: check failed: %s: %s\n", file, line, condition, expected);
  std::abort();
}

}  // namespace plexion_host

/// Ends the process with file, line and `EXPECTED`, a sentence in quotes, unless `CONDITION` holds.
/// For what only a mistake in this program can break; never for what input can cause.
#define PLEXION_CHECK(CONDITION, EXPECTED) \
  ((CONDITION) ? static_cast<void>(0)      \
               : plexion_host::FailCheck(__FILE__, __LINE__, #CONDITION, EXPECTED))

#endif  // HOST_BASE_CHECK_H_
