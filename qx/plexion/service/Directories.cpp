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
    // What memory did not suffice for is not remembered: it would be another directory.
    if (GetPlexionBaseDirectory(plexionDataDirectory) &&
        (plexionDataDirectory.IsEmpty() || !AppendWhole(plexionDataDirectory, "/") ||
         !AppendWhole(plexionDataDirectory, "data"))) {
      plexionDataDirectory.Clear();
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

// True even without a data directory: the caller then has what `out` held, and goes on with it.
bool IPlexionImpl::GetUserPrivateDataDirectory(QXString& out) {
  if (!GetPlexionDataDirectory(out)) return true;
  bool whole = !out.IsEmpty() && AppendWhole(out, "/users/");
  auto* const driver =
      static_cast<platform::ISystemDriver*>(kernel->AcquireModule("ISystemDriver"));
  if (driver != nullptr) {
    QXString userName;
    driver->GetCurrentUserName(userName);
    const unsigned long length = out.Length() + static_cast<unsigned long>(userName.Length());
    out.Append(userName);
    whole = whole && out.Length() == length;
  } else {
    whole = AppendWhole(out, "default") && whole;
  }
  if (whole) EnsureWritability(out);  // never a directory that nobody asked for
  kernel->ReleaseModule(driver);      // null too: the kernel accepts it
  return true;
}

bool IPlexionImpl::GetPlexionTempDirectory(QXString& out) {
  out.Clear();
  out.Append("/tmp/.plexion");
  return true;
}

bool IPlexionImpl::AppendWhole(QXString& path, const char* text) {
  const unsigned long whole = path.Length() + kernel->StrLen(text);
  path.Append(text);
  return path.Length() == whole;
}

bool IPlexionImpl::BuildApplicationTempDirectory(QXString& out) {
  GetPlexionTempDirectory(out);
  const bool hasBase = !out.IsEmpty();
  const bool hasFolder = AppendWhole(out, "/app-tmp/");
  char number[15];
  kernel->FormatString(number, sizeof(number), "%ld", static_cast<long>(kernel->GetProcessId()));
  return AppendWhole(out, number) && hasBase && hasFolder;
}

bool IPlexionImpl::GetApplicationPrivateTempFileDirectory(QXString& out) {
  BuildApplicationTempDirectory(out);
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
