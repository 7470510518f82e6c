// Opens and closes the display, and takes pictures of it.

#include "host/graphics/Display.h"

#include <cstdlib>
#include <utility>

#include "host/graphics/pixels/PngFile.h"
#include "host/graphics/pixels/Turn.h"

namespace plexion_host {

using qx::plexion::Dims;

namespace {

constexpr Dims kDefaultDims{1280, 720};

unsigned QuartersOf(const DisplayOptions& options) { return options.rotation / 90 % 4; }

bool IsSet(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0';
}

// Looked at rather than tried: on a machine without a display SDL takes its time to find out.
bool DesktopIsLikely() {
  return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY") || IsSet("SDL_VIDEODRIVER");
}

}  // namespace

Display::Display(std::shared_ptr<Screen> screen, WindowOpener opener)
    : screen_(std::move(screen)), opener_(std::move(opener)) {
  screen_->SetWorkListener([this] { WakeForWork(); });
}

Display::~Display() {
  Close();
  screen_->SetWorkListener(nullptr);
}

bool Display::Plan(const DisplayOptions& options) {
  const bool unspecified = options.width == 0 && options.height == 0;
  if (unspecified && options.mode == DisplayMode::kFullscreen) return false;
  const Dims dims = unspecified ? kDefaultDims : Dims{options.width, options.height};
  // What is out of range, or too much, is refused by Open, in words.
  if (DimsAreSane(dims)) screen_->SetDims(TurnedDims(dims, QuartersOf(options)));
  return true;
}

bool Display::Open(const DisplayOptions& options, std::string& error) {
  const Dims wanted{options.width, options.height};
  const bool unspecified = wanted.width == 0 && wanted.height == 0;
  if (!unspecified && !DimsAreSane(wanted)) {
    error = "screen size " + std::to_string(wanted.width) + "x" + std::to_string(wanted.height) +
            " is out of range; expected 1x1 to " + std::to_string(kMaxPixelsPerSide) + "x" +
            std::to_string(kMaxPixelsPerSide);
    return false;
  }
  Close();
  cleared_ = options.clear;
  quarters_ = QuartersOf(options);
  follows_ = options.followsDisplay && unspecified && options.mode == DisplayMode::kFullscreen;
  {
    const MutexLock lock(wakeMutex_);
    quitRequested_ = false;
  }
  const bool fullscreen = options.mode == DisplayMode::kFullscreen;
  const bool windowed = fullscreen || options.mode == DisplayMode::kWindow ||
                        (options.mode == DisplayMode::kAuto && DesktopIsLikely());
  if (windowed) {
    // Contents that draw their first frame meanwhile have it in the window's own pixels.
    screen_->ExpectCanvas(true);
    const bool opened = OpenWindow(fullscreen, options, error);
    if (opened && cleared_) screen_->UseCanvas(window_->Canvas(screen_->GetDims()));
    screen_->ExpectCanvas(false);
    if (opened || options.mode != DisplayMode::kAuto) return opened;
    error.clear();
  }
  const Dims dims = unspecified ? kDefaultDims : wanted;
  if (screen_->SetDims(TurnedDims(dims, QuartersOf(options)))) return true;
  error = "no memory for a screen of " + std::to_string(wanted.width) + "x" +
          std::to_string(wanted.height);
  return false;
}

bool Display::OpenWindow(bool fullscreen, const DisplayOptions& options, std::string& error) {
  Dims dims{options.width, options.height};
  std::unique_ptr<PictureWindow> window =
      opener_(fullscreen, dims, QuartersOf(options), options.title, error);
  if (window == nullptr) return false;
  if (!screen_->SetDims(TurnedDims(dims, QuartersOf(options)))) {
    error = "no memory for a screen of " + std::to_string(dims.width) + "x" +
            std::to_string(dims.height);
    return false;
  }
  // SDL frees the window's pixels when it is resized: nothing may be composed there after that.
  window->SetCanvasLost([this] { screen_->UseCanvas(nullptr); });
  screen_->SetLending(window->ShowsAtOnce());
  const MutexLock lock(wakeMutex_);
  window_ = std::move(window);
  kind_ = fullscreen ? Kind::kFullscreen : Kind::kWindow;
  return true;
}

void Display::Follow(const DisplayEvent& event) {
  const Dims dims{static_cast<uint32_t>(event.x), static_cast<uint32_t>(event.y)};
  if (!follows_ || event.kind != DisplayEvent::Kind::kDisplayResized || !DimsAreSane(dims)) return;
  // Without memory for it the picture is scaled, as it is for all who do not follow.
  if (screen_->SetDims(TurnedDims(dims, quarters_))) window_->SetDims(dims);
}

std::string Display::Describe() {
  const Dims dims = screen_->GetDims();
  const Kind kind = kind_;
  const char* const name = kind == Kind::kHeadless ? "headless"
                           : kind == Kind::kWindow ? "window"
                                                   : "full screen";
  return std::string(name) + " " + std::to_string(dims.width) + "x" + std::to_string(dims.height);
}

// The canvas goes first: it lies in the window.
void Display::Close() {
  screen_->UseCanvas(nullptr);
  screen_->SetLending(true);
  std::unique_ptr<PictureWindow> closing;
  const MutexLock lock(wakeMutex_);
  closing = std::move(window_);
  kind_ = Kind::kHeadless;
}

void Display::RequestQuit() {
  {
    const MutexLock lock(wakeMutex_);
    quitRequested_ = true;
  }
  Wake();
}

// Told without the lock, which a loop that wakes up at once would wait for, and wake up twice. It stays
// meanwhile: the screen's listener is taken off first.
void Display::WakeForWork() {
  // While the loop waits for its slot, more work changes nothing: a wake-up for each plane would cost more than it
  // is worth.
  if (awaitsSlot_) return;
  {
    const MutexLock lock(wakeMutex_);
    if (window_ != nullptr) return window_->Wake();
    if (std::exchange(wakeRequested_, true)) return;
  }
  wakeUp_.NotifyAll();
}

void Display::Wake() {
  const MutexLock lock(wakeMutex_);
  if (window_ != nullptr) {
    window_->Wake();
  } else if (!wakeRequested_) {
    wakeRequested_ = true;
    wakeUp_.NotifyAll();
  }
}

void Display::CopyScreen(Dims& dims, std::vector<uint32_t>& pixels) {
  screen_->Read([&](const PixelStore& picture) {
    dims = picture.Dims();
    // Copied under the screen's lock, and written as a file without it: a slow disk must not hold up frames.
    pixels.assign(picture.Pixels(), picture.Pixels() + size_t{dims.width} * dims.height);
  });
}

bool Display::SaveSnapshot(const std::string& path, std::string& error) {
  Dims dims{};
  std::vector<uint32_t> pixels;
  CopyScreen(dims, pixels);
  return WritePng(path, dims, pixels, error);
}

}  // namespace plexion_host
