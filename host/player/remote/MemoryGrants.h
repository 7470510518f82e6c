// What a process uses, on its window's account.

#ifndef HOST_PLAYER_REMOTE_MEMORYGRANTS_H_
#define HOST_PLAYER_REMOTE_MEMORYGRANTS_H_

#include <cstdint>
#include <vector>

#include "host/base/Mutex.h"
#include "qx/plexion/MemoryWatchdog.h"

namespace plexion_host::player::remote {

/// Holds blocks of the window's watchdog for the memory that a process uses beyond what it used before
/// it had content, so that the window's limit holds for it and `status` shows it. Nothing is ever
/// written into the blocks, so that they take addresses and no memory.
///
/// Thread   any.
class MemoryGrants {
 public:
  /// `watchdog` may be null: nothing is counted then.
  explicit MemoryGrants(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}
  MemoryGrants(const MemoryGrants&) = delete;
  MemoryGrants& operator=(const MemoryGrants&) = delete;
  ~MemoryGrants() { SetUsed(0); }

  /// Returns  false when the window's limit does not allow so much; the watchdog has then ended the
  ///          window.
  bool SetUsed(uint64_t bytes);
  /// Asks for a single block that the process was refused, so that the window ends with the same words.
  void Refuse(uint64_t bytes);

 private:
  struct Block {
    void* memory;
    uint64_t bytes;
  };
  qx::plexion::MemoryWatchdog* const watchdog_;
  Mutex mutex_;
  std::vector<Block> blocks_ GUARDED_BY(mutex_);
  uint64_t granted_ GUARDED_BY(mutex_) = 0;
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_MEMORYGRANTS_H_
