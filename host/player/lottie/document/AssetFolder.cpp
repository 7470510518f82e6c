// Pictures beside a document, from below its folder only.
#include "host/player/lottie/document/AssetFolder.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

namespace plexion_host::movie {

namespace {

std::string Reason(int number) { return std::generic_category().message(number); }

/// One step down from a folder, which is closed, unless it is `base`.
int Step(int folder, int base, const std::string& part, int flags) {
  const int next =
      openat(folder, part.c_str(), flags | O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  const int failure = errno;
  if (folder != base) close(folder);
  errno = failure;
  return next;
}

}  // namespace

AssetFolder::AssetFolder(const std::string& document) {
  const size_t slash = document.rfind('/');
  const std::string path = slash == std::string::npos ? "." : document.substr(0, slash + 1);
  folder_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

AssetFolder::~AssetFolder() {
  if (folder_ >= 0) close(folder_);
}

int AssetFolder::Open(std::string_view name, std::string& error) const {
  if (folder_ < 0 || name.empty() || name[0] == '/') {
    error = "only files below the document's folder are read";
    return -1;
  }
  int at = folder_;
  while (true) {
    const size_t slash = name.find('/');
    const std::string part(name.substr(0, slash));
    const bool last = slash == std::string_view::npos;
    if (part == ".." || part.find('\0') != std::string::npos) {
      if (at != folder_) close(at);
      error = "only files below the document's folder are read";
      return -1;
    }
    if (!part.empty() && part != ".") {
      at = Step(at, folder_, part, last ? 0 : O_DIRECTORY);
      if (at < 0) {
        error = errno == ELOOP ? "a link is not followed" : Reason(errno);
        return -1;
      }
    }
    if (last) break;
    name.remove_prefix(slash + 1);
  }
  if (at == folder_) {
    error = "no file is named";
    return -1;
  }
  return at;
}

bool AssetFolder::Read(std::string_view name, uint64_t mostBytes,
                       qx::plexion::MemoryWatchdog* watchdog, Unpacked& bytes,
                       std::string& error) const {
  const int file = Open(name, error);
  if (file < 0) return false;
  struct stat status = {};
  bool read = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  if (!read) error = "it is no file";
  if (read && static_cast<uint64_t>(status.st_size) > mostBytes) {
    error = "it has " + std::to_string(status.st_size) + " bytes; at most " +
            std::to_string(mostBytes) + " are read";
    read = false;
  }
  bytes.bytes = std::make_unique<player::WatchedBuffer>();
  bytes.count = read ? static_cast<size_t>(status.st_size) : 0;
  if (read && !bytes.bytes->Resize(watchdog, bytes.count)) {
    error = "no memory for its " + std::to_string(status.st_size) + " bytes";
    read = false;
  }
  size_t done = 0;
  while (read && done < bytes.count) {
    const ssize_t got = ::read(file, bytes.bytes->As<char>() + done, bytes.count - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      error = got < 0 ? Reason(errno) : "it has become shorter";
      read = false;
    } else {
      done += static_cast<size_t>(got);
    }
  }
  close(file);
  return read;
}

}  // namespace plexion_host::movie
