#ifndef HOST_PLAYER_LOTTIE_SCENE_DATAFILES_H_
#define HOST_PLAYER_LOTTIE_SCENE_DATAFILES_H_

#include <functional>
#include <string>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/paint/Images.h"

namespace plexion_host::movie {

/// Reads the JSON files that a movie's expressions take their data from, into the movie's memory.
/// What cannot be read is told to `missing` and stays without a value. Throws std::bad_alloc.
void LoadData(Movie& movie, const Images::Reader& reader, const std::function<bool()>& cancelled,
              const std::function<void(const DataAsset&, const std::string&)>& missing);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_DATAFILES_H_
