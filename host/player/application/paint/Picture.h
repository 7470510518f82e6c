// The pictures of image elements.
#ifndef HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
#define HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_

#include <stdint.h>
#include <sys/types.h>
#include <time.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/stage/Element.h"
#include "host/player/image/StillPicture.h"

namespace plexion_host::player::application {

/// A decoded picture, in the window's memory.
class Picture final : public Resource {
 public:
  StillPicture still;
};

/// Of all pictures of an application together.
constexpr uint64_t kMostPictureBytes = uint64_t{512} * 1024 * 1024;

/// The pictures of an application. A file that several elements show is decoded once, and again when
/// it has changed.
class PictureCache {
 public:
  PictureCache(qx::plexion::MemoryWatchdog* watchdog, std::function<bool()> cancelled,
               uint64_t mostBytes = kMostPictureBytes)
      : watchdog_(watchdog), cancelled_(std::move(cancelled)), mostBytes_(mostBytes) {}

  /// Decodes what an open file holds, unless that was done already. How many pixels it has is
  /// reckoned first: all pictures that are in use have at most `mostBytes` together.
  /// Returns  null with `error` when it cannot be read or decoded.
  std::shared_ptr<Picture> Open(const OpenFile& file, std::string& error);

 private:
  /// A file as it is: another one, or other contents, differ in one of these.
  using Key = std::tuple<dev_t, ino_t, off_t, time_t, long>;

  qx::plexion::MemoryWatchdog* watchdog_;
  const std::function<bool()> cancelled_;
  const uint64_t mostBytes_;
  std::map<Key, std::weak_ptr<Picture>> pictures_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PICTURE_H_
