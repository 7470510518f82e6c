// Paces an engine: which frame is due, and when the next one is.

#ifndef HOST_PLAYER_ENGINEPACER_H_
#define HOST_PLAYER_ENGINEPACER_H_

#include <stdint.h>

#include "host/player/Engine.h"
#include "host/player/Timeline.h"

namespace plexion_host::player {

/// The time of one loaded content, for whoever owns its engine: a player instance, or a player
/// inside of an application. Positions count frames from the start over all passes, as Timeline's.
/// A self-paced engine stays at position 0 and is stepped when it asks for it.
///
/// Order    Step(engine, 0); then Start, and Step with what DueAt says as soon as IsNew, until it
///          says EndPosition; Finish.
/// Thread   the engine's.
class EnginePacer {
 public:
  using Time = Timeline::Time;

  EnginePacer() = default;
  /// Of `settings` it takes loops, speed and noSpeedLimit, with which every frame is due at once.
  EnginePacer(const ContentFacts& facts, const PlayerSettings& settings);

  void Start(Time now) { timeline_.Start(now); }
  /// After Start: see Timeline.
  void Align() { timeline_.Align(); }
  void Stop(Time now) { timeline_.Stop(now); }
  bool IsRunning() const { return timeline_.IsRunning(); }
  bool IsClocked() const { return clocked_; }
  /// Goes to another moment of the same pass, in seconds of the content; the nearest one that there is.
  /// The engine is to be stepped there next. Returns  false for content without a length.
  bool GoTo(double seconds, bool relative, Time now);

  /// What is to be shown now, EndPosition at most; never before what was shown last.
  uint64_t DueAt(Time now) const;
  /// Whether the picture may differ at `position` from what was shown last.
  bool IsNew(uint64_t position) const { return position >= nextPosition_; }
  /// How many positions with a picture of their own are left out when `position` comes next.
  uint64_t SkippedBefore(uint64_t position) const;

  /// Moves the engine to `position`, at or behind the last one and before the end.
  StepResult Step(Engine& engine, uint64_t position);

  /// Has the engine work on the position that comes next, when it is a frame that will be due soon; see
  /// Engine::WorkAhead.
  /// Returns  whether it does; the next Step is then to be the one to NextPosition.
  bool WorkAhead(Engine& engine, Time now) const;
  /// The first that may differ from what was shown last.
  uint64_t NextPosition() const { return nextPosition_; }

  uint64_t Position() const { return position_; }
  /// All passes are over there; UINT64_MAX: no end of its own.
  uint64_t EndPosition() const { return timeline_.EndPosition(); }
  /// The last frame was shown: nothing is due any more.
  void Finish();
  bool HasFinished() const { return finished_; }

  /// The moment of the next new frame, or of the end if that is earlier; kInfinite when none comes by
  /// itself, 0 when it is due at once.
  Time NextDeadline() const;
  /// Whether the next frame was due before `now`: the one at hand came too late for it.
  bool IsLate(Time now) const;

 private:
  FrameStep StepTo(uint64_t position) const;

  Timeline timeline_;
  bool clocked_ = false;
  double framesPerSecond_ = 0;
  uint64_t frames_ = 0;
  bool noSpeedLimit_ = false;
  bool finished_ = false;
  uint64_t position_ = 0;
  uint64_t nextPosition_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_ENGINEPACER_H_
