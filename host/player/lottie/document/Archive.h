#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_ARCHIVE_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_ARCHIVE_H_

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/player/WatchedMemory.h"

/// Packed files: what a size in them says is never believed; unpacking stops at the caller's limit.

namespace plexion_host::movie {

struct Unpacked {
  std::unique_ptr<player::WatchedBuffer> bytes;  ///< larger than what is in it
  size_t count = 0;

  std::string_view Text() const {
    return bytes != nullptr ? std::string_view(bytes->As<char>(), count) : std::string_view();
  }
};

/// The files of a zip archive that lies in memory, which outlives this.
class Archive {
 public:
  static bool IsArchive(std::string_view bytes) { return bytes.substr(0, 4) == "PK\x03\x04"; }

  /// Reads the list of files. Returns  false with the reason.
  bool Open(std::string_view bytes, std::string& error);
  bool Has(std::string_view name) const { return Find(name) != nullptr; }

  /// Unpacks a file of at most `mostBytes`. Returns  false with the reason; also when `cancelled`.
  bool Read(std::string_view name, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
            const std::function<bool()>& cancelled, Unpacked& unpacked, std::string& error) const;

 private:
  struct File {
    std::string_view name;
    uint32_t method = 0;
    uint32_t packedBytes = 0;
    uint32_t bytes = 0;  ///< as the archive says it
    uint32_t offset = 0;
  };
  const File* Find(std::string_view name) const;

  std::string_view bytes_;
  std::vector<File> files_;
};

/// Unpacks a gzip stream to at most `mostBytes`. Returns  false with the reason.
bool Gunzip(std::string_view packed, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
            const std::function<bool()>& cancelled, Unpacked& unpacked, std::string& error);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_ARCHIVE_H_
