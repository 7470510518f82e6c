// The service's temporary folder of this process, and those that killed launchers left behind.

#include "host/launcher/process/TempFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "qx/core/QXString.h"

namespace plexion_host {
namespace {

constexpr int64_t kMostProcesses = 4194304;  // of any Linux

Descriptor OpenFolder(const std::string& path) {
  // Never through a link: another user may have put one there.
  return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Whether a folder of this user belongs to no process: no such number is there, and nobody has it
/// locked.
bool IsAbandoned(const std::string& path, pid_t process) {
  // A number that is in use again keeps its old folder a little longer: better than the other way.
  // A process of another user answers EPERM, and is there.
  const bool gone = kill(process, 0) != 0 && errno == ESRCH;
  if (!gone) return false;
  const Descriptor folder = OpenFolder(path);
  if (!folder) return false;
  struct stat info {};
  // Locked while this looks, so that its owner's lock is seen; closing gives it back.
  return fstat(folder.Get(), &info) == 0 && info.st_uid == geteuid() &&
         flock(folder.Get(), LOCK_EX | LOCK_NB) == 0;
}

std::vector<std::string> NumbersIn(const std::string& base) {
  std::vector<std::string> names;
  Descriptor folder = OpenFolder(base);
  DIR* const stream = folder ? fdopendir(folder.Get()) : nullptr;
  if (stream == nullptr) return names;
  folder.Release();  // closedir closes it
  while (const dirent* const entry = readdir(stream)) {
    if (ReadWholeNumber(entry->d_name, 1, kMostProcesses)) names.emplace_back(entry->d_name);
  }
  closedir(stream);
  return names;
}

}  // namespace

TempFolder::TempFolder(HostKernel& kernel, qx::plexion::IPlexionSets& service) {
  std::string error;
  files_ = ModuleHandle<qx::platform::IFileSystem>(kernel,
                                                   kernel.TryAcquireModule("IFileSystem", error));
  QXString path;
  if (!files_ || !service.GetApplicationPrivateTempFileDirectory(path) || path.IsEmpty()) return;
  const std::string own = path.Utf8();
  own_ = files_->CreateFileObject();
  if (own_ != nullptr) own_->Open(own.c_str());
  // The open descriptor is the lock; it goes with the process, however that ends.
  lock_ = OpenFolder(own);
  // A lock that cannot be had is another's who sweeps: the number is ours and alive, so it stays.
  if (lock_ && flock(lock_.Get(), LOCK_EX | LOCK_NB) != 0) errno = 0;
  Sweep(own.substr(0, own.rfind('/') + 1), own);
}

TempFolder::~TempFolder() {
  if (own_ != nullptr) files_->DestroyFileObject(own_);
}

void TempFolder::Remove() {
  if (own_ != nullptr) own_->RemoveDirectory(true);
}

void TempFolder::Sweep(const std::string& base, const std::string& own) {
  PLEXION_CHECK(files_ && !base.empty() && base.back() == '/',
                "a folder is swept by the file system that made it");
  for (const std::string& name : NumbersIn(base)) {
    const auto process = static_cast<pid_t>(*ReadWholeNumber(name, 1, kMostProcesses));
    if (base + name == own || !IsAbandoned(base + name, process)) continue;
    qx::platform::IFileObject* const folder = files_->CreateFileObject();
    if (folder == nullptr) return;
    // What lies on somebody else's ground is refused there.
    if (folder->Open((base + name).c_str())) folder->RemoveDirectory(true);
    files_->DestroyFileObject(folder);
  }
}

}  // namespace plexion_host
