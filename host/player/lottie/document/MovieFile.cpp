// The file of a movie.
#include "host/player/lottie/document/MovieFile.h"

#include <string.h>

#include <algorithm>

#include "host/player/content/ContentFile.h"

namespace plexion_host::movie {

namespace {
constexpr uint64_t kLargestFile = 32 * 1024 * 1024;
constexpr size_t kReadAtOnce = 1024 * 1024;
}  // namespace

bool MovieFile::Open(const std::string& path, player::EngineHost& host,
                     player::EngineError& error) {
  player::ContentFile file;
  if (!file.Open(path, error)) return false;
  const uint64_t size = file.SizeBytes();
  error.status = qx::plexion::kErrorCorruptMovie;
  if (size > kLargestFile) {
    error.message = "the file has " + std::to_string(size) + " bytes; a movie has at most " +
                    std::to_string(kLargestFile);
    return false;
  }
  if (!bytes_.Resize(host.Memory(), static_cast<size_t>(size) + 1)) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "no memory for the file's " + std::to_string(size) + " bytes"};
    return false;
  }
  char* bytes = bytes_.As<char>();
  size_t done = 0;
  while (done < size) {
    if (host.Cancelled()) {
      error.message = "loading was stopped";
      return false;
    }
    const size_t wanted = std::min(kReadAtOnce, static_cast<size_t>(size) - done);
    const long got = file.Read(bytes + done, wanted, error);
    if (got < 0) return false;
    done += static_cast<size_t>(got);
    if (static_cast<size_t>(got) < wanted) break;  // it has become shorter meanwhile
  }
  document_ = {bytes, done};
  if (document_.substr(0, 3) == "\xef\xbb\xbf") document_.remove_prefix(3);
  const void* zero = memchr(document_.data(), '\0', document_.size());
  if (zero != nullptr) {
    error.message = "a zero byte at byte " +
                    std::to_string(static_cast<const char*>(zero) - bytes) + "; a movie is text";
    return false;
  }
  return true;
}

bool MovieFile::ReadAsset(std::string_view, uint64_t, qx::plexion::MemoryWatchdog*,
                          player::WatchedBuffer&, std::string&) const {
  return false;
}

}  // namespace plexion_host::movie
