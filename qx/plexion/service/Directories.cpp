// Where the service's files are. The operations build on one another through the virtual interface:
// who overrides the base directory moves those below it too.

#include "qx/core/QXLock.h"
#include "qx/platform/IFileSystem.h"
#include "qx/platform/ISystemDriver.h"
#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

bool IPlexionImpl::GetPlexionDataDirectory(QXString& out) {
  // Held throughout, so that threads that ask at the same time have it made once.
  const QXLock lock(dataDirectoryLock);
  if (plexionDataDirectory.IsEmpty()) {
    if (GetPlexionBaseDirectory(plexionDataDirectory)) {
      plexionDataDirectory.Append("/");
      plexionDataDirectory.Append("data");
    }
    // A directory that cannot be written to is remembered all the same: one alert, and the service
    // goes on without it.
    if (!EnsureWritability(plexionDataDirectory)) {
      kernel->Printf(
          "RED ALERT: IPlexionImpl - no Plexion data directory; see docs for limitations\n");
    }
    if (plexionDataDirectory.IsEmpty()) return false;
  }
  out = plexionDataDirectory;
  return true;
}

bool IPlexionImpl::GetPlexionBinDirectory(QXString& out) {
  return kernel->GetBinDirectory(out, nullptr);
}

bool IPlexionImpl::GetPlexionBaseDirectory(QXString& out) {
  out.Clear();
  out.Append("/mtd_down/halvex/plexion");
  return true;
}

bool IPlexionImpl::GetPlexionFontDirectory(QXString& out) {
  if (!GetPlexionBaseDirectory(out)) return false;
  out.Append("/fonts");
  return true;
}

// True even without a data directory (kept): the caller then has what `out` held.
bool IPlexionImpl::GetUserPrivateDataDirectory(QXString& out) {
  if (!GetPlexionDataDirectory(out)) return true;
  out.Append("/users/");
  auto* const driver =
      static_cast<platform::ISystemDriver*>(kernel->AcquireModule("ISystemDriver"));
  if (driver != nullptr) {
    QXString userName;
    driver->GetCurrentUserName(userName);
    if (!userName.IsEmpty()) out.Append(userName);
  } else {
    out.Append("default");
  }
  EnsureWritability(out);
  kernel->ReleaseModule(driver);  // null too: the kernel accepts it
  return true;
}

bool IPlexionImpl::GetPlexionTempDirectory(QXString& out) {
  out.Clear();
  out.Append("/tmp/.plexion");
  return true;
}

bool IPlexionImpl::GetApplicationPrivateTempFileDirectory(QXString& out) {
  GetPlexionTempDirectory(out);
  out.Append("/app-tmp/");
  char number[15];
  kernel->FormatString(number, sizeof(number), "%ld", static_cast<long>(kernel->GetProcessId()));
  out.Append(number);
  return true;
}

bool IPlexionImpl::EnsureWritability(const QXString& path) {
  if (fileSystem == nullptr) return false;
  platform::IFileObject* const directory = fileSystem->CreateFileObject();
  if (directory == nullptr) return false;
  const bool writable = directory->Open(path.Utf8()) && directory->EnsureWritable(true);
  fileSystem->DestroyFileObject(directory);
  return writable;
}

}  // namespace plexion
}  // namespace qx
