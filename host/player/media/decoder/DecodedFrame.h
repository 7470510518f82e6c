// A decoded picture as the framework's buffer, without a copy of its pixels.

#ifndef HOST_PLAYER_MEDIA_DECODER_DECODEDFRAME_H_
#define HOST_PLAYER_MEDIA_DECODER_DECODEDFRAME_H_

#include <gst/video/video.h>

#include "host/player/media/decoder/CodecLibrary.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// The framework's name of a decoded picture's format.
/// Returns  GST_VIDEO_FORMAT_UNKNOWN for those that have none, or that no codec of ours makes.
GstVideoFormat FormatOfDecoded(const AVFrame& picture);

/// All names that FormatOfDecoded gives, as the framework's list of them: "{ I420, ... }".
const char* DecodedFormats();

/// The picture's planes where the decoder has them, read only; rows have its padding, which the
/// buffer's description tells. The decoder does not draw into them again before the buffer is freed.
/// Returns  null for a picture that is not laid out like its format, or without memory.
/// Thread   any; the buffer may be freed on another.
GstBufferPointer WrapPicture(const CodecLibrary& library, const AVFrame& picture,
                             const GstVideoInfo& info);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_DECODER_DECODEDFRAME_H_
