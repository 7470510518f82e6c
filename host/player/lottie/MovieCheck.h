#ifndef HOST_PLAYER_LOTTIE_MOVIECHECK_H_
#define HOST_PLAYER_LOTTIE_MOVIECHECK_H_

#include <stdint.h>

#include <string>

#include "host/player/lottie/MovieDocument.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

// What a movie may ask for. The renderer itself checks none of it: it would allocate, recurse or
// loop until the process ends.
constexpr unsigned kLargestStage = 8192;
constexpr double kSlowestFrameRate = 1;
constexpr double kFastestFrameRate = 240;
constexpr double kMostFrames = 100000;
constexpr double kMostRepeaterCopies = 1000;
constexpr uint64_t kMostLayers = 5000;       ///< with every use of a composition counted
constexpr uint64_t kMostDrawnItems = 50000;  ///< likewise, repeater copies included
constexpr double kMostStarPoints = 1000;
constexpr double kShortestDash = 0.1;
constexpr double kSlowestTimeStretch = 0.001;
/// All scales that apply to a shape together, as a factor: beyond it coordinates become infinite.
constexpr double kLargestScale = 1e6;
/// Width of a stroke with all its scales, in lengths of the stage's longer side. At about 25,000
/// pixels on the plane the renderer draws for ever.
constexpr double kWidestStroke = 2;
/// How far an easing curve may overshoot.
constexpr double kLargestEasing = 10;

struct MovieHeader {
  qx::plexion::Dims stageDims = {0, 0};
  double framesPerSecond = 0;
};

/// Reads the header and checks what the movie would cost to draw. Puts right what has one obvious
/// meaning (a stage size that is not whole).
/// Returns  false with `error` saying what, where, and what is allowed:
///          layer 3 ("logo"): a repeater with 5000 copies; at most 1000 are allowed
bool CheckMovie(MovieTree& movie, MovieHeader& header, std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_MOVIECHECK_H_
