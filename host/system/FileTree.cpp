#include "host/system/FileTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <vector>

namespace plexion_host {
namespace {

// Deeper trees are no temporary files of ours; each level holds a file descriptor open.
constexpr int kDeepestLevel = 200;

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> components;
  std::istringstream text(path);
  for (std::string component; std::getline(text, component, '/');) {
    if (!component.empty()) components.push_back(component);
  }
  return components;
}

// A slash at the end would make the system follow a link in the last place.
std::string WithoutSlashAtEnd(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// False when `path` is there and no directory, or cannot be made.
bool MakeDirectory(const std::string& path, const std::string& parent, bool last) {
  struct stat above {};
  const bool shared = stat(parent.c_str(), &above) == 0 && (above.st_mode & S_ISVTX) != 0 &&
                      (above.st_mode & S_IWOTH) != 0;
  if (mkdir(path.c_str(), shared && last ? 0700 : 0777) == 0) {
    // mkdir takes the process's mask into account; a shared directory must not.
    return !shared || last || chmod(path.c_str(), 01777) == 0;
  }
  struct stat info {};
  return errno == EEXIST && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Permissions, quotas, full and read-only file systems: only trying tells.
bool CanMakeFileIn(const std::string& directory) {
  static std::atomic<unsigned> counter{0};
  const std::string probe = directory + "/.plexion-write-test-" + std::to_string(getpid()) + "-" +
                            std::to_string(counter.fetch_add(1));
  const int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool written = write(fd, "", 1) == 1;
  close(fd);
  unlink(probe.c_str());
  return written;
}

bool IsOwnOrParent(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

bool RemoveEntry(int parent, const char* name, int level);

// Takes over `directory`.
bool EmptyDirectory(int directory, int level) {
  DIR* const stream = fdopendir(directory);
  if (stream == nullptr) {
    close(directory);
    return false;
  }
  bool emptied = true;
  while (const dirent* const entry = readdir(stream)) {
    if (IsOwnOrParent(entry->d_name)) continue;
    if (!RemoveEntry(dirfd(stream), entry->d_name, level + 1)) emptied = false;
  }
  closedir(stream);
  return emptied;
}

bool RemoveEntry(int parent, const char* name, int level) {
  if (level > kDeepestLevel) return false;
  // Opening with O_NOFOLLOW decides what it is: nobody can slip a link in between.
  const int directory =
      openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (directory < 0) {
    if (errno == ENOENT) return true;
    const bool notDirectory = errno == ENOTDIR || errno == ELOOP;
    return unlinkat(parent, name, notDirectory ? 0 : AT_REMOVEDIR) == 0 || errno == ENOENT;
  }
  EmptyDirectory(directory, level);
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace

bool IsPossiblePath(const std::string& path) {
  if (path.empty() || path[0] != '/' || path.size() >= PATH_MAX) return false;
  for (const std::string& component : Components(path)) {
    if (component.size() > NAME_MAX) return false;
  }
  return true;
}

bool IsAtOrBelow(const std::string& path, const std::string& prefix) {
  return path.compare(0, prefix.size(), prefix) == 0 &&
         (path.size() == prefix.size() || path[prefix.size()] == '/');
}

bool EnsureWritableDirectory(const std::string& path, bool createMissing) {
  if (createMissing) {
    const std::vector<std::string> components = Components(path);
    std::string built;
    for (size_t i = 0; i < components.size(); ++i) {
      const std::string parent = built.empty() ? "/" : built;
      built += "/" + components[i];
      if (!MakeDirectory(built, parent, i + 1 == components.size())) return false;
    }
  }
  return CanMakeFileIn(WithoutSlashAtEnd(path));
}

bool RemoveDirectoryTree(const std::string& path, bool recursive) {
  const std::string directory = WithoutSlashAtEnd(path);
  if (directory == "/") return false;
  struct stat info {};
  if (lstat(directory.c_str(), &info) == 0 && !S_ISDIR(info.st_mode) && !S_ISLNK(info.st_mode)) {
    return false;
  }
  if (recursive) return RemoveEntry(AT_FDCWD, directory.c_str(), 0);
  return rmdir(directory.c_str()) == 0 || errno == ENOENT;
}

}  // namespace plexion_host
