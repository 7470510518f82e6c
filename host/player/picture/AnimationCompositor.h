// The frames of a picture, put together as they are wanted.

#ifndef HOST_PLAYER_PICTURE_ANIMATIONCOMPOSITOR_H_
#define HOST_PLAYER_PICTURE_ANIMATIONCOMPOSITOR_H_

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "host/player/WatchedMemory.h"
#include "host/player/image/PictureDecoder.h"
#include "host/player/picture/PictureBytes.h"

namespace plexion_host::player {

/// The frames of a picture, put together one upon the other as they are wanted. There are never
/// more pixels in memory than those of the picture, of its largest frame and, where a file asks for
/// it, of a part that comes back later.
///
/// Thread   the player's.
class AnimationCompositor {
 public:
  /// `cancelled` is true once nobody wants the picture any more; empty: never.
  explicit AnimationCompositor(qx::plexion::MemoryWatchdog* watchdog,
                               std::function<bool()> cancelled = nullptr)
      : watchdog_(watchdog), cancelled_(std::move(cancelled)) {}

  /// Opens what `bytes` hold and decodes the first frame.
  /// Returns  false with `error` when there is nothing to show.
  bool Open(PictureFormat format, std::unique_ptr<PictureBytes> bytes, EngineError& error);
  /// The same with bytes of somebody else, which outlive the compositor.
  bool Open(PictureFormat format, const PictureSource& source, EngineError& error);

  const PictureFacts& Facts() const { return facts_; }

  /// Puts the picture as it is at `frame` together. Frames before it that were not shown are
  /// decoded on the way; going back begins with the first one. Whatever is asked for after `most`
  /// has gone by, or after the end of it all, is left for the next call: see Shown.
  void Show(size_t frame, std::chrono::milliseconds most = std::chrono::hours(1));
  size_t Shown() const { return shown_; }
  /// Frames of which something was missing.
  uint64_t Damaged() const { return damaged_; }

  /// Rows without padding, straight, and changed by Show. Null while they are given back.
  const uint32_t* Pixels() const { return canvas_.As<uint32_t>(); }
  /// Whether all pixels of all frames are opaque.
  bool IsOpaque() const { return opaque_; }

  /// Gives the memory of the pixels back until Restore; the file's bytes stay. Only of a picture of
  /// one frame that is quickly decoded again, and opened with bytes of its own: others keep all.
  void Release();
  /// Decodes again what was given back. Returns  false when there is no memory; nothing is shown then.
  bool Restore();

 private:
  static constexpr size_t kNone = SIZE_MAX;

  bool Allocate(EngineError& error);
  bool StaysOpaque();
  bool IsWhole(size_t frame) const;
  qx::plexion::Rect Visible(const PictureFrame& frame) const;
  void DisposeOf(size_t frame);
  Decoded Add(size_t frame);
  uint32_t* Row(uint32_t y) { return canvas_.As<uint32_t>() + size_t{y} * facts_.dims.width; }

  qx::plexion::MemoryWatchdog* const watchdog_;
  const std::function<bool()> cancelled_;
  std::unique_ptr<PictureBytes> bytes_;
  std::unique_ptr<PictureDecoder> decoder_;
  PictureFacts facts_;
  WatchedBuffer canvas_;  ///< 0xAARRGGBB, not multiplied by alpha
  WatchedBuffer frame_;   ///< of the largest frame
  WatchedBuffer kept_;    ///< what comes back when the frame at hand goes
  size_t shown_ = kNone;
  uint64_t damaged_ = 0;
  bool opaque_ = false;
  bool redecodes_ = false;  ///< the pixels may be given back
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_ANIMATIONCOMPOSITOR_H_
