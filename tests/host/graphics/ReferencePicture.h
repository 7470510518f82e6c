// The screen as a plain loop would compose it.

#ifndef TESTS_HOST_GRAPHICS_REFERENCEPICTURE_H_
#define TESTS_HOST_GRAPHICS_REFERENCEPICTURE_H_

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/graphics/Screen.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

/// The rule of composing in its plainest form: every pixel, every plane, one channel at a time.
inline uint32_t ReferenceBlend(uint32_t destination, uint32_t source, uint32_t planeAlpha) {
  const auto scale = [](uint32_t value, uint32_t factor) {
    return (2 * value * factor + 255) / 510;  // rounded to the nearest; there are no ties
  };
  const uint32_t alpha = scale(source >> 24, planeAlpha);
  uint32_t result = 0xff000000u;
  for (int shift = 0; shift < 24; shift += 8) {
    const uint32_t over = scale((source >> shift) & 0xff, planeAlpha);
    const uint32_t under = scale((destination >> shift) & 0xff, 255 - alpha);
    result |= std::min(255u, over + under) << shift;
  }
  return result;
}

/// What the screen should show of `planes`, bottom to top, read from the planes themselves.
inline std::vector<uint32_t> ReferencePicture(const qx::plexion::Dims& screen,
                                              const std::vector<qx::platform::OutputPlane*>& planes,
                                              uint32_t ground = 0xff000000u) {
  std::vector<uint32_t> picture(size_t{screen.width} * screen.height, ground);
  for (qx::platform::OutputPlane* plane : planes) {
    if (!plane->IsVisible()) continue;
    const qx::plexion::Rect rect = plane->GetRect();
    const auto* pixels = static_cast<const uint32_t*>(plane->LockPixels(true));
    for (uint32_t y = 0; y < rect.height; ++y) {
      for (uint32_t x = 0; x < rect.width; ++x) {
        const int64_t toX = int64_t{static_cast<int32_t>(rect.x)} + x;
        const int64_t toY = int64_t{static_cast<int32_t>(rect.y)} + y;
        if (toX < 0 || toY < 0 || toX >= screen.width || toY >= screen.height) continue;
        uint32_t& pixel =
            picture[static_cast<size_t>(toY) * screen.width + static_cast<size_t>(toX)];
        pixel = ReferenceBlend(pixel, pixels[size_t{y} * rect.width + x], plane->GetAlpha());
      }
    }
    plane->UnlockPixels();
  }
  return picture;
}

inline std::vector<uint32_t> PictureOf(Screen& screen) {
  std::vector<uint32_t> pixels;
  screen.Read([&](const PixelStore& picture) {
    pixels.assign(picture.Pixels(),
                  picture.Pixels() + size_t{picture.Dims().width} * picture.Dims().height);
  });
  return pixels;
}

}  // namespace plexion_host

#endif  // TESTS_HOST_GRAPHICS_REFERENCEPICTURE_H_
