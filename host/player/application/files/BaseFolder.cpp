// Opens files below a folder and nowhere else; the operating system resolves the names.
#include "host/player/application/files/BaseFolder.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <system_error>

#include "host/base/Check.h"
#include "host/base/Descriptor.h"
#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kLongestFileName = 1024;
constexpr size_t kMostListed = 10000;

std::string Reason(int number) {
  // What the kernel says of a way out is of no help to the author of an application.
  if (number == EXDEV || number == ELOOP) return "it leads out of the application's folder";
  return std::generic_category().message(number);
}

/// A name in a message: it comes from a document, a script or a folder's listing.
std::string Shown(std::string_view name) {
  return "\"" + PrintableWord(name.substr(0, 200)) + "\"";
}

/// For kernels before 5.6: one component at a time, none of them a link, none of them upwards.
int OpenStepByStep(int folder, const std::string& name, int flags) {
  // Each step holds the folder that it opened: nobody can exchange it for a link in between.
  // Opened anew: of a duplicate the place in its listing would be that of all others.
  Descriptor current(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  size_t begin = 0;
  while (current && begin <= name.size()) {
    const size_t slash = std::min(name.find('/', begin), name.size());
    const std::string part = name.substr(begin, slash - begin);
    begin = slash + 1;
    if (part.empty() || part == ".") continue;
    Descriptor next;
    if (part == "..") {
      errno = EXDEV;
    } else {
      const bool last = begin > name.size();
      next = Descriptor(openat(current.Get(), part.c_str(),
                               O_NOFOLLOW | O_CLOEXEC | (last ? flags : O_RDONLY | O_DIRECTORY)));
    }
    current = std::move(next);
  }
  return current.Release();
}

}  // namespace

bool BaseFolder::Open(const std::string& path, std::string& error) {
  // The way to the base is the operator's and may lead over links.
  folder_ = OpenFile(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  path_ = path;
  if (folder_.IsOpen()) return true;
  error = "cannot open the folder \"" + path + "\": " + std::generic_category().message(errno);
  return false;
}

OpenFile BaseFolder::OpenInside(std::string_view name, int flags, std::string& error) const {
  PLEXION_CHECK(folder_.IsOpen(), "the folder was opened before anything in it");
  const std::string shown = Shown(name);
  if (name.size() > kLongestFileName || name.find('\0') != std::string_view::npos) {
    error = "cannot open " + shown + ": expected a file name of at most " +
            std::to_string(kLongestFileName) + " bytes without a zero byte";
    return OpenFile();
  }
  if (name.find("://") != std::string_view::npos) {
    error = "cannot open " + shown +
            ": it is an address; an application reads the files of its folder and nothing else";
    return OpenFile();
  }
  if (!name.empty() && name[0] == '/') {
    error = "cannot open " + shown +
            ": expected a name inside the application's folder, not one from the top";
    return OpenFile();
  }
  const std::string inside = name.empty() ? "." : std::string(name);
  // Not blocking: opening a pipe would wait for its writer.
  flags |= O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  struct open_how how = {};
  how.flags = static_cast<uint64_t>(flags);
  // The operating system does not let the name lead out, whatever happens to the folders meanwhile.
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  int descriptor = static_cast<int>(
      syscall(SYS_openat2, folder_.Descriptor(), inside.c_str(), &how, sizeof how));
  if (descriptor < 0 && (errno == ENOSYS || errno == EPERM)) {
    descriptor = OpenStepByStep(folder_.Descriptor(), inside, flags);
  }
  if (descriptor < 0) error = "cannot open " + shown + ": " + Reason(errno);
  return OpenFile(descriptor);
}

OpenFile BaseFolder::OpenRegular(std::string_view name, std::string& error) const {
  OpenFile file = OpenInside(name, 0, error);
  if (!file.IsOpen()) return file;
  struct stat status = {};
  if (fstat(file.Descriptor(), &status) == 0 && S_ISREG(status.st_mode)) return file;
  error = "cannot open " + Shown(name) + ": it is not a file";
  return OpenFile();
}

OpenFile BaseFolder::OpenFolder(std::string_view name, std::string& error) const {
  return OpenInside(name, O_DIRECTORY, error);
}

bool BaseFolder::Read(std::string_view name, uint64_t limitBytes, std::string& bytes,
                      std::string& error) const {
  const OpenFile file = OpenRegular(name, error);
  if (!file.IsOpen()) return false;
  bytes.clear();
  char chunk[65536];
  for (;;) {
    const ssize_t got = read(file.Descriptor(), chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error = "cannot read " + Shown(name) + ": " + Reason(errno);
      return false;
    }
    if (got == 0) return true;
    bytes.append(chunk, static_cast<size_t>(got));
    if (bytes.size() > limitBytes) {
      error = Shown(name) + " has more than the " + std::to_string(limitBytes) +
              " bytes that are allowed";
      return false;
    }
  }
}

bool BaseFolder::List(std::string_view name, std::vector<std::string>& names,
                      std::string& error) const {
  OpenFile folder = OpenFolder(name, error);
  if (!folder.IsOpen()) return false;
  std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(dup(folder.Descriptor())), closedir);
  if (stream == nullptr) {
    error = "cannot list " + Shown(name) + ": " + Reason(errno);
    return false;
  }
  while (const dirent* entry = readdir(stream.get())) {
    // What editors and versioning leave behind is no part of the application.
    if (entry->d_name[0] == '.') continue;
    if (names.size() >= kMostListed) {
      error = Shown(name) + " holds more than " + std::to_string(kMostListed) + " files";
      return false;
    }
    names.push_back(entry->d_name);
    if (entry->d_type == DT_DIR) names.back() += '/';
  }
  std::sort(names.begin(), names.end());
  return true;
}

}  // namespace plexion_host::player::application
