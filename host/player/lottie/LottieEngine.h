#ifndef HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_
#define HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_

#include <memory>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// The engine for Lottie movies, drawn straight into the render plane: of a frame only what differs
/// from the one before, and nothing while the movie stands still.
///
/// Memory   the document and its pictures come from the window's watchdog. What a movie may ask for
///          besides is bounded by the limits in document/Reader.h.
std::unique_ptr<Engine> MakeLottieEngine(EngineHost& host);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_
