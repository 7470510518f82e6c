#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// Makes what a plane covers larger on all sides, round at corners: by exact Euclidean distances
/// between pixels, after Felzenszwalb and Huttenlocher, "Distance Transforms of Sampled Functions",
/// and by how much of the pixels at the edge is covered.
///
/// Cost     linear in the plane's pixels, however far it grows.
/// Life     keeps its memory. Errors: throws std::bad_alloc. Thread: one.
class Grow {
 public:
  /// How far a plane can grow.
  static constexpr float kMost = 1024;

  /// `spare` is of the plane's size and is written to. What is covered by half or more counts as
  /// inside. Nothing changes when `by` is not above 0; more than kMost counts as that.
  /// Units    `by` in pixels.
  void Run(const Coverage& plane, const Surface& spare, float by);

 private:
  void Column(const Coverage& plane, uint32_t* ways, int x, float by);

  std::vector<int> rows_;      ///< of a column: those whose pixel is the nearest for some
  std::vector<float> starts_;  ///< from which row on each of these is
  std::vector<uint8_t> grown_;
  std::vector<uint32_t> columns_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_GROW_H_
