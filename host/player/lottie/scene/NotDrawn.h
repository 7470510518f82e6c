#ifndef HOST_PLAYER_LOTTIE_SCENE_NOTDRAWN_H_
#define HOST_PLAYER_LOTTIE_SCENE_NOTDRAWN_H_

#include <functional>
#include <string>

#include "host/player/lottie/document/Model.h"

namespace plexion_host::movie {

/// Tells what a movie asks for and is not drawn, each feature once, with the first layer that asks:
///          layer "sky": the effect "Ramp" is not drawn
void TellNotDrawn(const Movie& movie, const std::function<void(const std::string&)>& tell);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_NOTDRAWN_H_
