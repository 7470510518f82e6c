#include "host/graphics/Scaler.h"

#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <memory>

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

// Beyond half the size, two samples a side would skip source pixels: there every one takes part.
bool SetFilter(pixman_image_t* image, double stepX, double stepY) {
  if (stepX <= 2.0 && stepY <= 2.0) {
    return pixman_image_set_filter(image, PIXMAN_FILTER_BILINEAR, nullptr, 0) != 0;
  }
  int count = 0;
  std::unique_ptr<pixman_fixed_t, void (*)(void*)> weights(
      pixman_filter_create_separable_convolution(
          &count, pixman_double_to_fixed(std::max(stepX, 1.0)),
          pixman_double_to_fixed(std::max(stepY, 1.0)), PIXMAN_KERNEL_LINEAR, PIXMAN_KERNEL_LINEAR,
          PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, 4, 4),
      [](void* block) { std::free(block); });
  return weights != nullptr && pixman_image_set_filter(image, PIXMAN_FILTER_SEPARABLE_CONVOLUTION,
                                                       weights.get(), count) != 0;
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
  const Image from = MakeImage(first, source.pitchBytes, {sourceRect.width, sourceRect.height});
  const Image to = MakeImage(destination.pixels, destination.pitchBytes, destination.dims);
  if (from == nullptr || to == nullptr) return false;
  const double stepX = static_cast<double>(sourceRect.width) / destinationRect.width;
  const double stepY = static_cast<double>(sourceRect.height) / destinationRect.height;
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, pixman_double_to_fixed(stepX),
                              pixman_double_to_fixed(stepY));
  if (pixman_image_set_transform(from.get(), &transform) == 0) return false;
  if (!SetFilter(from.get(), stepX, stepY)) return false;
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
  // One source pixel's width for the filter, one pixel for rounding positions down.
  return 1 + std::max(side(sourceRect.width, destinationRect.width),
                      side(sourceRect.height, destinationRect.height));
}

}  // namespace plexion_host
