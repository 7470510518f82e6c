#ifndef QX_PLEXION_PARTS_STRETCHCOPY_H_
#define QX_PLEXION_PARTS_STRETCHCOPY_H_

#include <stdint.h>

#include "qx/plexion/Geometry.h"

namespace qx {
namespace plexion {

/// Ways to copy a row; all give the same pixels.
enum class StretchKernel {
  kPlain,  ///< runs everywhere
  kAvx2,   ///< x86: eight pixels a step, for steps of up to two source pixels
  kNeon,   ///< ARM: four pixels a step, for such steps
};

/// The fastest one that this processor and its operating system support.
StretchKernel BestStretchKernel();

/// Copies 32-bit pixels from a rectangle of one plane to a rectangle of another, repeating or
/// leaving out pixels where the sizes differ.
///
/// The rule: with 16.16 fixed-point steps (source size << 16) / destination size, destination pixel
/// i of a row comes from source column ((source x << 16) + i * step) >> 16, all in unsigned 32-bit
/// arithmetic; rows alike. A pixel whose source or destination lies outside its plane is left out;
/// the others are where they would be without that. An empty destination copies nothing.
///
/// Units    pixels, but for the pitches: bytes from row to row, any number; rows need no alignment.
/// Thread   any; the planes must not overlap.
void StretchCopy32(const void* source, uint32_t sourcePitchBytes, Rect sourceRect, Dims sourceDims,
                   void* destination, uint32_t destinationPitchBytes, Rect destinationRect,
                   Dims destinationDims, StretchKernel kernel = BestStretchKernel());

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_STRETCHCOPY_H_
