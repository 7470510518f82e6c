// A bundle of small files.

#ifndef HOST_LAUNCHER_COMMANDS_TARFILE_H_
#define HOST_LAUNCHER_COMMANDS_TARFILE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace plexion_host {

/// An archive in the format "ustar" of POSIX.1-1988, which every tar reads. Written here: it is a header of
/// 512 bytes in front of each file, and a library for it would be loaded at each start.
class TarFile {
 public:
  /// `time`: seconds since 1970, of every file.
  explicit TarFile(int64_t time) : time_(time) {}

  /// `name` has up to 100 bytes.
  void Add(std::string_view name, std::string_view text);
  /// The whole archive.
  std::string Finish() const;

 private:
  const int64_t time_;
  std::string bytes_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_TARFILE_H_
