#ifndef HOST_GRAPHICS_PIXELSTORE_H_
#define HOST_GRAPHICS_PIXELSTORE_H_

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// The largest width or height of a plane or screen.
constexpr uint32_t kMaxPixelsPerSide = 16384;

inline bool DimsAreSane(const qx::plexion::Dims& dims) {
  return dims.width > 0 && dims.height > 0 && dims.width <= kMaxPixelsPerSide &&
         dims.height <= kMaxPixelsPerSide;
}

/// Memory of a picture: rows of 0xAARRGGBB without padding (some renderers clear whatever a row has
/// beyond its pixels, so it must have nothing), the first aligned to 64 bytes. Movable, not copied.
class PixelStore {
 public:
  PixelStore() = default;

  /// All pixels 0. An empty store when `dims` are out of range or there is no memory.
  static PixelStore Make(const qx::plexion::Dims& dims) {
    PixelStore store;
    if (!DimsAreSane(dims)) return store;
    const size_t bytes = size_t{dims.width} * dims.height * sizeof(uint32_t);
    const bool large = bytes >= kHugePage;
    void* block = nullptr;
    if (posix_memalign(&block, large ? kHugePage : kAlignment, bytes) != 0) return store;
    store.block_.reset(block);
    // Touching a large picture page by page for the first time takes longer than drawing it.
    if (large) madvise(block, bytes & ~(kHugePage - 1), MADV_HUGEPAGE);
    std::memset(block, 0, bytes);
    store.pixels_ = static_cast<uint32_t*>(block);
    store.dims_ = dims;
    return store;
  }

  PixelStore(PixelStore&& other) noexcept { *this = std::move(other); }
  PixelStore& operator=(PixelStore&& other) noexcept {
    block_ = std::move(other.block_);
    pixels_ = other.pixels_;
    dims_ = other.dims_;
    other.pixels_ = nullptr;
    other.dims_ = {0, 0};
    return *this;
  }

  explicit operator bool() const { return pixels_ != nullptr; }
  const qx::plexion::Dims& Dims() const { return dims_; }
  uint32_t PitchBytes() const { return dims_.width * static_cast<uint32_t>(sizeof(uint32_t)); }
  uint64_t Bytes() const { return uint64_t{PitchBytes()} * dims_.height; }
  uint32_t* Pixels() { return pixels_; }
  const uint32_t* Pixels() const { return pixels_; }
  uint32_t* Row(size_t y) { return pixels_ + y * dims_.width; }
  const uint32_t* Row(size_t y) const { return pixels_ + y * dims_.width; }

 private:
  static constexpr size_t kAlignment = 64;
  static constexpr size_t kHugePage = size_t{2} << 20;
  struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
  };
  std::unique_ptr<void, FreeBlock> block_;
  uint32_t* pixels_ = nullptr;
  qx::plexion::Dims dims_{0, 0};
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELSTORE_H_
