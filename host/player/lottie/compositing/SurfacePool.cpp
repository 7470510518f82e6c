// Keeps the memory of group surfaces from frame to frame.

#include "host/player/lottie/compositing/SurfacePool.h"

#include <string.h>

#include <algorithm>
#include <new>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {
/// A pass of the longest movie.
constexpr unsigned kLongestWindow = 1u << 17;
}  // namespace

class SurfacePool::Block {
 public:
  Block(qx::plexion::MemoryWatchdog* watchdog, size_t bytes) {
    if (!words.Resize(watchdog, bytes)) throw std::bad_alloc();
  }
  size_t Bytes() const { return words.Size(); }
  player::WatchedBuffer words;
  bool used = true;  ///< since the last Trim
};

SurfacePool::SurfacePool(qx::plexion::MemoryWatchdog* watchdog)
    : watchdog_(watchdog), mostWindow_(kLongestWindow) {}
SurfacePool::~SurfacePool() = default;

SurfacePool::Lease::Lease() = default;

SurfacePool::Lease::Lease(Lease&& other) noexcept
    : surface(std::exchange(other.surface, {})),
      coverage(std::exchange(other.coverage, {})),
      pool_(std::exchange(other.pool_, nullptr)),
      block_(std::move(other.block_)) {}

SurfacePool::Lease& SurfacePool::Lease::operator=(Lease&& other) noexcept {
  std::swap(surface, other.surface);
  std::swap(coverage, other.coverage);
  std::swap(pool_, other.pool_);
  std::swap(block_, other.block_);
  return *this;
}

SurfacePool::Lease::~Lease() {
  PLEXION_CHECK(block_ == nullptr || pool_ != nullptr, "a block belongs to a pool");
  if (block_) pool_->GiveBack(std::move(block_));
}

SurfacePool::Lease SurfacePool::TakeSurface(int width, int height) {
  PLEXION_CHECK(width >= 0 && height >= 0, "a surface has a size");
  const size_t stride = static_cast<size_t>(width) * 4;
  Lease lease = Take(stride * static_cast<size_t>(height));
  lease.surface = {lease.block_->words.As<uint32_t>(), width, height, stride};
  return lease;
}

SurfacePool::Lease SurfacePool::TakeCoverage(int width, int height) {
  PLEXION_CHECK(width >= 0 && height >= 0, "a plane has a size");
  const auto stride = static_cast<size_t>(width);
  Lease lease = Take(stride * static_cast<size_t>(height));
  lease.coverage = {lease.block_->words.As<uint8_t>(), width, height, stride};
  return lease;
}

SurfacePool::Lease SurfacePool::Take(size_t bytes) {
  // Whole pages, so that sizes that vary a little fit the same block.
  const size_t needed = (bytes / 4096 + 1) * 4096;
  size_t best = free_.size();
  for (size_t i = 0; i < free_.size(); ++i) {
    const size_t size = free_[i]->Bytes();
    if (size >= needed && (best == free_.size() || size < free_[best]->Bytes())) best = i;
  }
  Lease lease;
  lease.pool_ = this;
  // A block far too large is left to whoever needs it.
  if (best < free_.size() && free_[best]->Bytes() / 4 <= needed) {
    lease.block_ = std::move(free_[best]);
    free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(best));
  } else {
    // What grows from frame to frame takes the place of what it was, instead of one more each time.
    size_t outgrown = free_.size();
    for (size_t i = 0; i < free_.size(); ++i) {
      const size_t size = free_[i]->Bytes();
      if (size < needed && (outgrown == free_.size() || size > free_[outgrown]->Bytes())) {
        outgrown = i;
      }
    }
    if (outgrown < free_.size()) Drop(outgrown);
    // Given back for nothing: whoever needs it comes around more slowly than this looks.
    if (std::exchange(trimmed_, false)) window_ = std::min(window_ * 2, mostWindow_);
    // Room for all that is lent, so that giving back never allocates.
    free_.reserve(blocks_ + 1);
    lease.block_ = std::make_unique<Block>(watchdog_, needed);
    ++blocks_;
    bytes_ += needed;
  }
  memset(lease.block_->words.Data(), 0, bytes);
  lease.block_->used = true;
  return lease;
}

void SurfacePool::GiveBack(std::unique_ptr<Block> block) { free_.push_back(std::move(block)); }

void SurfacePool::Drop(size_t free) {
  PLEXION_CHECK(free < free_.size(), "only what is not lent can go");
  bytes_ -= free_[free]->Bytes();
  free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(free));
  --blocks_;
}

void SurfacePool::BeginFrame() {
  if (++frames_ < window_) return;
  frames_ = 0;
  if (Trim()) trimmed_ = true;
}

void SurfacePool::SaveMemory() {
  window_ = mostWindow_ = 1;
  while (!free_.empty()) Drop(free_.size() - 1);
}

bool SurfacePool::Trim() {
  const size_t before = free_.size();
  for (size_t i = free_.size(); i-- > 0;) {
    if (!std::exchange(free_[i]->used, false)) Drop(i);
  }
  return free_.size() < before;
}

}  // namespace plexion_host::movie
