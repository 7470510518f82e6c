#ifndef HOST_PLAYER_LOTTIE_PAINT_IMAGES_H_
#define HOST_PLAYER_LOTTIE_PAINT_IMAGES_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/player/WatchedMemory.h"
#include "host/player/lottie/document/Archive.h"
#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/raster/Image.h"

namespace plexion_host::player {
struct StillPicture;
}

namespace plexion_host::movie {

/// A picture's pixels, premultiplied, in the window's memory.
struct LoadedImage {
  explicit LoadedImage(const Surface& surface) : image(surface) {}
  std::shared_ptr<player::StillPicture> picture;
  mutable Image image;  ///< makes smaller versions of itself while it is drawn
};

/// The pictures of a movie, decoded at load.
class Images {
 public:
  /// Reads a file of the movie into `bytes`. Returns  false with the reason.
  using Reader = std::function<bool(std::string_view name, uint64_t mostBytes, Unpacked& bytes,
                                    std::string& error)>;

  explicit Images(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Decodes what layers show. What cannot be had, or is more than all pictures of a movie may have
  /// together, is told to `missing` and left out.
  /// Returns  false with the reason when `cancelled` says so.
  bool Load(const Movie& movie, const Reader& reader, const std::function<bool()>& cancelled,
            const std::function<void(const ImageAsset&, const std::string&)>& missing,
            std::string& error);

  /// Null when it could not be had.
  const LoadedImage* Find(const ImageAsset& asset) const;

 private:
  bool Decode(const uint8_t* bytes, size_t size, const ImageAsset& asset,
              const std::function<bool()>& cancelled, std::string& reason);

  qx::plexion::MemoryWatchdog* watchdog_;
  std::vector<std::pair<const ImageAsset*, std::unique_ptr<LoadedImage>>> images_;
  uint64_t pixels_ = 0;
};

/// The bytes of a "data:" address. Returns  false with the reason.
bool DecodeDataAddress(std::string_view address, qx::plexion::MemoryWatchdog* watchdog,
                       Unpacked& bytes, std::string& error);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_IMAGES_H_
