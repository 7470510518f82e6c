// Makes sealed shared memory, and remembers the descriptors by address.

#include "host/graphics/pixels/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>

#include "host/base/Check.h"
#include "host/base/Mutex.h"

namespace plexion_host {
namespace {

/// What a plane on any screen takes. Larger ones, which only lying content asks for, get their pages
/// as they are drawn on, so that asking costs nothing.
constexpr size_t kMostPopulated = size_t{64} << 20;

/// All of this library. A table of its own, so that nobody who looks something up waits for a plane
/// that is being drawn into.
class Table {
 public:
  void Add(const void* memory, int descriptor, size_t bytes) {
    const MutexLock lock(mutex_);
    entries_[memory] = {descriptor, ++lastId_, bytes};
  }
  bool Find(const void* memory, SharedPixels& shared) {
    const MutexLock lock(mutex_);
    const auto entry = entries_.find(memory);
    if (entry == entries_.end()) return false;
    shared = entry->second;
    return true;
  }
  SharedPixels Take(const void* memory) {
    const MutexLock lock(mutex_);
    const auto entry = entries_.find(memory);
    PLEXION_CHECK(entry != entries_.end(), "shared memory is given back once");
    const SharedPixels taken = entry->second;
    entries_.erase(entry);
    return taken;
  }

 private:
  Mutex mutex_;
  uint64_t lastId_ GUARDED_BY(mutex_) = 0;
  std::map<const void*, SharedPixels> entries_ GUARDED_BY(mutex_);
};

Table& TheTable() {
  static Table* const table = new Table();  // planes may go after static objects
  return *table;
}

/// A descriptor of sealed memory; -1 without.
int MakeSealed(size_t bytes) {
  const int descriptor = memfd_create("plexion-plane", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (descriptor < 0) return -1;
  // The last seal keeps others from adding some: one against writing would end our own drawing.
  constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
  if (ftruncate(descriptor, static_cast<off_t>(bytes)) == 0 &&
      fcntl(descriptor, F_ADD_SEALS, kSeals) == 0) {
    return descriptor;
  }
  close(descriptor);
  return -1;
}

}  // namespace

void* MapSharedMemory(size_t bytes) {
  const int descriptor = MakeSealed(bytes);
  if (descriptor < 0) return nullptr;
  const int flags = MAP_SHARED | (bytes <= kMostPopulated ? MAP_POPULATE : 0);
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, descriptor, 0);
  if (memory == MAP_FAILED) {
    close(descriptor);
    return nullptr;
  }
  TheTable().Add(memory, descriptor, bytes);
  return memory;
}

void UnmapSharedMemory(void* memory, size_t bytes) {
  const SharedPixels taken = TheTable().Take(memory);
  PLEXION_CHECK(taken.bytes == bytes, "shared memory is given back whole");
  munmap(memory, bytes);
  close(taken.descriptor);
}

bool FindSharedMemory(const void* memory, SharedPixels& shared) {
  return TheTable().Find(memory, shared);
}

}  // namespace plexion_host
