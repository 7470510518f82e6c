// Makes and destroys planes for windows.

#include "host/graphics/GraphicsDriver.h"

#include <algorithm>
#include <utility>

namespace plexion_host {

using qx::platform::OutputPlane;
using qx::platform::RenderPlane;
using qx::plexion::Dims;
using qx::plexion::Rect;
using qx::plexion::StageWindow;

Dims GraphicsDriver::GetScreenDims() { return screen_->GetDims(); }

RenderPlane* GraphicsDriver::CreateRenderPlane(const Dims& dims, uint32_t pixelFormat,
                                               StageWindow* window) {
  // 0 is "the player's own choice", and this driver knows one format.
  if (pixelFormat != 0 && pixelFormat != qx::platform::kPixelFormat32) return nullptr;
  PixelStore store = PixelStore::MakeShared(dims);
  if (!store) return nullptr;
  auto plane = std::make_unique<MemoryRenderPlane>(std::move(store), window);
  const MutexLock lock(mutex_);
  renderPlanes_.push_back(std::move(plane));
  return renderPlanes_.back().get();
}

// The caller has fitted the size to the screen already, so default placement changes nothing here.
OutputPlane* GraphicsDriver::CreateOutputPlane(const Rect& rect, bool, RenderPlane*,
                                               StageWindow* window, const char* name) {
  return screen_->AddPlane(rect, window, name);
}

bool GraphicsDriver::ResizeOutputPlane(OutputPlane*& plane, const Dims& dims, const Rect& rect,
                                       RenderPlane*, StageWindow*, const char*) {
  // Asked before the cast: a host may hand in a plane of another driver.
  if (!screen_->Has(plane)) return false;
  return screen_->ResizePlane(static_cast<ScreenPlane&>(*plane), dims, rect);
}

bool GraphicsDriver::ResizeRenderPlane(RenderPlane*& plane, const Dims& dims, StageWindow*) {
  MemoryRenderPlane* const found = FindRenderPlane(plane);
  if (found == nullptr) return false;
  PixelStore store = PixelStore::MakeShared(dims);
  if (!store) return false;
  const uint64_t bytes = store.Bytes();
  found->GetSurface().Replace(std::move(store), false);
  found->GetCharge().Change(bytes);
  return true;
}

void GraphicsDriver::DestroyRenderPlane(RenderPlane* plane) {
  // Destroyed outside of the lock: giving pages back takes time, and tells the window.
  std::unique_ptr<MemoryRenderPlane> gone;
  const MutexLock lock(mutex_);
  const auto place = std::find_if(renderPlanes_.begin(), renderPlanes_.end(),
                                  [plane](const auto& mine) { return mine.get() == plane; });
  if (place == renderPlanes_.end()) return;
  gone = std::move(*place);
  renderPlanes_.erase(place);
}

void GraphicsDriver::DestroyOutputPlane(OutputPlane* plane) {
  if (screen_->Has(plane)) screen_->RemovePlane(static_cast<ScreenPlane&>(*plane));
}

MemoryRenderPlane* GraphicsDriver::FindRenderPlane(const RenderPlane* plane) {
  const MutexLock lock(mutex_);
  for (const auto& mine : renderPlanes_) {
    if (mine.get() == plane) return mine.get();
  }
  return nullptr;
}

}  // namespace plexion_host
