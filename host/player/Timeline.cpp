// Which frame is due: speed, loops, halts and seeks on one steady clock.

#include "host/player/Timeline.h"

#include <cmath>

namespace plexion_host::player {

Timeline::Timeline(double framesPerSecond, uint64_t frames, uint64_t loops, double speed)
    : positionsPerNanosecond_(framesPerSecond * speed / 1e9), frames_(frames), loops_(loops) {}

void Timeline::Start(Time now) {
  if (running_) return;
  running_ = true;
  origin_ = now - elapsed_;
}

void Timeline::Stop(Time now) {
  if (!running_) return;
  running_ = false;
  elapsed_ = now - origin_;
}

void Timeline::Align() {
  constexpr double kSlowest = 20;  // positions a second
  if (!running_ || positionsPerNanosecond_ * 1e9 < kSlowest) return;
  // Back to the raster of all timelines of this rate, less than one position: nothing is shown later by it.
  // Slow ones stay where they are: a slide of five seconds may not come up to five seconds too early.
  const double frames = std::floor(static_cast<double>(origin_) * positionsPerNanosecond_);
  origin_ = static_cast<Time>(std::ceil(frames / positionsPerNanosecond_));
}

void Timeline::GoTo(uint64_t position, Time now) {
  if (positionsPerNanosecond_ <= 0) return;
  elapsed_ = static_cast<Time>(std::ceil(static_cast<double>(position) / positionsPerNanosecond_));
  origin_ = now - elapsed_;
}

uint64_t Timeline::PositionAt(Time now) const {
  const Time elapsed = running_ ? now - origin_ : elapsed_;
  if (elapsed <= 0) return 0;
  // The margin keeps the rounding of DeadlineOf from falling into the position before.
  return static_cast<uint64_t>(static_cast<double>(elapsed) * positionsPerNanosecond_ + 1e-6);
}

Timeline::Time Timeline::DeadlineOf(uint64_t position) const {
  if (!running_ || positionsPerNanosecond_ <= 0 || position == UINT64_MAX) {
    return IQXKernel::kInfinite;
  }
  // From the origin each time, and never deadline by deadline: a loop of a year stays on its raster.
  const double offset = std::ceil(static_cast<double>(position) / positionsPerNanosecond_);
  // About a hundred years; beyond it the sum could overflow.
  if (offset > 3e18) return IQXKernel::kInfinite;
  return origin_ + static_cast<Time>(offset);
}

uint64_t Timeline::EndPosition() const {
  // More passes than can be counted are passes without end.
  const bool endless = frames_ == 0 || loops_ == 0 || loops_ > UINT64_MAX / frames_;
  return endless ? UINT64_MAX : frames_ * loops_;
}

}  // namespace plexion_host::player
