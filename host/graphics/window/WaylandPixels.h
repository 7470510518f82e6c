// The pixels of a window, and their way to a Wayland compositor.

#ifndef HOST_GRAPHICS_WINDOW_WAYLANDPIXELS_H_
#define HOST_GRAPHICS_WINDOW_WAYLANDPIXELS_H_

#include <SDL.h>
#include <wayland-client-protocol.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/graphics/pixels/Region.h"

namespace plexion_host {

/// What SDL has for a window's pixels with X11 and not with Wayland: plain memory, which needs neither
/// a GPU nor an X server in between.
///
/// A compositor reads a picture after it was handed over, and keeps its memory for as long as it wants
/// to. So what is shown is copied into one of a few buffers that it has given back, and each is brought
/// up to date by all that has changed since it was handed over last: a part that is still is in all of
/// them.
///
/// Order    Make, then GetSurface and Show as with SDL_GetWindowSurface and SDL_UpdateWindowSurfaceRects;
///          it goes before the window.
/// Thread   the window's.
class WaylandPixels {
 public:
  /// Of a window of SDL's Wayland driver. Returns  null with the reason in `error`.
  static std::unique_ptr<WaylandPixels> Make(SDL_Window* window, std::string& error);
  ~WaylandPixels();
  WaylandPixels(const WaylandPixels&) = delete;
  WaylandPixels& operator=(const WaylandPixels&) = delete;

  /// As large as the window is now; the one before goes with its size. Null without memory.
  SDL_Surface* GetSurface();
  /// The surface's pixels in these rectangles are seen from now on.
  void Show(const SDL_Rect* rects, int count);
  /// Whether the compositor has gone.
  bool IsLost() const;

 private:
  struct FreeSurface {
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
  };
  /// Its pixels lie as those of the surface do.
  struct Buffer {
    wl_buffer* handle = nullptr;
    unsigned char* memory = nullptr;
    size_t bytes = 0;
    bool isTaken = false;  ///< the compositor's
    Region stale;          ///< what has changed since it was handed over
    ~Buffer();
  };

  WaylandPixels(SDL_Window* window, wl_display* display, wl_surface* target);
  static void OnGlobal(void* self, wl_registry* registry, uint32_t name, const char* interface,
                       uint32_t version);
  static void OnReleased(void* buffer, wl_buffer* handle);
  /// One that may be drawn into; null without memory.
  Buffer* Free();
  Buffer* FindFree();
  std::unique_ptr<Buffer> NewBuffer() const;

  SDL_Window* const window_;
  wl_display* const display_;
  wl_surface* const target_;
  wl_event_queue* const
      queue_;  ///< of what is ours: SDL reads the connection, and leaves this alone
  wl_shm* memory_ = nullptr;
  std::unique_ptr<SDL_Surface, FreeSurface> surface_;
  std::vector<std::unique_ptr<Buffer>> buffers_;
  size_t oldest_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_WINDOW_WAYLANDPIXELS_H_
