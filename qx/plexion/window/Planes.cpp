// Making render plane and output plane, at the size that fits, and taking in those of the host.

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/Proportion.h"

namespace qx {
namespace plexion {

using core::morvellib::MorvelInstance;
using platform::IGraphicsDriver;
using platform::OutputPlane;
using platform::RenderPlane;

namespace {

/// Drops the fraction; what is too large for 32 bits becomes the largest value.
uint32_t Truncated(double value) {
  return value >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<uint32_t>(value);
}

/// `dims` shrunk to `screen` with its proportions kept; dims that fit are returned as they are.
Dims FittedToScreen(const Dims& dims, const Dims& screen) {
  if (screen.width == 0 || screen.height == 0) return dims;
  if (screen.width >= dims.width && screen.height >= dims.height) return dims;
  const double width = dims.width;
  const double height = dims.height;
  Dims fitted{Truncated(width * screen.height / height), screen.height};
  if (screen.width < fitted.width) {
    fitted = Dims{screen.width, Truncated(height * screen.width / width)};
  }
  return fitted;
}

}  // namespace

bool StageWindowImpl::AcquireGraphicsDriver() {
  if (graphicsDriver == nullptr) {
    auto* const acquired =
        static_cast<IGraphicsDriver*>(Kernel()->AcquireModule("IGraphicsDriver"));
    IGraphicsDriver* none = nullptr;
    // Another thread may have been here meanwhile; the window holds the module once.
    if (acquired != nullptr && !graphicsDriver.compare_exchange_strong(none, acquired)) {
      Kernel()->ReleaseModule(acquired);
    }
  }
  return graphicsDriver != nullptr;
}

bool StageWindowImpl::FailWith(StageWindowStatus status) {
  QXLock lock(stateLock);
  errorStatus = status;
  hasErrorStatus = true;
  return false;
}

bool StageWindowImpl::CreatePlanes() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (player == nullptr) return false;
  if (parameters.renderPlane != nullptr &&
      (parameters.outputPlane != nullptr || !parameters.createOutputPlane)) {
    if (parameters.dcts) player->SetRenderPlane(parameters.renderPlane);
    return true;
  }
  // Only loaded content knows its size. Through the interface, which a host may have put itself into.
  StageWindow* self = this;
  if (self->GetStageWindowStatus() == kStatusConfigured) self->LoadMVX();
  if (!AcquireGraphicsDriver()) return FailWith(kErrorModuleUnavailable);

  // Asked once: a resize on another thread that ended between two questions would leave out the
  // render plane, which is then made together with the output plane, for good.
  const bool resizing = resizeInProgress;
  Dims contentDims = parameters.contentDims;
  if (parameters.renderPlane == nullptr) {
    if (!MakeRenderPlane(contentDims, resizing)) return false;
  } else if (contentDims.width == 0 && contentDims.height == 0) {
    contentDims = parameters.renderPlane->GetDims();
  }
  if (parameters.outputPlane == nullptr && parameters.createOutputPlane) {
    if (!MakeOutputPlane(contentDims, resizing)) return false;
  }
  if (parameters.renderPlane != nullptr && !player->SetRenderPlane(parameters.renderPlane)) {
    return FailWith(kErrorOutputPlaneCreationFailure);
  }
  return true;
}

bool StageWindowImpl::MakeRenderPlane(Dims& contentDims, bool resizing) {
  const bool authored = contentDims.width == 0 && contentDims.height == 0;
  if (authored) contentDims = GetMVXAuthoredStageDims();
  if (contentDims.width == 0 || contentDims.height == 0) {
    return FailWith(kErrorRenderPlaneCreationFailure);
  }

  const Dims screen = Driver()->GetScreenDims();
  if (parameters.scaleToFit && authored) {
    const Dims fitted = FittedToScreen(contentDims, screen);
    if (fitted.width != contentDims.width || fitted.height != contentDims.height) {
      // Asked again: the log shows what the player says now, which may have changed with the load.
      const Dims asAuthored = GetMVXAuthoredStageDims();
      Kernel()->Printf(
          "YELLOW ALERT: scaling content dims to fit output device\n"
          "    MVX-authored dims: (%d, %d) scaled content dims: (%d, %d)\n",
          asAuthored.width, asAuthored.height, fitted.width, fitted.height);
      contentDims = fitted;
    }
  }

  if (resizing) return true;  // made together with the output plane, at the new size
  return NewRenderPlane(contentDims, kErrorRenderPlaneCreationFailure);
}

bool StageWindowImpl::NewRenderPlane(const Dims& dims, StageWindowStatus failure) {
  QX_CHECK(runtimeLib != nullptr, "a runtime, since there is a player");
  QX_CHECK(parameters.renderPlane == nullptr, "no render plane yet");
  const uint32_t format =
      parameters.pixelFormat != 0 ? parameters.pixelFormat : runtimeLib->GetDefaultPixelFormat();
  parameters.renderPlane = Driver()->CreateRenderPlane(dims, format, this);
  if (!IsRenderPlaneValid(parameters.renderPlane)) return FailWith(failure);
  ownsRenderPlane = true;
  return true;
}

bool StageWindowImpl::MakeOutputPlane(const Dims& contentDims, bool resizing) {
  const Rect& asked = parameters.outputRect;
  Rect rect = asked;
  const bool defaultPlacement = asked.width == 0 && asked.height == 0;
  if (defaultPlacement) {
    const Dims& outputDims = parameters.outputDims;
    const Dims& dims = outputDims.width != 0 || outputDims.height != 0 ? outputDims : contentDims;
    rect.width = dims.width;
    rect.height = dims.height;
  }
  if (resizing) return MakeBothPlanesResized(contentDims, rect, defaultPlacement);
  return TakeOutputPlane(Driver()->CreateOutputPlane(rect, defaultPlacement, parameters.renderPlane,
                                                     this, OutputPlaneName()));
}

bool StageWindowImpl::MakeBothPlanesResized(const Dims& contentDims, const Rect& rect,
                                            bool defaultPlacement) {
  OutputPlane* outputPlane = nullptr;
  {
    QXLock lock(geometryLock);
    previousOutputRect = rect;
    const Point position =
        movePending ? pendingPoint : Point{parameters.outputRect.x, parameters.outputRect.y};
    const Rect resized{position.x, position.y, pendingDims.width, pendingDims.height};
    resizeInProgress = false;
    movePending = false;
    if (parameters.renderPlane == nullptr) {
      const Dims renderDims{InProportion(contentDims.width, resized.width, rect.width),
                            InProportion(contentDims.height, resized.height, rect.height)};
      // The output plane's failure: it is the one that was asked for, and that there is none of.
      if (!NewRenderPlane(renderDims, kErrorOutputPlaneCreationFailure)) return false;
    }
    outputPlane = Driver()->CreateOutputPlane(resized, defaultPlacement, parameters.renderPlane,
                                              this, OutputPlaneName());
  }
  return TakeOutputPlane(outputPlane);
}

bool StageWindowImpl::TakeOutputPlane(OutputPlane* plane) {
  QX_CHECK(parameters.outputPlane == nullptr, "no output plane yet");
  // Stored before it is looked at: a plane that cannot be drawn on is still there to be asked.
  parameters.outputPlane = plane;
  if (plane == nullptr || plane->GetDrawingContext() == nullptr) {
    return FailWith(kErrorOutputPlaneCreationFailure);
  }
  ownsOutputPlane = true;
  return true;
}

const char* StageWindowImpl::OutputPlaneName() const {
  if (parameters.outputPlaneName != nullptr) return parameters.outputPlaneName;
  if (parameters.contentPath == nullptr) return "";
  const char* name = parameters.contentPath;
  for (const char* at = name; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

bool StageWindowImpl::IsRenderPlaneValid(RenderPlane* plane) {
  if (plane == nullptr || parameters.gl > kGlOff) return false;
  return plane->GetDrawingContext() != nullptr;
}

bool StageWindowImpl::SetRenderPlane(RenderPlane* plane) {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (plane == nullptr || player == nullptr || parameters.renderPlane != nullptr) return false;
  switch (GetStageWindowStatus()) {
    case kStatusConfigured:
      break;
    case kStatusLoaded:
      // The player is past the moment at which it asks the window, so it is told.
      if (!player->SetRenderPlane(plane)) return false;
      break;
    default:
      return false;
  }
  parameters.renderPlane = plane;
  return true;
}

bool StageWindowImpl::ResetRenderPlane(RenderPlane* plane) {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  if (plane == nullptr || player == nullptr) return false;
  switch (GetStageWindowStatus()) {
    case kStatusConfigured:
      break;
    case kStatusLoaded:
    case kStatusReadyToAnimate:
    case kStatusPlaying:
    case kStatusPaused:
      if (!player->ResetRenderPlane(plane)) return false;
      break;
    default:
      return false;
  }
  if (ownsRenderPlane && plane != parameters.renderPlane) {
    replacedRenderPlane = parameters.renderPlane;
    ownsRenderPlane = false;
  } else if (plane == replacedRenderPlane) {
    // Handed back: ours again, and ours to lose when a resize replaces it.
    replacedRenderPlane = nullptr;
    ownsRenderPlane = true;
  }
  parameters.renderPlane = plane;
  return true;
}

bool StageWindowImpl::SetOutputPlane(OutputPlane* plane) {
  QXLock lock(stateLock);
  if (plane == nullptr || Player() == nullptr || parameters.outputPlane != nullptr) return false;
  switch (GetStageWindowStatus()) {
    case kStatusConfigured:
    case kStatusLoaded:
    case kStatusReadyToAnimate:
      parameters.outputPlane = plane;
      return true;
    default:
      return false;
  }
}

RenderPlane* StageWindowImpl::GetRenderPlane() {
  QXLock lock(stateLock);
  return Player() != nullptr ? parameters.renderPlane : nullptr;
}

OutputPlane* StageWindowImpl::GetOutputPlane() {
  QXLock lock(stateLock);
  return Player() != nullptr ? parameters.outputPlane : nullptr;
}

}  // namespace plexion
}  // namespace qx
