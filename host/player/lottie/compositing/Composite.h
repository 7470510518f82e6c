#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_COMPOSITE_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_COMPOSITE_H_

#include "host/player/lottie/compositing/BlendMode.h"
#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// Puts `source`, its upper left pixel at (`x`, `y`), over `target`, within `clip` of the target.
/// Blends as the W3C's compositing defines it, with 1 of 255 at most lost to rounding.
///
/// Thread   any; the two do not share pixels.
void Composite(const Surface& target, const Surface& source, int x, int y, const IntRect& clip,
               float opacity, BlendMode mode);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_COMPOSITE_H_
