// Schedules by random priorities and by search.

#include "sim/explore/Strategies.h"

#include <algorithm>

#include "qx/core/Check.h"

namespace plexion_sim {

// Random priorities.

PctScheduler::PctScheduler(uint64_t seed, unsigned changes, uint64_t length)
    : numbers_(seed), lowest_(1u << 20) {
  for (unsigned i = 0; i < changes; ++i) {
    const uint64_t at = numbers_.Below(std::max<uint64_t>(length, 1));
    changes_[at] = numbers_.Below(4) == 0;
  }
}

void PctScheduler::ThreadStarted(uint32_t thread) {
  if (priorities_.size() <= thread) priorities_.resize(thread + 1);
  priorities_[thread] = (1u << 20) + 1 + numbers_.Below(1u << 30);
}

size_t PctScheduler::Choose(const Decision& decision) {
  QX_CHECK(decision.count > 0, "there is somebody to choose");
  const auto change = changes_.find(decision.number);
  if (change != changes_.end()) {
    if (change->second && decision.timeMayPass) return decision.count;
    if (decision.current < decision.count) {
      priorities_[decision.candidates[decision.current]] = --lowest_;
    }
  }
  QX_CHECK(decision.count > 0, "a candidate");
  size_t best = 0;
  for (size_t i = 1; i < decision.count; ++i) {
    if (priorities_[decision.candidates[i]] > priorities_[decision.candidates[best]]) best = i;
  }
  return best;
}

// Depth-first search.

uint32_t SearchScheduler::OptionAt(const Frame& frame, uint32_t place) {
  QX_CHECK(place < frame.options, "an option of this decision");
  if (place == 0) return frame.usual;
  return place <= frame.usual ? place - 1 : place;
}

size_t SearchScheduler::Choose(const Decision& decision) {
  const auto options = static_cast<uint32_t>(decision.count + (decision.timeMayPass ? 1 : 0));
  if (depth_ == frames_.size()) {
    Frame frame{};
    frame.options = options;
    frame.usual = static_cast<uint32_t>(UsualChoice(decision));
    frame.othersCost = countAll_ || decision.current < decision.count;
    frame.lastIsTime = decision.timeMayPass;
    frame.spent = spent_;
    frames_.push_back(frame);
  }
  Frame& frame = frames_[depth_];
  if (frame.options != options) {
    // Not the run that this branch was seen in.
    ++mismatches_;
    frames_.resize(depth_);
    return Choose(decision);
  }
  ++depth_;
  if (frame.place > 0) {
    const uint32_t option = OptionAt(frame, frame.place);
    if (frame.othersCost || option == decision.count) ++spent_;
    return option;
  }
  return frame.usual;
}

bool SearchScheduler::Advance() {
  QX_CHECK(depth_ <= frames_.size(), "a run passes each of its decisions once");
  frames_.resize(std::min(frames_.size(), depth_));
  depth_ = 0;
  spent_ = 0;
  while (!frames_.empty()) {
    Frame& frame = frames_.back();
    const bool left = frame.place + 1 < frame.options;
    const bool isTime = frame.lastIsTime && frame.place + 2 == frame.options;
    if (left && (frame.spent < bound_ || (!frame.othersCost && !isTime))) {
      ++frame.place;
      return true;
    }
    frames_.pop_back();
  }
  return false;
}

}  // namespace plexion_sim
