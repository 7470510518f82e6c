// Wraps the planes of a decoded picture.

#include "host/player/media/decoder/DecodedFrame.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <memory>

namespace plexion_host::player {

namespace {

struct FormatPair {
  int codec;
  GstVideoFormat framework;
};

// AV_PIX_FMT_YUVJ*: the same with the full range, which is a property of its own here.
constexpr FormatPair kDecodedFormats[] = {
    {AV_PIX_FMT_YUV420P, GST_VIDEO_FORMAT_I420},
    {AV_PIX_FMT_YUVJ420P, GST_VIDEO_FORMAT_I420},
    {AV_PIX_FMT_YUV422P, GST_VIDEO_FORMAT_Y42B},
    {AV_PIX_FMT_YUVJ422P, GST_VIDEO_FORMAT_Y42B},
    {AV_PIX_FMT_YUV444P, GST_VIDEO_FORMAT_Y444},
    {AV_PIX_FMT_YUVJ444P, GST_VIDEO_FORMAT_Y444},
    {AV_PIX_FMT_YUV420P10LE, GST_VIDEO_FORMAT_I420_10LE},
    {AV_PIX_FMT_YUV422P10LE, GST_VIDEO_FORMAT_I422_10LE},
    {AV_PIX_FMT_YUV444P10LE, GST_VIDEO_FORMAT_Y444_10LE},
    {AV_PIX_FMT_YUV420P12LE, GST_VIDEO_FORMAT_I420_12LE},
    {AV_PIX_FMT_YUV422P12LE, GST_VIDEO_FORMAT_I422_12LE},
    {AV_PIX_FMT_YUV444P12LE, GST_VIDEO_FORMAT_Y444_12LE},
    {AV_PIX_FMT_GBRP, GST_VIDEO_FORMAT_GBR},
    {AV_PIX_FMT_GBRP10LE, GST_VIDEO_FORMAT_GBR_10LE},
    {AV_PIX_FMT_GBRP12LE, GST_VIDEO_FORMAT_GBR_12LE},
    {AV_PIX_FMT_GRAY8, GST_VIDEO_FORMAT_GRAY8},
};

constexpr char kDecodedFormatNames[] =
    "{ I420, Y42B, Y444, I420_10LE, I422_10LE, Y444_10LE, I420_12LE, I422_12LE, Y444_12LE, GBR, "
    "GBR_10LE, GBR_12LE, GRAY8 }";

}  // namespace

GstVideoFormat FormatOfDecoded(const AVFrame& picture) {
  for (const FormatPair& pair : kDecodedFormats) {
    if (pair.codec == picture.format) return pair.framework;
  }
  return GST_VIDEO_FORMAT_UNKNOWN;
}

const char* DecodedFormats() { return kDecodedFormatNames; }

GstBufferPointer WrapPicture(const CodecLibrary& library, const AVFrame& picture,
                             const GstVideoInfo& info) {
  // One more reference to the decoder's pixels, which all planes share.
  const std::shared_ptr<AVFrame> held(library.av_frame_clone(&picture), CodecRelease{&library});
  if (held == nullptr) return nullptr;
  GstBufferPointer buffer(gst_buffer_new());
  gsize offsets[GST_VIDEO_MAX_PLANES] = {};
  gint strides[GST_VIDEO_MAX_PLANES] = {};
  gsize size = 0;
  const guint planes = GST_VIDEO_INFO_N_PLANES(&info);
  for (guint i = 0; i < planes; ++i) {
    // Of these formats each plane is a component, or all are of one size.
    const auto component = static_cast<gint>(i);
    const gint rows = GST_VIDEO_INFO_COMP_HEIGHT(&info, component);
    const gint rowBytes =
        GST_VIDEO_INFO_COMP_WIDTH(&info, component) * GST_VIDEO_INFO_COMP_PSTRIDE(&info, component);
    strides[i] = held->linesize[i];
    if (held->data[i] == nullptr || strides[i] < rowBytes || rows <= 0) return nullptr;
    // What is cropped begins within the decoder's first row: its last one ends before its padding does.
    const gsize bytes = static_cast<gsize>(strides[i]) * static_cast<gsize>(rows - 1) +
                        static_cast<gsize>(rowBytes);
    offsets[i] = size;
    size += bytes;
    auto* const holder = new std::shared_ptr<AVFrame>(held);
    gst_buffer_append_memory(
        buffer.get(), gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, held->data[i], bytes, 0,
                                             bytes, holder, [](gpointer data) {
                                               delete static_cast<std::shared_ptr<AVFrame>*>(data);
                                             }));
  }
  gst_buffer_add_video_meta_full(
      buffer.get(), GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
      static_cast<guint>(GST_VIDEO_INFO_WIDTH(&info)),
      static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&info)), planes, offsets, strides);
  return buffer;
}

}  // namespace plexion_host::player
