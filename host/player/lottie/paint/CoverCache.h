#ifndef HOST_PLAYER_LOTTIE_PAINT_COVERCACHE_H_
#define HOST_PLAYER_LOTTIE_PAINT_COVERCACHE_H_

#include <stdint.h>

#include <vector>

#include "host/player/WatchedMemory.h"
#include "host/player/lottie/raster/KeptCover.h"

namespace plexion_host::movie {

/// Keeps which pixels a shape covers while it rests, so that only its colours are worked out anew:
/// light that travels along a stroke, or a shape above or below of which something moves.
///
/// Order    BeginFrame for each frame, Find for each shape in it, Keep where Find says that it rests.
/// Life     what no frame has asked for in a while goes. All is in the window's memory, at most
///          kMostBytes of it, and nothing where that is scarce.
/// Errors   throws std::bad_alloc, and is as it was then. Thread: one.
class CoverCache {
 public:
  static constexpr size_t kMostBytes = 4u << 20;
  static constexpr size_t kMostForShape = 512u << 10;
  /// Frames; what rests while something else is seen is found again.
  static constexpr uint32_t kForgottenAfter = 60;

  explicit CoverCache(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}
  CoverCache(const CoverCache&) = delete;
  CoverCache& operator=(const CoverCache&) = delete;
  ~CoverCache();

  void BeginFrame();

  /// What is kept of shape `key` with the outline `look`, in pixels of the plane; null when that is
  /// nothing. `rests`: it was the same in a frame before, and Keep has not been tried.
  const KeptCover* Find(uint64_t key, uint64_t look, bool& rests);
  /// Keeps what was recorded of shape `key`, of which Find has just said that it rests.
  /// Returns  null when there is no room for it; else what lives until the next BeginFrame.
  const KeptCover* Keep(uint64_t key, const CoverRecorder& recorder);

  /// Gives back what is kept, and keeps a quarter at most from now on. Between two frames.
  void SaveMemory();

  size_t Bytes() const { return bytes_; }

 private:
  struct Entry {
    bool taken = false;
    bool tried = false;
    uint32_t since = 0;  ///< the frame in which it was first seen as it is
    uint32_t used = 0;   ///< the last frame that asked for it
    uint64_t key = 0;
    uint64_t look = 0;
    KeptCover cover;
    void* memory = nullptr;
    size_t bytes = 0;
  };

  static Entry& Place(std::vector<Entry>& table, uint64_t key);
  void Free(Entry& entry);
  void Rebuild(size_t size);

  qx::plexion::MemoryWatchdog* watchdog_;
  std::vector<Entry> table_;  ///< half empty at least; its size is a power of two
  std::vector<Entry> spare_;  ///< as large, for the next Rebuild
  size_t taken_ = 0;
  size_t bytes_ = 0;
  size_t most_ = kMostBytes;
  uint32_t frame_ = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_COVERCACHE_H_
