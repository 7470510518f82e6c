#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_SURFACEPOOL_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_SURFACEPOOL_H_

#include <stddef.h>

#include <memory>
#include <vector>

#include "host/player/WatchedMemory.h"
#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// Surfaces and planes for groups and masks, used again from frame to frame.
///
/// Life     outlives everything taken from it.
/// Errors   throws std::bad_alloc, also when the watchdog refuses.
/// Thread   one.
class SurfacePool {
 public:
  /// `watchdog` counts the memory; null for none. Borrowed.
  explicit SurfacePool(qx::plexion::MemoryWatchdog* watchdog = nullptr);
  SurfacePool(const SurfacePool&) = delete;
  SurfacePool& operator=(const SurfacePool&) = delete;
  ~SurfacePool();

  class Block;
  /// Gives the memory back to the pool at its end.
  class Lease {
   public:
    Lease();
    Lease(Lease&& other) noexcept;
    Lease& operator=(Lease&& other) noexcept;
    ~Lease();
    Surface surface;    ///< of TakeSurface
    Coverage coverage;  ///< of TakeCoverage

   private:
    friend class SurfacePool;
    SurfacePool* pool_ = nullptr;
    std::unique_ptr<Block> block_;
  };

  /// Transparent all over. Neither side is negative.
  Lease TakeSurface(int width, int height);
  /// 0 all over.
  Lease TakeCoverage(int width, int height);

  /// What the pool holds, lent or not, in bytes.
  size_t Bytes() const { return bytes_; }
  /// Before each frame. Now and then gives back to the system what no frame used for a while; the
  /// while grows until it gives back nothing that is needed again, such as by the next pass.
  void BeginFrame();
  /// Gives back all that is not lent, and from now on keeps for a frame what the one before used.
  void SaveMemory();
  /// Gives back what has not been used since the last call. Returns  whether that was anything.
  bool Trim();

 private:
  Lease Take(size_t bytes);
  void GiveBack(std::unique_ptr<Block> block);
  void Drop(size_t free);

  qx::plexion::MemoryWatchdog* watchdog_;
  std::vector<std::unique_ptr<Block>> free_;
  size_t blocks_ = 0;  ///< blocks, lent or free
  size_t bytes_ = 0;
  unsigned frames_ = 0;   ///< since BeginFrame trimmed
  unsigned window_ = 60;  ///< frames from trimming to trimming
  unsigned mostWindow_;   ///< what it grows to
  bool trimmed_ = false;  ///< something was given back, and nothing was made since
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_SURFACEPOOL_H_
