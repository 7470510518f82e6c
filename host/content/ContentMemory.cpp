// Counts blocks by a size in front of each.

#include "host/content/ContentMemory.h"

#include <stdlib.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::content {

namespace {

struct alignas(16) Header {
  uint64_t bytes;
};

}  // namespace

void* ContentMemory::Alloc(unsigned long size, const char* /*file*/, unsigned long /*line*/) {
  // Taken first and given back when it was too much: two threads that ask at once cannot both slip below the limit.
  const uint64_t before = used_.fetch_add(size);
  if (before > limit_ || size > limit_ - before) {
    used_.fetch_sub(size);
    refused_(size);
    return nullptr;
  }
  auto* const header = static_cast<Header*>(malloc(size + sizeof(Header)));
  if (header == nullptr) {
    used_.fetch_sub(size);
    return nullptr;
  }
  header->bytes = size;
  return header + 1;
}

void ContentMemory::Free(void* block, const char* /*file*/, unsigned long /*line*/) {
  PLEXION_CHECK(block != nullptr, "a block that is given back was taken");
  Header* const header = static_cast<Header*>(block) - 1;
  PLEXION_CHECK(used_ >= header->bytes, "a block is given back once");
  used_.fetch_sub(header->bytes);
  free(header);
}

unsigned long ContentMemory::GetBytesAvailable() {
  const uint64_t used = std::min(used_.load(), limit_);
  return static_cast<unsigned long>(std::min<uint64_t>(limit_ - used, UINT32_MAX));
}

}  // namespace plexion_host::content
