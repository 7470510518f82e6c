// The device's files: the module "IFileSystem".

#ifndef HOST_SYSTEM_FILESYSTEM_H_
#define HOST_SYSTEM_FILESYSTEM_H_

#include <string>

#include "host/contracts/DataDirectory.h"
#include "qx/platform/IFileSystem.h"

namespace plexion_host {

/// The device's files. What lies at or below the install base is looked for below `dataDirectory`
/// instead, when that is not empty.
class FileSystem final : public qx::platform::IFileSystem {
 public:
  /// Takes the data directory from the environment.
  FileSystem();
  explicit FileSystem(const std::string& dataDirectory) : dataDirectory_(dataDirectory) {}

  qx::platform::IFileObject* CreateFileObject() override;
  void DestroyFileObject(qx::platform::IFileObject* object) override;

 private:
  const std::string dataDirectory_;
};

}  // namespace plexion_host

#endif  // HOST_SYSTEM_FILESYSTEM_H_
