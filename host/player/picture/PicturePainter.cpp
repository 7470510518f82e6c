// Scales pictures and lays them over the background.

#include "host/player/picture/PicturePainter.h"

#include <string.h>

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/player/PlanePixels.h"
#include "host/player/picture/PictureScaler.h"

namespace plexion_host::player {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

constexpr double kLargestSide = 4096;

void CopyPixels(const uint32_t* from, size_t fromPixels, uint32_t* to, uint32_t toPitch,
                const Dims& dims) {
  for (uint32_t y = 0; y < dims.height; ++y) {
    memcpy(RowAt(to, toPitch, y), from + y * fromPixels, dims.width * sizeof *to);
  }
}

}  // namespace

Dims StageDimsOf(const Dims& dims) {
  PLEXION_CHECK(dims.width > 0 && dims.height > 0, "a picture has a size");
  const double factor = std::min(1.0, kLargestSide / std::max(dims.width, dims.height));
  const auto side = [factor](uint32_t length) {
    return static_cast<uint32_t>(std::max(1L, std::lround(length * factor)));
  };
  return {side(dims.width), side(dims.height)};
}

DrawResult PicturePainter::Draw(const PicturePixels& picture, const Dims& stage,
                                const DrawTarget& target) {
  PLEXION_CHECK(picture.pixels != nullptr, "there is a picture to lay");
  DrawResult result;
  const StageFit place = StageFit::Of(stage.width, stage.height, target.dims, fit_);
  const Rect seen = place.Visible(target.dims);
  const Dims dims = {seen.width, seen.height};
  const Dims& own = picture.dims;
  uint32_t* const pixels = RowAt(target.pixels, target.pitchBytes, seen.y) + seen.x;
  if (static_cast<int64_t>(own.width) == place.width &&
      static_cast<int64_t>(own.height) == place.height) {
    const auto left = static_cast<size_t>(int64_t{seen.x} - place.x);
    const auto top = static_cast<size_t>(int64_t{seen.y} - place.y);
    CopyPixels(picture.pixels + top * own.width + left, own.width, pixels, target.pitchBytes, dims);
    if (!picture.opaque) PremultiplyPixels(pixels, target.pitchBytes, dims);
  } else {
    const uint32_t* from = picture.pixels;
    if (!picture.opaque) {
      const size_t count = size_t{own.width} * own.height;
      const size_t bytes = count * sizeof(uint32_t);
      if (premultiplied_.Size() != bytes && !premultiplied_.Resize(watchdog_, bytes)) {
        result.failure = "no memory for " + std::to_string(bytes) + " bytes of pixels";
        return result;
      }
      auto* const multiplied = premultiplied_.As<uint32_t>();
      // Before the scaling: the colours of transparent pixels would bleed over the edges.
      std::transform(from, from + count, multiplied, Premultiplied);
      from = multiplied;
    }
    ScalePicture(from, own, place, seen, pixels, target.pitchBytes);
  }
  if (!picture.opaque) LayBackground(pixels, target.pitchBytes, dims, target.bgAlpha);
  FinishDraw(target, seen, result);
  return result;
}

}  // namespace plexion_host::player
