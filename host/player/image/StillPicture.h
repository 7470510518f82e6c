// A picture that stands still, ready to be drawn: for images of applications and movies.
#ifndef HOST_PLAYER_IMAGE_STILLPICTURE_H_
#define HOST_PLAYER_IMAGE_STILLPICTURE_H_

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>

#include "host/player/WatchedMemory.h"
#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

struct StillLimits {
  /// Most bytes of pixels. Reckoned from the picture's header, before any is decoded.
  uint64_t bytes = UINT64_MAX;
  qx::plexion::MemoryWatchdog* watchdog = nullptr;
  /// True once nobody wants the picture any more. Empty: it is wanted to the end.
  std::function<bool()> cancelled{};
};

/// Rows of 0xAARRGGBB with the alpha multiplied in, without padding.
struct StillPicture {
  uint32_t width = 0;
  uint32_t height = 0;
  WatchedBuffer pixels;
  bool incomplete =
      false;  ///< the file ends before the picture does; what is missing is transparent
};

/// Decodes a whole file in any of the formats that the player reads itself: JPEG, and the first
/// frame of what PictureFormatOf tells. What the file holds decides, not its name.
/// Returns  false with `reason` when it is none of them, is damaged or too large, or memory is short;
///          the picture is then of no use.
bool DecodeStillPicture(const uint8_t* bytes, size_t size, const StillLimits& limits,
                        StillPicture& picture, std::string& reason);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_STILLPICTURE_H_
