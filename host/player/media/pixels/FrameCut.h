// Which part of a frame is seen, where its picture reaches out of the plane.

#ifndef HOST_PLAYER_MEDIA_PIXELS_FRAMECUT_H_
#define HOST_PLAYER_MEDIA_PIXELS_FRAMECUT_H_

#include "host/player/StageFit.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// A part of a frame, and what becomes of it: scaled to `scaled`, of which `seen` pixels behind the
/// first `skip` ones are shown. What is not seen is not scaled, but for a few pixels around it that
/// the filter looks at. All of `source`'s and `skip`'s values are even, so that chroma goes with it.
struct FrameCut {
  qx::plexion::Rect source{};
  qx::plexion::Dims scaled{};
  qx::plexion::Point skip{};
  qx::plexion::Dims seen{};

  /// `frame` laid over `place`, of which `visible` is in the plane and not empty.
  static FrameCut Of(const qx::plexion::Dims& frame, const StageFit& place,
                     const qx::plexion::Rect& visible);

  bool IsWhole() const { return scaled.width == seen.width && scaled.height == seen.height; }
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIXELS_FRAMECUT_H_
