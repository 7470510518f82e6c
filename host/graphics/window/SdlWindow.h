// The window of SDL that the composed picture is shown in.

#ifndef HOST_GRAPHICS_WINDOW_SDLWINDOW_H_
#define HOST_GRAPHICS_WINDOW_SDLWINDOW_H_

#include <SDL.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/graphics/PictureWindow.h"
#include "host/graphics/window/WaylandPixels.h"

namespace plexion_host {

class SdlWindow final : public PictureWindow {
 public:
  /// A WindowOpener. SDL wants the main thread.
  static std::unique_ptr<SdlWindow> Open(bool fullscreen, qx::plexion::Dims& dims,
                                         unsigned quarters, const std::string& title,
                                         std::string& error);
  ~SdlWindow() override;
  SdlWindow(const SdlWindow&) = delete;
  SdlWindow& operator=(const SdlWindow&) = delete;

  uint32_t* Canvas(const qx::plexion::Dims& dims) override {
    return quarters_ == 0 ? CanvasOf(dims) : nullptr;
  }
  bool ShowsAtOnce() override { return showsAtOnce_; }
  void SetCanvasLost(std::function<void()> handler) override { canvasLost_ = std::move(handler); }
  void SetDims(const qx::plexion::Dims& dims) override;
  void Show(const PixelStore& picture, const Region& damage) override;
  bool WaitForEvents(int timeoutMs, const Handler& handler) override;
  void Wake() override;

 private:
  SdlWindow(SDL_Window* window, std::unique_ptr<WaylandPixels> wayland,
            const qx::plexion::Dims& dims, unsigned quarters, bool fullscreen);

  /// The window's pixels; null between two sizes.
  SDL_Surface* GetSurface() const;
  /// They are seen from now on: all of them after the bars were painted.
  void Update(const SDL_Surface& surface, std::vector<SDL_Rect> shown);
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
  std::unique_ptr<WaylandPixels> wayland_;  ///< on Wayland
  qx::plexion::Dims dims_;                  ///< of the picture as it is shown
  const unsigned quarters_;
  const bool fullscreen_;
  qx::plexion::Dims display_{0, 0};  ///< the whole display's size, as it was told last
  const Uint32 wakeEvent_;
  /// Whether the video system can sleep until an event comes. Where it cannot, SDL would look every
  /// millisecond; we look less often.
  const bool canSleep_;
  const bool showsAtOnce_;
  std::atomic<bool> wakePosted_{false};
  std::function<void()> canvasLost_;
  PixelStore turned_;  ///< where it cannot be turned right into the window
  PixelStore scaled_;
  bool barsPainted_ = false;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_WINDOW_SDLWINDOW_H_
