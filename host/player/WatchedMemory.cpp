// Charges what engines allocate to the window that they play for.

#include "host/player/WatchedMemory.h"

#include <stdlib.h>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

/// As long on every processor: 32-bit ARM faults when a record with numbers of 8 bytes lies at 4.
struct alignas(8) Header {
  qx::plexion::MemoryWatchdog* watchdog;
};

constexpr size_t kAlignment = 8;
static_assert(sizeof(Header) % kAlignment == 0, "what is behind it is as aligned as the block");

// The watchdog counts in 32 bits.
constexpr size_t kLargest = 0x7FFFFFFF;

}  // namespace

void* AllocateWatched(qx::plexion::MemoryWatchdog* watchdog, size_t bytes) {
  if (bytes > kLargest - sizeof(Header)) return nullptr;
  const size_t whole = bytes + sizeof(Header);
  // Without a window (drawing to files, tests) nobody counts.
  void* block = watchdog != nullptr ? watchdog->Alloc(whole, __FILE__, __LINE__) : malloc(whole);
  if (block == nullptr) return nullptr;
  PLEXION_CHECK(reinterpret_cast<uintptr_t>(block) % kAlignment == 0,
                "a watchdog's blocks are aligned to 8");
  Header* header = static_cast<Header*>(block);
  header->watchdog = watchdog;
  return header + 1;
}

void FreeWatched(void* block) {
  if (block == nullptr) return;
  // Where it came from stands in front of it: whoever frees does not know the window any more.
  Header* header = static_cast<Header*>(block) - 1;
  if (header->watchdog != nullptr) {
    header->watchdog->Free(header, __FILE__, __LINE__);
  } else {
    free(header);
  }
}

}  // namespace plexion_host::player
