// The window's limit, as far as the content's own process can hold it.

#ifndef HOST_CONTENT_CONTENTMEMORY_H_
#define HOST_CONTENT_CONTENTMEMORY_H_

#include <atomic>
#include <cstdint>
#include <functional>

#include "qx/plexion/MemoryWatchdog.h"

namespace plexion_host::content {

/// Counts what the engines allocate for the content, so that what is larger than the window's limit
/// is refused before it is there. The launcher counts what the process uses in truth.
///
/// Thread   any.
class ContentMemory final : public qx::plexion::MemoryWatchdog {
 public:
  /// `refused` hears of each block that is not given out.
  explicit ContentMemory(std::function<void(uint64_t bytes)> refused)
      : refused_(std::move(refused)) {}

  /// Before the first block.
  void SetLimit(uint64_t bytes) { limit_ = bytes; }

  void* Alloc(unsigned long size, const char* file, unsigned long line) override;
  void Free(void* block, const char* file, unsigned long line) override;
  unsigned long GetBytesUsed() override { return static_cast<unsigned long>(used_.load()); }
  unsigned long GetBytesAvailable() override;

 private:
  const std::function<void(uint64_t bytes)> refused_;
  uint64_t limit_ = UINT64_MAX;
  std::atomic<uint64_t> used_{0};
};

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_CONTENTMEMORY_H_
