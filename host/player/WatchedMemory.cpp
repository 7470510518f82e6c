#include "host/player/WatchedMemory.h"

#include <stdlib.h>

namespace plexion_host::player {

namespace {

struct Header {
  qx::plexion::MemoryWatchdog* watchdog;
};

// The watchdog counts in 32 bits.
constexpr size_t kLargest = 0x7FFFFFFF;

}  // namespace

void* AllocateWatched(qx::plexion::MemoryWatchdog* watchdog, size_t bytes) {
  if (bytes > kLargest - sizeof(Header)) return nullptr;
  const size_t whole = bytes + sizeof(Header);
  void* block = watchdog != nullptr ? watchdog->Alloc(whole, __FILE__, __LINE__) : malloc(whole);
  if (block == nullptr) return nullptr;
  Header* header = static_cast<Header*>(block);
  header->watchdog = watchdog;
  return header + 1;
}

void FreeWatched(void* block) {
  if (block == nullptr) return;
  Header* header = static_cast<Header*>(block) - 1;
  if (header->watchdog != nullptr) {
    header->watchdog->Free(header, __FILE__, __LINE__);
  } else {
    free(header);
  }
}

}  // namespace plexion_host::player
