// What SDL reports, as display events.

#include "host/base/Check.h"
#include "host/graphics/window/DisplayLoss.h"
#include "host/graphics/window/SdlWindow.h"

namespace plexion_host {
namespace {

constexpr int kPollMsWithoutSleep = 10;

int ButtonNumber(Uint8 button) {
  switch (button) {
    case SDL_BUTTON_LEFT:
      return 1;
    case SDL_BUTTON_MIDDLE:
      return 2;
    case SDL_BUTTON_RIGHT:
      return 3;
    default:
      return 0;
  }
}

}  // namespace

void SdlWindow::Wake() {
  // One event in the queue is enough, however often there is something to do.
  if (wakePosted_.exchange(true)) return;
  SDL_Event event{};
  event.type = wakeEvent_;
  SDL_PushEvent(&event);
}

bool SdlWindow::WaitForOne(SDL_Event& event, int timeoutMs) const {
  if (timeoutMs == 0) return SDL_PollEvent(&event) != 0;
  if (canSleep_) {
    return (timeoutMs < 0 ? SDL_WaitEvent(&event) : SDL_WaitEventTimeout(&event, timeoutMs)) != 0;
  }
  // Drivers that cannot wait (on a bare console) are asked a hundred times a second.
  const Uint64 start = SDL_GetTicks64();
  for (;;) {
    if (SDL_PollEvent(&event) != 0) return true;
    int nap = kPollMsWithoutSleep;
    if (timeoutMs > 0) {
      const Uint64 passed = SDL_GetTicks64() - start;
      if (passed >= static_cast<Uint64>(timeoutMs)) return false;
      nap = SDL_min(nap, timeoutMs - static_cast<int>(passed));
    }
    SDL_Delay(static_cast<Uint32>(nap));
  }
}

bool SdlWindow::WaitForEvents(int timeoutMs, const Handler& handler) {
  PLEXION_CHECK(window_ != nullptr, "events are those of an open window");
  bool lost = false;
  SDL_Event event;
  for (bool any = WaitForOne(event, timeoutMs); any; any = SDL_PollEvent(&event) != 0) {
    lost = Handle(event, handler) || lost;
  }
  return lost;
}

/// A window in full screen hears its size also when it is opened: only another one is news.
void SdlWindow::TellSize(int width, int height, const Handler& handler) {
  if (!fullscreen_ || width <= 0 || height <= 0) return;
  const qx::plexion::Dims size{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
  if (size.width == display_.width && size.height == display_.height) return;
  display_ = size;
  DisplayEvent out{};
  out.kind = DisplayEvent::Kind::kDisplayResized;
  out.x = width;
  out.y = height;
  handler(out);
}

bool SdlWindow::Handle(const SDL_Event& event, const Handler& handler) {
  DisplayEvent out{};
  switch (event.type) {
    case SDL_KEYDOWN:
    case SDL_KEYUP:
      if (fullscreen_) SDL_ShowCursor(SDL_DISABLE);
      out.kind =
          event.type == SDL_KEYDOWN ? DisplayEvent::Kind::kKeyDown : DisplayEvent::Kind::kKeyUp;
      out.key = event.key.keysym.sym;
      out.modifiers = event.key.keysym.mod;
      out.repeat = event.key.repeat != 0;
      break;
    case SDL_MOUSEMOTION:
      // The whole display belongs to the content, until somebody takes the mouse.
      if (fullscreen_ && (event.motion.xrel != 0 || event.motion.yrel != 0)) {
        SDL_ShowCursor(SDL_ENABLE);
      }
      out.kind = DisplayEvent::Kind::kPointerMove;
      MapPosition(event.motion.x, event.motion.y, out);
      break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
      out.kind = event.type == SDL_MOUSEBUTTONDOWN ? DisplayEvent::Kind::kPointerDown
                                                   : DisplayEvent::Kind::kPointerUp;
      out.button = ButtonNumber(event.button.button);
      // The contract knows three buttons.
      if (out.button == 0) return false;
      MapPosition(event.button.x, event.button.y, out);
      break;
    case SDL_MOUSEWHEEL: {
      out.kind = DisplayEvent::Kind::kWheel;
      const int sign = event.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -1 : 1;
      out.wheelX = sign * event.wheel.x;
      out.wheelY = sign * event.wheel.y;
      MapPosition(event.wheel.mouseX, event.wheel.mouseY, out);
      break;
    }
    case SDL_DISPLAYEVENT:
      if (event.display.event != SDL_DISPLAYEVENT_CONNECTED &&
          event.display.event != SDL_DISPLAYEVENT_DISCONNECTED) {
        return false;
      }
      out.kind = DisplayEvent::Kind::kOutputsChanged;
      out.x = SDL_GetNumVideoDisplays();
      break;
    case SDL_QUIT:
      // All that SDL says of a compositor that has gone.
      if (wayland_ != nullptr && wayland_->IsLost() &&
          TellDisplayLost("the connection to the Wayland compositor broke")) {
        return false;
      }
      out.kind = DisplayEvent::Kind::kCloseRequested;
      break;
    case SDL_WINDOWEVENT:
      switch (event.window.event) {
        case SDL_WINDOWEVENT_SIZE_CHANGED:
        case SDL_WINDOWEVENT_EXPOSED:
          // Before the surface is asked for: that frees the old one.
          if (canvasLost_) canvasLost_();
          if (SDL_Surface* const surface = GetSurface()) {
            SDL_FillRect(surface, nullptr, SDL_MapRGB(surface->format, 0, 0, 0));
          }
          barsPainted_ = false;
          if (event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
            TellSize(event.window.data1, event.window.data2, handler);
          }
          return true;
        case SDL_WINDOWEVENT_FOCUS_LOST:
          out.kind = DisplayEvent::Kind::kFocusLost;
          break;
        case SDL_WINDOWEVENT_CLOSE:
          out.kind = DisplayEvent::Kind::kCloseRequested;
          break;
        default:
          return false;
      }
      break;
    default:
      if (event.type == wakeEvent_) wakePosted_ = false;
      return false;
  }
  handler(out);
  return false;
}

}  // namespace plexion_host
