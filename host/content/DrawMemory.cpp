// Maps what was handed over.

#include "host/content/DrawMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace plexion_host::content {

namespace {

/// As where the plane is made: what is larger gets its pages as they are drawn on.
constexpr uint64_t kMostPopulated = uint64_t{64} << 20;

}  // namespace

bool DrawMemory::Map(const player::remote::PlaneMemory& plane, int descriptor) {
  Unmap();
  struct stat status = {};
  // Memory that may shrink could end this process at any write.
  const bool sound = descriptor >= 0 && fstat(descriptor, &status) == 0 &&
                     static_cast<uint64_t>(status.st_size) >= plane.bytes &&
                     (fcntl(descriptor, F_GET_SEALS) & F_SEAL_SHRINK) != 0;
  const int flags = MAP_SHARED | (plane.bytes <= kMostPopulated ? MAP_POPULATE : 0);
  void* const pixels =
      sound ? mmap(nullptr, plane.bytes, PROT_READ | PROT_WRITE, flags, descriptor, 0) : MAP_FAILED;
  // The mapping holds the memory by itself; descriptors of a content's process are few.
  if (descriptor >= 0) close(descriptor);
  if (pixels == MAP_FAILED) return false;
  pixels_ = static_cast<uint32_t*>(pixels);
  plane_ = plane;
  return true;
}

void DrawMemory::Unmap() {
  if (pixels_ != nullptr) munmap(pixels_, plane_.bytes);
  pixels_ = nullptr;
}

}  // namespace plexion_host::content
