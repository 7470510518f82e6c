// Turns pixels, boxes and points by quarters.
#include "host/graphics/pixels/Turn.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host {

using qx::plexion::Dims;

namespace {

/// Rows become columns: in squares of this side, what is written stays in the cache until its lines
/// are full.
constexpr int32_t kSquare = 32;

}  // namespace

Dims TurnedDims(const Dims& dims, unsigned quarters) {
  return quarters % 2 == 0 ? dims : Dims{dims.height, dims.width};
}

Box TurnedBox(const Box& box, const Dims& dims, unsigned quarters) {
  const auto width = static_cast<int32_t>(dims.width);
  const auto height = static_cast<int32_t>(dims.height);
  switch (quarters) {
    case 1:
      return {height - box.y2, box.x1, height - box.y1, box.x2};
    case 2:
      return {width - box.x2, height - box.y2, width - box.x1, height - box.y1};
    case 3:
      return {box.y1, width - box.x2, box.y2, width - box.x1};
    default:
      return box;
  }
}

void UnturnPoint(const Dims& dims, unsigned quarters, int32_t& x, int32_t& y) {
  const int32_t turnedX = x;
  const int32_t turnedY = y;
  const auto width = static_cast<int32_t>(dims.width);
  const auto height = static_cast<int32_t>(dims.height);
  switch (quarters) {
    case 1:
      x = turnedY;
      y = height - 1 - turnedX;
      break;
    case 2:
      x = width - 1 - turnedX;
      y = height - 1 - turnedY;
      break;
    case 3:
      x = width - 1 - turnedY;
      y = turnedX;
      break;
    default:
      break;
  }
}

void TurnPixels(const PixelStore& from, const Box& box, unsigned quarters, PixelStore& to) {
  PLEXION_CHECK(to.Dims().width == TurnedDims(from.Dims(), quarters).width &&
                    to.Dims().height == TurnedDims(from.Dims(), quarters).height,
                "the other picture has the turned size");
  const auto width = static_cast<int32_t>(from.Dims().width);
  const auto height = static_cast<int32_t>(from.Dims().height);
  const auto row = [](int32_t y) { return static_cast<size_t>(y); };
  if (quarters % 2 == 0) {
    for (int32_t y = box.y1; y < box.y2; ++y) {
      const uint32_t* const source = from.Row(row(y));
      if (quarters == 0) {
        std::copy(source + box.x1, source + box.x2, to.Row(row(y)) + box.x1);
      } else {
        std::reverse_copy(source + box.x1, source + box.x2,
                          to.Row(row(height - 1 - y)) + width - box.x2);
      }
    }
    return;
  }
  const auto step = static_cast<ptrdiff_t>(to.Dims().width);
  for (int32_t top = box.y1; top < box.y2; top += kSquare) {
    const int32_t bottom = std::min(top + kSquare, box.y2);
    for (int32_t left = box.x1; left < box.x2; left += kSquare) {
      const int32_t right = std::min(left + kSquare, box.x2);
      for (int32_t y = top; y < bottom; ++y) {
        const uint32_t* const source = from.Row(row(y));
        uint32_t* target = quarters == 1 ? to.Row(row(left)) + (height - 1 - y)
                                         : to.Row(row(width - 1 - left)) + y;
        for (int32_t x = left; x < right; ++x, target += quarters == 1 ? step : -step) {
          *target = source[x];
        }
      }
    }
  }
}

}  // namespace plexion_host
