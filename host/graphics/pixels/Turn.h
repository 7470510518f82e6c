// Pictures turned clockwise by quarters, for displays that are mounted upright or upside down.

#ifndef HOST_GRAPHICS_PIXELS_TURN_H_
#define HOST_GRAPHICS_PIXELS_TURN_H_

#include <cstdint>

#include "host/graphics/pixels/PixelStore.h"
#include "host/graphics/pixels/Region.h"

namespace plexion_host {

/// Quarter turns are 0 to 3, clockwise.

/// The size of a picture of `dims` when it has been turned.
qx::plexion::Dims TurnedDims(const qx::plexion::Dims& dims, unsigned quarters);

/// Where a box of a picture of `dims` lies in the turned one.
Box TurnedBox(const Box& box, const qx::plexion::Dims& dims, unsigned quarters);

/// The pixel of a picture of `dims` that is at (x, y) of the turned one; both may lie outside.
void UnturnPoint(const qx::plexion::Dims& dims, unsigned quarters, int32_t& x, int32_t& y);

/// Copies the pixels of `box`, which lies in `from`, to their places in `to`, which has its turned
/// size.
void TurnPixels(const PixelStore& from, const Box& box, unsigned quarters, PixelStore& to);

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_TURN_H_
