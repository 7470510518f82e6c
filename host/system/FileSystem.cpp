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
    if (!dataDirectory_.empty() && IsAtOrBelow(wanted, kInstallBase)) {
      wanted = dataDirectory_ + wanted.substr(std::strlen(kInstallBase));
    }
    if (!IsPossiblePath(wanted)) return false;
    path_ = wanted;
    return true;
  }

  bool EnsureWritable(bool createMissing) override {
    return !path_.empty() && EnsureWritableDirectory(path_, createMissing);
  }

  bool RemoveDirectory(bool recursive) override {
    return !path_.empty() && RemoveDirectoryTree(path_, recursive);
  }

 private:
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
