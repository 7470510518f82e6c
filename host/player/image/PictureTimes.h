// When each frame of an animation is shown.

#ifndef HOST_PLAYER_IMAGE_PICTURETIMES_H_
#define HOST_PLAYER_IMAGE_PICTURETIMES_H_

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

/// When which frame of an animation is seen, in ticks: the longest ones of which every frame lasts
/// a whole number, so that a player which goes from frame to frame is not woken in between.
///
/// A frame of 10 ms or less lasts 100 ms, as browsers have it: such files were made for programs
/// that took a rest between frames. Plain arithmetic.
class PictureTimes {
 public:
  PictureTimes() = default;
  explicit PictureTimes(const std::vector<PictureFrame>& frames);

  double TicksPerSecond() const;
  /// Never 0.
  uint64_t TicksOfPass() const { return ends_.empty() ? 1 : ends_.back(); }
  size_t FrameAt(uint64_t tick) const;  ///< of the tick within a pass
  uint64_t EndOf(size_t frame) const { return ends_[frame]; }

  /// Passes until `seconds` are full, the last one to its end; at least 1.
  uint64_t PassesFor(double seconds) const;

 private:
  uint64_t tickUs_ = 1;
  std::vector<uint64_t> ends_;  ///< of each frame, in ticks
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_PICTURETIMES_H_
