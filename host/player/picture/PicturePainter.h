// From decoded pixels of a picture to the render plane.

#ifndef HOST_PLAYER_PICTURE_PICTUREPAINTER_H_
#define HOST_PLAYER_PICTURE_PICTUREPAINTER_H_

#include "host/player/Engine.h"
#include "host/player/StageFit.h"
#include "host/player/WatchedMemory.h"

namespace plexion_host::player {

/// The pixels of a picture: rows of 0xAARRGGBB without padding, straight.
struct PicturePixels {
  const uint32_t* pixels = nullptr;
  qx::plexion::Dims dims = {0, 0};
  bool opaque = false;  ///< every pixel's alpha is 255
};

/// Lays a picture into a plane: scaled where the sizes differ, multiplied by its alpha before that,
/// since colours may be mixed only then, and over the plane's background.
///
/// Thread   the player's.
class PicturePainter {
 public:
  explicit PicturePainter(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// How pictures lie in the plane; contain until told.
  void SetFit(Fit fit) { fit_ = fit; }

  /// `stage` is the size that the picture asks for, in its own proportion.
  DrawResult Draw(const PicturePixels& picture, const qx::plexion::Dims& stage,
                  const DrawTarget& target);

  /// Gives memory back that a picture with transparent pixels of another size took.
  void Forget() { premultiplied_.Resize(watchdog_, 0); }

 private:
  qx::plexion::MemoryWatchdog* const watchdog_;
  Fit fit_ = Fit::kContain;
  WatchedBuffer premultiplied_;
};

/// The size of a picture of `dims`, brought down to at most 4096 a side: no display shows more.
qx::plexion::Dims StageDimsOf(const qx::plexion::Dims& dims);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_PICTUREPAINTER_H_
