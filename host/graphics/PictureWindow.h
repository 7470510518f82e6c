// What shows the composed picture.

#ifndef HOST_GRAPHICS_PICTUREWINDOW_H_
#define HOST_GRAPHICS_PICTUREWINDOW_H_

#include <functional>
#include <memory>
#include <string>

#include "host/contracts/IHostDisplay.h"
#include "host/graphics/pixels/PixelStore.h"
#include "host/graphics/pixels/Region.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {

/// One window, or the whole display, that shows a picture and hears its events. The picture is as
/// large as the screen; a window of another size shows it scaled, with black bars where the shapes
/// differ.
///
/// Thread   the one that opened it (the main thread, as some systems want); Wake any.
class PictureWindow {
 public:
  virtual ~PictureWindow() = default;

  /// The window's own pixels when a picture of `dims` can be made right in them: rows of
  /// 0x..RRGGBB without padding. They stay until the handler below is called. Null when the window
  /// has another size or format, or the picture is turned.
  virtual uint32_t* Canvas(const qx::plexion::Dims& dims) = 0;
  /// Called before the window's pixels go.
  virtual void SetCanvasLost(std::function<void()> handler) = 0;
  /// The picture that is shown has another size from now on, as that of opening.
  virtual void SetDims(const qx::plexion::Dims& dims) = 0;

  /// Whether Show returns as soon as the display has the picture, and does not wait for its beam.
  virtual bool ShowsAtOnce() = 0;
  /// `picture` may be the canvas.
  virtual void Show(const PixelStore& picture, const Region& damage) = 0;

  using Handler = std::function<void(const DisplayEvent&)>;
  /// Waits up to `timeoutMs` (negative: without limit) for an event or Wake, then hands over all
  /// that has happened.
  /// Returns  true when the window lost what it showed: Show the whole picture again.
  virtual bool WaitForEvents(int timeoutMs, const Handler& handler) = 0;
  virtual void Wake() = 0;
};

/// Opens a window. `dims` is its size; 0,0 takes the display's in full screen and comes back as what was
/// taken. The picture is turned by `quarters` before it is shown, and has its size before that.
/// Returns  null with the reason in `error`.
using WindowOpener = std::function<std::unique_ptr<PictureWindow>(
    bool fullscreen, qx::plexion::Dims& dims, unsigned quarters, const std::string& title,
    std::string& error)>;

/// Module "IDisplayWindow": what opens windows is a library of its own, since that brings fifty others
/// along. They are loaded while contents load, and not at all when nobody sees what is played.
class IDisplayWindow : public IQXModule {
 public:
  /// As a WindowOpener; the window goes before the module.
  virtual std::unique_ptr<PictureWindow> Open(bool fullscreen, qx::plexion::Dims& dims,
                                              unsigned quarters, const std::string& title,
                                              std::string& error) = 0;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PICTUREWINDOW_H_
