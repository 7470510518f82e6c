// The process that one case runs in, as the runner sees it.

#ifndef KIT_CERTIFY_CASEPROCESS_H_
#define KIT_CERTIFY_CASEPROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <string>

#include "kit/certify/Runner.h"

namespace plexion_certify {

struct Running {
  size_t index = 0;  // into the results
  pid_t process = -1;
  int report = -1;
  int output = -1;
  std::string heard;
  bool ended = false;  // the case returned
  std::chrono::steady_clock::time_point began, deadline;
};

/// Starts a process for `promise`, in a group of its own. `argv` is our own command line.
/// Returns  false when there is none to be had.
bool Start(const Options& options, int argc, char** argv, const Promise& promise, Running& running);
/// Hears what it says, and ends it when its time is over.
/// Returns  true when it is gone and judged.
bool LookAfter(const Options& options, Running& running, Result& result);
/// Ends a process that nobody asks for any more, with all that it has started.
void End(const Running& running);

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_CASEPROCESS_H_
