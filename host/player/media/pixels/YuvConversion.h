// Frames of video in the plane's colours.

#ifndef HOST_PLAYER_MEDIA_PIXELS_YUVCONVERSION_H_
#define HOST_PLAYER_MEDIA_PIXELS_YUVCONVERSION_H_

#include <gst/video/video.h>

#include "host/player/WatchedMemory.h"
#include "host/player/media/pixels/FrameCut.h"

namespace plexion_host::player {

/// Turns the kinds of frames that most video decoders make into pixels, several times faster than
/// the framework's converter: progressive 4:2:0 and 4:2:2 of 8 bits, planar or with interleaved
/// chroma, by the matrices of BT.601, BT.709 and BT.2020 in both ranges. Chroma is repeated, not
/// interpolated. A frame of another size is scaled in its own planes first, averaging when it
/// shrinks and bilinear when it grows: that is less to scale than pixels.
///
/// Thread   one at a time.
class YuvConversion {
 public:
  /// `watchdog` accounts for the scaled planes; null: nobody does.
  explicit YuvConversion(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Writes what is seen of `cut` as opaque pixels 0xAARRGGBB, rows `pitchBytes` apart.
  /// Returns  false, and nothing is written, when the frame is of another kind or there is no
  ///          memory for its scaled planes.
  bool Paint(const GstVideoFrame& source, const FrameCut& cut, uint32_t* pixels,
             uint32_t pitchBytes);

 private:
  struct Planes;
  bool Scale(Planes& planes, const qx::plexion::Dims& from, const qx::plexion::Dims& to);

  qx::plexion::MemoryWatchdog* const watchdog_;
  WatchedBuffer scaled_;
  WatchedBuffer chromaRow_;  ///< u and v of one row, taken apart
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIXELS_YUVCONVERSION_H_
