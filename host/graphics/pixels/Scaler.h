// Pictures of another size.

#ifndef HOST_GRAPHICS_PIXELS_SCALER_H_
#define HOST_GRAPHICS_PIXELS_SCALER_H_

#include <cstdint>

#include "host/graphics/pixels/Region.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// Pixels of somebody else, for the length of a call.
struct PixelView {
  const uint32_t* pixels = nullptr;
  uint32_t pitchBytes = 0;
  qx::plexion::Dims dims{};
};

struct MutablePixelView {
  uint32_t* pixels = nullptr;
  uint32_t pitchBytes = 0;
  qx::plexion::Dims dims{};
};

/// Copies `sourceRect` of `source` (inside it) smoothly over `destinationRect` of `destination`,
/// but draws only what lies in `clip`. Alpha is scaled like the colours. Returns  false when there
/// is no memory; nothing is drawn then.
bool ScalePixels(const PixelView& source, const qx::plexion::Rect& sourceRect,
                 const MutablePixelView& destination, const qx::plexion::Rect& destinationRect,
                 const Box& clip);

/// How many destination pixels beyond its own place a source pixel can reach.
int32_t ScaleSpread(const qx::plexion::Rect& sourceRect, const qx::plexion::Rect& destinationRect);

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_SCALER_H_
