// What reaches the player from outside: activation, keys, pointer. And the window's place among others
// on the screen. Everything here is called with the service's lock held or by the host itself.

#include "qx/core/QXLock.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/KeyCodes.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/KeyEventSimulator.h"

namespace qx {
namespace plexion {

using core::morvellib::MorvelInstance;
using platform::OutputPlane;

namespace {

/// What the content hears of kKeyTiming: an event in place of a key.
constexpr unsigned long kTimingEvent = 7;

}  // namespace

bool StageWindowImpl::SetActiveStageWindow() { return owner->SetActiveStageWindow(this); }

bool StageWindowImpl::IsActiveStageWindow() { return owner->GetActiveStageWindow() == this; }

void StageWindowImpl::NotifyOnActivate() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (player == nullptr) return;
  OutputPlane* output = parameters.outputPlane;
  if (output != nullptr) {
    output->SetActive(true);
    // In full, since another window may have covered it. The rectangle is the screen's, not the
    // plane's; drivers skip what lies outside, and those of devices are tuned to it.
    OnRenderPlaneUpdate(output->GetRect());
  }
  player->Activate();
}

void StageWindowImpl::NotifyOnDeactivate() {
  MorvelInstance* player = nullptr;
  {
    QXLock lock(stateLock);
    if (parameters.outputPlane != nullptr) parameters.outputPlane->SetActive(false);
    player = Player();
    if (player != nullptr) player->Deactivate();
  }
  // Outside stateLock: the simulator's worker calls players while it holds its own lock.
  if (keyEventSimulator != nullptr) keyEventSimulator->ClearKeyEvents(player, true);
}

void StageWindowImpl::DispatchKeyDown(unsigned long key) {
  if (key == kKeyTiming) {
    DispatchKeyDownDirect(key);
  } else {
    owner->DispatchKeyDown(key);
  }
}

// Unlike its press, the timing key's release goes the way of all keys: whoever holds the keys restarts
// the timing log with it.
void StageWindowImpl::DispatchKeyUp(unsigned long key) { owner->DispatchKeyUp(key); }

void StageWindowImpl::DispatchKeyDownDirect(unsigned long key) {
  if (key == kKeyTiming) {
    creationTime = Kernel()->GetTime();  // before the lock, which a load may hold for long
    QXLock lock(stateLock);
    MorvelInstance* player = Player();
    if (player != nullptr) player->SendEvent(kTimingEvent);
    return;
  }
  if (key == kKeyNone) return;
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (player != nullptr && keyEventSimulator != nullptr) {
    keyEventSimulator->NotifyKeyDownEvent(player, key);
  }
}

void StageWindowImpl::DispatchKeyUpDirect(unsigned long key) {
  if (key == kKeyTiming) {
    creationTime = Kernel()->GetTime();
    return;
  }
  if (key == kKeyNone) return;
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (player != nullptr && keyEventSimulator != nullptr) {
    keyEventSimulator->NotifyKeyUpEvent(player, key);
  }
}

void StageWindowImpl::DispatchMouseButtonDown(MouseButton button, unsigned short x,
                                              unsigned short y) {
  QXLock lock(stateLock);
  MapMouseButtonPointToRenderPlaneInternal(x, y);
  MorvelInstance* player = Player();
  if (player != nullptr) player->MouseButtonDown(button, x, y);
}

void StageWindowImpl::DispatchMouseButtonUp(MouseButton button, unsigned short x,
                                            unsigned short y) {
  QXLock lock(stateLock);
  MapMouseButtonPointToRenderPlaneInternal(x, y);
  MorvelInstance* player = Player();
  if (player != nullptr) player->MouseButtonUp(button, x, y);
}

void StageWindowImpl::DispatchMouseMove(unsigned short x, unsigned short y) {
  QXLock lock(stateLock);
  MapMouseButtonPointToRenderPlaneInternal(x, y);
  MorvelInstance* player = Player();
  if (player != nullptr) player->MouseMove(x, y);
}

void StageWindowImpl::DispatchScrollWheelScroll(ScrollWheelDirection direction,
                                                unsigned short delta) {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (player != nullptr) player->ScrollWheelScroll(direction, delta);
}

bool StageWindowImpl::SetAbove(StageWindow* other) {
  OutputPlane* output = parameters.outputPlane;
  if (output == nullptr) return false;
  return output->SetAbove(other != nullptr ? other->GetOutputPlane() : nullptr);
}

bool StageWindowImpl::SetBelow(StageWindow* other) {
  OutputPlane* output = parameters.outputPlane;
  if (output == nullptr) return false;
  return output->SetBelow(other != nullptr ? other->GetOutputPlane() : nullptr);
}

void StageWindowImpl::SetVisible(bool visible) {
  if (parameters.outputPlane != nullptr) parameters.outputPlane->SetVisible(visible);
}

bool StageWindowImpl::IsVisible() {
  return parameters.outputPlane != nullptr && parameters.outputPlane->IsVisible();
}

void StageWindowImpl::SetAlpha(unsigned char alpha) {
  if (parameters.outputPlane != nullptr) parameters.outputPlane->SetAlpha(alpha);
}

}  // namespace plexion
}  // namespace qx
