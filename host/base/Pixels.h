// Arithmetic of single pixels: multiplying by alpha and back, and what lies below.

#ifndef HOST_BASE_PIXELS_H_
#define HOST_BASE_PIXELS_H_

#include <stddef.h>
#include <stdint.h>

#include <algorithm>

/// A pixel is 0xAARRGGBB in the machine's byte order. It is premultiplied where nothing else is said:
/// each colour is at most its alpha. Straight pixels, as files have them, are not multiplied.
/// Products of two bytes are rounded to the nearest of 255, here and in all rows of pixels, so that
/// the same picture comes out the same whichever way it takes.
///
/// Thread   any; no state.

namespace plexion_host {

constexpr uint32_t kOpaqueBlack = 0xFF000000u;
constexpr uint32_t kColourMask = 0x00FFFFFFu;

/// a * b / 255, rounded, without a division: right for all bytes.
constexpr uint32_t TimesByte(uint32_t a, uint32_t b) {
  const uint32_t t = a * b + 128;
  return (t + (t >> 8)) >> 8;
}

/// Each byte of `pixel` times `b` / 255.
constexpr uint32_t PixelTimes(uint32_t pixel, uint32_t b) {
  return TimesByte(pixel >> 24, b) << 24 | TimesByte(pixel >> 16 & 255, b) << 16 |
         TimesByte(pixel >> 8 & 255, b) << 8 | TimesByte(pixel & 255, b);
}

/// A straight pixel, premultiplied.
constexpr uint32_t Premultiplied(uint32_t straight) {
  const uint32_t alpha = straight >> 24;
  if (alpha == 255) return straight;
  return alpha << 24 | (PixelTimes(straight, alpha) & kColourMask);
}

/// A premultiplied pixel, straight. What is transparent has no colour to come back: it is 0.
constexpr uint32_t Unpremultiplied(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  if (alpha == 255) return pixel;
  if (alpha == 0) return 0;
  uint32_t straight = alpha << 24;
  for (const int shift : {16, 8, 0}) {
    straight |= std::min(((pixel >> shift & 255) * 255 + alpha / 2) / alpha, 255u) << shift;
  }
  return straight;
}

/// A premultiplied pixel over 0x??RRGGBB, whose alpha does not matter; the result is opaque. A
/// pixel with more colour than alpha gets too bright instead of changing its hue.
constexpr uint32_t OverOpaque(uint32_t pixel, uint32_t background) {
  const uint32_t rest = 255 - (pixel >> 24);
  uint32_t result = kOpaqueBlack;
  for (const int shift : {16, 8, 0}) {
    const uint32_t below = TimesByte(background >> shift & 255, rest);
    result |= std::min((pixel >> shift & 255) + below, 255u) << shift;
  }
  return result;
}

inline void PremultiplyRow(uint32_t* row, size_t count) {
  for (size_t x = 0; x < count; ++x) row[x] = Premultiplied(row[x]);
}

/// Lays black with `alpha` below the pixels. Black has no colour to add: only the alpha that shows
/// through them changes.
inline void LayBlackBelow(uint32_t* row, size_t count, uint8_t alpha) {
  if (alpha == 0) return;
  for (size_t x = 0; x < count; ++x) {
    const uint32_t own = row[x] >> 24;
    row[x] = (row[x] & kColourMask) | (own + TimesByte(255 - own, alpha)) << 24;
  }
}

/// Row `y` of pixels whose rows are `pitchBytes` apart, a multiple of 4.
inline uint32_t* RowAt(uint32_t* pixels, size_t pitchBytes, size_t y) {
  return reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(pixels) + pitchBytes * y);
}

}  // namespace plexion_host

#endif  // HOST_BASE_PIXELS_H_
