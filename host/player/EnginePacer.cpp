// Which frame of an engine is due, by its timeline and by what the engine says of the next one.

#include "host/player/EnginePacer.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

/// What is due later than that is not worked on ahead: a picture that shows the time, or what somebody
/// has sent, would show what it was. Nobody sees so much of it in a picture that changes that often.
constexpr EnginePacer::Time kSoon = 50'000'000;

}  // namespace

EnginePacer::EnginePacer(const ContentFacts& facts, const PlayerSettings& settings)
    : timeline_(facts.framesPerSecond, facts.frameCount, settings.loops, settings.speed),
      clocked_(facts.framesPerSecond > 0),
      framesPerSecond_(facts.framesPerSecond),
      frames_(facts.frameCount),
      noSpeedLimit_(settings.noSpeedLimit) {}

uint64_t EnginePacer::DueAt(Time now) const {
  if (!clocked_ || finished_ || !IsRunning()) return position_;
  const uint64_t wanted = noSpeedLimit_ ? std::max(position_ + 1, nextPosition_)
                                        : std::max(position_, timeline_.PositionAt(now));
  const uint64_t due = std::min(wanted, EndPosition());
  // With nothing to come and no end there is no later position to go to.
  return due == kNoFrame ? position_ : due;
}

bool EnginePacer::GoTo(double seconds, bool relative, Time now) {
  if (!clocked_ || frames_ == 0 || finished_) return false;
  // A seek stays in the pass that plays: it changes where, not how often.
  const uint64_t passBegins = position_ - timeline_.FrameOf(position_);
  double frame = seconds * framesPerSecond_;
  if (relative) frame += static_cast<double>(timeline_.FrameOf(position_));
  const double last = static_cast<double>(frames_ - 1);
  const auto within = static_cast<uint64_t>(std::clamp(frame, 0.0, last));
  position_ = nextPosition_ = passBegins + within;
  timeline_.GoTo(position_, now);
  return true;
}

uint64_t EnginePacer::SkippedBefore(uint64_t position) const {
  // Frames between what the engine wanted next and what is due: what it did not want is not skipped.
  if (position <= nextPosition_) return 0;
  return std::min(position, EndPosition() - 1) - nextPosition_;
}

FrameStep EnginePacer::StepTo(uint64_t position) const {
  FrameStep step;
  step.frame = timeline_.FrameOf(position);
  step.pass = timeline_.PassOf(position);
  step.position = position;
  step.playing = IsRunning();
  return step;
}

bool EnginePacer::WorkAhead(Engine& engine, Time now) const {
  const bool follows = nextPosition_ == position_ + 1 && nextPosition_ < EndPosition();
  if (!clocked_ || finished_ || !IsRunning() || !follows) return false;
  const Time deadline = timeline_.DeadlineOf(nextPosition_);
  // One that is due already may be left out for a later one.
  if (!noSpeedLimit_ && (deadline <= now || deadline - now > kSoon)) return false;
  return engine.WorkAhead(StepTo(nextPosition_));
}

StepResult EnginePacer::Step(Engine& engine, uint64_t position) {
  PLEXION_CHECK(position >= position_, "time does not go back");
  PLEXION_CHECK(position < EndPosition(), "there is a frame at the position");
  position_ = position;
  const StepResult result = engine.Advance(StepTo(position));
  // An engine that names a position that is over would be asked for it without end.
  nextPosition_ = finished_ ? kNoFrame : std::max(result.nextPosition, position + 1);
  return result;
}

void EnginePacer::Finish() {
  finished_ = true;
  nextPosition_ = kNoFrame;
}

EnginePacer::Time EnginePacer::NextDeadline() const {
  if (finished_ || !IsRunning()) return IQXKernel::kInfinite;
  // What stands still comes to its end all the same.
  const uint64_t next = std::min(nextPosition_, EndPosition());
  // Due at once, without end: a benchmark or a render draws as fast as it can.
  if (noSpeedLimit_ && clocked_ && next != kNoFrame) return 0;
  return timeline_.DeadlineOf(next);
}

bool EnginePacer::IsLate(Time now) const {
  return !noSpeedLimit_ && timeline_.DeadlineOf(nextPosition_) < now;
}

}  // namespace plexion_host::player
