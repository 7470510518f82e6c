// Reads the password of the pointer stream, and insists that nobody else can.

#include "host/pointer/PasswordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

bool CheckFile(int fd, const std::string& path, std::string& error) {
  PLEXION_CHECK(fd >= 0, "there is a file to judge");
  struct stat info {};
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "the password file " + path + " is no regular file";
    return false;
  }
  // Judged on the open file: its name could lead to another one by the time it is read.
  if (info.st_uid != geteuid() && info.st_uid != 0) {
    error = "the password file " + path + " belongs to another user";
    return false;
  }
  if ((info.st_mode & 077) != 0) {
    char mode[8];
    std::snprintf(mode, sizeof(mode), "%04o", info.st_mode & 07777u);
    error = "the password file " + path + " has mode " + mode +
            "; expected 0600, so that only its owner can read it";
    return false;
  }
  return true;
}

}  // namespace

bool ReadPasswordFile(const std::string& path, std::string& password, std::string& error) {
  // Without waiting: it could be a pipe.
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) {
    error = "the password file " + path + " cannot be read: " + std::strerror(errno);
    return false;
  }
  char bytes[256];
  ssize_t count = -1;
  if (CheckFile(fd, path, error)) {
    count = read(fd, bytes, sizeof(bytes));
    if (count < 0) error = "the password file " + path + " cannot be read: " + std::strerror(errno);
  }
  close(fd);
  if (count < 0) return false;
  const std::string text(bytes, static_cast<size_t>(count));
  password = text.substr(0, text.find_first_of("\r\n"));
  if (password.empty() || password.find('\0') != std::string::npos) {
    error = "the password file " + path + " has no password in its first line";
    return false;
  }
  return true;
}

}  // namespace plexion_host
