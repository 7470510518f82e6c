// Notes what was presented, and copies the screen when somebody wants it.

#include "host/pointer/ScreenFeed.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

/// More rectangles than this are told as the one around them.
constexpr size_t kMostRects = 64;

Rect Around(const std::vector<Rect>& rects) {
  PLEXION_CHECK(!rects.empty(), "there is something to go around");
  uint32_t left = rects[0].x;
  uint32_t top = rects[0].y;
  uint32_t right = left;
  uint32_t bottom = top;
  for (const Rect& rect : rects) {
    left = std::min(left, rect.x);
    top = std::min(top, rect.y);
    right = std::max(right, rect.x + rect.width);
    bottom = std::max(bottom, rect.y + rect.height);
  }
  return {left, top, right - left, bottom - top};
}

}  // namespace

ScreenFeed::ScreenFeed(IHostDisplay& display, std::function<void()> wake)
    : display_(display), wake_(std::move(wake)) {
  display_.AddFrameObserver(this);
}

ScreenFeed::~ScreenFeed() { display_.RemoveFrameObserver(this); }

void ScreenFeed::OnFramePresented(const PresentedFrame& frame) {
  bool first = false;
  {
    const MutexLock lock(mutex_);
    first = damage_.empty();
    damage_.insert(damage_.end(), frame.damage.begin(), frame.damage.end());
    if (damage_.size() > kMostRects) damage_ = {Around(damage_)};
    first = first && !damage_.empty();
  }
  // Outside of the lock, and only for the first: the server looks for all of it when it wakes.
  if (first) wake_();
}

bool ScreenFeed::HasChanged() {
  const MutexLock lock(mutex_);
  return !damage_.empty();
}

std::vector<Rect> ScreenFeed::Take(Dims& dims, std::vector<uint32_t>& pixels) {
  std::vector<Rect> damage;
  {
    const MutexLock lock(mutex_);
    damage.swap(damage_);
  }
  // What is presented from now on is noted again, so nothing can be missed; at worst it is sent
  // twice.
  display_.CopyScreen(dims, pixels);
  return damage;
}

}  // namespace plexion_host
