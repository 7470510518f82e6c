// Locks, copies and counts the pixels of one plane.

#include "host/graphics/Surface.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "host/base/Check.h"
#include "host/graphics/pixels/PixelRows.h"
#include "host/graphics/pixels/Scaler.h"

namespace plexion_host {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

/// Pixels of another's plane whose rows do not begin at whole words, as its contract allows, put
/// where our loops can read them. Empty when they can be read where they are.
PixelStore Aligned(const void* pixels, uint32_t pitch, const Dims& dims) {
  constexpr size_t kWord = sizeof(uint32_t);
  if (pitch % kWord == 0 && reinterpret_cast<uintptr_t>(pixels) % kWord == 0) return PixelStore();
  PixelStore store = PixelStore::Make(dims);
  for (uint32_t y = 0; store && y < dims.height; ++y) {
    std::memcpy(store.Row(y), static_cast<const uint8_t*>(pixels) + size_t{y} * pitch,
                dims.width * kWord);
  }
  return store;
}

}  // namespace

Surface::Surface(PixelStore store)
    : store_(std::move(store)), opaqueRow_(store_.Dims().height, 0) {}

Dims Surface::GetDims() {
  const RecursiveMutexLock lock(mutex_);
  return store_.Dims();
}

uint32_t Surface::GetPitch() {
  const RecursiveMutexLock lock(mutex_);
  return store_.PitchBytes();
}

void* Surface::LockPixels(bool forReading) {
  mutex_.Lock();
  // Nobody tells which rows are written from here on, so none is known to be opaque any more.
  if (!forReading) {
    ForgetOpacity();
    untouched_ = false;
  }
  return store_.Pixels();
}

void Surface::UnlockPixels() { mutex_.Unlock(); }

bool Surface::StretchCopy(qx::platform::Plane* source, const Rect& sourceRect,
                          const Rect& destinationRect) {
  if (source == nullptr || source->GetPixelFormat() != qx::platform::kPixelFormat32) return false;
  if (wait_ != nullptr) wait_();
  const void* pixels = source->LockPixels(true);
  bool done = false;
  if (pixels != nullptr) {
    // Asked for under the lock: the plane may just have been given another size.
    const Dims sourceDims = source->GetDims();
    uint32_t pitch = source->GetPitch();
    const PixelStore aligned = Aligned(pixels, pitch, sourceDims);
    if (aligned) {
      pixels = aligned.Pixels();
      pitch = aligned.PitchBytes();
    }
    const RecursiveMutexLock lock(mutex_);
    untouched_ = false;
    if (sourceRect.width == destinationRect.width && sourceRect.height == destinationRect.height) {
      CopyRows(static_cast<const uint8_t*>(pixels), pitch, sourceDims, sourceRect, destinationRect);
      spread_ = 0;
      done = true;
      // A plane cannot be stretched into itself: rows would be read after they were written.
    } else if (pixels != store_.Pixels()) {
      done = Scale(static_cast<const uint32_t*>(pixels), pitch, sourceDims, sourceRect,
                   destinationRect);
    }
  }
  // A plane that hands out no pixels may still be locked; its own contract pairs the calls.
  source->UnlockPixels();
  return done;
}

void Surface::CopyRows(const uint8_t* source, uint32_t sourcePitch, const Dims& sourceDims,
                       const Rect& sourceRect, const Rect& destinationRect) {
  // The part of the destination that lies in both planes.
  const int64_t dx =
      int64_t{static_cast<int32_t>(destinationRect.x)} - static_cast<int32_t>(sourceRect.x);
  const int64_t dy =
      int64_t{static_cast<int32_t>(destinationRect.y)} - static_cast<int32_t>(sourceRect.y);
  const Box from = ClipRect(sourceRect, 0, 0, sourceDims);
  if (IsEmpty(from)) return;
  const Rect inside{static_cast<uint32_t>(from.x1), static_cast<uint32_t>(from.y1),
                    static_cast<uint32_t>(from.x2 - from.x1),
                    static_cast<uint32_t>(from.y2 - from.y1)};
  const Box to = ClipRect(inside, dx, dy, store_.Dims());
  if (IsEmpty(to)) return;
  const size_t count = static_cast<size_t>(to.x2 - to.x1);
  const bool wholeRows = to.x1 == 0 && to.x2 == static_cast<int32_t>(store_.Dims().width);
  const bool withinPlane = source == reinterpret_cast<const uint8_t*>(store_.Pixels());
  const auto copyRow = [&](int32_t y) REQUIRES(mutex_) {
    const uint8_t* row = source + static_cast<size_t>(y - dy) * sourcePitch;
    uint32_t* const destination = store_.Row(static_cast<size_t>(y)) + to.x1;
    const uint32_t* const pixels = reinterpret_cast<const uint32_t*>(row) + (to.x1 - dx);
    uint8_t& opaque = opaqueRow_[static_cast<size_t>(y)];
    if (withinPlane) {
      CopyRow(destination, pixels, count);
      NoteWritten({to.x1, y, to.x2, y + 1});
    } else if (wholeRows || opaque != 0) {
      opaque = CopyRowIsOpaque(destination, pixels, count) ? 1 : 0;
    } else {
      CopyRow(destination, pixels, count);
    }
  };
  if (dy > 0) {  // within one plane rows would otherwise be overwritten before they are read
    for (int32_t y = to.y2 - 1; y >= to.y1; --y) copyRow(y);
  } else {
    for (int32_t y = to.y1; y < to.y2; ++y) copyRow(y);
  }
}

bool Surface::Scale(const uint32_t* source, uint32_t sourcePitch, const Dims& sourceDims,
                    const Rect& sourceRect, const Rect& destinationRect) {
  if (sourceRect.width == 0 || sourceRect.height == 0 ||
      uint64_t{sourceRect.x} + sourceRect.width > sourceDims.width ||
      uint64_t{sourceRect.y} + sourceRect.height > sourceDims.height) {
    return false;
  }
  const Box clip = ClipRect(destinationRect, 0, 0, store_.Dims());
  if (!ScalePixels({source, sourcePitch, sourceDims}, sourceRect,
                   {store_.Pixels(), store_.PitchBytes(), store_.Dims()}, destinationRect, clip)) {
    return false;
  }
  spread_ = ScaleSpread(sourceRect, destinationRect);
  NoteWritten(clip);
  return true;
}

void Surface::Replace(PixelStore store, bool keepPicture) {
  const RecursiveMutexLock lock(mutex_);
  const PixelStore old = std::move(store_);
  own_ = PixelStore();
  store_ = std::move(store);
  opaqueRow_.assign(store_.Dims().height, 0);
  PLEXION_CHECK(static_cast<bool>(store_), "a plane never is without pixels");
  if (!keepPicture) return;
  const Dims from = old.Dims();
  const Dims to = store_.Dims();
  Scale(old.Pixels(), old.PitchBytes(), from, {0, 0, from.width, from.height},
        {0, 0, to.width, to.height});
}

void Surface::Borrow(uint32_t* pixels) {
  PLEXION_CHECK(!IsBorrowing(), "only one place at a time is borrowed");
  own_ = std::move(store_);
  store_ = PixelStore::Over(pixels, own_.Dims());
  const size_t count = store_.Bytes() / sizeof(uint32_t);
  if (untouched_) {
    FillRow(pixels, 0, count);
  } else {
    CopyRow(pixels, own_.Pixels(), count);
    own_.ForgetPixels();
  }
}

void Surface::GiveBack() {
  PLEXION_CHECK(IsBorrowing(), "what is given back was borrowed");
  if (!untouched_) CopyRow(own_.Pixels(), store_.Pixels(), store_.Bytes() / sizeof(uint32_t));
  store_ = std::move(own_);
}

bool Surface::IsKnownOpaque() const {
  return std::find(opaqueRow_.begin(), opaqueRow_.end(), 0) == opaqueRow_.end();
}

Region Surface::OpaqueRows(int32_t first, int32_t last) const {
  Region region;
  const int32_t width = static_cast<int32_t>(store_.Dims().width);
  const int32_t stop = std::min(last, static_cast<int32_t>(opaqueRow_.size()));
  for (int32_t y = std::max(first, 0); y < stop;) {
    int32_t runEnd = y;
    while (runEnd < stop && opaqueRow_[static_cast<size_t>(runEnd)] != 0) ++runEnd;
    region.Add({0, y, width, runEnd});
    y = std::max(runEnd, y + 1);
  }
  return region;
}

void Surface::NoteWritten(const Box& box) {
  if (IsEmpty(box)) return;
  const bool wholeRows = box.x1 == 0 && box.x2 == static_cast<int32_t>(store_.Dims().width);
  for (int32_t y = box.y1; y < box.y2; ++y) {
    const size_t row = static_cast<size_t>(y);
    // A part that is opaque says nothing of the rest of a row that was not.
    if (!wholeRows && opaqueRow_[row] == 0) continue;
    opaqueRow_[row] =
        RowIsOpaque(store_.Row(row) + box.x1, static_cast<size_t>(box.x2 - box.x1)) ? 1 : 0;
  }
}

void Surface::ForgetOpacity() { std::fill(opaqueRow_.begin(), opaqueRow_.end(), uint8_t{0}); }

}  // namespace plexion_host
