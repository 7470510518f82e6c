// Runs cases, each in a process of its own.

#ifndef KIT_CERTIFY_RUNNER_H_
#define KIT_CERTIFY_RUNNER_H_

#include <string>
#include <vector>

#include "kit/certify/Options.h"
#include "kit/certify/Promise.h"

namespace plexion_certify {

enum class Outcome { kPassed, kWarning, kSkipped, kFailed, kCrashed, kHung };

struct Result {
  const Promise* promise = nullptr;
  Outcome outcome = Outcome::kPassed;
  std::string expected;  ///< of what is broken
  std::string seen;
  std::string step;     ///< what was done last
  std::string note;     ///< why it was skipped, or the warning
  std::string printed;  ///< the end of what a process that crashed or hung wrote
  double seconds = 0;
};

const char* OutcomeName(Outcome outcome);
inline bool IsBroken(Outcome outcome) { return outcome >= Outcome::kFailed; }

/// Tries what the options ask for, several at a time, and answers in the table's order. `argv` is our own
/// command line, which each process gets again.
///
/// What a stranger's library does stays in the process of its case: it may crash, hang, close every file
/// or exit. A case whose needs are broken is skipped; with `firstOnly` so is everything behind the first
/// broken promise.
std::vector<Result> RunCases(const Options& options, int argc, char** argv);

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_RUNNER_H_
