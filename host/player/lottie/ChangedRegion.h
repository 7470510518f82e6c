#ifndef HOST_PLAYER_LOTTIE_CHANGEDREGION_H_
#define HOST_PLAYER_LOTTIE_CHANGEDREGION_H_

#include <stdint.h>

#include "host/player/WatchedMemory.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// Lays the background under a frame that was just rendered and finds out, in the same pass over
/// the pixels, which part of the picture differs from the frame before.
///
/// The renderer draws every frame anew in place, so there is nothing left to compare with. What is
/// kept of the last frame is one 64-bit sum for each run of kRunPixels pixels of a row (4 % of the
/// picture). Two different runs have the same sum once in 2^64: then a change stays unseen until
/// the next one.
class ChangedRegion {
 public:
  struct Picture {
    uint32_t* pixels;  ///< whole rows without padding, alpha premultiplied
    uint32_t width;
    uint32_t height;
  };

  static constexpr uint32_t kRunPixels = 64;

  explicit ChangedRegion(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Lays black with `bgAlpha` under the picture. Fills `dirty` with the smallest rectangle of runs
  /// that holds all changes, or with all of the picture when `everything` is set, its size is new,
  /// or there is no memory for the sums.
  /// Returns  false when nothing changed; `dirty` is then empty.
  bool Compare(const Picture& picture, uint8_t bgAlpha, bool everything, qx::plexion::Rect& dirty);

 private:
  bool PrepareSums(const Picture& picture, bool& fresh);

  qx::plexion::MemoryWatchdog* watchdog_;
  WatchedBuffer sums_;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_CHANGEDREGION_H_
