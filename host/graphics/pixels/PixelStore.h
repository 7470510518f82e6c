// A picture's pixels, of our own or of a window.

#ifndef HOST_GRAPHICS_PIXELS_PIXELSTORE_H_
#define HOST_GRAPHICS_PIXELS_PIXELSTORE_H_

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "host/graphics/pixels/SharedMemory.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// The largest width or height of a plane or screen.
constexpr uint32_t kMaxPixelsPerSide = 16384;

inline bool DimsAreSane(const qx::plexion::Dims& dims) {
  return dims.width > 0 && dims.height > 0 && dims.width <= kMaxPixelsPerSide &&
         dims.height <= kMaxPixelsPerSide;
}

struct FreePixels {
  size_t mapped = 0;    ///< bytes of a mapping; 0: a block of the heap
  bool shared = false;  ///< the mapping comes from MapSharedMemory
  void operator()(void* block) const {
    if (mapped == 0) {
      std::free(block);
    } else if (shared) {
      UnmapSharedMemory(block, mapped);
    } else {
      munmap(block, mapped);
    }
  }
};

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
    store.block_ = bytes >= kHugePage ? MapPages(bytes) : Block(std::calloc(1, bytes + kAlignment));
    void* const block = store.block_.get();
    if (block == nullptr) return store;
    const size_t misplaced = reinterpret_cast<uintptr_t>(block) % kAlignment;
    store.pixels_ = reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(block) +
                                                (misplaced == 0 ? 0 : kAlignment - misplaced));
    store.dims_ = dims;
    return store;
  }

  /// The same, in memory that another process can be given to draw into. Where the system has none of
  /// that kind it is memory of this process alone.
  static PixelStore MakeShared(const qx::plexion::Dims& dims) {
    PixelStore store;
    if (!DimsAreSane(dims)) return store;
    const size_t bytes = size_t{dims.width} * dims.height * sizeof(uint32_t);
    void* const pixels = MapSharedMemory(bytes);
    if (pixels == nullptr) return Make(dims);
    store.block_ = Block(pixels, FreePixels{bytes, true});
    store.pixels_ = static_cast<uint32_t*>(pixels);
    store.dims_ = dims;
    return store;
  }

  /// Somebody else's pixels, rows without padding, which must outlive the store.
  static PixelStore Over(uint32_t* pixels, const qx::plexion::Dims& dims) {
    PixelStore store;
    store.pixels_ = pixels;
    store.dims_ = dims;
    return store;
  }

  /// Gives the memory of pixels that nobody needs back to the system, but not their place: drawing
  /// there later needs nothing that could be refused. All pixels are 0 or as they were.
  void ForgetPixels() {
    const FreePixels& block = block_.get_deleter();
    if (block.mapped > 0 && !block.shared) madvise(block_.get(), block.mapped, MADV_DONTNEED);
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
  static constexpr size_t kSmallPage = 4096;
  static constexpr size_t kHugePage = size_t{2} << 20;

  using Block = std::unique_ptr<void, FreePixels>;

  /// Fresh pages, which are 0 already. Touching a large picture for the first time, small page by
  /// small page, takes longer than drawing it: it gets huge ones, also for its end unless they
  /// would be mostly wasted there.
  static Block MapPages(size_t bytes) {
    const size_t whole = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    const size_t wanted =
        whole - bytes <= bytes / 8 ? whole : (bytes + kSmallPage - 1) / kSmallPage * kSmallPage;
    const size_t mapped = wanted + kHugePage;  // room to align
    void* const pages =
        mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return Block();
    auto* const start = static_cast<uint8_t*>(pages);
    const size_t before = kHugePage - reinterpret_cast<uintptr_t>(pages) % kHugePage;
    munmap(start, before);
    if (before < kHugePage) munmap(start + before + wanted, kHugePage - before);
    madvise(start + before, wanted / kHugePage * kHugePage, MADV_HUGEPAGE);
    return Block(start + before, FreePixels{wanted});
  }

  Block block_;
  uint32_t* pixels_ = nullptr;
  qx::plexion::Dims dims_{0, 0};
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_PIXELSTORE_H_
