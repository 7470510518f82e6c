// Inner loops over rows of pixels.

#ifndef HOST_GRAPHICS_PIXELS_PIXELROWS_H_
#define HOST_GRAPHICS_PIXELS_PIXELROWS_H_

#include <cstddef>
#include <cstdint>

/// The inner loops of composing. Pixels are 0xAARRGGBB, alpha premultiplied. What they compute is
/// the same on every machine, whichever loop the processor allows:
///   scale(x, a) = x * a / 255, rounded to the nearest
///   s           = scale(source channel, plane alpha)
///   result      = min(255, s + scale(destination channel, 255 - s.alpha)); its alpha is 255
namespace plexion_host {

/// Draws `count` pixels of `source` over the opaque pixels of `destination`.
void BlendRow(uint32_t* destination, const uint32_t* source, size_t count, uint8_t planeAlpha);

/// The same rule without particular instructions: what BlendRow is measured against, and what it
/// does where there are none.
void BlendRowPortable(uint32_t* destination, const uint32_t* source, size_t count,
                      uint8_t planeAlpha);

/// Whether every pixel has alpha 255.
bool RowIsOpaque(const uint32_t* pixels, size_t count);

/// Copies `count` pixels; the two may overlap.
void CopyRow(uint32_t* destination, const uint32_t* source, size_t count);

/// Copies `count` pixels of another row and tells whether every one has alpha 255; one pass over
/// memory for both.
bool CopyRowIsOpaque(uint32_t* destination, const uint32_t* source, size_t count);

/// A hash of `count` pixels behind `hash`, quick rather than safe from who wants two alike.
uint64_t HashRow(const uint32_t* pixels, size_t count, uint64_t hash);

void FillRow(uint32_t* destination, uint32_t pixel, size_t count);

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_PIXELROWS_H_
