// The clocks of an application.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_APPLICATIONCLOCKS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_APPLICATIONCLOCKS_H_

#include <stdint.h>
#include <time.h>

#include <functional>

namespace plexion_host::player::application {

/// What an application takes from outside of its player; a test brings its own.
struct ApplicationClocks {
  /// The time on the wall, for the script's clock.
  std::function<timespec()> wall;
  /// Time that the calling thread has spent computing, in nanoseconds, for the script's limit.
  std::function<int64_t()> working;
};

ApplicationClocks SystemClocks();

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_APPLICATIONCLOCKS_H_
