#ifndef HOST_PLAYER_LOTTIE_TIMELINE_TRANSFORMS_H_
#define HOST_PLAYER_LOTTIE_TIMELINE_TRANSFORMS_H_

#include "host/player/lottie/raster/Geometry.h"
#include "host/player/lottie/timeline/Values.h"

/// Transforms of layers, groups and copies at a moment.

namespace plexion_host::movie {

/// First one, then the other.
Matrix Then(const Matrix& first, const Matrix& second);

/// Four by four; a point is a row in front of it: x' = x m[0] + y m[4] + z m[8] + m[12].
struct Matrix4 {
  double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};
Matrix4 Then(const Matrix4& first, const Matrix4& second);
/// What is left of it seen straight from the front, from far away.
Matrix Flattened(const Matrix4& matrix);

/// In the plane. `autoOrient`: turned to where the position moves.
Matrix TransformAt(const Transform& transform, const Moment& moment, bool autoOrient = false);
/// In space.
Matrix4 Transform4At(const Transform& transform, const Moment& moment, bool autoOrient = false);
/// 0 to 1.
double OpacityAt(const Transform& transform, const Moment& moment);

/// Where the copies of a repeater are: Reset, then Next for one after the other.
class CopyTransforms {
 public:
  void Reset(const Transform* transform, double offset, const Moment& moment);
  Matrix Next();

 private:
  void Apply(double share, bool backwards);

  Matrix position_, rotation_, scale_;
  double anchor_[2] = {0, 0}, move_[2] = {0, 0}, grow_[2] = {1, 1}, turn_ = 0;
  bool first_ = true;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TIMELINE_TRANSFORMS_H_
