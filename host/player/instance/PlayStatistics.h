// What an instrumented run counts.

#ifndef HOST_PLAYER_INSTANCE_PLAYSTATISTICS_H_
#define HOST_PLAYER_INSTANCE_PLAYSTATISTICS_H_

#include <stdint.h>

#include <string>

#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

/// Counts what --instrument and --tracefps report of one piece of content. Times are nanoseconds.
/// Thread: the player's.
class PlayStatistics {
 public:
  using Time = IQXKernel::Time;

  void LoadBegins(Time now) { loadBegan_ = now; }
  void LoadEnds(Time now) { loadTook_ = now - loadBegan_; }
  /// A frame was drawn from `began` to `ended`; `late` when the next one was due before that.
  void FrameDrawn(Time began, Time ended, bool late);
  void FrameUnchanged() { ++unchanged_; }
  void FramesSkipped(uint64_t count) { skipped_ += count; }

  /// Frames a second since the last call, or since `StartSample`.
  void StartSample(Time now);
  double TakeSample(Time now);

  uint64_t Drawn() const { return drawn_; }
  uint64_t Late() const { return late_; }
  /// One line, without its end.
  std::string Describe() const;

 private:
  Time loadBegan_ = 0;
  Time loadTook_ = 0;
  Time firstFrameAfter_ = -1;
  Time drawTime_ = 0;
  Time longestDraw_ = 0;
  uint64_t drawn_ = 0;
  uint64_t unchanged_ = 0;
  uint64_t skipped_ = 0;
  uint64_t late_ = 0;
  uint64_t sampleDrawn_ = 0;
  Time sampleBegan_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYSTATISTICS_H_
