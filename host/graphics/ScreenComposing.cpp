// How the picture of a Screen is made and handed out.

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/graphics/Screen.h"
#include "host/graphics/pixels/PixelRows.h"

namespace plexion_host {

using qx::plexion::Dims;

namespace {
constexpr int kMaxAttempts = 3;
}  // namespace

bool Screen::Present(const Presenter& presenter) {
  const RecursiveMutexLock composeLock(composeMutex_);
  if (presenting_) return false;
  bool shown = false;
  for (int attempt = 0; attempt < kMaxAttempts && !shown; ++attempt) {
    ComposeDue();
    Region changed;
    {
      const MutexLock lock(stateMutex_);
      // Asked again under the lock: an update may have begun while this was composed.
      if (updateDepth_ > 0 || unpresented_.Empty()) return false;
      // Taken out at once: what is damaged while this is shown belongs to the next frame.
      std::swap(changed, unpresented_);
    }
    PLEXION_CHECK(!presenting_, "one frame is presented at a time");
    presenting_ = true;
    shown = ShowLent(presenter, changed);
    presenting_ = false;
    if (shown) break;
    // Its plane has just been drawn transparent, or got another size: composed after all.
    TakeBack();
    const MutexLock lock(stateMutex_);
    AddDamage(ClipRect({0, 0, dims_.width, dims_.height}, 0, 0, dims_));
  }
  if (shown) NotePresented();
  return shown;
}

void Screen::Read(const std::function<void(const PixelStore& picture)>& reader) {
  const RecursiveMutexLock composeLock(composeMutex_);
  if (!presenting_) ComposeDue();
  FillBlank();
  if (ShowLent([&reader](const PixelStore& picture, const Region&) { reader(picture); }, {}))
    return;
  TakeBackAndCompose();
  if (!presenting_) ComposeDue();
  reader(picture_);
}

void Screen::ComposeDue() {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    std::vector<Layer> layers;
    Region damage;
    uint64_t generation = 0;
    uint32_t ground = kOpaqueBlack;
    {
      const MutexLock lock(stateMutex_);
      if (updateDepth_ > 0 || damage_.Empty()) return;
      // With the planes as they are now, under one lock: a plane that moves from here on brings damage of its own.
      std::swap(damage, damage_);
      generation = storageGeneration_;
      ground = ground_;
      layers.reserve(stack_.size());
      for (const auto& plane : stack_) {
        PlaneState& state = StateOf(*plane);
        if (!state.placement.CanBeSeen()) continue;
        layers.push_back({plane, state.placement});
        state.composed = state.composed || std::exchange(state.drawn, false);
      }
    }
    if (!Lend(layers, damage)) Compose(layers, damage, ground);
    const MutexLock lock(stateMutex_);
    unpresented_.Add(damage);
    // A plane that got another size in between was read with the old placement: again, with the
    // damage that came with the new one.
    if (storageGeneration_ == generation) return;
  }
}

void Screen::Compose(const std::vector<Layer>& layers, const Region& damage, uint32_t ground) {
  FillBlank();
  // From the top: what is left to paint shrinks by what opaque planes cover.
  const Dims screen = picture_.Dims();
  std::vector<Job> jobs(layers.size());
  Region remaining = damage;
  for (size_t i = layers.size(); i-- > 0 && !remaining.Empty();) {
    const Placement& placement = layers[i].placement;
    PLEXION_CHECK(placement.CanBeSeen(), "only planes that can be seen are composed");
    Region covered(placement.Seen(screen));
    covered.Intersect(remaining);
    if (covered.Empty()) continue;
    // Only what is opaque row by row covers: a plane says nothing of its content, and it may change with each frame.
    if (placement.alpha == 255) {
      const int32_t left = static_cast<int32_t>(placement.rect.x);
      const int32_t top = static_cast<int32_t>(placement.rect.y);
      Region opaque;
      {
        Surface& surface = layers[i].plane->GetSurface();
        const RecursiveMutexLock pixelLock(surface.GetMutex());
        for (const Box& row : surface.OpaqueRows(0, static_cast<int32_t>(placement.rect.height))) {
          opaque.Add(ClipRect({0, static_cast<uint32_t>(row.y1), placement.rect.width,
                               static_cast<uint32_t>(row.y2 - row.y1)},
                              left, top, screen));
        }
      }
      opaque.Intersect(covered);
      remaining.Subtract(opaque);
      covered.Subtract(opaque);
      jobs[i].copy = std::move(opaque);
    }
    jobs[i].blend = std::move(covered);
  }
  // What no opaque plane covers begins as the ground; the planes are drawn over it from the bottom up.
  for (const Box& box : remaining) {
    for (int32_t y = box.y1; y < box.y2; ++y) {
      FillRow(picture_.Row(static_cast<size_t>(y)) + box.x1, ground,
              static_cast<size_t>(box.x2 - box.x1));
    }
  }
  for (size_t i = 0; i < layers.size(); ++i) Draw(layers[i], jobs[i]);
}

void Screen::Draw(const Layer& layer, const Job& job) {
  if (job.blend.Empty() && job.copy.Empty()) return;
  Surface& surface = layer.plane->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  const PixelStore& store = surface.Store();
  const int32_t left = static_cast<int32_t>(layer.placement.rect.x);
  const int32_t top = static_cast<int32_t>(layer.placement.rect.y);
  // The surface may have become smaller since the placement was read.
  const Box there = ClipRect(
      {layer.placement.rect.x, layer.placement.rect.y, store.Dims().width, store.Dims().height}, 0,
      0, picture_.Dims());
  for (const Region* region : {&job.blend, &job.copy}) {
    for (const Box& box : *region) {
      const int32_t x1 = std::max(box.x1, there.x1);
      const int32_t x2 = std::min(box.x2, there.x2);
      const int32_t y2 = std::min(box.y2, there.y2);
      if (x1 >= x2) continue;
      const size_t count = static_cast<size_t>(x2 - x1);
      for (int32_t y = std::max(box.y1, there.y1); y < y2; ++y) {
        uint32_t* const to = picture_.Row(static_cast<size_t>(y)) + x1;
        const uint32_t* const from = store.Row(static_cast<size_t>(y - top)) + (x1 - left);
        // Asked again: a row that was opaque when the jobs were made may have been drawn since.
        if (layer.placement.alpha == 255 && surface.RowIsKnownOpaque(y - top)) {
          CopyRow(to, from, count);
        } else {
          BlendRow(to, from, count, layer.placement.alpha);
        }
      }
    }
  }
}

}  // namespace plexion_host
