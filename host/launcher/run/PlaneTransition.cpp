// Where two planes are, and how they are seen, at a share of the way from one to the other.
#include "host/launcher/run/PlaneTransition.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"
#include "host/launcher/run/Session.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {
namespace {

using Direction = Transition::Direction;
using qx::plexion::Rect;

// The cubic 3t^2 - 2t^3: at rest at both ends.
/// What moves begins and ends gently.
double Eased(double share) { return share * share * (3 - 2 * share); }

uint32_t Along(double share, uint32_t length) {
  return static_cast<uint32_t>(std::lround(share * length));
}

bool IsAcross(Direction direction) {
  return direction == Direction::kLeft || direction == Direction::kRight;
}

/// Moved by so many pixels; positions left of the screen or above it wrap, as planes want them.
qx::plexion::Point Moved(const Rect& home, Direction direction, int64_t by) {
  const auto sum = [](uint32_t value, int64_t add) {
    return static_cast<uint32_t>(int64_t{value} + add);
  };
  switch (direction) {
    case Direction::kLeft:
      return {sum(home.x, -by), home.y};
    case Direction::kRight:
      return {sum(home.x, by), home.y};
    case Direction::kUp:
      return {home.x, sum(home.y, -by)};
    default:
      return {home.x, sum(home.y, by)};
  }
}

}  // namespace

PlaneTransition::PlaneTransition(IHostDisplay* display, const Transition& transition,
                                 qx::platform::OutputPlane& next,
                                 qx::platform::OutputPlane& previous)
    : display_(display),
      transition_(transition),
      next_(next),
      previous_(previous),
      nextHome_(next.GetRect()),
      previousHome_(previous.GetRect()) {
  PLEXION_CHECK(transition.IsGradual(), "a cut needs no transition");
  // Clipping nothing is the question whether it can.
  const bool clips = display_ != nullptr && display_->ClipPlane(&next_, nullptr);
  if (!clips) transition_.kind = Transition::Kind::kFade;
}

void PlaneTransition::Draw(double share) {
  PLEXION_CHECK(share >= 0 && share <= 1, "a share of the way");
  const OneFrame frame(display_);
  switch (transition_.kind) {
    case Transition::Kind::kPush:
      Push(Eased(share));
      break;
    case Transition::Kind::kWipe:
      Wipe(Eased(share));
      break;
    default:
      next_.SetAlpha(static_cast<unsigned char>(Along(share, 255)));
      break;
  }
}

void PlaneTransition::Push(double share) {
  const Direction direction = transition_.direction;
  const auto side = [&](const Rect& home) {
    return IsAcross(direction) ? home.width : home.height;
  };
  // Reckoned for each plane by its own side: they may differ in size, and each leaves its place
  // just when the share is one.
  const uint32_t come = Along(share, side(nextHome_));
  const uint32_t gone = Along(share, side(previousHome_));
  // Each stays within its own place: what lies beside it belongs to others.
  display_->ClipPlane(&next_, &nextHome_);
  display_->ClipPlane(&previous_, &previousHome_);
  next_.MoveTo(Moved(nextHome_, direction, int64_t{come} - side(nextHome_)));
  previous_.MoveTo(Moved(previousHome_, direction, gone));
  next_.SetAlpha(255);
}

void PlaneTransition::Wipe(double share) {
  Rect seen = nextHome_;
  if (IsAcross(transition_.direction)) {
    // Seen from the side that the direction comes from; the plane itself does not move.
    seen.width = Along(share, nextHome_.width);
    if (transition_.direction == Direction::kLeft) seen.x += nextHome_.width - seen.width;
  } else {
    seen.height = Along(share, nextHome_.height);
    if (transition_.direction == Direction::kUp) seen.y += nextHome_.height - seen.height;
  }
  display_->ClipPlane(&next_, &seen);
  next_.SetAlpha(255);
}

void PlaneTransition::End() {
  const OneFrame frame(display_);
  next_.SetAlpha(255);
  // A fade has changed nothing but alpha.
  if (transition_.kind == Transition::Kind::kFade) return;
  display_->ClipPlane(&next_, nullptr);
  display_->ClipPlane(&previous_, nullptr);
  if (transition_.kind != Transition::Kind::kPush) return;
  next_.MoveTo({nextHome_.x, nextHome_.y});
  previous_.MoveTo({previousHome_.x, previousHome_.y});
}

}  // namespace plexion_host
