// The device's files: the module "IFileSystem".

#include "host/system/FileSystem.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "host/contracts/HostModule.h"
#include "host/system/FileTree.h"

namespace plexion_host {
namespace {

class FileObject final : public qx::platform::IFileObject {
 public:
  explicit FileObject(const std::string& dataDirectory) : dataDirectory_(dataDirectory) {}

  bool Open(const char* path) override {
    path_.clear();
    if (path == nullptr) return false;
    std::string wanted = path;
    // The service names folders of a device; on a desk they are below a folder of the developer's.
    if (!dataDirectory_.empty() && IsAtOrBelow(wanted, kInstallBase)) {
      wanted = dataDirectory_ + wanted.substr(std::strlen(kInstallBase));
    }
    if (!IsPossiblePath(wanted)) return false;
    path_ = wanted;
    return true;
  }

  bool EnsureWritable(bool createMissing) override {
    std::string refused;
    return !path_.empty() &&
           (EnsureWritableDirectory(path_, createMissing, refused) || Refuse(refused));
  }

  bool RemoveDirectory(bool recursive) override {
    std::string refused;
    return !path_.empty() && (RemoveDirectoryTree(path_, recursive, refused) || Refuse(refused));
  }

 private:
  /// Says what is not used, and why. Returns  false.
  static bool Refuse(const std::string& refused) {
    IQXKernel* const kernel = IQXKernel::GetKernel();
    if (refused.empty() || kernel == nullptr) return false;
    kernel->Printf(
        "RED ALERT: IFileSystem - %s: expected a folder of this user or of root; nothing is made "
        "or removed there\n",
        refused.c_str());
    return false;
  }

  const std::string dataDirectory_;
  std::string path_;  // empty until Open succeeds
};

std::string DataDirectoryFromEnvironment() {
  const char* const directory = std::getenv(kDataDirectoryVariable);
  return directory != nullptr ? directory : "";
}

}  // namespace

FileSystem::FileSystem() : FileSystem(DataDirectoryFromEnvironment()) {}

qx::platform::IFileObject* FileSystem::CreateFileObject() {
  return new (std::nothrow) FileObject(dataDirectory_);
}

void FileSystem::DestroyFileObject(qx::platform::IFileObject* object) {
  delete static_cast<FileObject*>(object);
}

}  // namespace plexion_host

PLEXION_HOST_MODULE(IFileSystem, plexion_host::FileSystem)
