// Opens and reads a content's file.

#include "host/player/content/ContentFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

// Unlike strerror, safe on any thread.
std::string Reason(int number) { return std::generic_category().message(number); }

}  // namespace

bool ContentFile::Open(const std::string& path, EngineError& error) {
  PLEXION_CHECK(!descriptor_, "a file is opened once in its life");
  error.status = qx::plexion::kErrorInvalidURL;
  // Not blocking: opening a pipe would wait for its writer.
  descriptor_ = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor_) {
    error.message = "cannot open \"" + path + "\": " + Reason(errno);
    return false;
  }
  struct stat status = {};
  if (fstat(descriptor_.Get(), &status) != 0) {
    error.message = "cannot examine \"" + path + "\": " + Reason(errno);
    return false;
  }
  directory_ = S_ISDIR(status.st_mode);
  // A device or a pipe may never end, and some do something when they are read.
  if (!directory_ && !S_ISREG(status.st_mode)) {
    error.message = "\"" + path + "\" is neither a file nor a folder";
    return false;
  }
  sizeBytes_ = directory_ ? 0 : static_cast<uint64_t>(status.st_size);
  return true;
}

long ContentFile::Read(void* buffer, size_t bytes, EngineError& error) {
  PLEXION_CHECK(descriptor_, "what is read is open");
  size_t done = 0;
  while (done < bytes) {
    const ssize_t got = read(descriptor_.Get(), static_cast<char*>(buffer) + done, bytes - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error.status = qx::plexion::kErrorInvalidURL;
      error.message = "cannot read: " + Reason(errno);
      return -1;
    }
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<long>(done);
}

}  // namespace plexion_host::player
