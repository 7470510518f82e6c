#ifndef HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_
#define HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_

#include <memory>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// The engine for Lottie movies, drawn by rlottie straight into the render plane.
///
/// Memory   the file, the parsed document and scratch buffers come from the window's watchdog. What
///          rlottie allocates for its model and its paths does not: it offers no way to. What a
///          movie may ask for there is bounded by the limits in MovieCheck.h.
std::unique_ptr<Engine> MakeLottieEngine(EngineHost& host);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_LOTTIEENGINE_H_
