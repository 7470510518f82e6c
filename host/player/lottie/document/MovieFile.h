#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_

#include <string>
#include <string_view>

#include "host/player/Engine.h"
#include "host/player/WatchedMemory.h"

namespace plexion_host::movie {

/// A movie's file: the document alone.
class MovieFile {
 public:
  /// Reads the file.
  /// Returns  false with what is wrong, also when the host cancelled.
  bool Open(const std::string& path, player::EngineHost& host, player::EngineError& error);

  /// The document's text.
  std::string_view Document() const { return document_; }
  bool IsArchive() const { return false; }
  /// A file of the archive. Returns  false with the reason.
  bool ReadAsset(std::string_view name, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
                 player::WatchedBuffer& bytes, std::string& error) const;

 private:
  player::WatchedBuffer bytes_;
  std::string_view document_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_
