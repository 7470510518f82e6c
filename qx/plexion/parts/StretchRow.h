#ifndef QX_PLEXION_PARTS_STRETCHROW_H_
#define QX_PLEXION_PARTS_STRETCHROW_H_

#include <stddef.h>
#include <stdint.h>

#include "qx/plexion/parts/StretchCopy.h"

namespace qx {
namespace plexion {

// The inner loop of the stretch copy: one row, in each of the ways that processors have.

constexpr uint32_t kOne = 0x10000;  ///< one pixel, in 16.16 fixed point
constexpr size_t kPixelBytes = sizeof(uint32_t);

/// A row of the source, and where its pixels go. Both may begin at any byte.
struct StretchRow {
  const unsigned char* source;
  const unsigned char* next;   ///< the row that is read after this one, or the same
  uint32_t sourcePixels;       ///< that may be read
  unsigned char* destination;  ///< of the first pixel that is written
};

/// Writes `count` pixels, the first from column `fixed` >> 16 and each `step` behind the one before;
/// all of them columns of the source row.
void StretchRowPixels(StretchKernel kernel, const StretchRow& row, uint32_t fixed, uint32_t step,
                      size_t count);

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_STRETCHROW_H_
