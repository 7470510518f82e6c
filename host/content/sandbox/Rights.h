// What a content's process may do, by the kind of its content.

#ifndef HOST_CONTENT_SANDBOX_RIGHTS_H_
#define HOST_CONTENT_SANDBOX_RIGHTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/player/ContentAddress.h"
#include "host/player/PlayerSettings.h"
#include "host/player/remote/Orders.h"

namespace plexion_host::content {

/// docs/isolation.md has the same as a table for people.
struct Rights {
  /// Files, and folders with all that lies below, that may be read. One that is not there is left out.
  std::vector<std::string> read;
  /// Devices that may be written, too.
  std::vector<std::string> devices;
  bool network = false;       ///< connections to other machines
  bool localSockets = false;  ///< connections to servers of this machine, for sound
  bool deviceCalls = false;   ///< calls to drivers, for sound
  uint64_t memoryBytes = 0;   ///< that it may ask the system for
};

/// The rights for the content at `content`. `sound`: something on this machine might play sound.
Rights RightsFor(const player::remote::ContentOrder& order, const player::ContentAddress& content,
                 const player::PlayerSettings& settings, bool sound);

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_SANDBOX_RIGHTS_H_
