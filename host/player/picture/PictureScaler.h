// Pictures of another size than their place.

#ifndef HOST_PLAYER_PICTURE_PICTURESCALER_H_
#define HOST_PLAYER_PICTURE_PICTURESCALER_H_

#include <stdint.h>

#include "host/player/StageFit.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// Scales a picture that fills `place` in a plane, as far as it is `seen` there: every pixel of it counts
/// when it shrinks, and it is bilinear when it grows. A pixel is the same whatever else is seen, and
/// what has one colour keeps it exactly.
///
/// `from`   `own.width` pixels a row, premultiplied.
/// `to`     the first pixel of `seen`, which lies in `place` and is not empty; rows are `pitchBytes`
///          apart.
/// Thread   any; no state.
void ScalePicture(const uint32_t* from, const qx::plexion::Dims& own, const StageFit& place,
                  const qx::plexion::Rect& seen, uint32_t* to, uint32_t pitchBytes);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_PICTURESCALER_H_
