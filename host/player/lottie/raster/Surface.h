#ifndef HOST_PLAYER_LOTTIE_RASTER_SURFACE_H_
#define HOST_PLAYER_LOTTIE_RASTER_SURFACE_H_

#include <stddef.h>
#include <stdint.h>

#include <algorithm>

#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

/// Pixels that somebody else owns: premultiplied, 0xAARRGGBB in the machine's byte order, the upper
/// left one first. No colour channel is larger than the pixel's alpha.
struct Surface {
  uint32_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  size_t strideBytes = 0;

  uint32_t* Row(int y) const {
    return reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(pixels) +
                                       static_cast<size_t>(y) * strideBytes);
  }
  IntRect Bounds() const { return {0, 0, width, height}; }
  void Clear(const IntRect& rect) const {
    const IntRect cut = rect.Cut(Bounds());
    if (cut.IsEmpty()) return;
    for (int y = cut.top; y < cut.bottom; ++y) {
      std::fill(Row(y) + cut.left, Row(y) + cut.right, 0u);
    }
  }
};

/// One byte for each pixel, 255 where it is covered wholly. Somebody else owns it.
struct Coverage {
  uint8_t* values = nullptr;
  int width = 0;
  int height = 0;
  size_t strideBytes = 0;

  uint8_t* Row(int y) const { return values + static_cast<size_t>(y) * strideBytes; }
  IntRect Bounds() const { return {0, 0, width, height}; }
  void Clear(const IntRect& rect, uint8_t value = 0) const {
    const IntRect cut = rect.Cut(Bounds());
    if (cut.IsEmpty()) return;
    for (int y = cut.top; y < cut.bottom; ++y) {
      std::fill(Row(y) + cut.left, Row(y) + cut.right, value);
    }
  }
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_SURFACE_H_
