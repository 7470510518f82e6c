// A listening socket with a name in the file system.

#ifndef HOST_SHELL_SOCKETFILE_H_
#define HOST_SHELL_SOCKETFILE_H_

#include <sys/types.h>

#include <string>

namespace plexion_host {

/// A listening Unix socket and its name in the file system, which only its owner can connect to
/// (mode 0600), and with a group that's members as well (0660).
///
/// A socket that nobody answers any more, left behind by a launcher that did not end properly, is
/// replaced. Anything else at the path is left alone and is an error. The name is removed when this
/// is destroyed, unless it has become another's meanwhile.
class SocketFile {
 public:
  SocketFile() = default;
  ~SocketFile();
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  /// `group` is a name or a number; empty: none. Returns  false with the reason in `error`.
  bool Open(const std::string& path, std::string& error, const std::string& group = {});
  /// Non-blocking; -1 before Open.
  int Fd() const { return fd_; }

 private:
  int fd_ = -1;
  std::string path_;  // empty: no name to remove
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_SOCKETFILE_H_
