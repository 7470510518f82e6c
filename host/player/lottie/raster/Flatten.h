#ifndef HOST_PLAYER_LOTTIE_RASTER_FLATTEN_H_
#define HOST_PLAYER_LOTTIE_RASTER_FLATTEN_H_

#include "host/player/lottie/raster/Cells.h"
#include "host/player/lottie/raster/Path.h"

namespace plexion_host::movie {

/// In how many lines a cubic curve is divided so that none is further than `tolerance` from it; at
/// most kMostLinesOfCurve. Its points as plain numbers of any size.
constexpr int kMostLinesOfCurve = 1000;
int LinesOfCubic(const double x[4], const double y[4], double tolerance);

/// The path, mapped and closed, as lines cut to `clip`. What lies to the left or right of it is drawn
/// in to its sides: that changes no pixel inside. Nothing is written for a path with a number that is
/// not finite, or that lies outside.
void Flatten(const Path& path, const Matrix& matrix, const IntRect& clip, Cells& cells);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_FLATTEN_H_
