// Who gets the input: the key master or else the active window keys, the active window the rest.
// Notifications and keys are delivered under stageWindowLock: whoever handles one must not wait for
// a thread that needs it.

#include "qx/core/QXLock.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/KeyCodes.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/KeyEventSimulator.h"

namespace qx {
namespace plexion {

namespace {

StageWindowImpl* Impl(StageWindow* window) { return static_cast<StageWindowImpl*>(window); }

unsigned long MapKey(unsigned long key, unsigned long masterShellKey) {
  return key == masterShellKey ? kKeyShell : key;
}

bool StartsRewindOrForward(unsigned long key) { return key == kKeyRewind || key == kKeyForward; }

bool EndsRewindOrForward(unsigned long key) { return key >= kKeyPlay && key <= kKeyStop; }

}  // namespace

bool IPlexionImpl::SetKeyInputMode(KeyInputMode mode, IQXKernel::Time delay,
                                   IQXKernel::Time interval) {
  return keyEventSimulator != nullptr && keyEventSimulator->SetKeyInputMode(mode, delay, interval);
}

void IPlexionImpl::DispatchKeyDown(unsigned long key) {
  if (key == kKeyNone) return;
  const unsigned long mapped = MapKey(key, masterShellKey);
  {
    const QXLock lock(stageWindowLock);
    StageWindow* const target = keyMaster != nullptr ? keyMaster : activeStageWindow;
    if (target != nullptr) Impl(target)->DispatchKeyDownDirect(mapped);
  }
  // Whether or not a window took the key. A key that became the shell key is no transport key.
  if (StartsRewindOrForward(mapped)) rewindOrForward = true;
  if (EndsRewindOrForward(mapped)) rewindOrForward = false;
}

void IPlexionImpl::DispatchKeyUp(unsigned long key) {
  if (key == kKeyNone) return;
  const QXLock lock(stageWindowLock);
  StageWindow* const target = keyMaster != nullptr ? keyMaster : activeStageWindow;
  if (target != nullptr) Impl(target)->DispatchKeyUpDirect(MapKey(key, masterShellKey));
}

void IPlexionImpl::DispatchMouseButtonDown(MouseButton button, unsigned short x, unsigned short y) {
  const QXLock lock(stageWindowLock);
  if (activeStageWindow != nullptr) activeStageWindow->DispatchMouseButtonDown(button, x, y);
}

void IPlexionImpl::DispatchMouseButtonUp(MouseButton button, unsigned short x, unsigned short y) {
  const QXLock lock(stageWindowLock);
  if (activeStageWindow != nullptr) activeStageWindow->DispatchMouseButtonUp(button, x, y);
}

void IPlexionImpl::DispatchMouseMove(unsigned short x, unsigned short y) {
  const QXLock lock(stageWindowLock);
  if (activeStageWindow != nullptr) activeStageWindow->DispatchMouseMove(x, y);
}

void IPlexionImpl::DispatchScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) {
  const QXLock lock(stageWindowLock);
  if (activeStageWindow != nullptr) activeStageWindow->DispatchScrollWheelScroll(direction, delta);
}

bool IPlexionImpl::SetActiveStageWindow(StageWindow* window) {
  const QXLock lock(stageWindowLock);
  bool listed = false;
  for (unsigned i = 0; i < stageWindows.Count() && !listed; ++i) {
    listed = stageWindows[i] == window;
  }
  if (!listed) return false;
  if (window == activeStageWindow) return true;
  if (!Impl(window)->activationPending) return false;  // only a playing window can be active

  // Changed before anybody is told: a window that asks while it hears of it finds the new one.
  StageWindow* const old = activeStageWindow;
  activeStageWindow = window;
  if (old != nullptr) Impl(old)->NotifyOnDeactivate();
  Impl(window)->NotifyOnActivate();
  return true;
}

StageWindow* IPlexionImpl::GetActiveStageWindow() {
  const QXLock lock(stageWindowLock);
  return activeStageWindow;
}

PlexionKeyEventSimulator* IPlexionImpl::GetKeyEventSimulator() { return keyEventSimulator; }

void IPlexionImpl::ResetKeyMaster() {
  const QXLock lock(stageWindowLock);
  keyMaster = nullptr;
  // The newest that asks: a window that is opened on top of others takes the keys with it.
  for (unsigned i = stageWindows.Count(); i > 0 && keyMaster == nullptr; --i) {
    if (Impl(stageWindows[i - 1])->keyMasterRequested) keyMaster = stageWindows[i - 1];
  }
}

void IPlexionImpl::ResetActiveStageWindow() {
  const QXLock lock(stageWindowLock);
  StageWindow* const old = activeStageWindow;
  activeStageWindow = nullptr;
  for (unsigned i = stageWindows.Count(); i > 0 && activeStageWindow == nullptr; --i) {
    if (Impl(stageWindows[i - 1])->activationPending) activeStageWindow = stageWindows[i - 1];
  }
  StageWindow* const chosen = activeStageWindow;
  if (chosen == old) return;
  if (old != nullptr) Impl(old)->NotifyOnDeactivate();
  if (chosen != nullptr) Impl(chosen)->NotifyOnActivate();
}

void IPlexionImpl::ResetKeyMasterAndClearMyActivation(StageWindow* window, bool keepActive) {
  const QXLock lock(stageWindowLock);
  ResetKeyMaster();
  if (window == nullptr || window != activeStageWindow) return;
  // A window that has ended is forgotten before another is chosen, so it is not told: its player may
  // be gone in a moment. One that keeps its place is told when it loses it.
  if (!keepActive) activeStageWindow = nullptr;
  ResetActiveStageWindow();
}

void IPlexionImpl::ResetKeyMasterAndSetInitialActivationIfRequired(StageWindow* window) {
  const QXLock lock(stageWindowLock);
  ResetKeyMaster();
  if (window != nullptr && activeStageWindow == nullptr) SetActiveStageWindow(window);
}

}  // namespace plexion
}  // namespace qx
