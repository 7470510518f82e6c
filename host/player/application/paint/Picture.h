#ifndef HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
#define HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_

#include <stdint.h>

#include <memory>
#include <string>

#include "host/player/WatchedMemory.h"
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

/// Decodes PNG or JPEG from an open file; what it holds decides, not its name.
/// Returns  null with `error` when it is neither, is damaged, is too large, or memory is short.
/// Reads    `descriptor` from its beginning; leaves it open.
std::shared_ptr<Picture> DecodePicture(int descriptor, qx::plexion::MemoryWatchdog* watchdog,
                                       std::string& error);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
