// Options of --morvelvars that concern media.

#ifndef HOST_PLAYER_MEDIAOPTIONS_H_
#define HOST_PLAYER_MEDIAOPTIONS_H_

#include <string>

#include "host/player/PlayerSettings.h"

namespace plexion_host::player {

/// The variables that mean something to media, beside loop and speed.
struct MediaOptions {
  double durationSeconds = 10;  ///< how long a still picture is shown; 0.04 to 1000000
  double volume = 1;            ///< factor, from volume=0 .. 100
  bool muted = false;
  bool captions = false;  ///< see CaptionAddress
};

/// Returns  false with `error` saying which variable is wrong and what was expected.
bool ReadMediaOptions(const PlayerSettings& settings, MediaOptions& options, std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIAOPTIONS_H_
