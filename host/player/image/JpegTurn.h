// How a camera was held when it took a picture.

#ifndef HOST_PLAYER_IMAGE_JPEGTURN_H_
#define HOST_PLAYER_IMAGE_JPEGTURN_H_

#include <stddef.h>
#include <stdint.h>

#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// What has to be done to a picture's pixels so that it stands upright: sides exchanged along the
/// diagonal first, then each side mirrored.
///
/// Source   Exif 2.3, tag 0x0112 (Orientation), values 1 to 8.
struct JpegTurn {
  bool diagonal = false;
  bool mirrorAcross = false;  ///< left to right
  bool mirrorDown = false;    ///< top to bottom

  bool IsNone() const { return !diagonal && !mirrorAcross && !mirrorDown; }
  bool SwapsSides() const { return diagonal; }
  /// Puts all pixels of a picture of `dims` to their places in `to`. Both without padding, and apart.
  void Apply(const uint32_t* from, const qx::plexion::Dims& dims, uint32_t* to) const;
};

/// Reads a JPEG file's Exif data, as far as there are any that make sense: none, else.
JpegTurn JpegTurnOf(const uint8_t* bytes, size_t count);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_JPEGTURN_H_
