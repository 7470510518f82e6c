#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_ASSETFOLDER_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_ASSETFOLDER_H_

#include <stdint.h>

#include <string>
#include <string_view>

#include "host/player/lottie/document/Archive.h"

namespace plexion_host::movie {

/// The folder that a document lies in: pictures beside it are read from there and from below it,
/// from nowhere else, and through no link.
class AssetFolder {
 public:
  /// `document` is the document's own path.
  explicit AssetFolder(const std::string& document);
  AssetFolder(const AssetFolder&) = delete;
  AssetFolder& operator=(const AssetFolder&) = delete;
  ~AssetFolder();

  /// Reads a file of at most `mostBytes`.
  /// Returns  false with the reason.
  bool Read(std::string_view name, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
            Unpacked& bytes, std::string& error) const;

 private:
  int Open(std::string_view name, std::string& error) const;

  int folder_ = -1;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_ASSETFOLDER_H_
