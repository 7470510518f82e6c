// The module "IMovieEngine".

#ifndef HOST_PLAYER_LOTTIE_MOVIEMODULE_H_
#define HOST_PLAYER_LOTTIE_MOVIEMODULE_H_

#include <memory>

#include "host/player/Engine.h"
#include "host/player/lottie/LottieEngine.h"

namespace plexion_host::player {

/// In a library of its own, so that a process which plays no movie loads nothing that movies stand on.
class MovieModule final : public IEngineModule {
 public:
  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override { return MakeLottieEngine(host); }
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_MOVIEMODULE_H_
