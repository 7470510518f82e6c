#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_

#include <string>
#include <string_view>

#include "host/player/Engine.h"
#include "host/player/WatchedMemory.h"
#include "host/player/lottie/document/Archive.h"
#include "host/player/lottie/document/Json.h"

namespace plexion_host::movie {

/// A movie's file: a document, packed by gzip or not, or a ".lottie" archive with documents, pictures
/// and themes. Which of an archive's animations and themes are taken say the variables "animation"
/// and "theme", else its manifest.
class MovieFile {
 public:
  /// Reads the file.
  /// Returns  false with what is wrong, also when the host cancelled.
  bool Open(const std::string& path, player::EngineHost& host, player::EngineError& error);

  /// The document's text.
  std::string_view Document() const { return document_; }
  /// The text of the theme; empty: none.
  std::string_view Theme() const { return theme_.Text(); }
  bool IsArchive() const { return archived_; }
  /// A picture of the archive. Returns  false with the reason.
  bool ReadAsset(std::string_view name, uint64_t mostBytes, player::EngineHost& host,
                 Unpacked& bytes, std::string& error) const;

 private:
  bool ReadBytes(const std::string& path, player::EngineHost& host, player::EngineError& error);
  bool OpenArchive(player::EngineHost& host, std::string& error);
  bool ReadPart(const std::string& folder, const std::string& oldFolder, const std::string& id,
                player::EngineHost& host, Unpacked& bytes, std::string& error) const;

  player::WatchedBuffer file_;
  std::string_view bytes_;
  Archive archive_;
  bool archived_ = false;
  Unpacked unpacked_;
  Unpacked theme_;
  std::string_view document_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_MOVIEFILE_H_
