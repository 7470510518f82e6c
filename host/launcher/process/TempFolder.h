// The service's temporary folder of this process, and those that killed launchers left behind.

#ifndef HOST_LAUNCHER_PROCESS_TEMPFOLDER_H_
#define HOST_LAUNCHER_PROCESS_TEMPFOLDER_H_

#include <string>

#include "host/base/Descriptor.h"
#include "host/base/ModuleHandle.h"
#include "host/kernel/HostKernel.h"
#include "qx/platform/IFileSystem.h"
#include "qx/plexion/IPlexion.h"

namespace plexion_host {

/// The service makes a folder of the process's number, and removes it when it is unloaded. A process
/// that is killed leaves its own: the next launcher of the same user removes what belongs to no
/// process any more. A folder in use is locked, which processes see that do not see each other's
/// numbers.
class TempFolder {
 public:
  /// Removes what others left, and locks the own one. The service must be loaded.
  TempFolder(HostKernel& kernel, qx::plexion::IPlexionSets& service);
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Removes the own folder, for an end without the service. Waits for nothing but the disk.
  void Remove();

 private:
  /// `base` ends with a slash.
  void Sweep(const std::string& base, const std::string& own);

  ModuleHandle<qx::platform::IFileSystem> files_;
  qx::platform::IFileObject* own_ = nullptr;
  Descriptor lock_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROCESS_TEMPFOLDER_H_
