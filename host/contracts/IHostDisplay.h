#ifndef HOST_CONTRACTS_IHOSTDISPLAY_H_
#define HOST_CONTRACTS_IHOSTDISPLAY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "qx/core/IQXModule.h"
#include "qx/plexion/Geometry.h"

namespace qx::platform {
class OutputPlane;
}

namespace plexion_host {

enum class DisplayMode { kAuto, kWindow, kFullscreen, kHeadless };

struct DisplayOptions {
  DisplayMode mode = DisplayMode::kAuto;
  uint32_t width = 0;  ///< screen size; 0,0: 1280x720, in full screen the display's own
  uint32_t height = 0;
  /// The picture is turned clockwise by 0, 90, 180 or 270 degrees, and the pointer back. The size
  /// above is the display's: the screen, and all that is said of it, is turned with its contents.
  uint32_t rotation = 0;
  /// In full screen without a size of its own the screen takes each new size of the display: for who
  /// lays out again what plays. Else the picture is scaled to it.
  bool followsDisplay = false;
  std::string title = "Plexion";
  bool clear = true;  ///< a window is black before the first content
};

/// Something that happened at the display, before any key map.
struct DisplayEvent {
  enum class Kind {
    kKeyDown,         ///< `key`: SDL_Keycode, `modifiers`: SDL_Keymod, `repeat`
    kKeyUp,           ///< `key`, `modifiers`
    kPointerMove,     ///< `x`, `y`
    kPointerDown,     ///< `x`, `y`, `button` 1 left, 2 middle, 3 right
    kPointerUp,       ///< `x`, `y`, `button`
    kWheel,           ///< `x`, `y`, `wheelX`, `wheelY` notches, positive right and up
    kFocusLost,       ///< the keys that are down will not be heard to come up
    kCloseRequested,  ///< the person closed the window
    kDisplayResized,  ///< the whole display has another size, `x` by `y`
    kOutputsChanged   ///< an output was plugged in or unplugged; `x` are there now
  };
  Kind kind;
  int32_t key = 0;
  uint16_t modifiers = 0;
  bool repeat = false;
  int32_t x = 0;  ///< screen pixels of the composed picture, whatever the window's size
  int32_t y = 0;
  int button = 0;
  int32_t wheelX = 0;
  int32_t wheelY = 0;
};

/// Hears display events. Thread: the display's (main); must return soon.
class IDisplayEventSink {
 public:
  virtual ~IDisplayEventSink() = default;
  virtual void OnDisplayEvent(const DisplayEvent& event) = 0;
};

/// One presented picture.
struct PresentedFrame {
  uint64_t number = 0;               ///< counts presented frames from 1
  int64_t timeNs = 0;                ///< CLOCK_MONOTONIC at presentation
  qx::plexion::Dims dims{};          ///< of the screen
  const uint32_t* pixels = nullptr;  ///< 0xffRRGGBB, valid during the call only
  uint32_t pitchBytes = 0;
  std::vector<qx::plexion::Rect> damage;  ///< what differs from the frame before
};

/// What was seen of one output plane. Health is what was presented, not what a player says of itself.
struct PlaneHealth {
  uint64_t frames = 0;   ///< presented frames in which something of it was drawn anew
  int64_t drawnNs = 0;   ///< CLOCK_MONOTONIC of the last of them; 0: none yet
  uint64_t picture = 0;  ///< a hash of its pixels; 0 unless it was asked for
};

/// Hears of each presented frame. Thread: the display's (main); must return soon; content goes on
/// being drawn meanwhile, the picture handed out does not change during the call.
class IFrameObserver {
 public:
  virtual ~IFrameObserver() = default;
  virtual void OnFramePresented(const PresentedFrame& frame) = 0;
};

/// The display loop behind IGraphicsDriver: module "IHostDisplay", in the same library. Private to
/// this host; a device maker's driver needs IGraphicsDriver only.
///
/// Order    Open, Run (blocks until RequestQuit), Close: all on the main thread. Everything else
///          may be called from any thread at any time.
class IHostDisplay : public IQXModule {
 public:
  /// Gives the screen the size that Open with these options will, as far as that is known without a
  /// display, so that contents can be prepared for it meanwhile. Before Open, or not at all.
  /// Returns  false when only Open can tell: in full screen the display's own size counts.
  virtual bool Plan(const DisplayOptions& /*options*/) { return true; }
  /// Returns  false with the reason in `error`.
  virtual bool Open(const DisplayOptions& options, std::string& error) = 0;
  /// "window 1280x720", "headless 1280x720", for people.
  virtual std::string Describe() = 0;
  virtual bool IsHeadless() = 0;
  virtual void Run() = 0;
  virtual void RequestQuit() = 0;
  virtual void Close() = 0;

  /// Between BeginUpdate and EndUpdate nothing is presented, so that several changes of planes
  /// appear in one frame. Nests. Keep it short. BeginUpdate waits for a frame that is being presented, which a
  /// stopped display server holds up.
  virtual void BeginUpdate() = 0;
  virtual void EndUpdate() = 0;

  /// Lets only what lies in `clip`, in pixels of the screen, be seen of a plane of this display's
  /// driver; null: all of it again.
  /// Returns  false for a plane that it does not know, and from displays that cannot.
  virtual bool ClipPlane(qx::platform::OutputPlane* /*plane*/, const qx::plexion::Rect* /*clip*/) {
    return false;
  }

  /// What is seen where no plane is, and through planes that cover nothing there: 0x00RRGGBB. Black
  /// until it is set, and on displays that know no other.
  virtual void SetGround(uint32_t /*colour*/) {}

  /// The composed screen as it would be presented now, rows of `width` pixels without padding.
  virtual void CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) = 0;
  /// Writes the composed screen as PNG. Returns  false with the reason in `error`.
  virtual bool SaveSnapshot(const std::string& path, std::string& error) = 0;

  /// Not owned. Removing waits until a call under way has returned (unless made from inside it).
  virtual void AddEventSink(IDisplayEventSink* sink) = 0;
  virtual void RemoveEventSink(IDisplayEventSink* sink) = 0;
  virtual void AddFrameObserver(IFrameObserver* observer) = 0;
  virtual void RemoveFrameObserver(IFrameObserver* observer) = 0;

  /// Of a plane of this display's driver. The hash is taken now, in a few milliseconds for a large
  /// plane. Returns  false for a plane that it does not know.
  virtual bool GetPlaneHealth(const qx::platform::OutputPlane* /*plane*/, bool /*withPicture*/,
                              PlaneHealth& /*health*/) {
    return false;
  }
  /// Presents the picture once more, though nothing of it has changed: a sign of life.
  virtual void RequestFrame() {}

  /// Frames presented so far.
  virtual uint64_t GetFrameCount() = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTDISPLAY_H_
