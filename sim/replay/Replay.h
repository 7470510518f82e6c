// Replays a recording: the recorded host drives a module, call by call.

#ifndef SIM_REPLAY_REPLAY_H_
#define SIM_REPLAY_REPLAY_H_

#include <string>

#include "kit/record/RecordingReader.h"

namespace plexion_sim {

struct ReplayOptions {
  std::string module;  ///< a library; empty: the module that is linked into this program
  /// Kernel.Allocate and Kernel.Free may differ. For modules of another
  /// version, whose objects have other sizes. An allocation that failed in the
  /// recording then succeeds.
  bool ignoreMemory = false;
};

struct ReplayResult {
  enum class Outcome {
    kEqual,       ///< as far as the recording goes without a gap
    kDifferent,   ///< the module did something else, or broke a rule of the
                  ///< kernel's
    kUnreadable,  ///< the recording contradicts itself
    kNoModule     ///< there is no such module
  };
  Outcome outcome = Outcome::kUnreadable;
  size_t compared = 0;  ///< records that were held against the module
  std::string report;   ///< for people, lines
};

/// Replays a recording from its beginning to its end or first gap.
///
/// Each recorded thread is a simulated one. What the host did it does again:
/// calls into the module with the recorded arguments, and to each call of the
/// module the recorded answer. At every record the threads wait for their turn
/// in the recorded order, so that locks are taken and events come as they did;
/// between two of its records a thread's code runs on at once. Mutexes and
/// memory are those of the simulated kernel, which finds what is used after it
/// was destroyed.
///
/// One at a time in a process; with the linked-in module also no SimDevice in
/// it. A module that loops without calling anything hangs here as it would on
/// the device: under a debugger one sees where.
ReplayResult ReplayRecording(const plexion_record::Recording& recording,
                             const ReplayOptions& options);

}  // namespace plexion_sim

#endif  // SIM_REPLAY_REPLAY_H_
