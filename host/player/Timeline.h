#ifndef HOST_PLAYER_TIMELINE_H_
#define HOST_PLAYER_TIMELINE_H_

#include <stdint.h>

#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

/// Which frame belongs to which moment, for content that is paced by a frame rate.
///
/// Positions count frames from the start over all passes. Deadlines are absolute: they follow from
/// the moment of Start alone, so a late frame delays none of the later ones. Without a speed limit
/// the position is simply counted up. Plain arithmetic; thread: the player's.
class Timeline {
 public:
  using Time = IQXKernel::Time;

  Timeline() = default;
  /// `frames` 0: no end of its own; `loops` 0: passes without end.
  Timeline(double framesPerSecond, uint64_t frames, uint64_t loops, double speed);

  /// Starts, or goes on where Stop left off.
  void Start(Time now);
  void Stop(Time now);
  bool IsRunning() const { return running_; }
  /// Has its frames due, from now on, when those of all others of its rate are: up to a frame earlier. Only
  /// for rates at which nobody sees that; otherwise, and while it is stopped, nothing happens.
  void Align();
  /// `position` is due from now on. Nothing happens to content that is not clocked.
  void GoTo(uint64_t position, Time now);

  uint64_t PositionAt(Time now) const;
  /// The moment from which PositionAt answers `position` or more; kInfinite while stopped.
  Time DeadlineOf(uint64_t position) const;

  uint64_t FrameOf(uint64_t position) const { return frames_ == 0 ? position : position % frames_; }
  uint64_t PassOf(uint64_t position) const { return frames_ == 0 ? 0 : position / frames_; }
  /// The first position at which all passes are over; UINT64_MAX: there is none.
  uint64_t EndPosition() const;

 private:
  double positionsPerNanosecond_ = 0;
  uint64_t frames_ = 0;
  uint64_t loops_ = 1;
  bool running_ = false;
  Time origin_ = 0;   ///< moment of position 0 while running
  Time elapsed_ = 0;  ///< played so far while stopped
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_TIMELINE_H_
