// Where a window is and how large, and changing that while its content plays. Two threads meet here:
// the host's, which asks, and the player's, which carries out what was deferred between two frames.

#include "qx/core/QXLock.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/Proportion.h"

namespace qx {
namespace plexion {

using core::morvellib::MorvelInstance;

bool StageWindowImpl::MoveTo(const Point& point) {
  if (parameters.outputPlane == nullptr) return false;
  QXLock lock(geometryLock);
  // Before the plane moves: who asks meanwhile where the window is hears where it is going to be.
  pendingPoint = point;
  movePending = true;
  ResizePlanes(nullptr, &point);
  return false;
}

void StageWindowImpl::Resize(const Dims& dims, bool deferred) {
  if (resizeInProgress) return;
  QXLock lock(geometryLock);
  MorvelInstance* player = instance;
  if (player == nullptr) return;
  pendingDims = dims;
  if (deferred) {
    resizePending = true;
    ++deferredResizes;
    player->RequestInterFrameNotification();
    return;
  }
  resizeInProgress = true;
  ResizePlanes(&dims, nullptr);
  // Also after a failure: the content was asked to fit this size, and lays itself out for it.
  player->SetStageRect(Rect{0, 0, dims.width, dims.height});
}

void StageWindowImpl::ResizeAndMove(const Dims& dims, const Point& point) {
  QXLock lock(geometryLock);
  if (instance == nullptr) return;
  pendingDims = dims;
  pendingPoint = point;
  resizeInProgress = true;
  movePending = true;
  ResizePlanes(&dims, &point);
}

void StageWindowImpl::ResizePlanes(const Dims* dims, const Point* /*point*/) {
  // A move during a resize on the player's thread finds the flag set, and leaves that resize alone.
  if (resizeInProgress && dims != nullptr) ApplyResize(*dims);
  if (movePending) ApplyMove();
}

void StageWindowImpl::ApplyResize(const Dims& dims) {
  NotifyGeometry(ResizeThroughDriver(dims));
  resizeInProgress = false;
}

StageWindowStatus StageWindowImpl::ResizeThroughDriver(const Dims& dims) {
  IQXKernel* kernel = Kernel();
  if (!AcquireGraphicsDriver()) {
    kernel->Printf(
        "YELLOW ALERT: Resize request failed. Reason: could not acquire Graphics driver\n");
    return kInfoOutputPlaneResizeFailed;
  }
  const Dims screen = Driver()->GetScreenDims();
  const bool tooBig = dims.width > screen.width || dims.height > screen.height;
  const bool tooSmall = dims.width == 0 || dims.height == 0;
  if (tooBig) kernel->Printf("YELLOW ALERT: Resize request failed. Reason: Too Big\n");
  if (tooSmall) kernel->Printf("YELLOW ALERT: Resize request failed. Reason: Too Small\n");
  if (tooBig || tooSmall) return kInfoOutputPlaneResizeFailed;
  // Without an output plane nothing is resized, and that counts as done: a host that shows the render
  // plane by itself asks all the same, and waits for the outcome.
  if (parameters.outputPlane == nullptr) return kInfoWindowResized;

  const Dims old = parameters.outputPlane->GetDims();
  const Rect oldRect = parameters.outputPlane->GetRect();
  const Rect newRect{oldRect.x, oldRect.y, dims.width, dims.height};
  if (!Driver()->ResizeOutputPlane(parameters.outputPlane, dims, newRect, parameters.renderPlane,
                                   this, OutputPlaneName())) {
    return kInfoOutputPlaneResizeFailed;
  }
  if (parameters.renderPlane == nullptr) return kInfoWindowResized;

  const Dims render = parameters.renderPlane->GetDims();
  const Dims newRender{InProportion(render.width, dims.width, old.width),
                       InProportion(render.height, dims.height, old.height)};
  if (!Driver()->ResizeRenderPlane(parameters.renderPlane, newRender, this)) {
    return kInfoRenderPlaneResizeFailed;
  }
  // Not `instance`: of a window that is being destroyed the player still draws, and the driver may
  // just have destroyed what it draws into.
  MorvelInstance* player = drawingInstance;
  if (player != nullptr) player->SetRenderPlane(parameters.renderPlane);
  return kInfoWindowResized;
}

void StageWindowImpl::ApplyMove() {
  Point point;
  {
    QXLock lock(geometryLock);
    point = pendingPoint;
    movePending = false;
  }
  if (parameters.outputPlane == nullptr) return;
  NotifyGeometry(parameters.outputPlane->MoveTo(point) ? kInfoWindowMoved : kInfoWindowMoveFailed);
}

void StageWindowImpl::NotifyGeometry(StageWindowStatus outcome) {
  if (!hasNotifiers) return;
  // As GetOutputPlane, but for stateLock, which must not be taken inside geometryLock: a thread that
  // makes this window the active one holds it and wants geometryLock.
  platform::OutputPlane* plane = instance != nullptr ? parameters.outputPlane : nullptr;
  const Rect rect = plane != nullptr ? plane->GetRect() : Rect{0, 0, 0, 0};
  const StageWindowStatusData data{&rect, nullptr, 0, 0.0};
  NotifyObservers(outcome, &data);
}

Dims StageWindowImpl::GetMVXAuthoredStageDims() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  return player != nullptr ? player->GetMVXAuthoredStageDims() : Dims{0, 0};
}

Dims StageWindowImpl::GetStageDims() {
  QXLock lock(geometryLock);
  if (resizeInProgress) return pendingDims;
  return parameters.renderPlane != nullptr ? parameters.renderPlane->GetDims() : Dims{0, 0};
}

Rect StageWindowImpl::GetRectOnScreen() const {
  Rect rect = parameters.outputRect;
  MorvelInstance* player = instance;
  if (parameters.outputPlane != nullptr) {
    rect = parameters.outputPlane->GetRect();
  } else if (parameters.rectProvider != nullptr) {
    rect = parameters.rectProvider->GetRectOnScreen();
  } else if (player != nullptr) {
    const Dims authored = player->GetMVXAuthoredStageDims();
    rect = Rect{0, 0, authored.width, authored.height};
  }
  if (movePending) {
    rect.x = pendingPoint.x;
    rect.y = pendingPoint.y;
  }
  if (resizeInProgress) {
    rect.width = pendingDims.width;
    rect.height = pendingDims.height;
  }
  return rect;
}

void StageWindowImpl::MapMouseButtonPointToRenderPlaneInternal(unsigned short& x,
                                                               unsigned short& y) {
  if (instance == nullptr || parameters.renderPlane == nullptr ||
      parameters.outputPlane == nullptr) {
    return;
  }
  const Dims render = parameters.renderPlane->GetDims();
  const Dims output = parameters.outputPlane->GetDims();
  if (render.width == output.width && render.height == output.height) return;
  if (output.width == 0 || output.height == 0) return;  // a driver's plane of no size
  // In 32 bits, as devices have always mapped: planes are far too small for this to wrap.
  x = static_cast<unsigned short>(render.width * x / output.width);
  y = static_cast<unsigned short>(y * render.height / output.height);
}

}  // namespace plexion
}  // namespace qx
