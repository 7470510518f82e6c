// Whose pixels the picture of a Screen is made in: those of a window, and for a plane that is all of it, the same.

#include <memory>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/graphics/Screen.h"
#include "host/graphics/pixels/PixelRows.h"

namespace plexion_host {

using qx::plexion::Dims;

namespace {

/// After a plane turned out to have transparent pixels: one that has some now and then would be copied
/// to and fro, which costs more than composing it.
constexpr int kComposedUntilNext = 30;

Box WholeOf(const Dims& dims) { return ClipRect({0, 0, dims.width, dims.height}, 0, 0, dims); }

bool Covers(const Placement& placement, const Dims& screen) {
  return placement.CanBeSeen() && placement.alpha == 255 && !placement.clip &&
         placement.rect.x == 0 && placement.rect.y == 0 && placement.rect.width == screen.width &&
         placement.rect.height == screen.height;
}

}  // namespace

void Screen::FillBlank() {
  if (!std::exchange(blank_, false)) return;
  FillRow(picture_.Pixels(), kOpaqueBlack, picture_.Bytes() / sizeof(uint32_t));
}

void Screen::UseCanvas(uint32_t* pixels) {
  const RecursiveMutexLock composeLock(composeMutex_);
  if (pixels != canvas_) {
    TakeBackAndCompose();
    const Dims dims = GetDims();
    PixelStore next = pixels != nullptr ? PixelStore::Over(pixels, dims) : PixelStore::Make(dims);
    // Without memory for it the picture is one of no pixels until the next canvas.
    if (next && picture_ && !blank_)
      CopyRow(next.Pixels(), picture_.Pixels(), next.Bytes() / sizeof(uint32_t));
    picture_ = std::move(next);
    canvas_ = pixels;
  }
  LendToFirst();
}

void Screen::ExpectCanvas(bool expects) {
  const MutexLock lock(expectMutex_);
  expects_ = expects;
  expectationEnds_.NotifyAll();
}

void Screen::AwaitCanvas() {
  MutexLock lock(expectMutex_);
  expectationEnds_.Wait(lock, [this]() REQUIRES(expectMutex_) { return !expects_; });
}

void Screen::SetLending(bool lends) {
  const RecursiveMutexLock composeLock(composeMutex_);
  lends_ = lends;
  if (!lends_) TakeBackAndCompose();
}

/// A plane that nothing was drawn on yet, above nothing at all: what is drawn first is composed then
/// without a copy, and needs no memory twice.
void Screen::LendToFirst() {
  if (!lends_ || presenting_ || canvas_ == nullptr || lent_.lock() != nullptr) return;
  std::shared_ptr<ScreenPlane> only;
  {
    const MutexLock lock(stateMutex_);
    if (updateDepth_ > 0 || !damage_.Empty() || ground_ != kOpaqueBlack) return;
    for (const auto& plane : stack_) {
      if (!StateOf(*plane).placement.CanBeSeen()) continue;
      if (only != nullptr || !Covers(StateOf(*plane).placement, dims_)) return;
      only = plane;
    }
  }
  if (only == nullptr) return;
  Surface& surface = only->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  if (surface.IsUntouched()) LendTo(only);
}

/// Returns  false for a surface that has just been given another size.
bool Screen::LendTo(const std::shared_ptr<ScreenPlane>& plane) {
  Surface& surface = plane->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  const Dims& dims = surface.Store().Dims();
  if (dims.width != picture_.Dims().width || dims.height != picture_.Dims().height) return false;
  surface.Borrow(picture_.Pixels());
  blank_ = false;
  lent_ = plane;
  return true;
}

bool Screen::Lend(const std::vector<Layer>& layers, Region& damage) {
  if (lendAfter_ > 0) --lendAfter_;
  const bool covers = !layers.empty() && Covers(layers.back().placement, picture_.Dims());
  const std::shared_ptr<ScreenPlane> lent = lent_.lock();
  if (lent != nullptr) {
    Surface& surface = lent->GetSurface();
    const RecursiveMutexLock pixelLock(surface.GetMutex());
    const bool opaque = surface.IsKnownOpaque();
    if (covers && layers.back().plane == lent && opaque && surface.IsBorrowing()) return true;
    if (!opaque) lendAfter_ = kComposedUntilNext;
    if (TakeBack()) damage.Add(WholeOf(picture_.Dims()));
  }
  if (!covers || !lends_ || lendAfter_ > 0 || !picture_) return false;
  Surface& surface = layers.back().plane->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  return surface.IsKnownOpaque() && LendTo(layers.back().plane);
}

bool Screen::TakeBack() {
  const std::shared_ptr<ScreenPlane> lent = lent_.lock();
  lent_.reset();
  if (lent == nullptr) return false;
  Surface& surface = lent->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  if (!surface.IsBorrowing()) return false;
  surface.GiveBack();
  return !surface.IsKnownOpaque();
}

void Screen::TakeBackAndCompose() {
  if (!TakeBack()) return;
  const MutexLock lock(stateMutex_);
  AddDamage(WholeOf(dims_));
}

bool Screen::ShowLent(const Presenter& presenter, const Region& changed) {
  const std::shared_ptr<ScreenPlane> lent = lent_.lock();
  if (lent == nullptr) {
    presenter(picture_, changed);
    return true;
  }
  // Nothing may be drawn there while it is shown.
  Surface& surface = lent->GetSurface();
  const RecursiveMutexLock pixelLock(surface.GetMutex());
  if (!surface.IsBorrowing() || !surface.IsKnownOpaque()) return false;
  presenter(picture_, changed);
  return true;
}

}  // namespace plexion_host
