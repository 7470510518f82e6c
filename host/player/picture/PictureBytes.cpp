// Reads a picture as a whole, and gives up when it is told to.

#include "host/player/picture/PictureBytes.h"

#include <string.h>

#include <algorithm>

#include "host/player/WatchedMemory.h"
#include "host/player/content/ContentFile.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kMostBytes = uint64_t{256} * 1024 * 1024;
/// One part of a file, after which the host is asked whether it still wants the rest.
constexpr size_t kPart = 1024 * 1024;
constexpr size_t kFirstCapacity = 64 * 1024;

const EngineError kStopped = {qx::plexion::kErrorFatalPlaybackError, "loading was stopped"};

}  // namespace

PictureBytes::~PictureBytes() { FreeWatched(data_); }

bool PictureBytes::Reserve(uint64_t bytes, EngineError& error) {
  if (bytes <= capacity_) return true;
  if (bytes > kMostBytes) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "the picture's file is larger than " + std::to_string(kMostBytes) + " bytes"};
    return false;
  }
  void* larger = AllocateWatched(host_.Memory(), bytes);
  if (larger == nullptr) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "no memory for the " + std::to_string(bytes) + " bytes of the picture's file"};
    return false;
  }
  if (size_ > 0) memcpy(larger, data_, size_);
  FreeWatched(data_);
  data_ = static_cast<uint8_t*>(larger);
  capacity_ = bytes;
  return true;
}

bool PictureBytes::Append(const void* bytes, size_t count, EngineError& error) {
  if (count > capacity_ - size_ &&
      !Reserve(
          // Doubled: with steps of one size a stream in small parts would be copied as often as it has parts.
          std::max({uint64_t{size_} + count, uint64_t{capacity_} * 2, uint64_t{kFirstCapacity}}),
          error)) {
    return false;
  }
  memcpy(data_ + size_, bytes, count);
  size_ += count;
  return true;
}

bool PictureBytes::ReadFile(const std::string& path, EngineError& error) {
  ContentFile file;
  if (!file.Open(path, error) || !Reserve(file.SizeBytes(), error)) return false;
  while (size_ < capacity_) {
    if (host_.Cancelled()) {
      error = kStopped;
      return false;
    }
    const long got = file.Read(data_ + size_, std::min(kPart, capacity_ - size_), error);
    if (got < 0) return false;
    // The file has become shorter.
    if (got == 0) break;
    size_ += static_cast<size_t>(got);
  }
  return true;
}

}  // namespace plexion_host::player
