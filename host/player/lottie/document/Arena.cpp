// Chunks of a document's memory.
#include "host/player/lottie/document/Arena.h"

#include <string.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {
constexpr size_t kSmallestChunk = 16 * 1024;
constexpr size_t kLargestChunk = 512 * 1024;
}  // namespace

std::string_view Arena::CopyText(std::string_view text) {
  char* copy = static_cast<char*>(Allocate(text.size() + 1));
  if (!text.empty()) memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return {copy, text.size()};
}

void Arena::Grow(size_t bytes) {
  PLEXION_CHECK(bytes > left_ && bytes % 8 == 0, "records are aligned, and this one does not fit");
  // Chunks grow with the document, so that a small one costs little.
  const size_t chunk = std::max(bytes, std::clamp(sizeBytes_ / 2, kSmallestChunk, kLargestChunk));
  chunks_.reserve(chunks_.size() + 1);
  void* block = player::AllocateWatched(watchdog_, chunk);
  if (block == nullptr) throw std::bad_alloc();
  chunks_.push_back(block);
  next_ = static_cast<char*>(block);
  left_ = chunk;
  sizeBytes_ += chunk;
}

}  // namespace plexion_host::movie
