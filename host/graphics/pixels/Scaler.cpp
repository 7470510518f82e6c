// Scales a part of a picture, the same on every machine.

#include "host/graphics/pixels/Scaler.h"

#include <pixman.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "host/base/Check.h"
#include "host/graphics/pixels/PixelStore.h"

namespace plexion_host {
namespace {

struct UnrefImage {
  void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using Image = std::unique_ptr<pixman_image_t, UnrefImage>;

// Pixman's type has no const; a source image is only read.
Image MakeImage(const uint32_t* pixels, uint32_t pitchBytes, const qx::plexion::Dims& dims) {
  return Image(pixman_image_create_bits(
      PIXMAN_a8r8g8b8, static_cast<int>(dims.width), static_cast<int>(dims.height),
      const_cast<uint32_t*>(pixels), static_cast<int>(pitchBytes)));
}

// Beyond half the size, interpolation between two neighbours a side would skip source pixels.
// Blocks are averaged first, then, and interpolation does the rest.
constexpr uint32_t kMaxBlock = 64;

uint32_t BlockSide(double step) {
  return step > 2.0 ? std::min(static_cast<uint32_t>(step), kMaxBlock) : 1;
}

/// The picture of averaged blocks; those at the right and bottom end may be partial.
PixelStore AverageBlocks(const uint32_t* first, uint32_t pitchBytes, const qx::plexion::Dims& dims,
                         uint32_t blockWidth, uint32_t blockHeight) {
  PixelStore shrunk = PixelStore::Make(
      {(dims.width + blockWidth - 1) / blockWidth, (dims.height + blockHeight - 1) / blockHeight});
  if (!shrunk) return shrunk;
  PLEXION_CHECK(blockHeight <= kMaxBlock, "sums of bytes stay within 32 bits");
  std::vector<uint32_t> sums(size_t{dims.width} * 4);
  for (uint32_t row = 0; row < shrunk.Dims().height; ++row) {
    const uint32_t top = row * blockHeight;
    const uint32_t height = std::min(blockHeight, dims.height - top);
    std::fill(sums.begin(), sums.end(), 0u);
    for (uint32_t y = top; y < top + height; ++y) {
      const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(first) + size_t{y} * pitchBytes;
      for (size_t i = 0; i < sums.size(); ++i) sums[i] += bytes[i];
    }
    uint32_t* const out = shrunk.Row(row);
    for (uint32_t column = 0; column < shrunk.Dims().width; ++column) {
      const uint32_t left = column * blockWidth;
      const uint32_t width = std::min(blockWidth, dims.width - left);
      const uint64_t count = std::max<uint64_t>(uint64_t{width} * height, 1);
      // One division for a block in place of four; exact for the counts that there are.
      const uint64_t inverse = (uint64_t{1} << 40) / count;
      uint64_t total[4] = {};
      for (size_t i = size_t{left} * 4; i < (size_t{left} + width) * 4; i += 4) {
        for (size_t channel = 0; channel < 4; ++channel) total[channel] += sums[i + channel];
      }
      uint8_t* const pixel = reinterpret_cast<uint8_t*>(out + column);
      for (size_t channel = 0; channel < 4; ++channel) {
        pixel[channel] = static_cast<uint8_t>(((total[channel] + count / 2) * inverse) >> 40);
      }
    }
  }
  return shrunk;
}

}  // namespace

bool ScalePixels(const PixelView& source, const qx::plexion::Rect& sourceRect,
                 const MutablePixelView& destination, const qx::plexion::Rect& destinationRect,
                 const Box& clip) {
  if (IsEmpty(clip) || destinationRect.width == 0 || destinationRect.height == 0) return true;
  // The image starts at the source rectangle, so that 16.16 positions stay small; what lies outside
  // the rectangle repeats its edge instead of letting its neighbourhood shine in.
  const uint32_t* first =
      reinterpret_cast<const uint32_t*>(reinterpret_cast<const uint8_t*>(source.pixels) +
                                        size_t{sourceRect.y} * source.pitchBytes) +
      sourceRect.x;
  double stepX = static_cast<double>(sourceRect.width) / destinationRect.width;
  double stepY = static_cast<double>(sourceRect.height) / destinationRect.height;
  PLEXION_CHECK(uint64_t{sourceRect.x} + sourceRect.width <= source.dims.width &&
                    uint64_t{sourceRect.y} + sourceRect.height <= source.dims.height,
                "the source rectangle lies in its picture");
  const uint32_t blockWidth = BlockSide(stepX);
  const uint32_t blockHeight = BlockSide(stepY);
  uint32_t pitchBytes = source.pitchBytes;
  qx::plexion::Dims dims{sourceRect.width, sourceRect.height};
  PixelStore averaged;
  if (blockWidth > 1 || blockHeight > 1) {
    averaged = AverageBlocks(first, pitchBytes, dims, blockWidth, blockHeight);
    if (!averaged) return false;
    first = averaged.Pixels();
    pitchBytes = averaged.PitchBytes();
    dims = averaged.Dims();
    stepX /= blockWidth;
    stepY /= blockHeight;
  }
  const Image from = MakeImage(first, pitchBytes, dims);
  const Image to = MakeImage(destination.pixels, destination.pitchBytes, destination.dims);
  if (from == nullptr || to == nullptr) return false;
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, pixman_double_to_fixed(stepX),
                              pixman_double_to_fixed(stepY));
  if (pixman_image_set_transform(from.get(), &transform) == 0) return false;
  if (pixman_image_set_filter(from.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0) == 0) return false;
  // Half a pixel beyond the edge is asked for as well; without this it would be transparent.
  pixman_image_set_repeat(from.get(), PIXMAN_REPEAT_PAD);
  const int32_t left = static_cast<int32_t>(destinationRect.x);
  const int32_t top = static_cast<int32_t>(destinationRect.y);
  pixman_image_composite32(PIXMAN_OP_SRC, from.get(), nullptr, to.get(), clip.x1 - left,
                           clip.y1 - top, 0, 0, clip.x1, clip.y1, clip.x2 - clip.x1,
                           clip.y2 - clip.y1);
  return true;
}

int32_t ScaleSpread(const qx::plexion::Rect& sourceRect, const qx::plexion::Rect& destinationRect) {
  const auto side = [](uint32_t from, uint32_t to) {
    return from == 0 ? 0 : static_cast<int32_t>((uint64_t{to} + from - 1) / from);
  };
  // One source pixel's width for the filter, one pixel for the block that it is averaged with, one
  // for rounding positions down.
  return 2 + std::max(side(sourceRect.width, destinationRect.width),
                      side(sourceRect.height, destinationRect.height));
}

}  // namespace plexion_host
