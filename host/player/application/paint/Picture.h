// The pictures of image elements.
#ifndef HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
#define HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_

#include <stdint.h>
#include <sys/types.h>
#include <time.h>

#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "host/player/WatchedMemory.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// A decoded picture: rows of 0xAARRGGBB with the alpha multiplied in, without padding, in the
/// window's memory.
class Picture final : public Resource {
 public:
  uint32_t width = 0;
  uint32_t height = 0;
  WatchedBuffer pixels;
};

constexpr uint32_t kLargestPictureSide = 16384;
constexpr uint64_t kMostPicturePixels = 64 * 1024 * 1024;

/// Of all pictures of an application together.
constexpr uint64_t kMostPictureBytes = uint64_t{512} * 1024 * 1024;

/// Decodes PNG or JPEG from an open file; what it holds decides, not its name. At most `room` bytes
/// of pixels: their number is reckoned before any is decoded.
/// Returns  null with `error` when it is neither, is damaged, is too large, or memory is short.
/// Reads    `descriptor` from its beginning; leaves it open.
std::shared_ptr<Picture> DecodePicture(int descriptor, uint64_t room,
                                       qx::plexion::MemoryWatchdog* watchdog, std::string& error);

/// The pictures of an application. A file that several elements show is decoded once, and again when
/// it has changed.
class PictureCache {
 public:
  explicit PictureCache(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Returns  null with `error`, see DecodePicture.
  std::shared_ptr<Picture> Open(const OpenFile& file, std::string& error);

 private:
  /// A file as it is: another one, or other contents, differ in one of these.
  using Key = std::tuple<dev_t, ino_t, off_t, time_t, long>;

  qx::plexion::MemoryWatchdog* watchdog_;
  std::map<Key, std::weak_ptr<Picture>> pictures_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
