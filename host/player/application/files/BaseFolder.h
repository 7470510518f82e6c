// The only way to an application's files.
#ifndef HOST_PLAYER_APPLICATION_FILES_BASEFOLDER_H_
#define HOST_PLAYER_APPLICATION_FILES_BASEFOLDER_H_

#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/base/Descriptor.h"

namespace plexion_host::player::application {

/// An open file descriptor.
class OpenFile {
 public:
  OpenFile() = default;
  explicit OpenFile(int descriptor) : descriptor_(descriptor) {}

  bool IsOpen() const { return static_cast<bool>(descriptor_); }
  int Descriptor() const { return descriptor_.Get(); }
  /// A path that reopens exactly this file, for libraries that want a path. Valid while it is open.
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_.Get()); }

 private:
  plexion_host::Descriptor descriptor_;
};

/// The folder that an application lives in, and all of the file system that it can see: every name
/// is resolved inside of it by the kernel of the operating system, without following any symbolic
/// link, so nothing outside can be named. Reading only.
class BaseFolder {
 public:
  BaseFolder() = default;

  /// Returns  false with `error` when it is no folder or cannot be opened.
  bool Open(const std::string& path, std::string& error);
  bool IsOpen() const { return folder_.IsOpen(); }
  const std::string& Path() const { return path_; }

  /// Opens a regular file for reading. `error` names the file and the reason.
  OpenFile OpenRegular(std::string_view name, std::string& error) const;
  /// Opens a folder inside; an empty name or "." is the base itself.
  OpenFile OpenFolder(std::string_view name, std::string& error) const;

  /// The whole file, at most `limitBytes`.
  bool Read(std::string_view name, uint64_t limitBytes, std::string& bytes,
            std::string& error) const;
  /// Names in a folder in alphabetical order, hidden ones left out; folders end in '/'.
  bool List(std::string_view name, std::vector<std::string>& names, std::string& error) const;

 private:
  OpenFile OpenInside(std::string_view name, int flags, std::string& error) const;

  OpenFile folder_;
  std::string path_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_FILES_BASEFOLDER_H_
