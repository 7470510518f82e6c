#ifndef HOST_CONTRACTS_IHOSTSOUND_H_
#define HOST_CONTRACTS_IHOSTSOUND_H_

#include <string>
#include <vector>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Name of the environment variable by which the launcher's --sound-output reaches the player: "auto",
/// "none", or an output's name.
constexpr const char* kSoundOutputVariable = "PLEXION_SOUND_OUTPUT";

/// The machine's sound outputs: module "IHostSound", in the library of "IMediaEngine".
///
/// Thread   any. Asks the sound servers that there are, which may take as long as they do.
class IHostSound : public IQXModule {
 public:
  /// The names by which outputs can be chosen.
  virtual std::vector<std::string> GetOutputNames() = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTSOUND_H_
