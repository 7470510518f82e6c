// Reading a small file whole, whatever somebody put in its place.

#include "host/base/ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace plexion_host {
namespace {

std::string ReadOpened(int file, size_t maxBytes, std::string& bytes) {
  struct stat info {};
  if (fstat(file, &info) != 0) return std::strerror(errno);
  if (!S_ISREG(info.st_mode)) return S_ISDIR(info.st_mode) ? "is a folder" : "is no regular file";
  const std::string tooLarge = "is larger than " + std::to_string(maxBytes) + " bytes";
  if (info.st_size > 0 && static_cast<size_t>(info.st_size) > maxBytes) return tooLarge;
  std::string content;
  char buffer[16384];
  for (;;) {
    const ssize_t count = read(file, buffer, sizeof(buffer));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::strerror(errno);
    if (count == 0) break;
    content.append(buffer, static_cast<size_t>(count));
    if (content.size() > maxBytes) return tooLarge;  // it grew meanwhile, or tells no size
  }
  bytes = std::move(content);
  return {};
}

}  // namespace

bool ReadFile(const std::string& path, size_t maxBytes, std::string& bytes, std::string& error) {
  // Non-blocking: opening a FIFO that nobody writes to would wait.
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (file < 0) {
    error = std::strerror(errno);
    return false;
  }
  error = ReadOpened(file, maxBytes, bytes);
  close(file);
  return error.empty();
}

}  // namespace plexion_host
