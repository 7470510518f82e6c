#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// Makes what a plane covers larger on all sides, round at corners, by distances to its edge: exact
/// Euclidean ones, after Felzenszwalb and Huttenlocher, "Distance Transforms of Sampled Functions".
///
/// Cost     linear in the plane's pixels, however far it grows.
/// Life     keeps its memory. Errors: throws std::bad_alloc. Thread: one.
class Grow {
 public:
  /// How far a plane can grow.
  static constexpr float kMost = 1024;

  /// `spare` holds distances meanwhile; it is of the plane's size. What is covered by half or more
  /// counts as inside. Nothing changes when `by` is not above 0; more than kMost counts as that.
  /// Units    `by` in pixels.
  void Run(const Coverage& plane, const Surface& spare, float by);

 private:
  void Line(uint32_t* values, size_t step, int count, float most);

  std::vector<float> from_;    ///< squares of distances along one line
  std::vector<int> origins_;   ///< which places have the lowest curves
  std::vector<float> starts_;  ///< where each of these begins to be the lowest
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_
