#ifndef HOST_PLAYER_LOTTIE_SCENE_MEMORYCHARGE_H_
#define HOST_PLAYER_LOTTIE_SCENE_MEMORYCHARGE_H_

#include <stddef.h>

#include "host/player/WatchedMemory.h"

namespace plexion_host::movie {

/// Counts against a window what lists and outlines hold, which come from the process. The watchdog
/// counts its blocks only, so a block of their size stands for them; nobody writes to it, so it costs
/// addresses and no memory.
///
/// Thread   one.
class MemoryCharge {
 public:
  /// `watchdog` may be null: nothing is counted then. Borrowed.
  explicit MemoryCharge(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// From now on `bytes` are counted, in steps of kStep.
  /// Returns  false when the watchdog refuses; nothing is counted then.
  bool Set(size_t bytes) {
    // Below a step it is the process's own small change.
    const size_t wanted = bytes / kStep * kStep;
    if (watchdog_ == nullptr || wanted == block_.Size()) return true;
    return block_.Resize(watchdog_, 0) && block_.Resize(watchdog_, wanted);
  }

  static constexpr size_t kStep = size_t{256} * 1024;

 private:
  qx::plexion::MemoryWatchdog* watchdog_;
  player::WatchedBuffer block_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_MEMORYCHARGE_H_
