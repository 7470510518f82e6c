#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_ARENA_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_ARENA_H_

#include <stddef.h>
#include <stdint.h>

#include <new>
#include <string_view>
#include <type_traits>
#include <vector>

#include "host/player/WatchedMemory.h"

namespace plexion_host::movie {

/// A list inside of an arena; whoever reads it owns nothing.
template <typename T>
struct Span {
  const T* data = nullptr;
  uint32_t count = 0;

  const T* begin() const { return data; }
  const T* end() const { return data + count; }
  const T& operator[](size_t index) const { return data[index]; }
  bool empty() const { return count == 0; }
};

/// Memory of one document, from the window's watchdog: many small records, given back together.
///
/// Owns     every record until it is destroyed itself; records have no destructors.
/// Errors   throws std::bad_alloc when the watchdog refuses.
class Arena {
 public:
  explicit Arena(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() {
    for (void* chunk : chunks_) player::FreeWatched(chunk);
  }

  void* Allocate(size_t bytes) {
    bytes = (bytes + 7) & ~size_t{7};
    if (bytes > left_) Grow(bytes);
    void* block = next_;
    next_ += bytes;
    left_ -= bytes;
    return block;
  }

  template <typename T, typename... Arguments>
  T* New(Arguments&&... arguments) {
    static_assert(std::is_trivially_destructible_v<T>);
    return new (Allocate(sizeof(T))) T{static_cast<Arguments&&>(arguments)...};
  }

  template <typename T>
  T* NewArray(size_t count) {
    static_assert(std::is_trivially_destructible_v<T>);
    T* items = static_cast<T*>(Allocate(count * sizeof(T)));
    for (size_t i = 0; i < count; ++i) new (items + i) T();
    return items;
  }

  template <typename T>
  Span<T> Copy(const std::vector<T>& items) {
    T* copies = NewArray<T>(items.size());
    for (size_t i = 0; i < items.size(); ++i) copies[i] = items[i];
    return {copies, static_cast<uint32_t>(items.size())};
  }

  std::string_view CopyText(std::string_view text);

  size_t SizeBytes() const { return sizeBytes_; }
  qx::plexion::MemoryWatchdog* Watchdog() const { return watchdog_; }

 private:
  void Grow(size_t bytes);

  qx::plexion::MemoryWatchdog* watchdog_;
  std::vector<void*> chunks_;
  char* next_ = nullptr;
  size_t left_ = 0;
  size_t sizeBytes_ = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_ARENA_H_
