// A still picture that is decoded where it is shown.

#ifndef HOST_PLAYER_PICTURE_DIRECTPICTURE_H_
#define HOST_PLAYER_PICTURE_DIRECTPICTURE_H_

#include <functional>
#include <memory>

#include "host/player/Engine.h"
#include "host/player/StageFit.h"
#include "host/player/image/PictureDecoder.h"
#include "host/player/picture/PictureBytes.h"

namespace plexion_host::player {

/// A picture of one opaque frame. It is decoded each time that it is drawn, which is once as a rule:
/// into the plane where it is shown at a size that its decoder has, otherwise to the next larger one.
/// Its pixels are never in memory a second time, and those of a large photograph never at all.
///
/// Thread   the player's.
class DirectPicture {
 public:
  /// Takes `bytes` when they are such a picture, and leaves them otherwise.
  /// Returns  null otherwise, or when it would take too long to be decoded often.
  static std::unique_ptr<DirectPicture> Open(PictureFormat format,
                                             std::unique_ptr<PictureBytes>& bytes,
                                             qx::plexion::MemoryWatchdog* watchdog,
                                             std::function<bool()> cancelled);

  qx::plexion::Dims Dims() const { return decoder_->Facts().dims; }

  /// `stage` is the size that the picture asks for, in its own proportion.
  DrawResult Draw(const qx::plexion::Dims& stage, Fit fit, const DrawTarget& target);
  /// Whether something was missing when it was drawn.
  bool IsDamaged() const { return damaged_; }

 private:
  DirectPicture(std::unique_ptr<PictureBytes> bytes, std::unique_ptr<PictureDecoder> decoder,
                qx::plexion::MemoryWatchdog* watchdog);

  qx::plexion::MemoryWatchdog* const watchdog_;
  const std::unique_ptr<PictureBytes> bytes_;  // the decoder reads it
  const std::unique_ptr<PictureDecoder> decoder_;
  bool damaged_ = false;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_DIRECTPICTURE_H_
