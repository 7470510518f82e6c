// The pixels of one plane, drawn by one thread and composed by another.

#ifndef HOST_GRAPHICS_SURFACE_H_
#define HOST_GRAPHICS_SURFACE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "host/base/Mutex.h"
#include "host/graphics/pixels/PixelStore.h"
#include "host/graphics/pixels/Region.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

/// The pixels of one plane, their lock, and drawing into them.
///
/// The lock is recursive. Who draws, copies or composes holds it; who gives the plane another size
/// swaps the storage under it, so nobody is left with memory that has gone.
///
/// Thread   any. Order of locks: that of a copy's source before that of its destination; nothing
///          else of ours is waited for under either.
class Surface final : public qx::platform::DrawingContext {
 public:
  explicit Surface(PixelStore store);

  qx::plexion::Dims GetDims();
  uint32_t GetPitch();
  // Whoever has the plane pairs these, which the compiler cannot see through its interface.
  void* LockPixels(bool forReading) NO_THREAD_SAFETY_ANALYSIS;
  void UnlockPixels() NO_THREAD_SAFETY_ANALYSIS;

  // DrawingContext. Equal sizes: rows are copied, as far as they lie in both planes. Otherwise
  // smooth scaling; the source rectangle must then lie in its plane. False for a source whose
  // pixels are not kPixelFormat32 or cannot be had.
  bool StretchCopy(qx::platform::Plane* source, const qx::plexion::Rect& sourceRect,
                   const qx::plexion::Rect& destinationRect) override;
  void Finish() override {}

  /// `wait` is called before each copy into the surface, without any lock of it. Set before the first.
  void WaitBeforeCopies(std::function<void()> wait) { wait_ = std::move(wait); }

  /// Swaps in `store`, which takes over the old picture, stretched, when `keepPicture`.
  void Replace(PixelStore store, bool keepPicture);

  /// Has its picture in somebody else's `pixels` from now on, as many as its own and in rows without
  /// padding, whose place they are until they are given back; Replace gives them back, too.
  void Borrow(uint32_t* pixels) REQUIRES(mutex_);
  /// Takes the picture along. Needs `pixels` to be still there; nothing of it can fail.
  void GiveBack() REQUIRES(mutex_);
  bool IsBorrowing() const REQUIRES(mutex_) { return static_cast<bool>(own_); }
  /// Whether nothing has ever been drawn: every pixel is transparent.
  bool IsUntouched() const REQUIRES(mutex_) { return untouched_; }

  /// How far beyond its own place a source pixel has been spread by the last copy.
  int32_t GetSpread() const { return spread_; }

  RecursiveMutex& GetMutex() RETURN_CAPABILITY(mutex_) { return mutex_; }
  const PixelStore& Store() const REQUIRES(mutex_) { return store_; }
  /// The rows from `first` to before `last` that have no transparent pixel, as
  /// boxes of full width.
  Region OpaqueRows(int32_t first, int32_t last) const REQUIRES(mutex_);
  bool IsKnownOpaque() const REQUIRES(mutex_);
  bool RowIsKnownOpaque(int32_t y) const REQUIRES(mutex_) {
    return opaqueRow_[static_cast<size_t>(y)] != 0;
  }

 private:
  void CopyRows(const uint8_t* source, uint32_t sourcePitch, const qx::plexion::Dims& sourceDims,
                const qx::plexion::Rect& sourceRect, const qx::plexion::Rect& destinationRect)
      REQUIRES(mutex_);
  bool Scale(const uint32_t* source, uint32_t sourcePitch, const qx::plexion::Dims& sourceDims,
             const qx::plexion::Rect& sourceRect, const qx::plexion::Rect& destinationRect)
      REQUIRES(mutex_);
  void NoteWritten(const Box& box) REQUIRES(mutex_);
  void ForgetOpacity() REQUIRES(mutex_);

  std::function<void()> wait_;  // constant after construction

  RecursiveMutex mutex_;
  PixelStore store_ GUARDED_BY(mutex_);
  PixelStore own_ GUARDED_BY(mutex_);  ///< kept while `store_` is borrowed
  bool untouched_ GUARDED_BY(mutex_) = true;
  std::vector<uint8_t> opaqueRow_ GUARDED_BY(mutex_);  ///< 1: the whole row is known to be opaque

  std::atomic<int32_t> spread_{0};
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_SURFACE_H_
