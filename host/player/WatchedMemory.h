#ifndef HOST_PLAYER_WATCHEDMEMORY_H_
#define HOST_PLAYER_WATCHEDMEMORY_H_

#include <stddef.h>
#include <stdint.h>

#include "qx/plexion/MemoryWatchdog.h"

namespace plexion_host::player {

/// A block from the window's memory watchdog, or from the process when there is none. Remembers the
/// watchdog in front of the block, so that Free needs none.
///
/// Returns  null when the watchdog refuses (the window is then ending) or memory is short.
///          Aligned to 8 bytes.
void* AllocateWatched(qx::plexion::MemoryWatchdog* watchdog, size_t bytes);
/// Null does nothing.
void FreeWatched(void* block);

/// A buffer of watched memory of one size.
class WatchedBuffer {
 public:
  WatchedBuffer() = default;
  WatchedBuffer(const WatchedBuffer&) = delete;
  WatchedBuffer& operator=(const WatchedBuffer&) = delete;
  ~WatchedBuffer() { FreeWatched(data_); }

  /// Gives up the old contents. Returns  false when there is no memory; the buffer is then empty.
  bool Resize(qx::plexion::MemoryWatchdog* watchdog, size_t bytes) {
    FreeWatched(data_);
    data_ = bytes == 0 ? nullptr : AllocateWatched(watchdog, bytes);
    size_ = data_ == nullptr ? 0 : bytes;
    return size_ == bytes;
  }

  size_t Size() const { return size_; }
  void* Data() { return data_; }
  template <typename T>
  T* As() {
    return static_cast<T*>(data_);
  }
  template <typename T>
  const T* As() const {
    return static_cast<const T*>(data_);
  }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_WATCHEDMEMORY_H_
