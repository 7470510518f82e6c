// From the render plane to the screen, on the player's thread, once for each drawn frame.

#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/Proportion.h"
#include "qx/plexion/parts/StretchCopy.h"

namespace qx {
namespace plexion {

using platform::DrawingContext;
using platform::OutputPlane;
using platform::RenderPlane;

namespace {

/// Copies in software. Returns  false, with nothing copied, for planes that it does not understand.
bool CopyInSoftware(RenderPlane* source, const Rect& sourceRect, OutputPlane* destination,
                    const Rect& destinationRect) {
  // What the player drew with the hardware must be in memory before it is read.
  DrawingContext* drawing = source->GetDrawingContext();
  if (drawing != nullptr) drawing->Finish();
  if (source->GetPixelFormat() != platform::kPixelFormat32 ||
      destination->GetPixelFormat() != platform::kPixelFormat32) {
    return false;
  }
  const void* from = source->LockPixels(true);
  void* to = destination->LockPixels(false);
  const bool locked = from != nullptr && to != nullptr;
  if (locked) {
    StretchCopy32(from, source->GetPitch(), sourceRect, source->GetDims(), to,
                  destination->GetPitch(), destinationRect, destination->GetDims());
  }
  if (to != nullptr) destination->UnlockPixels();
  if (from != nullptr) source->UnlockPixels();
  return locked;
}

}  // namespace

void StageWindowImpl::OnRenderPlaneUpdate(const Rect& dirty) {
  OutputPlane* output = parameters.outputPlane;
  RenderPlane* render = parameters.renderPlane;
  if (output == nullptr || render == nullptr || !output->IsVisible()) return;

  const Dims from = render->GetDims();
  const Dims to = output->GetDims();
  const bool sameSize = from.width == to.width && from.height == to.height;
  // A stretched picture is copied whole: a part of it would not meet its surroundings exactly.
  const Rect source = sameSize ? dirty : Rect{0, 0, from.width, from.height};
  const Rect destination = sameSize ? dirty : Rect{0, 0, to.width, to.height};

  DrawingContext* drawing = output->GetDrawingContext();
  const bool copied = (drawing != nullptr && drawing->StretchCopy(render, source, destination)) ||
                      CopyInSoftware(render, source, output, destination);
  if (copied) {
    Rect shown = dirty;
    if (!sameSize) {
      shown = Rect{InProportion(dirty.x, to.width, from.width),
                   InProportion(dirty.y, to.height, from.height),
                   InProportion(dirty.width, to.width, from.width),
                   InProportion(dirty.height, to.height, from.height)};
    }
    output->ShowRegion(shown);
  }

  if (hasNotifiers) {
    const StageWindowStatusData data{&dirty, nullptr, 0, 0.0};
    NotifyObservers(kInfoOutputPlaneUpdated, &data);
  }
}

}  // namespace plexion
}  // namespace qx
