// The window that the composed picture is shown in.

#ifndef HOST_GRAPHICS_WINDOW_SDLWINDOW_H_
#define HOST_GRAPHICS_WINDOW_SDLWINDOW_H_

#include <SDL.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "host/contracts/IHostDisplay.h"
#include "host/graphics/pixels/PixelStore.h"
#include "host/graphics/pixels/Region.h"

namespace plexion_host {

/// One window, or the whole display, that shows a picture and hears its events. The picture is as
/// large as the screen; a window of another size shows it scaled, with black bars where the shapes
/// differ.
///
/// Thread   the one that opened it (SDL wants the main thread); Wake any.
class SdlWindow {
 public:
  /// `dims` is the window's size; 0,0 takes the display's in full screen and comes back as what was
  /// taken. The picture is turned by `quarters` before it is shown, and has its size before that.
  /// Null with the reason in `error`.
  static std::unique_ptr<SdlWindow> Open(bool fullscreen, qx::plexion::Dims& dims,
                                         unsigned quarters, const std::string& title,
                                         std::string& error);
  ~SdlWindow();
  SdlWindow(const SdlWindow&) = delete;
  SdlWindow& operator=(const SdlWindow&) = delete;

  /// The window's own pixels when a picture of `dims` can be made right in them: rows of
  /// 0x..RRGGBB without padding. They stay until the handler below is called. Null when the window
  /// has another size or format, or the picture is turned.
  uint32_t* Canvas(const qx::plexion::Dims& dims) {
    return quarters_ == 0 ? CanvasOf(dims) : nullptr;
  }
  /// Called before the window's pixels go.
  void SetCanvasLost(std::function<void()> handler) { canvasLost_ = std::move(handler); }
  /// The picture that is shown has another size from now on, as Open's `dims`.
  void SetDims(const qx::plexion::Dims& dims);

  /// `picture` may be the canvas.
  void Show(const PixelStore& picture, const Region& damage);

  using Handler = std::function<void(const DisplayEvent&)>;
  /// Waits up to `timeoutMs` (negative: without limit) for an event or Wake, then hands over all
  /// that has happened.
  /// Returns  true when the window lost what it showed: Show the whole picture again.
  bool WaitForEvents(int timeoutMs, const Handler& handler);
  void Wake();

 private:
  SdlWindow(SDL_Window* window, const qx::plexion::Dims& dims, unsigned quarters, bool fullscreen);

  uint32_t* CanvasOf(const qx::plexion::Dims& dims);
  void ShowTurned(const PixelStore& picture, const Region& damage);
  void ShowUpright(const PixelStore& picture, const Region& damage);
  bool WaitForOne(SDL_Event& event, int timeoutMs) const;
  bool Handle(const SDL_Event& event, const Handler& handler);
  void TellSize(int width, int height, const Handler& handler);
  /// Where the picture stands in a surface of this size.
  SDL_Rect PictureRect(int width, int height) const;
  void MapPosition(int x, int y, DisplayEvent& event) const;
  void ShowScaled(const PixelStore& picture, const Region& damage, SDL_Surface* surface,
                  const SDL_Rect& place);

  SDL_Window* const window_;
  qx::plexion::Dims dims_;  ///< of the picture as it is shown
  const unsigned quarters_;
  const bool fullscreen_;
  qx::plexion::Dims display_{0, 0};  ///< the whole display's size, as it was told last
  const Uint32 wakeEvent_;
  /// Whether the video system can sleep until an event comes. Where it cannot, SDL would look every
  /// millisecond; we look less often.
  const bool canSleep_;
  std::atomic<bool> wakePosted_{false};
  std::function<void()> canvasLost_;
  PixelStore turned_;  ///< where it cannot be turned right into the window
  PixelStore scaled_;
  bool barsPainted_ = false;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_WINDOW_SDLWINDOW_H_
