// Buffers of shared memory for a Wayland surface that SDL made.

#include "host/graphics/window/WaylandPixels.h"

#include <SDL_syswm.h>
#include <wayland-client.h>

#include <algorithm>
#include <cstring>

#include "host/base/Check.h"
#include "host/graphics/pixels/SharedMemory.h"

namespace plexion_host {
namespace {

/// One on the screen, one that the compositor is about to show, one to draw into.
constexpr size_t kMostBuffers = 3;
/// From this version on damage is told in pixels of the buffer.
constexpr uint32_t kPixelDamage = 4;

void OnGlobalGone(void* /*self*/, wl_registry* /*registry*/, uint32_t /*name*/) {}

}  // namespace

WaylandPixels::Buffer::~Buffer() {
  if (handle != nullptr) wl_buffer_destroy(handle);
  if (memory != nullptr) UnmapSharedMemory(memory, bytes);
}

std::unique_ptr<WaylandPixels> WaylandPixels::Make(SDL_Window* window, std::string& error) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_WAYLAND) {
    error = "it is no window of Wayland";
    return nullptr;
  }
  std::unique_ptr<WaylandPixels> pixels(
      new WaylandPixels(window, info.info.wl.display, info.info.wl.surface));
  // What is asked for by way of it answers to our queue.
  auto* const display = static_cast<wl_display*>(wl_proxy_create_wrapper(info.info.wl.display));
  wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(display), pixels->queue_);
  wl_registry* const registry = wl_display_get_registry(display);
  wl_proxy_wrapper_destroy(display);
  const wl_registry_listener listener = {&WaylandPixels::OnGlobal, &OnGlobalGone};
  wl_registry_add_listener(registry, &listener, pixels.get());
  wl_display_roundtrip_queue(info.info.wl.display, pixels->queue_);
  wl_registry_destroy(registry);
  if (pixels->memory_ != nullptr) return pixels;
  error = "the compositor takes no shared memory";
  return nullptr;
}

WaylandPixels::WaylandPixels(SDL_Window* window, wl_display* display, wl_surface* target)
    : window_(window),
      display_(display),
      target_(target),
      queue_(wl_display_create_queue(display)) {}

WaylandPixels::~WaylandPixels() {
  buffers_.clear();
  if (memory_ != nullptr) wl_shm_destroy(memory_);
  wl_event_queue_destroy(queue_);
}

void WaylandPixels::OnGlobal(void* self, wl_registry* registry, uint32_t name,
                             const char* interface, uint32_t /*version*/) {
  if (std::strcmp(interface, wl_shm_interface.name) != 0) return;
  static_cast<WaylandPixels*>(self)->memory_ =
      static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
}

void WaylandPixels::OnReleased(void* buffer, wl_buffer* /*handle*/) {
  static_cast<Buffer*>(buffer)->isTaken = false;
}

bool WaylandPixels::IsLost() const { return wl_display_get_error(display_) != 0; }

SDL_Surface* WaylandPixels::GetSurface() {
  int width = 0;
  int height = 0;
  SDL_GetWindowSize(window_, &width, &height);
  if (surface_ != nullptr && surface_->w == width && surface_->h == height) return surface_.get();
  buffers_.clear();
  surface_.reset(SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_RGB888));
  return surface_.get();
}

std::unique_ptr<WaylandPixels::Buffer> WaylandPixels::NewBuffer() const {
  auto buffer = std::make_unique<Buffer>();
  const size_t bytes = static_cast<size_t>(surface_->pitch) * static_cast<size_t>(surface_->h);
  buffer->memory = static_cast<unsigned char*>(MapSharedMemory(bytes));
  SharedPixels shared;
  if (buffer->memory == nullptr || !FindSharedMemory(buffer->memory, shared)) return nullptr;
  buffer->bytes = bytes;
  wl_shm_pool* const pool =
      wl_shm_create_pool(memory_, shared.descriptor, static_cast<int32_t>(bytes));
  buffer->handle = wl_shm_pool_create_buffer(pool, 0, surface_->w, surface_->h, surface_->pitch,
                                             WL_SHM_FORMAT_XRGB8888);
  wl_shm_pool_destroy(pool);
  static const wl_buffer_listener listener = {&WaylandPixels::OnReleased};
  wl_buffer_add_listener(buffer->handle, &listener, buffer.get());
  buffer->stale.Add(Box{0, 0, surface_->w, surface_->h});
  return buffer;
}

WaylandPixels::Buffer* WaylandPixels::FindFree() {
  wl_display_dispatch_queue_pending(display_, queue_);
  const auto found = std::find_if(buffers_.begin(), buffers_.end(),
                                  [](const auto& buffer) { return !buffer->isTaken; });
  return found == buffers_.end() ? nullptr : found->get();
}

WaylandPixels::Buffer* WaylandPixels::Free() {
  if (Buffer* const buffer = FindFree()) return buffer;
  if (buffers_.size() < kMostBuffers) {
    if (std::unique_ptr<Buffer> buffer = NewBuffer()) {
      buffers_.push_back(std::move(buffer));
      return buffers_.back().get();
    }
  }
  if (buffers_.empty()) return nullptr;
  wl_display_roundtrip_queue(display_, queue_);
  if (Buffer* const buffer = FindFree()) return buffer;
  // A picture that is torn for a moment is better than one that does not come.
  oldest_ = (oldest_ + 1) % buffers_.size();
  return buffers_[oldest_].get();
}

void WaylandPixels::Show(const SDL_Rect* rects, int count) {
  PLEXION_CHECK(surface_ != nullptr, "what is shown was drawn into the surface");
  if (IsLost()) return;
  Region changed;
  for (int i = 0; i < count; ++i) {
    changed.Add(Box{rects[i].x, rects[i].y, rects[i].x + rects[i].w, rects[i].y + rects[i].h});
  }
  changed.Intersect(Region(Box{0, 0, surface_->w, surface_->h}));
  for (const auto& buffer : buffers_) buffer->stale.Add(changed);
  Buffer* const buffer = Free();
  if (buffer == nullptr) return;
  const auto* const pixels = static_cast<const unsigned char*>(surface_->pixels);
  for (const Box& box : buffer->stale) {
    const size_t bytes = static_cast<size_t>(box.x2 - box.x1) * sizeof(uint32_t);
    for (int32_t y = box.y1; y < box.y2; ++y) {
      const size_t at = static_cast<size_t>(y) * static_cast<size_t>(surface_->pitch) +
                        static_cast<size_t>(box.x1) * sizeof(uint32_t);
      std::memcpy(buffer->memory + at, pixels + at, bytes);
    }
  }
  buffer->stale.Clear();
  buffer->isTaken = true;
  wl_surface_attach(target_, buffer->handle, 0, 0);
  const bool inPixels = wl_surface_get_version(target_) >= kPixelDamage;
  for (const Box& box : changed) {
    (inPixels ? wl_surface_damage_buffer : wl_surface_damage)(target_, box.x1, box.y1,
                                                              box.x2 - box.x1, box.y2 - box.y1);
  }
  wl_surface_commit(target_);
  wl_display_flush(display_);
}

}  // namespace plexion_host
