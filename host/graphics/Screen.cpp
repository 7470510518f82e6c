// Changes of planes, and the damage that they do.

#include "host/graphics/Screen.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

constexpr size_t kMaxDamageRects = 24;

}  // namespace

Screen::Screen(const Dims& dims) : picture_(PixelStore::Make(dims)), dims_(picture_.Dims()) {}

Dims Screen::GetDims() const {
  const MutexLock lock(stateMutex_);
  return dims_;
}

bool Screen::SetDims(const Dims& dims) {
  const RecursiveMutexLock composeLock(composeMutex_);
  if (picture_.Dims().width == dims.width && picture_.Dims().height == dims.height) return true;
  PixelStore picture = PixelStore::Make(dims);
  if (!picture) return false;
  // A plane that has its pixels in the old picture gets its own again, before that goes.
  TakeBack();
  const MutexLock lock(stateMutex_);
  picture_ = std::move(picture);
  blank_ = true;
  canvas_ = nullptr;
  dims_ = dims;
  damage_.Clear();
  unpresented_.Clear();
  // Without planes the new picture is black already, and nothing needs to be presented, unless the
  // ground has a colour.
  if (!stack_.empty() || ground_ != kOpaqueBlack)
    AddDamage(ClipRect({0, 0, dims.width, dims.height}, 0, 0, dims));
  return true;
}

void Screen::SetGround(uint32_t colour) {
  {
    const MutexLock lock(stateMutex_);
    if (ground_ == (kOpaqueBlack | colour)) return;
    ground_ = kOpaqueBlack | colour;
    AddDamage(ClipRect({0, 0, dims_.width, dims_.height}, 0, 0, dims_));
  }
  NotifyWork();
}

void Screen::SetWorkListener(std::function<void()> listener) {
  const MutexLock lock(listenerMutex_);
  workListener_ = std::move(listener);
}

ScreenPlane* Screen::AddPlane(const Rect& rect, qx::plexion::StageWindow* window,
                              const char* name) {
  PixelStore store = PixelStore::Make({rect.width, rect.height});
  if (!store) return nullptr;
  auto plane = std::make_shared<ScreenPlane>(*this, std::move(store), rect, window,
                                             name == nullptr ? "" : name);
  {
    const MutexLock lock(stateMutex_);
    stack_.push_back(plane);  // transparent: nothing on the screen changes yet
  }
  NotifyWork();  // its pixels may be those of the display
  return plane.get();
}

bool Screen::Has(const qx::platform::OutputPlane* plane) const {
  const MutexLock lock(stateMutex_);
  return Find(plane) != stack_.end();
}

bool Screen::ResizePlane(ScreenPlane& plane, const Dims& dims, const Rect& rect) {
  PixelStore store = PixelStore::Make(dims);
  if (!store) return false;
  // The memory is had before any lock is taken: getting some may take as long as a frame.
  const uint64_t bytes = store.Bytes();
  {
    const RecursiveMutexLock pixelLock(plane.GetSurface().GetMutex());
    plane.GetSurface().Replace(std::move(store), true);
    const MutexLock lock(stateMutex_);
    DamagePlace(StateOf(plane).placement);
    StateOf(plane).placement.rect = {rect.x, rect.y, dims.width, dims.height};
    DamagePlace(StateOf(plane).placement);
    ++storageGeneration_;
  }
  plane.GetCharge().Change(bytes);
  NotifyWork();
  return true;
}

void Screen::RemovePlane(ScreenPlane& plane) {
  std::shared_ptr<ScreenPlane> keep;
  {
    const MutexLock lock(stateMutex_);
    const auto place = Find(&plane);
    if (place == stack_.end()) return;
    keep = *place;
    stack_.erase(place);
    DamagePlace(StateOf(plane).placement);
  }
  // A composition under way may hold on to the plane a little longer; the window may not.
  keep->GetCharge().Settle();
  keep.reset();
  NotifyWork();
}

Placement Screen::GetPlacement(ScreenPlane& plane) const {
  const MutexLock lock(stateMutex_);
  return StateOf(plane).placement;
}

void Screen::Change(ScreenPlane& plane, const std::function<void(Placement&)>& change) {
  {
    const MutexLock lock(stateMutex_);
    const Placement before = StateOf(plane).placement;
    change(StateOf(plane).placement);
    const Placement& after = StateOf(plane).placement;
    const auto sameClip = [](const auto& one, const auto& other) {
      if (!one || !other) return one.has_value() == other.has_value();
      return one->x == other->x && one->y == other->y && one->width == other->width &&
             one->height == other->height;
    };
    if (sameClip(before.clip, after.clip) && before.alpha == after.alpha &&
        before.visible == after.visible && before.rect.x == after.rect.x &&
        before.rect.y == after.rect.y) {
      return;
    }
    // What was drawn before it could be seen reaches the screen now.
    if (!before.CanBeSeen() && after.CanBeSeen()) StateOf(plane).drawn = true;
    DamagePlace(before);
    DamagePlace(after);
  }
  NotifyWork();
}

bool Screen::Clip(const qx::platform::OutputPlane* plane, const Rect* clip) {
  std::shared_ptr<ScreenPlane> found;
  {
    const MutexLock lock(stateMutex_);
    const auto place = Find(plane);
    if (place == stack_.end()) return false;
    found = *place;
  }
  Change(*found, [clip](Placement& placement) {
    placement.clip.reset();
    if (clip != nullptr) placement.clip = *clip;
  });
  return true;
}

bool Screen::Restack(ScreenPlane& plane, const qx::platform::OutputPlane* other, bool above) {
  {
    const MutexLock lock(stateMutex_);
    // Above or below itself is where it is.
    if (other == &plane) return true;
    const auto from = Find(&plane);
    if (from == stack_.end() || (other != nullptr && Find(other) == stack_.end())) return false;
    const auto oldIndex = from - stack_.begin();
    std::shared_ptr<ScreenPlane> moved = *from;
    stack_.erase(from);
    auto to = above ? stack_.cend() : stack_.cbegin();
    if (other != nullptr) to = Find(other) + (above ? 1 : 0);
    const auto place = stack_.insert(to, std::move(moved));
    if (place - stack_.begin() == oldIndex) return true;
    DamagePlace(StateOf(plane).placement);
  }
  NotifyWork();
  return true;
}

unsigned Screen::GetStackingIndex(const ScreenPlane& plane) const {
  const MutexLock lock(stateMutex_);
  PLEXION_CHECK(Find(&plane) != stack_.end(),
                "a plane that is asked for its place is on the screen");
  return static_cast<unsigned>(Find(&plane) - stack_.begin());
}

void Screen::Damage(ScreenPlane& plane, const Rect& region) {
  // Scaling spreads a pixel beyond the place that the region names.
  const int64_t spread = plane.GetSurface().GetSpread();
  {
    const MutexLock lock(stateMutex_);
    PlaneState& state = StateOf(plane);
    if (!state.placement.CanBeSeen()) return;
    state.drawn = true;
    const Rect& rect = state.placement.rect;
    const Rect wider{
        region.x, region.y,
        static_cast<uint32_t>(std::min<int64_t>(region.width + 2 * spread, INT32_MAX)),
        static_cast<uint32_t>(std::min<int64_t>(region.height + 2 * spread, INT32_MAX))};
    const Box inPlane = ClipRect(wider, -spread, -spread, {rect.width, rect.height});
    // A window may name a region beside its plane: contents draw there, and nobody sees it.
    if (IsEmpty(inPlane)) return;
    AddDamage(ClipRect({static_cast<uint32_t>(inPlane.x1), static_cast<uint32_t>(inPlane.y1),
                        static_cast<uint32_t>(inPlane.x2 - inPlane.x1),
                        static_cast<uint32_t>(inPlane.y2 - inPlane.y1)},
                       static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y), dims_));
  }
  NotifyWork();
}

void Screen::BeginUpdate() {
  const RecursiveMutexLock composeLock(composeMutex_);
  // What is drawn from here on must not get into pictures of before.
  TakeBackAndCompose();
  const MutexLock lock(stateMutex_);
  ++updateDepth_;
}

void Screen::EndUpdate() {
  {
    const MutexLock lock(stateMutex_);
    // An end without a beginning changes nothing: modules pair these by themselves.
    if (updateDepth_ == 0 || --updateDepth_ > 0) return;
  }
  NotifyWork();
}

bool Screen::HasWork() const {
  const MutexLock lock(stateMutex_);
  return updateDepth_ == 0 && !(damage_.Empty() && unpresented_.Empty());
}

Screen::Stack::const_iterator Screen::Find(const qx::platform::OutputPlane* plane) const {
  return std::find_if(stack_.begin(), stack_.end(),
                      [plane](const auto& candidate) { return candidate.get() == plane; });
}

void Screen::AddDamage(const Box& box) {
  damage_.Add(box);
  // Few and a little larger: each rectangle is walked for each plane, and a hundred small ones cost more than
  // the pixels between them.
  damage_.Simplify(kMaxDamageRects);
  PLEXION_CHECK(damage_.Count() <= kMaxDamageRects, "a list of damage stays short enough to walk");
}

void Screen::DamagePlace(const Placement& placement) {
  if (placement.CanBeSeen()) AddDamage(placement.Seen(dims_));
}

void Screen::NotifyWork() {
  const MutexLock lock(listenerMutex_);
  if (workListener_) workListener_();
}

}  // namespace plexion_host
