// Fills and multiplies rows of a plane.

#include "host/player/PlanePixels.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host::player {

using qx::plexion::Dims;
using qx::plexion::Rect;

void PremultiplyPixels(uint32_t* pixels, uint32_t pitchBytes, const Dims& dims) {
  for (uint32_t y = 0; y < dims.height; ++y) {
    PremultiplyRow(RowAt(pixels, pitchBytes, y), dims.width);
  }
}

void LayBackground(uint32_t* pixels, uint32_t pitchBytes, const Dims& dims, uint8_t bgAlpha) {
  for (uint32_t y = 0; y < dims.height; ++y) {
    LayBlackBelow(RowAt(pixels, pitchBytes, y), dims.width, bgAlpha);
  }
}

void FinishDraw(const DrawTarget& target, const Rect& inside, DrawResult& result) {
  PLEXION_CHECK(inside.x + inside.width <= target.dims.width &&
                    inside.y + inside.height <= target.dims.height,
                "the picture lies in its plane");
  result.drawn = true;
  result.dirty = inside;
  if (!target.everything) return;
  result.dirty = {0, 0, target.dims.width, target.dims.height};
  const uint32_t background = static_cast<uint32_t>(target.bgAlpha) << 24;
  for (uint32_t y = 0; y < target.dims.height; ++y) {
    uint32_t* row = RowAt(target.pixels, target.pitchBytes, y);
    if (y < inside.y || y >= inside.y + inside.height) {
      std::fill(row, row + target.dims.width, background);
      continue;
    }
    std::fill(row, row + inside.x, background);
    std::fill(row + inside.x + inside.width, row + target.dims.width, background);
  }
}

}  // namespace plexion_host::player
