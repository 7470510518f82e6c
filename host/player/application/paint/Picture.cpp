// Reads the pictures of image elements, and shares them.
#include "host/player/application/paint/Picture.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr off_t kLargestFile = 128 * 1024 * 1024;

/// The file's bytes, in the window's memory too.
bool ReadAll(int descriptor, qx::plexion::MemoryWatchdog* watchdog, WatchedBuffer& bytes,
             std::string& error) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || status.st_size > kLargestFile) {
    error = "a picture's file has at most " + std::to_string(kLargestFile) + " bytes";
    return false;
  }
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0) {
    error = "the file is empty";
    return false;
  }
  if (!bytes.Resize(watchdog, size)) {
    error = "no memory for the file's " + std::to_string(size) + " bytes";
    return false;
  }
  size_t done = 0;
  while (done < size) {
    const ssize_t got =
        pread(descriptor, bytes.As<char>() + done, size - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    // The file has become shorter since it was measured.
    if (got <= 0) {
      error = "the file cannot be read to its end";
      return false;
    }
    done += static_cast<size_t>(got);
  }
  return true;
}

}  // namespace

std::shared_ptr<Picture> PictureCache::Open(const OpenFile& file, std::string& error) {
  PLEXION_CHECK(file.IsOpen(), "the picture's file is open");
  struct stat status = {};
  if (fstat(file.Descriptor(), &status) != 0) {
    error = "the file cannot be read";
    return nullptr;
  }
  uint64_t used = 0;
  for (auto at = pictures_.begin(); at != pictures_.end();) {
    const std::shared_ptr<Picture> picture = at->second.lock();
    // Pictures that no element shows any more are gone already; only their entries are left.
    if (picture != nullptr) used += picture->still.pixels.Size();
    at = picture != nullptr ? std::next(at) : pictures_.erase(at);
  }
  const Key key = {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                   status.st_mtim.tv_nsec};
  std::weak_ptr<Picture>& known = pictures_[key];
  if (std::shared_ptr<Picture> picture = known.lock()) return picture;
  WatchedBuffer bytes;
  if (!ReadAll(file.Descriptor(), watchdog_, bytes, error)) return nullptr;
  StillLimits limits;
  limits.bytes = mostBytes_ - std::min(used, mostBytes_);
  limits.watchdog = watchdog_;
  limits.cancelled = cancelled_;
  auto picture = std::make_shared<Picture>();
  if (!DecodeStillPicture(bytes.As<uint8_t>(), bytes.Size(), limits, picture->still, error)) {
    return nullptr;
  }
  known = picture;
  return picture;
}

}  // namespace plexion_host::player::application
