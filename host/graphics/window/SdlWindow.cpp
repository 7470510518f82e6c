// A window, and how a picture gets into it.

#include "host/graphics/window/SdlWindow.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/graphics/pixels/Scaler.h"
#include "host/graphics/pixels/Turn.h"
#include "host/graphics/window/DisplayLoss.h"

namespace plexion_host {

using qx::plexion::Dims;

namespace {

constexpr qx::plexion::Dims kDefaultDims{1280, 720};

struct FreeSurface {
  void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};
using Surface32 = std::unique_ptr<SDL_Surface, FreeSurface>;

// A view of our pixels for SDL's copy, which knows every format that a window may have.
Surface32 ViewOf(const PixelStore& picture) {
  return Surface32(SDL_CreateRGBSurfaceWithFormatFrom(
      const_cast<uint32_t*>(picture.Pixels()), static_cast<int>(picture.Dims().width),
      static_cast<int>(picture.Dims().height), 32, static_cast<int>(picture.PitchBytes()),
      SDL_PIXELFORMAT_RGB888));
}

SDL_Rect ToSdl(const Box& box) { return {box.x1, box.y1, box.x2 - box.x1, box.y2 - box.y1}; }

constexpr char kExpectedDisplay[] =
    "; expected an X11 or Wayland session (DISPLAY or WAYLAND_DISPLAY), or the display mode "
    "headless";

// SDL falls back to drivers that show nothing. Somebody who wants one of them names it.
bool DrawsForNobody() {
  const char* const named = std::getenv("SDL_VIDEODRIVER");
  if (named != nullptr && *named != '\0') return false;
  const char* const driver = SDL_GetCurrentVideoDriver();
  return std::strcmp(driver, "offscreen") == 0 || std::strcmp(driver, "dummy") == 0 ||
         std::strcmp(driver, "evdev") == 0;
}

void SetHints() {
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
  SDL_SetHint(SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0");
  SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
  // What draws title bars where a compositor does not hides the window first, and without its plugins never
  // shows it again. A picture needs none.
  SDL_SetHint(SDL_HINT_VIDEO_WAYLAND_ALLOW_LIBDECOR, "0");
}

}  // namespace

std::unique_ptr<SdlWindow> SdlWindow::Open(bool fullscreen, Dims& dims, unsigned quarters,
                                           const std::string& title, std::string& error) {
  SetHints();
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    error = std::string("cannot open a display: ") + SDL_GetError() + kExpectedDisplay;
    return nullptr;
  }
  if (DrawsForNobody()) {
    error = std::string("cannot open a display: none found") + kExpectedDisplay;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return nullptr;
  }
  if (std::strcmp(SDL_GetCurrentVideoDriver(), "x11") == 0) WatchDisplayConnection();
  // Without a renderer behind it the window's surface is plain shared memory: it is there at once,
  // and needs neither a GPU nor a hundred megabytes of its driver. A bare console has no other way.
  const bool console = std::strcmp(SDL_GetCurrentVideoDriver(), "KMSDRM") == 0;
  SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, console ? "1" : "0");
  Dims wanted = dims;
  if (wanted.width == 0) {
    wanted = kDefaultDims;
    SDL_DisplayMode mode;
    if (fullscreen && SDL_GetDesktopDisplayMode(0, &mode) == 0 && mode.w > 0 && mode.h > 0) {
      wanted = {static_cast<uint32_t>(mode.w), static_cast<uint32_t>(mode.h)};
    }
  }
  const Uint32 flags = fullscreen ? static_cast<Uint32>(SDL_WINDOW_FULLSCREEN_DESKTOP)
                                  : static_cast<Uint32>(SDL_WINDOW_RESIZABLE);
  SDL_Window* const window =
      SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                       static_cast<int>(wanted.width), static_cast<int>(wanted.height), flags);
  std::unique_ptr<WaylandPixels> wayland;
  std::string reason;
  bool good = window != nullptr;
  if (good && std::strcmp(SDL_GetCurrentVideoDriver(), "wayland") == 0) {
    wayland = WaylandPixels::Make(window, reason);
    good = wayland != nullptr && wayland->GetSurface() != nullptr;
  } else if (good) {
    good = SDL_GetWindowSurface(window) != nullptr;
  }
  if (!good) {
    error = std::string("cannot open a window of ") + std::to_string(wanted.width) + "x" +
            std::to_string(wanted.height) + ": " + (reason.empty() ? SDL_GetError() : reason);
    wayland.reset();
    if (window != nullptr) SDL_DestroyWindow(window);
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return nullptr;
  }
  if (fullscreen) SDL_ShowCursor(SDL_DISABLE);
  SDL_StopTextInput();
  dims = wanted;
  return std::unique_ptr<SdlWindow>(
      new SdlWindow(window, std::move(wayland), wanted, quarters, fullscreen));
}

SdlWindow::SdlWindow(SDL_Window* window, std::unique_ptr<WaylandPixels> wayland, const Dims& dims,
                     unsigned quarters, bool fullscreen)
    : window_(window),
      wayland_(std::move(wayland)),
      dims_(dims),
      quarters_(quarters),
      fullscreen_(fullscreen),
      wakeEvent_(SDL_RegisterEvents(1)),
      canSleep_(std::strcmp(SDL_GetCurrentVideoDriver(), "x11") == 0 ||
                std::strcmp(SDL_GetCurrentVideoDriver(), "wayland") == 0),
      // A bare console's pictures are exchanged while the display's beam is away.
      showsAtOnce_(std::strcmp(SDL_GetCurrentVideoDriver(), "KMSDRM") != 0) {
  SDL_DisplayMode mode;
  if (fullscreen_ && SDL_GetDesktopDisplayMode(0, &mode) == 0 && mode.w > 0 && mode.h > 0) {
    display_ = {static_cast<uint32_t>(mode.w), static_cast<uint32_t>(mode.h)};
  }
}

SdlWindow::~SdlWindow() {
  wayland_.reset();
  SDL_DestroyWindow(window_);
  SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

void SdlWindow::SetDims(const Dims& dims) {
  dims_ = dims;
  turned_ = PixelStore();
  barsPainted_ = false;
}

SDL_Surface* SdlWindow::GetSurface() const {
  return wayland_ != nullptr ? wayland_->GetSurface() : SDL_GetWindowSurface(window_);
}

void SdlWindow::Update(const SDL_Surface& surface, std::vector<SDL_Rect> shown) {
  if (!barsPainted_) shown.assign(1, SDL_Rect{0, 0, surface.w, surface.h});
  barsPainted_ = true;
  if (shown.empty()) return;
  if (wayland_ != nullptr) {
    wayland_->Show(shown.data(), static_cast<int>(shown.size()));
  } else {
    SDL_UpdateWindowSurfaceRects(window_, shown.data(), static_cast<int>(shown.size()));
  }
}

uint32_t* SdlWindow::CanvasOf(const Dims& dims) {
  SDL_Surface* const surface = GetSurface();
  if (surface == nullptr || SDL_MUSTLOCK(surface)) return nullptr;
  const bool sameSize = surface->w == static_cast<int>(dims.width) &&
                        surface->h == static_cast<int>(dims.height) &&
                        surface->pitch == surface->w * static_cast<int>(sizeof(uint32_t));
  const bool sameFormat = surface->format->format == SDL_PIXELFORMAT_RGB888 ||
                          surface->format->format == SDL_PIXELFORMAT_ARGB8888;
  return sameSize && sameFormat ? static_cast<uint32_t*>(surface->pixels) : nullptr;
}

void SdlWindow::Show(const PixelStore& picture, const Region& damage) {
  if (quarters_ == 0) {
    ShowUpright(picture, damage);
  } else {
    ShowTurned(picture, damage);
  }
}

void SdlWindow::ShowTurned(const PixelStore& picture, const Region& damage) {
  uint32_t* const canvas = CanvasOf(dims_);
  PixelStore over = canvas != nullptr ? PixelStore::Over(canvas, dims_) : PixelStore();
  bool whole = false;
  if (canvas != nullptr) {
    turned_ = PixelStore();
  } else if (!turned_) {
    turned_ = PixelStore::Make(dims_);
    whole = true;
  }
  PixelStore& target = canvas != nullptr ? over : turned_;
  if (!target) return;
  const Dims own = picture.Dims();
  const Region all(Box{0, 0, static_cast<int32_t>(own.width), static_cast<int32_t>(own.height)});
  Region turned;
  for (const Box& box : whole ? all : damage) {
    TurnPixels(picture, box, quarters_, target);
    turned.Add(TurnedBox(box, own, quarters_));
  }
  ShowUpright(target, turned);
}

void SdlWindow::ShowUpright(const PixelStore& picture, const Region& damage) {
  SDL_Surface* const surface = GetSurface();
  if (surface == nullptr) return;  // between two sizes; an exposure follows
  const SDL_Rect place = PictureRect(surface->w, surface->h);
  if (place.w != static_cast<int>(picture.Dims().width) ||
      place.h != static_cast<int>(picture.Dims().height)) {
    ShowScaled(picture, damage, surface, place);
    return;
  }
  const bool isCanvas = picture.Pixels() == surface->pixels;
  const Surface32 view = isCanvas ? nullptr : ViewOf(picture);
  if (view == nullptr && !isCanvas) return;
  std::vector<SDL_Rect> shown;
  for (const Box& box : damage) {
    SDL_Rect from = ToSdl(box);
    SDL_Rect to = from;
    to.x += place.x;
    to.y += place.y;
    if (!isCanvas) SDL_BlitSurface(view.get(), &from, surface, &to);
    shown.push_back(to);
  }
  Update(*surface, std::move(shown));
}

void SdlWindow::ShowScaled(const PixelStore& picture, const Region& damage, SDL_Surface* surface,
                           const SDL_Rect& place) {
  const Dims size{static_cast<uint32_t>(place.w), static_cast<uint32_t>(place.h)};
  if (scaled_.Dims().width != size.width || scaled_.Dims().height != size.height) {
    scaled_ = PixelStore::Make(size);
  }
  if (!scaled_) return;
  const qx::plexion::Rect from{0, 0, picture.Dims().width, picture.Dims().height};
  const qx::plexion::Rect to{0, 0, size.width, size.height};
  const int64_t spread = ScaleSpread(from, to);
  std::vector<SDL_Rect> shown;
  const Surface32 view = ViewOf(scaled_);
  if (view == nullptr) return;
  for (const Box& box : damage) {
    const auto map = [](int32_t value, uint32_t whole, uint32_t scaledWhole) {
      return int64_t{value} * scaledWhole / whole;
    };
    Box clip;
    clip.x1 =
        static_cast<int32_t>(std::max<int64_t>(0, map(box.x1, from.width, to.width) - spread));
    clip.y1 =
        static_cast<int32_t>(std::max<int64_t>(0, map(box.y1, from.height, to.height) - spread));
    clip.x2 = static_cast<int32_t>(
        std::min<int64_t>(to.width, map(box.x2, from.width, to.width) + spread));
    clip.y2 = static_cast<int32_t>(
        std::min<int64_t>(to.height, map(box.y2, from.height, to.height) + spread));
    ScalePixels({picture.Pixels(), picture.PitchBytes(), picture.Dims()}, from,
                {scaled_.Pixels(), scaled_.PitchBytes(), size}, to, clip);
    SDL_Rect source = ToSdl(clip);
    SDL_Rect target = source;
    target.x += place.x;
    target.y += place.y;
    SDL_BlitSurface(view.get(), &source, surface, &target);
    shown.push_back(target);
  }
  Update(*surface, std::move(shown));
}

SDL_Rect SdlWindow::PictureRect(int width, int height) const {
  const double scale = std::min(static_cast<double>(width) / dims_.width,
                                static_cast<double>(height) / dims_.height);
  const int w = std::max(1, static_cast<int>(std::lround(dims_.width * scale)));
  const int h = std::max(1, static_cast<int>(std::lround(dims_.height * scale)));
  return {(width - w) / 2, (height - h) / 2, w, h};
}

void SdlWindow::MapPosition(int x, int y, DisplayEvent& event) const {
  int width = 1;
  int height = 1;
  SDL_GetWindowSize(window_, &width, &height);
  const SDL_Rect place = PictureRect(width, height);
  const auto map = [](int value, int start, int size, uint32_t whole) {
    return static_cast<int32_t>(
        std::floor(static_cast<double>(value - start) * whole / std::max(size, 1)));
  };
  event.x = map(x, place.x, place.w, dims_.width);
  event.y = map(y, place.y, place.h, dims_.height);
  UnturnPoint(TurnedDims(dims_, quarters_), quarters_, event.x, event.y);
}

}  // namespace plexion_host
