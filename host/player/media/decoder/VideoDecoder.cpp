// Hands what the framework's base class has put together to the codec library, and pictures back.

#include "host/player/media/decoder/VideoDecoder.h"

#include <gst/video/gstvideodecoder.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "host/base/Check.h"
#include "host/player/media/decoder/CodecLibrary.h"
#include "host/player/media/decoder/DecodedFrame.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

namespace {

/// Codecs whose streams come whole: each buffer has the data of one picture, or of one field.
constexpr char kVideoCaps[] =
    "video/x-h264, stream-format=(string){ avc, byte-stream }, alignment=(string)au; "
    "video/x-h265, stream-format=(string){ hvc1, hev1, byte-stream }, alignment=(string)au; "
    "video/mpeg, mpegversion=(int){ 1, 2, 4 }, systemstream=(boolean)false, parsed=(boolean)true";

/// No codec keeps a picture for so many others, its threads' included. What is older than that will
/// not come: the second field of a picture, and what was too damaged or too late to be decoded.
constexpr guint32 kMostDelay = 64;
constexpr guint kMostThreads = 16;

/// Decoders of the device's own hardware have the primary rank and above, and come first.
constexpr guint kRank = GST_RANK_PRIMARY - 1;
/// The framework's elements for the same library and codecs come after ours.
constexpr const char* kSameLibrary[] = {"avdec_h264", "avdec_h265", "avdec_mpegvideo",
                                        "avdec_mpeg2video", "avdec_mpeg4"};

AVCodecID CodecOf(const GstStructure* type) {
  if (gst_structure_has_name(type, "video/x-h264")) return AV_CODEC_ID_H264;
  if (gst_structure_has_name(type, "video/x-h265")) return AV_CODEC_ID_HEVC;
  gint version = 0;
  gst_structure_get_int(type, "mpegversion", &version);
  if (version == 1) return AV_CODEC_ID_MPEG1VIDEO;
  return version == 2 ? AV_CODEC_ID_MPEG2VIDEO : AV_CODEC_ID_MPEG4;
}

/// What a picture has that decides how it is described. Another one is described anew.
struct PictureShape {
  gint width = 0;
  gint height = 0;
  GstVideoFormat format = GST_VIDEO_FORMAT_UNKNOWN;
  GstVideoInterlaceMode fields = GST_VIDEO_INTERLACE_MODE_PROGRESSIVE;
  bool topFirst = false;  ///< of interleaved fields
  AVRational aspect = {0, 1};
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;

  bool operator==(const PictureShape& other) const {
    return width == other.width && height == other.height && format == other.format &&
           fields == other.fields && topFirst == other.topFirst && aspect.num == other.aspect.num &&
           aspect.den == other.aspect.den && matrix == other.matrix && range == other.range;
  }
};

bool IsFullRange(const AVFrame& picture) {
  return picture.color_range == AVCOL_RANGE_JPEG || picture.format == AV_PIX_FMT_YUVJ420P ||
         picture.format == AV_PIX_FMT_YUVJ422P || picture.format == AV_PIX_FMT_YUVJ444P;
}

/// What the container or the parser says of colours counts; the rest is the codec's to tell.
void CompleteColours(const AVFrame& picture, GstVideoColorimetry& colours) {
  if (colours.range == GST_VIDEO_COLOR_RANGE_UNKNOWN) {
    colours.range =
        IsFullRange(picture) ? GST_VIDEO_COLOR_RANGE_0_255 : GST_VIDEO_COLOR_RANGE_16_235;
  }
  // The numbers are those of one standard in both.
  if (colours.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN) {
    colours.matrix = gst_video_color_matrix_from_iso(static_cast<guint>(picture.colorspace));
  }
  if (colours.primaries == GST_VIDEO_COLOR_PRIMARIES_UNKNOWN) {
    colours.primaries =
        gst_video_color_primaries_from_iso(static_cast<guint>(picture.color_primaries));
  }
  if (colours.transfer == GST_VIDEO_TRANSFER_UNKNOWN) {
    colours.transfer = gst_video_transfer_function_from_iso(static_cast<guint>(picture.color_trc));
  }
}

/// Where the codec says that samples of colour lie.
GstVideoChromaSite SiteOf(const AVFrame& picture) {
  switch (picture.chroma_location) {
    case AVCHROMA_LOC_LEFT:
      return GST_VIDEO_CHROMA_SITE_MPEG2;
    case AVCHROMA_LOC_CENTER:
      return GST_VIDEO_CHROMA_SITE_JPEG;
    case AVCHROMA_LOC_TOPLEFT:
      return GST_VIDEO_CHROMA_SITE_DV;
    case AVCHROMA_LOC_TOP:
      return GST_VIDEO_CHROMA_SITE_V_COSITED;
    default:
      return GST_VIDEO_CHROMA_SITE_UNKNOWN;
  }
}

/// One decoder's stream. All under the base class's stream lock, but for `maxThreads`.
class VideoStream {
 public:
  explicit VideoStream(GstVideoDecoder* element) : element_(element) {}
  VideoStream(const VideoStream&) = delete;
  VideoStream& operator=(const VideoStream&) = delete;
  ~VideoStream() { SetInput(nullptr); }

  bool OpenLibrary(std::string& reason);
  bool SetFormat(GstVideoCodecState* input);
  GstFlowReturn Decode(GstVideoCodecFrame* frame);
  /// Hands on what is still in the decoder; it then takes a new stream.
  GstFlowReturn Drain();
  void Flush();
  void Close();
  void SetTakesRows(bool takes) { takesRows_ = takes; }

  gint maxThreads = 0;  ///< a property: under the object's lock

 private:
  void SetInput(GstVideoCodecState* input);
  bool IsLive() const;
  GstFlowReturn TakePictures();
  GstFlowReturn Show(const AVFrame& picture);
  bool Describe(const AVFrame& picture);
  GstVideoInterlaceMode FieldsOf(const AVFrame& picture);
  GstBufferPointer BufferOf(const AVFrame& picture);
  void LeaveOut(guint32 number);

  GstVideoDecoder* const element_;
  const CodecLibrary* library_ = nullptr;
  CodecOwned<AVCodecContext> codec_;
  CodecOwned<AVPacket> packet_;
  CodecOwned<AVFrame> picture_;
  GstVideoCodecState* input_ = nullptr;
  PictureShape shape_;
  GstVideoInfo info_ = {};
  bool described_ = false;
  bool takesRows_ = false;    ///< rows with padding; without, pictures are copied
  bool sawFields_ = false;    ///< a picture of two fields
  bool sawNoFields_ = false;  ///< one that is whole
};

bool VideoStream::OpenLibrary(std::string& reason) {
  library_ = CodecLibrary::Get(reason);
  return library_ != nullptr;
}

void VideoStream::SetInput(GstVideoCodecState* input) {
  if (input_ != nullptr) gst_video_codec_state_unref(input_);
  input_ = input == nullptr ? nullptr : gst_video_codec_state_ref(input);
}

/// Threads that each decode a picture of their own make all pictures late.
bool VideoStream::IsLive() const {
  GstQuery* const query = gst_query_new_latency();
  gboolean live = FALSE;
  if (gst_pad_peer_query(GST_VIDEO_DECODER_SINK_PAD(element_), query)) {
    gst_query_parse_latency(query, &live, nullptr, nullptr);
  }
  gst_query_unref(query);
  return live != FALSE;
}

bool VideoStream::SetFormat(GstVideoCodecState* input) {
  PLEXION_CHECK(library_ != nullptr, "an element that could not be opened gets no stream");
  // What is left of the stream before this one comes first.
  Drain();
  Close();
  const CodecRelease release = {library_};
  const AVCodec* const codec =
      library_->avcodec_find_decoder(CodecOf(gst_caps_get_structure(input->caps, 0)));
  packet_ = CodecOwned<AVPacket>(library_->av_packet_alloc(), release);
  picture_ = CodecOwned<AVFrame>(library_->av_frame_alloc(), release);
  codec_ = CodecOwned<AVCodecContext>(
      codec == nullptr ? nullptr : library_->avcodec_alloc_context3(codec), release);
  if (codec_ == nullptr || packet_ == nullptr || picture_ == nullptr) return false;

  GstMapInfo header;
  if (input->codec_data != nullptr && gst_buffer_map(input->codec_data, &header, GST_MAP_READ)) {
    // The codec frees it, and reads beyond its end.
    codec_->extradata =
        static_cast<uint8_t*>(library_->av_mallocz(header.size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (codec_->extradata != nullptr) {
      memcpy(codec_->extradata, header.data, header.size);
      codec_->extradata_size = static_cast<int>(header.size);
    }
    gst_buffer_unmap(input->codec_data, &header);
  }
  GST_OBJECT_LOCK(element_);
  const gint threads = maxThreads;
  GST_OBJECT_UNLOCK(element_);
  codec_->thread_count =
      threads > 0 ? threads : static_cast<int>(std::min(g_get_num_processors(), kMostThreads));
  codec_->thread_type = IsLive() ? FF_THREAD_SLICE : FF_THREAD_FRAME | FF_THREAD_SLICE;
  // Damaged pictures are better than none; the codec library hides what it can.
  codec_->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
  if (library_->avcodec_open2(codec_.get(), codec, nullptr) < 0) {
    Close();
    return false;
  }
  SetInput(input);
  return true;
}

GstFlowReturn VideoStream::Decode(GstVideoCodecFrame* frame) {
  if (codec_ == nullptr) return GST_FLOW_NOT_NEGOTIATED;
  // Behind its time, it leaves out what no other picture needs.
  const GstClockTimeDiff left = gst_video_decoder_get_max_decode_time(element_, frame);
  codec_->skip_frame = left < 0 ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
  const guint32 number = frame->system_frame_number;
  GstMapInfo data;
  if (!gst_buffer_map(frame->input_buffer, &data, GST_MAP_READ)) return GST_FLOW_ERROR;
  // Not counted by the codec library: it makes a copy of its own, with the room behind it that it needs.
  packet_->data = data.data;
  packet_->size = static_cast<int>(data.size);
  // Not a time: what comes out tells with it which frame it is.
  packet_->pts = number;
  int result = library_->avcodec_send_packet(codec_.get(), packet_.get());
  GstFlowReturn flow = GST_FLOW_OK;
  if (result == AVERROR(EAGAIN)) {
    flow = TakePictures();
    if (flow == GST_FLOW_OK) result = library_->avcodec_send_packet(codec_.get(), packet_.get());
  }
  gst_buffer_unmap(frame->input_buffer, &data);
  packet_->data = nullptr;
  packet_->size = 0;
  if (flow == GST_FLOW_OK && result < 0 && result != AVERROR(EAGAIN)) {
    GST_VIDEO_DECODER_ERROR(element_, 1, STREAM, DECODE, (nullptr), ("a damaged picture"), flow);
    if (flow != GST_FLOW_OK) return flow;
  }
  if (flow == GST_FLOW_OK) flow = TakePictures();
  LeaveOut(number);
  return flow;
}

GstFlowReturn VideoStream::TakePictures() {
  GstFlowReturn flow = GST_FLOW_OK;
  while (flow == GST_FLOW_OK) {
    const int result = library_->avcodec_receive_frame(codec_.get(), picture_.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return GST_FLOW_OK;
    if (result < 0) {
      GST_VIDEO_DECODER_ERROR(element_, 1, STREAM, DECODE, (nullptr), ("a damaged picture"), flow);
      return flow;
    }
    flow = Show(*picture_);
  }
  return flow;
}

GstFlowReturn VideoStream::Show(const AVFrame& picture) {
  // Some codecs lose the number of a picture now and then; it is in its turn all the same.
  GstVideoCodecFrame* const frame =
      picture.pts == AV_NOPTS_VALUE
          ? gst_video_decoder_get_oldest_frame(element_)
          : gst_video_decoder_get_frame(element_, static_cast<int>(picture.pts));
  // Of before a seek.
  if (frame == nullptr) return GST_FLOW_OK;
  GstBufferPointer buffer = Describe(picture) ? BufferOf(picture) : nullptr;
  if (buffer == nullptr) {
    gst_video_codec_frame_unref(frame);
    // Nobody takes anything during a seek, or at the end.
    if (GST_PAD_IS_FLUSHING(GST_VIDEO_DECODER_SRC_PAD(element_))) return GST_FLOW_FLUSHING;
    GST_ELEMENT_ERROR(element_, STREAM, FORMAT, (nullptr),
                      ("decoded pictures have a format that nobody takes"));
    return GST_FLOW_NOT_NEGOTIATED;
  }
  const auto mark = [&buffer](bool is, GstVideoBufferFlags flag) {
    if (is) GST_BUFFER_FLAG_SET(buffer.get(), flag);
  };
  mark(picture.interlaced_frame != 0, GST_VIDEO_BUFFER_FLAG_INTERLACED);
  mark(picture.top_field_first != 0, GST_VIDEO_BUFFER_FLAG_TFF);
  mark(picture.repeat_pict != 0, GST_VIDEO_BUFFER_FLAG_RFF);
  if ((picture.flags & AV_FRAME_FLAG_CORRUPT) != 0) {
    GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_CORRUPTED);
  }
  frame->output_buffer = buffer.release();
  return gst_video_decoder_finish_frame(element_, frame);
}

/// Where the stream's description does not say more, the pictures so far tell.
GstVideoInterlaceMode VideoStream::FieldsOf(const AVFrame& picture) {
  (picture.interlaced_frame != 0 ? sawFields_ : sawNoFields_) = true;
  const GstVideoInterlaceMode told = GST_VIDEO_INFO_INTERLACE_MODE(&input_->info);
  if (told != GST_VIDEO_INTERLACE_MODE_PROGRESSIVE || !sawFields_) return told;
  const bool both = sawNoFields_ || picture.repeat_pict != 0;
  return both ? GST_VIDEO_INTERLACE_MODE_MIXED : GST_VIDEO_INTERLACE_MODE_INTERLEAVED;
}

bool VideoStream::Describe(const AVFrame& picture) {
  PictureShape shape;
  shape.width = picture.width;
  shape.height = picture.height;
  shape.format = FormatOfDecoded(picture);
  shape.fields = FieldsOf(picture);
  shape.topFirst = shape.fields == GST_VIDEO_INTERLACE_MODE_INTERLEAVED && picture.top_field_first;
  shape.aspect = picture.sample_aspect_ratio;
  shape.matrix = picture.colorspace;
  shape.range = picture.color_range;
  if (described_ && shape == shape_) return true;
  if (shape.format == GST_VIDEO_FORMAT_UNKNOWN || shape.width <= 0 || shape.height <= 0) {
    return false;
  }
  GstVideoCodecState* const state = gst_video_decoder_set_interlaced_output_state(
      element_, shape.format, shape.fields, static_cast<guint>(shape.width),
      static_cast<guint>(shape.height), input_);
  if (state == nullptr) return false;
  if (shape.fields == GST_VIDEO_INTERLACE_MODE_INTERLEAVED) {
    GST_VIDEO_INFO_FIELD_ORDER(&state->info) = shape.topFirst
                                                   ? GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST
                                                   : GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST;
  }
  const bool square = GST_VIDEO_INFO_PAR_N(&input_->info) == GST_VIDEO_INFO_PAR_D(&input_->info);
  if (square && shape.aspect.num > 0 && shape.aspect.den > 0) {
    GST_VIDEO_INFO_PAR_N(&state->info) = shape.aspect.num;
    GST_VIDEO_INFO_PAR_D(&state->info) = shape.aspect.den;
  }
  state->info.colorimetry = input_->info.colorimetry;
  CompleteColours(picture, state->info.colorimetry);
  if (input_->info.chroma_site == GST_VIDEO_CHROMA_SITE_UNKNOWN) {
    state->info.chroma_site = SiteOf(picture);
  }
  const bool agreed = gst_video_decoder_negotiate(element_) != FALSE;
  info_ = state->info;
  gst_video_codec_state_unref(state);
  shape_ = shape;
  described_ = agreed;
  return agreed;
}

GstBufferPointer VideoStream::BufferOf(const AVFrame& picture) {
  GstBufferPointer own = WrapPicture(*library_, picture, info_);
  if (own == nullptr || takesRows_) return own;
  GstBufferPointer plain(gst_video_decoder_allocate_output_buffer(element_));
  GstVideoFrame from;
  GstVideoFrame to;
  if (plain == nullptr || !gst_video_frame_map(&from, &info_, own.get(), GST_MAP_READ)) {
    return nullptr;
  }
  const bool mapped = gst_video_frame_map(&to, &info_, plain.get(), GST_MAP_WRITE) != FALSE;
  const bool copied = mapped && gst_video_frame_copy(&to, &from) != FALSE;
  if (mapped) gst_video_frame_unmap(&to);
  gst_video_frame_unmap(&from);
  return copied ? std::move(plain) : nullptr;
}

/// The base class keeps frames until somebody says that nothing comes of them.
void VideoStream::LeaveOut(guint32 number) {
  for (;;) {
    GstVideoCodecFrame* const oldest = gst_video_decoder_get_oldest_frame(element_);
    if (oldest == nullptr) return;
    if (number - oldest->system_frame_number <= kMostDelay) {
      gst_video_codec_frame_unref(oldest);
      return;
    }
    gst_video_decoder_release_frame(element_, oldest);
  }
}

GstFlowReturn VideoStream::Drain() {
  if (codec_ == nullptr) return GST_FLOW_OK;
  library_->avcodec_send_packet(codec_.get(), nullptr);
  const GstFlowReturn flow = TakePictures();
  library_->avcodec_flush_buffers(codec_.get());
  return flow;
}

void VideoStream::Flush() {
  if (codec_ != nullptr) library_->avcodec_flush_buffers(codec_.get());
}

void VideoStream::Close() {
  codec_.reset();
  packet_.reset();
  picture_.reset();
  SetInput(nullptr);
  described_ = false;
  sawFields_ = false;
  sawNoFields_ = false;
}

// The element: a class of the framework's kind, whose only part is the stream.

struct VideoElement {
  GstVideoDecoder base;
  VideoStream* stream;
};

struct VideoElementClass {
  GstVideoDecoderClass base;
};

VideoStream& StreamOf(gpointer element) { return *static_cast<VideoElement*>(element)->stream; }

constexpr guint kMaxThreadsProperty = 1;

void SetDecoderProperty(GObject* object, guint id, const GValue* value, GParamSpec*) {
  if (id != kMaxThreadsProperty) return;
  GST_OBJECT_LOCK(object);
  StreamOf(object).maxThreads = g_value_get_int(value);
  GST_OBJECT_UNLOCK(object);
}

void GetDecoderProperty(GObject* object, guint id, GValue* value, GParamSpec*) {
  if (id != kMaxThreadsProperty) return;
  GST_OBJECT_LOCK(object);
  g_value_set_int(value, StreamOf(object).maxThreads);
  GST_OBJECT_UNLOCK(object);
}

void FinalizeDecoder(GObject* object) {
  delete static_cast<VideoElement*>(static_cast<gpointer>(object))->stream;
  gpointer const parent = g_type_class_peek_parent(G_OBJECT_GET_CLASS(object));
  G_OBJECT_CLASS(parent)->finalize(object);
}

gboolean OpenDecoder(GstVideoDecoder* element) {
  std::string reason;
  if (StreamOf(element).OpenLibrary(reason)) return TRUE;
  GST_ELEMENT_ERROR(element, LIBRARY, INIT, (nullptr), ("%s", reason.c_str()));
  return FALSE;
}

/// Asks for nothing of its own, so that padding is all that may be wrong with the codec's rows.
gboolean DecideAllocation(GstVideoDecoder* element, GstQuery* query) {
  StreamOf(element).SetTakesRows(
      gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr) != FALSE);
  gpointer const parent = g_type_class_peek_parent(GST_VIDEO_DECODER_GET_CLASS(element));
  return GST_VIDEO_DECODER_CLASS(parent)->decide_allocation(element, query);
}

void AddDecoderPad(GstElementClass* element, const char* name, GstPadDirection direction,
                   const std::string& caps) {
  const GstCapsPointer all(gst_caps_from_string(caps.c_str()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new(name, direction, GST_PAD_ALWAYS, all.get()));
}

void InitDecoderClass(gpointer ofClass, gpointer) {
  GObjectClass* const object = G_OBJECT_CLASS(ofClass);
  object->set_property = SetDecoderProperty;
  object->get_property = GetDecoderProperty;
  object->finalize = FinalizeDecoder;
  g_object_class_install_property(
      object, kMaxThreadsProperty,
      g_param_spec_int("max-threads", "Maximum decode threads", "0: one on each processor", 0,
                       G_MAXINT, 0,
                       static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
  GstElementClass* const element = GST_ELEMENT_CLASS(ofClass);
  gst_element_class_set_static_metadata(element, "Plexion's video decoder", "Codec/Decoder/Video",
                                        "Decodes video with libavcodec", "Plexion");
  AddDecoderPad(element, "sink", GST_PAD_SINK, kVideoCaps);
  AddDecoderPad(element, "src", GST_PAD_SRC,
                std::string("video/x-raw, format=(string)") + DecodedFormats());
  GstVideoDecoderClass* const decoder = GST_VIDEO_DECODER_CLASS(ofClass);
  decoder->open = OpenDecoder;
  decoder->start = [](GstVideoDecoder*) -> gboolean { return TRUE; };
  decoder->stop = [](GstVideoDecoder* self) -> gboolean {
    StreamOf(self).Close();
    return TRUE;
  };
  decoder->set_format = [](GstVideoDecoder* self, GstVideoCodecState* input) -> gboolean {
    return StreamOf(self).SetFormat(input) ? TRUE : FALSE;
  };
  decoder->handle_frame = [](GstVideoDecoder* self, GstVideoCodecFrame* frame) {
    // The base class keeps one for itself.
    const GstFlowReturn flow = StreamOf(self).Decode(frame);
    gst_video_codec_frame_unref(frame);
    return flow;
  };
  decoder->flush = [](GstVideoDecoder* self) -> gboolean {
    StreamOf(self).Flush();
    return TRUE;
  };
  decoder->finish = [](GstVideoDecoder* self) { return StreamOf(self).Drain(); };
  decoder->drain = [](GstVideoDecoder* self) { return StreamOf(self).Drain(); };
  decoder->decide_allocation = DecideAllocation;
}

void InitDecoder(GTypeInstance* instance, gpointer) {
  GstVideoDecoder* const element = GST_VIDEO_DECODER(instance);
  static_cast<VideoElement*>(static_cast<gpointer>(instance))->stream = new VideoStream(element);
  gst_video_decoder_set_packetized(element, TRUE);
  gst_video_decoder_set_needs_format(element, TRUE);
}

}  // namespace

void RegisterVideoDecoder() {
  static std::once_flag registered;
  std::call_once(registered, [] {
    const GType type = g_type_register_static_simple(
        GST_TYPE_VIDEO_DECODER, "PlexionVideoDecoder", sizeof(VideoElementClass), InitDecoderClass,
        sizeof(VideoElement), InitDecoder, GTypeFlags{});
    gst_element_register(nullptr, kVideoDecoderName, kRank, type);
    for (const char* const other : kSameLibrary) {
      const GstFeaturePointer feature(gst_registry_lookup_feature(gst_registry_get(), other));
      if (feature == nullptr || gst_plugin_feature_get_rank(feature.get()) < kRank) continue;
      gst_plugin_feature_set_rank(feature.get(), kRank - 1);
    }
  });
}

}  // namespace plexion_host::player
