#ifndef QX_PLATFORM_IFILESYSTEM_H_
#define QX_PLATFORM_IFILESYSTEM_H_

#include "qx/core/IQXModule.h"

namespace qx {
namespace platform {

/// Something with a path, existing or not. Made by IFileSystem::CreateFileObject.
///
/// Thread   one at a time.
class IFileObject {
 public:
  /// Points the object at `path` (UTF-8, absolute; copied). It need not exist.
  /// Returns  false when no file could have that path.
  virtual bool Open(const char* path) = 0;
  /// Makes the path a directory that can be written to, with the missing ones above it when
  /// `createMissing`.
  /// Returns  whether files can now be written below it.
  virtual bool EnsureWritable(bool createMissing) = 0;
  /// Removes the directory; with `recursive` all that is in it first. Symbolic links in it are
  /// removed, never followed. What does not exist counts as removed.
  virtual bool RemoveDirectory(bool recursive) = 0;

 protected:
  ~IFileObject() {}
};

/// The device's files, module "IFileSystem".
///
/// Thread   any.
class IFileSystem : public IQXModule {
 public:
  /// Null when there is none to be had. Give it back to DestroyFileObject.
  virtual IFileObject* CreateFileObject() = 0;
  virtual void DestroyFileObject(IFileObject* object) = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_IFILESYSTEM_H_
