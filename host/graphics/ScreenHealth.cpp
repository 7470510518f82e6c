// What was seen of each plane, and signs of life.

#include <chrono>
#include <utility>

#include "host/graphics/Screen.h"
#include "host/graphics/pixels/PixelRows.h"

namespace plexion_host {

void Screen::NotePresented() {
  const int64_t nowNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                            std::chrono::steady_clock::now().time_since_epoch())
                            .count();
  const MutexLock lock(stateMutex_);
  for (const auto& plane : stack_) {
    PlaneState& state = StateOf(*plane);
    if (!std::exchange(state.composed, false)) continue;
    ++state.health.frames;
    state.health.drawnNs = nowNs;
  }
}

bool Screen::GetHealth(const qx::platform::OutputPlane* plane, bool withPicture,
                       PlaneHealth& health) {
  std::shared_ptr<ScreenPlane> found;
  {
    const MutexLock lock(stateMutex_);
    const auto place = Find(plane);
    if (place == stack_.end()) return false;
    found = *place;
    health = StateOf(*found).health;
  }
  if (!withPicture) return true;
  Surface& surface = found->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  const PixelStore& store = surface.Store();
  health.picture = 1;  // 0 is of no picture
  for (size_t y = 0; y < store.Dims().height; ++y) {
    health.picture = HashRow(store.Row(y), store.Dims().width, health.picture);
  }
  return true;
}

void Screen::DamageCorner() {
  {
    const MutexLock lock(stateMutex_);
    AddDamage(ClipRect({0, 0, 1, 1}, 0, 0, dims_));
  }
  NotifyWork();
}

}  // namespace plexion_host
