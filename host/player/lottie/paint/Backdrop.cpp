// Keeps the bottom of a movie that does not change as pixels.
#include "host/player/lottie/paint/Backdrop.h"

#include <string.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

size_t After(const DisplayList& list, size_t item) {
  return (list[item].kind == DrawItem::Kind::kGroup ? list[item].end : item) + 1;
}

/// About what it takes to paint items, in pixels of one colour.
int64_t WorkOf(const DisplayList& list, size_t from, size_t to) {
  constexpr int64_t kShape = 256;
  constexpr int64_t kColourful = 5;
  int64_t work = 0;
  for (size_t i = from; i < to; i = After(list, i)) {
    const DrawItem& item = list[i];
    const bool plain = item.kind == DrawItem::Kind::kShape && !item.op->gradient;
    work += kShape + AreaOf(item.bounds) * (plain ? 1 : kColourful);
  }
  return work;
}

}  // namespace

bool Backdrop::IsScarce(size_t spare) const {
  return saves_ || (watchdog_ != nullptr && watchdog_->GetBytesAvailable() < spare);
}

void Backdrop::SaveMemory() {
  saves_ = true;
  Drop();
}

void Backdrop::Drop() {
  // What did not pay is tried later the next time.
  if (held_ > 0) {
    const int64_t paid = int64_t{width_} * height_ * kPatience;
    patience_ = served_ >= paid ? kPatience : std::min(patience_ * 2, kMostPatience);
  }
  pixels_.Resize(nullptr, 0);
  held_ = steady_ = 0;
  seen_ = 0;
  looks_.clear();
}

/// How many items at the bottom are as they were, and have been since the list was remembered.
size_t Backdrop::Steady(const DisplayList& list) {
  const size_t most = std::min(steady_, list.size());
  size_t same = 0;  // half a group is none
  for (size_t i = 0; i < most && LookOf(list[i]) == looks_[i]; ++i) {
    if (i + 1 == After(list, same)) same = i + 1;
  }
  return same;
}

void Backdrop::Remember(const DisplayList& list) {
  looks_.clear();
  for (const DrawItem& item : list) looks_.push_back(LookOf(item));
  steady_ = list.size();
  seen_ = 0;
}

size_t Backdrop::Prepare(const DisplayList& list, int width, int height, uint32_t background,
                         int64_t area, Painter& painter, const std::function<bool()>& stopped) {
  if (width != width_ || height != height_ || background != background_) {
    Drop();
    width_ = width;
    height_ = height;
    background_ = background;
  }
  if (pixels_.Size() > 0 && IsScarce(pixels_.Size())) Drop();
  steady_ = Steady(list);
  // What is at the bottom has changed: its pixels hold nothing any more.
  if (steady_ < held_) Drop();
  seen_ += area;
  served_ += area;

  if (seen_ >= patience_ * width_ * height_) {
    if (steady_ > held_) Extend(list, background, painter, stopped);
    Remember(list);
  }
  return held_;
}

void Backdrop::Extend(const DisplayList& list, uint32_t background, Painter& painter,
                      const std::function<bool()>& stopped) {
  PLEXION_CHECK(held_ < steady_, "there is more to keep than is kept");
  const int64_t plane = int64_t{width_} * height_;
  const int64_t work = WorkOf(list, held_, steady_);
  // Pixels that are not in the caches take longer to copy than one colour takes to paint.
  if (work * 2 < (held_ == 0 ? plane * 5 : plane)) return;
  const size_t bytes = static_cast<size_t>(plane) * 4;
  if (held_ == 0) {
    constexpr size_t kShare = 4;
    if (IsScarce(bytes * kShare) || !pixels_.Resize(watchdog_, bytes)) return;
    std::fill_n(pixels_.As<uint32_t>(), plane, background);
  }
  const size_t from = held_;
  held_ = 0;  // should painting end early
  const Surface surface = {pixels_.As<uint32_t>(), width_, height_,
                           static_cast<size_t>(width_) * 4};
  if (painter.Paint(list, from, steady_, surface, surface.Bounds(), stopped)) {
    held_ = steady_;
    served_ = 0;
  } else {
    pixels_.Resize(nullptr, 0);
  }
}

void Backdrop::CopyTo(const Surface& target, const IntRect& rect) {
  PLEXION_CHECK(held_ > 0, "there is something to copy");
  const auto width = static_cast<size_t>(width_);
  for (int y = rect.top; y < rect.bottom; ++y) {
    memcpy(target.Row(y) + rect.left,
           pixels_.As<uint32_t>() + width * static_cast<size_t>(y) + rect.left,
           static_cast<size_t>(rect.Width()) * 4);
  }
}

}  // namespace plexion_host::movie
