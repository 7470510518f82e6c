// The framework's element for the usual codecs of video, on libavcodec alone.

#ifndef HOST_PLAYER_MEDIA_DECODER_VIDEODECODER_H_
#define HOST_PLAYER_MEDIA_DECODER_VIDEODECODER_H_

namespace plexion_host::player {

/// The element's name, as the framework's factories have it.
constexpr char kVideoDecoderName[] = "plexionvideodec";

/// Makes the element known to the framework: H.264, H.265, MPEG-1, MPEG-2 and MPEG-4 video, each picture
/// handed on where it was decoded. It ranks below decoders of the device's own hardware, and above the
/// framework's element for the same library, which is asked when this one cannot be opened.
///
/// The element has the property "max-threads": threads that decode, 0 for one on each processor. It
/// counts from the next description of the stream on.
///
/// When the framework has started; from the second call on nothing happens. Thread   any.
void RegisterVideoDecoder();

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_DECODER_VIDEODECODER_H_
