#ifndef HOST_PLAYER_LOTTIE_PAINT_PIXELRECT_H_
#define HOST_PLAYER_LOTTIE_PAINT_PIXELRECT_H_

#include <stdint.h>

#include <algorithm>

#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

inline int64_t AreaOf(const IntRect& rect) {
  return rect.IsEmpty() ? 0 : int64_t{rect.Width()} * rect.Height();
}
inline bool Same(const IntRect& a, const IntRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
inline IntRect Grown(const IntRect& rect, int by) {
  return {rect.left - by, rect.top - by, rect.right + by, rect.bottom + by};
}

/// The pixels that a box touches after a matrix, `margin` pixels around them included. Empty when
/// its numbers mean nothing.
IntRect CoverOf(float left, float top, float right, float bottom, const Matrix& matrix,
                double margin);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_PIXELRECT_H_
