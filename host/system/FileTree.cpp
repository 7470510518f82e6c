// Directories that are made and removed, on ground that nobody else can change.

#include "host/system/FileTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Descriptor.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

// Deeper trees are no temporary files of ours; each level holds a file descriptor open.
constexpr int kDeepestLevel = 200;

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> components;
  for (std::string& component : SplitAt(path, '/')) {
    if (!component.empty()) components.push_back(std::move(component));
  }
  return components;
}

std::string PathOf(const std::vector<std::string>& components, size_t count) {
  std::string path;
  PLEXION_CHECK(count <= components.size(), "a path is as long as it was asked for");
  for (size_t i = 0; i < count; ++i) path += "/" + components[i];
  return path;
}

bool IsShared(const struct stat& info) {
  return (info.st_mode & S_ISVTX) != 0 && (info.st_mode & S_IWOTH) != 0;
}

/// An open directory, by descriptors alone: nobody can put something else in its path's place.
class Ground {
 public:
  explicit Ground(uid_t user) : user_(user), directory_(open("/", kFlags)) { Look(); }

  int Fd() const { return directory_.Get(); }

  /// Goes down along the first `count` components; `create` makes the missing ones.
  /// Returns  false when that cannot be done, with errno; and with the reason in `refused` when what
  ///          is there is not to be trusted.
  bool Enter(const std::vector<std::string>& components, size_t count, bool create,
             std::string& refused) {
    for (size_t i = 0; i < count; ++i) {
      if (!Step(components[i].c_str(), create, i + 1 == components.size())) {
        if (!refused_.empty()) refused = PathOf(components, i + 1) + " " + refused_;
        return false;
      }
    }
    return static_cast<bool>(directory_);
  }

  /// Whether an entry here may be worked on: where everybody may write, it must not be another's.
  bool MayTouch(const char* name, std::string& refused) const {
    struct stat entry {};
    if (!open_ || fstatat(Fd(), name, &entry, AT_SYMLINK_NOFOLLOW) != 0) return true;
    if (IsTrusted(entry)) return true;
    refused = "belongs to another user";
    return false;
  }

 private:
  // Enough to go on from and to make and remove in, also where nothing may be read.
  static constexpr int kFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

  bool IsTrusted(const struct stat& info) const { return info.st_uid == user_ || info.st_uid == 0; }

  /// Notes whether everybody may put entries into the directory.
  void Look() { open_ = !directory_ || fstat(Fd(), &info_) != 0 || (info_.st_mode & S_IWOTH) != 0; }

  bool Step(const char* name, bool create, bool last) {
    // Links are followed where only those put them who may be trusted: /var/run, for example.
    const int flags = kFlags | (open_ ? O_NOFOLLOW : 0);
    Descriptor next(openat(Fd(), name, flags));
    if (!next && errno == ENOENT && create) {
      // What is made in a shared directory is shared as well, so that others find room in it.
      const bool shared = IsShared(info_);
      if (mkdirat(Fd(), name, shared && last ? 0700 : 0777) == 0 && shared && !last &&
          fchmodat(Fd(), name, 01777, 0) != 0) {  // the process's mask counts for mkdir
        return false;
      }
      next = Descriptor(openat(Fd(), name, flags));
    }
    const int error = errno;
    struct stat entry {};
    if (!next && open_ && fstatat(Fd(), name, &entry, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(entry.st_mode)) {
      refused_ = "is a link";
    }
    errno = error;
    if (!next) return false;
    const bool wasOpen = open_;
    directory_ = std::move(next);
    Look();
    if (wasOpen && !IsTrusted(info_)) refused_ = "belongs to another user";
    return refused_.empty();
  }

  const uid_t user_;
  Descriptor directory_;
  bool open_ = true;
  struct stat info_ {};
  std::string refused_;
};

// Permissions, quotas, full and read-only file systems: only trying tells.
bool CanMakeFileIn(int directory) {
  PLEXION_CHECK(directory >= 0, "there is a directory to try");
  static std::atomic<unsigned> counter{0};
  const std::string probe = ".plexion-write-test-" + std::to_string(getpid()) + "-" +
                            std::to_string(counter.fetch_add(1));
  const int fd =
      openat(directory, probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool written = write(fd, "", 1) == 1;
  close(fd);
  unlinkat(directory, probe.c_str(), 0);
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
    // A directory that may not be read may still be empty.
    return unlinkat(parent, name, notDirectory ? 0 : AT_REMOVEDIR) == 0 || errno == ENOENT;
  }
  // What cannot be emptied cannot be removed, which the next line finds out.
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

bool EnsureWritableDirectory(const std::string& path, bool createMissing, std::string& refused,
                             uid_t user) {
  const std::vector<std::string> components = Components(path);
  Ground ground(user);
  return ground.Enter(components, components.size(), createMissing, refused) &&
         CanMakeFileIn(ground.Fd());
}

bool RemoveDirectoryTree(const std::string& path, bool recursive, std::string& refused,
                         uid_t user) {
  const std::vector<std::string> components = Components(path);
  if (components.empty()) return false;
  Ground ground(user);
  if (!ground.Enter(components, components.size() - 1, false, refused)) {
    return refused.empty() && errno == ENOENT;
  }
  const char* const name = components.back().c_str();
  if (!ground.MayTouch(name, refused)) {
    refused = path + " " + refused;
    return false;
  }
  struct stat info {};
  if (fstatat(ground.Fd(), name, &info, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISDIR(info.st_mode) &&
      !S_ISLNK(info.st_mode)) {
    return false;
  }
  if (recursive) return RemoveEntry(ground.Fd(), name, 0);
  return unlinkat(ground.Fd(), name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace plexion_host
