// Finds the window of an event, and remembers what each source holds down.

#include "host/input/InputRouter.h"

#include <algorithm>

#include "host/base/Check.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

using qx::plexion::IPlexionSets;
using qx::plexion::MouseButton;
using qx::plexion::Rect;
using qx::plexion::ScrollWheelDirection;
using qx::plexion::StageWindow;

namespace {

using Windows = std::vector<HostWindow>;

int64_t Left(const Rect& rect) { return static_cast<int32_t>(rect.x); }
int64_t Top(const Rect& rect) { return static_cast<int32_t>(rect.y); }

bool Contains(const Rect& rect, int32_t x, int32_t y) {
  return x >= Left(rect) && y >= Top(rect) && x < Left(rect) + rect.width &&
         y < Top(rect) + rect.height;
}

/// A screen position as a window's content hears it; beyond the 16 bits it stops at their end.
struct PlanePoint {
  PlanePoint(const Rect& rect, int32_t screenX, int32_t screenY)
      : x(Clip(screenX - Left(rect))), y(Clip(screenY - Top(rect))) {}

  static uint16_t Clip(int64_t value) {
    return static_cast<uint16_t>(std::clamp<int64_t>(value, 0, 0xffff));
  }
  const uint16_t x;
  const uint16_t y;
};

/// The window in front at a position; null when there is none.
HostWindow* FrontAt(Windows& windows, int32_t x, int32_t y) {
  HostWindow* front = nullptr;
  int64_t frontIndex = -1;
  for (HostWindow& candidate : windows) {
    // Windows without a plane of the driver's lie beneath, in the order of their creation.
    int64_t index = -1;
    if (qx::platform::OutputPlane* const plane = candidate.window->GetOutputPlane()) {
      if (!plane->IsVisible()) continue;
      index = plane->GetStackingIndex();
    }
    if (index >= frontIndex && Contains(candidate.window->GetRectOnScreen(), x, y)) {
      front = &candidate;
      frontIndex = index;
    }
  }
  return front;
}

StageWindow* Numbered(Windows& windows, unsigned number) {
  for (HostWindow& candidate : windows) {
    if (candidate.number == number) return candidate.window;
  }
  return nullptr;
}

StageWindow* Active(Windows& windows) {
  for (HostWindow& candidate : windows) {
    if (candidate.window->IsActiveStageWindow()) return candidate.window;
  }
  return nullptr;
}

}  // namespace

bool InputRouter::AnyoneHolds(uint32_t key) const {
  return std::any_of(sources_.begin(), sources_.end(),
                     [key](const Source& source) { return source.keys.count(key) != 0; });
}

void InputRouter::KeyDown(InputSource source, uint32_t key) {
  if (key == 0) return;
  Of(source).keys.insert(key);
  windows_.DispatchKeyDown(key);
}

void InputRouter::KeyUp(InputSource source, uint32_t key) {
  // Two sources may hold the same key: for the content it goes up with the last of them.
  if (Of(source).keys.erase(key) == 0 || AnyoneHolds(key)) return;
  windows_.DispatchKeyUp(key);
}

void InputRouter::PointerMove(InputSource from, int32_t x, int32_t y) {
  Source& source = Of(from);
  // A press of a button tells its place again.
  if (source.x == x && source.y == y) return;
  source.x = x;
  source.y = y;
  // To the window itself, here and below: the service's own way asks who is active once more, and
  // another window could by then be, which would get a point of this one's plane.
  windows_.WithWindows([&](Windows& windows) {
    StageWindow* const target = source.grab != 0 ? Numbered(windows, source.grab) : Active(windows);
    if (target == nullptr) return;
    const PlanePoint point(target->GetRectOnScreen(), x, y);
    target->DispatchMouseMove(point.x, point.y);
  });
}

void InputRouter::PointerDown(InputSource from, MouseButton button, int32_t x, int32_t y) {
  Source& source = Of(from);
  source.x = x;
  source.y = y;
  if (source.buttons.count(button) != 0) return;
  windows_.WithWindows([&](Windows& windows) {
    StageWindow* target = nullptr;
    // Until all buttons are up, all goes to where the first went down: a drag may leave its window.
    if (source.grab != 0) {
      target = Numbered(windows, source.grab);
    } else if (HostWindow* const front = FrontAt(windows, x, y)) {
      // Activation is the window's own decision: it refuses while it does not play.
      if (front->window->IsActiveStageWindow() || front->window->SetActiveStageWindow()) {
        target = front->window;
        source.grab = front->number;
      }
    }
    if (target == nullptr) return;
    source.buttons.insert(button);
    const PlanePoint point(target->GetRectOnScreen(), x, y);
    target->DispatchMouseButtonDown(button, point.x, point.y);
  });
}

void InputRouter::PointerUp(InputSource from, MouseButton button, int32_t x, int32_t y) {
  Source& source = Of(from);
  source.x = x;
  source.y = y;
  if (source.buttons.erase(button) == 0) return;
  const unsigned grab = source.grab;
  if (source.buttons.empty()) source.grab = 0;
  windows_.WithWindows([&](Windows& windows) {
    StageWindow* const target = Numbered(windows, grab);
    if (target == nullptr) return;
    const PlanePoint point(target->GetRectOnScreen(), x, y);
    target->DispatchMouseButtonUp(button, point.x, point.y);
  });
}

void InputRouter::Wheel(ScrollWheelDirection direction, uint16_t notches) {
  IPlexionSets* const service = windows_.GetService();
  if (service != nullptr && notches != 0) service->DispatchScrollWheelScroll(direction, notches);
}

void InputRouter::ReleaseAll(InputSource from) {
  Source& source = Of(from);
  while (!source.keys.empty()) KeyUp(from, *source.keys.begin());
  PLEXION_CHECK(source.keys.empty(), "each key that went down goes up");
  while (!source.buttons.empty()) PointerUp(from, *source.buttons.begin(), source.x, source.y);
}

}  // namespace plexion_host
