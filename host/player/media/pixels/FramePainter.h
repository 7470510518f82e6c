// From decoded frames to the render plane.

#ifndef HOST_PLAYER_MEDIA_PIXELS_FRAMEPAINTER_H_
#define HOST_PLAYER_MEDIA_PIXELS_FRAMEPAINTER_H_

#include "host/player/Engine.h"
#include "host/player/StageFit.h"
#include "host/player/WatchedMemory.h"
#include "host/player/media/framework/GstPointers.h"
#include "host/player/media/pixels/YuvConversion.h"

namespace plexion_host::player {

/// Holds the decoded frame that is to be seen and paints it into the render plane.
///
/// The decoder's own memory is the source and the plane's pixels are the destination of one
/// conversion, which changes colours and size in a single pass: no frame is copied anywhere else.
/// Only what has to change its size as well may take a second pass: video is scaled before it gets
/// its colours, as that is less to scale, and a picture with transparent pixels after it, since
/// colours may be mixed only when they were multiplied by their alpha.
///
/// Thread   the player's.
class FramePainter {
 public:
  explicit FramePainter(qx::plexion::MemoryWatchdog* watchdog)
      : watchdog_(watchdog), video_(watchdog) {}

  /// Makes `frame` the one that is seen. Its buffer is held until the next one; the sample around
  /// it is the sink's, which changes it when nobody else has it. Returns  false when its format is
  /// unknown; the frame before stays then.
  bool Show(GstSamplePointer frame);
  bool HasFrame() const { return frame_ != nullptr; }
  GstBuffer* Frame() const { return frame_.get(); }
  /// When the frame is due, on the scale of running times; GST_CLOCK_TIME_NONE when it does not
  /// say.
  GstClockTime RunningTime() const { return runningTime_; }

  /// Which moment of the content it is, likewise.
  GstClockTime StreamTime() const { return streamTime_; }
  qx::plexion::Dims FrameDims() const {
    return {static_cast<uint32_t>(GST_VIDEO_INFO_WIDTH(&info_)),
            static_cast<uint32_t>(GST_VIDEO_INFO_HEIGHT(&info_))};
  }
  /// Where the frame of the last Draw lies in its target.
  const StageFit& Place() const { return place_; }

  /// How frames lie in the plane; contain until told.
  void SetFit(Fit fit) { fit_ = fit; }
  /// The frame's size in square pixels, brought down to at most 4096 a side.
  qx::plexion::Dims StageDims() const;

  DrawResult Draw(const DrawTarget& target);

 private:
  bool Paint(const GstVideoFrame& source, const FrameCut& cut, const DrawTarget& target,
             uint32_t* pixels, DrawResult& result);
  bool PaintTransparent(const GstVideoFrame& source, const FrameCut& cut, uint32_t* pixels,
                        uint32_t pitchBytes, DrawResult& result);
  /// The plane's pixels, or others of as many as the cut is scaled to, when not all are seen.
  bool Destination(const FrameCut& cut, uint32_t* pixels, uint32_t pitchBytes,
                   const GstVideoFrame& source, GstVideoFrame& frame, DrawResult& result);
  void CopySeen(const FrameCut& cut, uint32_t* pixels, uint32_t pitchBytes);

  /// A conversion, kept for as long as both sides stay the same.
  struct Conversion {
    GstVideoInfo from;
    GstVideoInfo to;
    qx::plexion::Rect part;  ///< of the source
    VideoConverterPointer converter;
  };
  bool Run(Conversion& conversion, const GstVideoFrame& source, const qx::plexion::Rect& part,
           GstVideoFrame& destination);

  qx::plexion::MemoryWatchdog* watchdog_;
  GstBufferPointer frame_;
  GstClockTime runningTime_ = GST_CLOCK_TIME_NONE;
  GstClockTime streamTime_ = GST_CLOCK_TIME_NONE;
  StageFit place_;
  GstVideoInfo info_ = {};
  YuvConversion video_;
  Conversion direct_ = {};
  Conversion resize_ = {};
  WatchedBuffer scratch_;
  WatchedBuffer scaled_;  ///< of a cut, as long as there is one
  Fit fit_ = Fit::kContain;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIXELS_FRAMEPAINTER_H_
