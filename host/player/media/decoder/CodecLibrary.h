// The codec library, opened when the first video needs it.

#ifndef HOST_PLAYER_MEDIA_DECODER_CODECLIBRARY_H_
#define HOST_PLAYER_MEDIA_DECODER_CODECLIBRARY_H_

// The codec library has C headers only.
extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <string>

namespace plexion_host::player {

/// What is called of libavcodec. Nobody links it: it brings eighty libraries along, which a picture or
/// a sound of another kind does not need.
///
/// The framework's own elements for it come with its filters and its formats as well, and so with as
/// many libraries again: three times the time to be loaded, and twenty megabytes, for decoders that
/// stand in this one.
struct CodecLibrary {
  decltype(&::avcodec_find_decoder) avcodec_find_decoder;
  decltype(&::avcodec_alloc_context3) avcodec_alloc_context3;
  decltype(&::avcodec_free_context) avcodec_free_context;
  decltype(&::avcodec_open2) avcodec_open2;
  decltype(&::avcodec_send_packet) avcodec_send_packet;
  decltype(&::avcodec_receive_frame) avcodec_receive_frame;
  decltype(&::avcodec_flush_buffers) avcodec_flush_buffers;
  decltype(&::av_packet_alloc) av_packet_alloc;
  decltype(&::av_packet_free) av_packet_free;
  decltype(&::av_frame_alloc) av_frame_alloc;
  decltype(&::av_frame_free) av_frame_free;
  decltype(&::av_frame_clone) av_frame_clone;
  decltype(&::av_mallocz) av_mallocz;
  decltype(&::av_log_set_level) av_log_set_level;

  /// Opens it at the first call; it stays until the process ends.
  /// Returns  null with `reason` when it is not installed.
  /// Thread   any.
  static const CodecLibrary* Get(std::string& reason);
};

/// Frees with the library that it came from. That stays, so a plain pointer to it is enough.
struct CodecRelease {
  const CodecLibrary* library = nullptr;
  void operator()(AVCodecContext* owned) const { library->avcodec_free_context(&owned); }
  void operator()(AVPacket* owned) const { library->av_packet_free(&owned); }
  void operator()(AVFrame* owned) const { library->av_frame_free(&owned); }
};

template <typename T>
using CodecOwned = std::unique_ptr<T, CodecRelease>;

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_DECODER_CODECLIBRARY_H_
