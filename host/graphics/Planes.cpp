// What the service asks of a plane.

#include "host/graphics/Planes.h"

#include "host/graphics/Screen.h"

namespace plexion_host {

ScreenPlane::ScreenPlane(Screen& screen, PixelStore store, const qx::plexion::Rect& rect,
                         qx::plexion::StageWindow* window, std::string name)
    : SurfacePlane(std::move(store), window), screen_(screen), name_(std::move(name)) {
  state_.placement.rect = rect;
  GetSurface().WaitBeforeCopies([this] { screen_.AwaitCanvas(); });
}

void ScreenPlane::ShowRegion(const qx::plexion::Rect& region) { screen_.Damage(*this, region); }

bool ScreenPlane::MoveTo(const qx::plexion::Point& point) {
  screen_.Change(*this, [&](Placement& placement) {
    placement.rect.x = point.x;
    placement.rect.y = point.y;
  });
  return true;
}

qx::plexion::Rect ScreenPlane::GetRect() { return screen_.GetPlacement(*this).rect; }

void ScreenPlane::SetVisible(bool visible) {
  screen_.Change(*this, [&](Placement& placement) { placement.visible = visible; });
}

bool ScreenPlane::IsVisible() { return screen_.GetPlacement(*this).visible; }

void ScreenPlane::SetAlpha(unsigned char alpha) {
  screen_.Change(*this, [&](Placement& placement) { placement.alpha = alpha; });
}

bool ScreenPlane::SetAbove(qx::platform::OutputPlane* other) {
  return screen_.Restack(*this, other, true);
}

bool ScreenPlane::SetBelow(qx::platform::OutputPlane* other) {
  return screen_.Restack(*this, other, false);
}

// Kept for the host to see; the stack does not follow it. On a sign, who has the keys says nothing
// about who is in front.
void ScreenPlane::SetActive(bool active) {
  screen_.Change(*this, [&](Placement& placement) { placement.active = active; });
}

unsigned char ScreenPlane::GetAlpha() { return screen_.GetPlacement(*this).alpha; }

unsigned ScreenPlane::GetStackingIndex() { return screen_.GetStackingIndex(*this); }

}  // namespace plexion_host
