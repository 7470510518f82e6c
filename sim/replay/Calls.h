// The calls of the host, made again from their records.

#ifndef SIM_REPLAY_CALLS_H_
#define SIM_REPLAY_CALLS_H_

#include <string>

#include "kit/record/RecordingReader.h"
#include "kit/record/Wrappers.h"

namespace plexion_sim {

/// The module under replay.
struct ReplayedModule {
  plexion_record::Recorder::LoadEntry load = nullptr;
  plexion_record::Recorder::UnloadEntry unload = nullptr;
  IQXModule* service = nullptr;  ///< once Module.Load was made
};

/// Makes the call into the module that `record` begins.
/// Returns  what of the record cannot be; empty when the call was made.
std::string MakeCall(plexion_record::Border& border, const plexion_record::Record& record,
                     ReplayedModule& module);

}  // namespace plexion_sim

#endif  // SIM_REPLAY_CALLS_H_
