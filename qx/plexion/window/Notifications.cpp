// What the player tells the window, and who hears of it: the service, observers, waiting threads, the
// timing log. In this order, so that an observer already finds the window active.

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowImpl.h"

namespace qx {
namespace plexion {

void StageWindowImpl::RegisterNotifier(StageWindowNotifier* notifier) {
  QX_CHECK(notifier != nullptr, "an observer");
  QXLock lock(geometryLock);
  for (unsigned i = notifiers.Count(); i > 0; --i) {
    if (notifiers[i - 1] == notifier) return;
  }
  notifiers.InsertAt(0, notifier);
  hasNotifiers = !notifiers.IsEmpty();
}

void StageWindowImpl::UnregisterNotifier(StageWindowNotifier* notifier) {
  QXLock lock(geometryLock);
  for (unsigned i = notifiers.Count(); i > 0; --i) {
    if (notifiers[i - 1] != notifier) continue;
    notifiers.RemoveAt(i - 1);
    break;
  }
  if (notifiers.IsEmpty()) hasNotifiers = false;
}

void StageWindowImpl::NotifyObservers(StageWindowStatus status, const StageWindowStatusData* data) {
  QXLock lock(geometryLock);
  // Registration inserts at the front, so walking from the back tells the oldest first.
  for (unsigned i = notifiers.Count(); i > 0; --i) {
    notifiers[i - 1]->OnStageWindowNotification(this, status, data);
  }
}

void StageWindowImpl::OnMorvelInstanceNotification(StageWindowStatus status,
                                                   const StageWindowStatusData* data) {
  const bool terminal = IsTerminalStatus(status);

  // The service first: who gets the keys must be right before anybody acts on the news.
  if (status == kStatusPlaying) {
    activationPending = true;
    keyMasterRequested = parameters.keyMaster;
    owner->ResetKeyMasterAndSetInitialActivationIfRequired(this);
  } else if (status == kStatusPaused) {
    activationPending = false;
    keyMasterRequested = false;
    owner->ResetKeyMasterAndClearMyActivation(this, true);
  } else if (terminal && (keyMasterRequested || activationPending)) {
    activationPending = false;
    keyMasterRequested = false;
    owner->ResetKeyMasterAndClearMyActivation(this, false);
  }

  if (hasNotifiers) NotifyObservers(status, data);

  // Waiting threads last of all who act on it: they may destroy the window as soon as they run.
  if (terminal && completionEvent != nullptr) completionEvent->Signal();
  if ((terminal || status == kStatusLoaded) && loadEvent != nullptr) loadEvent->Signal();
  if (status == kInfoRenderPlaneUpdated && data != nullptr && data->rect != nullptr) {
    OnRenderPlaneUpdate(*data->rect);
  }

  LogStatus(status);
}

void StageWindowImpl::LogStatus(StageWindowStatus status) {
  if (!parameters.instrument) return;
  const IQXKernel::Time elapsed = Kernel()->GetTime() - creationTime;
  // 64 bits wide, as the values are; the low half, which %d prints, holds 24 days.
  const long long milliseconds = elapsed / 1000000;
  switch (status) {
    case kStatusLoaded:
      Kernel()->Printf("Source file loaded: %d\n", milliseconds);
      break;
    case kStatusPlaying:
      Kernel()->Printf("Begin play: %d\n", milliseconds);
      break;
    case kStatusComplete:
      Kernel()->Printf("Shutdown complete %d\n", milliseconds);
      break;
    case kInfoRenderPlaneUpdated:
      if (firstScreenUpdatePending.exchange(false)) {
        Kernel()->Printf("First screen update %d\n", milliseconds);
      }
      break;
    default:
      break;
  }
}

void StageWindowImpl::OnMorvelInstanceInterFrameNotification() {
  if (!resizePending) return;
  Dims dims;
  uint32_t applied = 0;
  {
    QXLock lock(geometryLock);
    dims = pendingDims;
    applied = deferredResizes;
    resizeInProgress = true;
  }
  ResizePlanes(&dims, nullptr);
  QXLock lock(geometryLock);
  resizeInProgress = false;
  // One that was asked for since has had its own notification between frames requested.
  if (applied == deferredResizes) resizePending = false;
}

}  // namespace plexion
}  // namespace qx
