// Makes, guards and removes the name of a socket.

#include "host/shell/SocketFile.h"

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

std::string SystemError() { return std::strerror(errno); }

int NewSocket(int flags) { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0); }

/// Makes the path free for a new socket, if that is ours to do.
bool ClearPath(const std::string& path, const sockaddr_un& address, std::string& error) {
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0) return true;  // bind tells of anything but absence
  if (!S_ISSOCK(info.st_mode)) {
    error = path + " exists and is no socket; expected a new name, or an old socket";
    return false;
  }
  // What a killed process left behind refuses connections; one that is served takes them, or is
  // too busy to.
  const int probe = NewSocket(SOCK_NONBLOCK);
  const bool answered = probe >= 0 && connect(probe, reinterpret_cast<const sockaddr*>(&address),
                                              sizeof(address)) == 0;
  const int reason = errno;
  if (probe >= 0) close(probe);
  if (answered || reason == EAGAIN) {
    error = path + " is in use by another process";
    return false;
  }
  if (reason != ECONNREFUSED) {
    error =
        path + " exists, and whether it is in use cannot be found out: " + std::strerror(reason);
    return false;
  }
  if (unlink(path.c_str()) != 0 && errno != ENOENT) {
    error = "the old socket " + path + " cannot be removed: " + SystemError();
    return false;
  }
  return true;
}

/// A group by its name or its number.
bool FindGroup(const std::string& group, gid_t& gid, std::string& error) {
  std::vector<char> texts(1024);
  struct group entry {};
  struct group* found = nullptr;
  while (getgrnam_r(group.c_str(), &entry, texts.data(), texts.size(), &found) == ERANGE &&
         texts.size() < size_t{1} << 20) {
    texts.resize(texts.size() * 2);
  }
  if (found != nullptr) {
    gid = entry.gr_gid;
    return true;
  }
  const std::optional<int64_t> number = ReadWholeNumber(group, 0, UINT32_MAX - 1);
  if (number) {
    gid = static_cast<gid_t>(*number);
    return true;
  }
  error = "there is no group '" + group + "'; expected a group's name or number";
  return false;
}

}  // namespace

SocketFile::~SocketFile() {
  if (fd_ >= 0) close(fd_);
  struct stat info {};
  // Only if it still is ours: another process may have taken the name over.
  if (!path_.empty() && lstat(path_.c_str(), &info) == 0 && info.st_dev == device_ &&
      info.st_ino == inode_) {
    unlink(path_.c_str());
  }
}

bool SocketFile::Open(const std::string& path, std::string& error, const std::string& group) {
  PLEXION_CHECK(fd_ < 0, "a socket is opened once");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    error = "the socket's path has " + std::to_string(path.size()) + " bytes; expected 1 to " +
            std::to_string(sizeof(address.sun_path) - 1);
    return false;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  gid_t gid = 0;
  if (!group.empty() && !FindGroup(group, gid, error)) return false;
  if (!ClearPath(path, address, error)) return false;

  fd_ = NewSocket(SOCK_NONBLOCK);
  if (fd_ < 0) {
    error = "no socket to be had: " + SystemError();
    return false;
  }
  if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    error = "no socket can be made at " + path + ": " + SystemError();
    return false;
  }
  struct stat info {};
  if (lstat(path.c_str(), &info) == 0) {
    path_ = path;
    device_ = info.st_dev;
    inode_ = info.st_ino;
  }
  // Nobody can connect before listen, so there is no moment at which others could.
  if (!group.empty() && chown(path.c_str(), static_cast<uid_t>(-1), gid) != 0) {
    error = "the socket " + path + " cannot be given to the group '" + group +
            "': " + SystemError() + "; expected a group that this user is in";
    return false;
  }
  if (chmod(path.c_str(), group.empty() ? 0600 : 0660) != 0 || listen(fd_, 16) != 0) {
    error = "the socket " + path + " cannot be served: " + SystemError();
    return false;
  }
  return true;
}

}  // namespace plexion_host
