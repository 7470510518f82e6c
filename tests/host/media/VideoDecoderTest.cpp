// The decoder of our own, against the framework's element for the same codec library.
#include <gmock/gmock.h>
#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/player/media/decoder/VideoDecoder.h"
#include "host/player/media/framework/GstPointers.h"
#include "tests/host/media/MediaClips.h"

namespace plexion_host::player {
namespace {

struct Picture {
  GstClockTime time = GST_CLOCK_TIME_NONE;
  GstClockTime lasts = GST_CLOCK_TIME_NONE;
  std::string format;  ///< what its caps say that is seen
  guint fields = 0;    ///< flags of interlaced pictures
  std::vector<std::string> planes;
};

/// Without the padding of rows, which is each decoder's own.
std::vector<std::string> PlanesOf(GstSample* sample) {
  std::vector<std::string> planes;
  GstVideoInfo info;
  GstVideoFrame frame;
  if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample)) ||
      !gst_video_frame_map(&frame, &info, gst_sample_get_buffer(sample), GST_MAP_READ)) {
    return planes;
  }
  for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(&frame); ++i) {
    const auto component = static_cast<gint>(i);
    const auto bytes = static_cast<size_t>(GST_VIDEO_FRAME_COMP_WIDTH(&frame, component) *
                                           GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component));
    std::string plane;
    for (gint y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component); ++y) {
      plane.append(static_cast<const char*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, i)) +
                       y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, i),
                   bytes);
    }
    planes.push_back(plane);
  }
  gst_video_frame_unmap(&frame);
  return planes;
}

std::string FormatOf(GstSample* sample) {
  const GstStructure* const caps = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
  std::string text;
  for (const char* field : {"format", "width", "height", "framerate", "interlace-mode",
                            "field-order", "pixel-aspect-ratio", "colorimetry", "chroma-site"}) {
    const GValue* const value = gst_structure_get_value(caps, field);
    if (value == nullptr) continue;
    text += std::string(field) + "=" + TextOf(GTextPointer(gst_value_serialize(value))) + " ";
  }
  return text;
}

/// All pictures that come out of `path` behind `chain` and the decoder; `behind` lies between that and
/// the sink. From `from` seconds on, when it is not negative.
std::vector<Picture> Decode(const std::string& path, const std::string& chain,
                            const std::string& decoder, double from = -1,
                            const std::string& behind = "") {
  std::vector<Picture> pictures;
  GError* fault = nullptr;
  GstElement* const pipeline =
      gst_parse_launch(("filesrc location=\"" + path + "\" ! " + chain + " ! " + decoder + behind +
                        " ! appsink name=out sync=false")
                           .c_str(),
                       &fault);
  if (pipeline == nullptr || fault != nullptr) {
    ADD_FAILURE() << (fault == nullptr ? "no pipeline" : fault->message);
    return pictures;
  }
  const GstElementPointer owned(pipeline);
  const GstElementPointer sink(gst_bin_get_by_name(GST_BIN(pipeline), "out"));
  gst_element_set_state(pipeline, GST_STATE_PAUSED);
  gst_element_get_state(pipeline, nullptr, nullptr, 30 * GST_SECOND);
  if (from >= 0) {
    EXPECT_TRUE(gst_element_seek_simple(
        pipeline, GST_FORMAT_TIME,
        static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
        static_cast<gint64>(from * GST_SECOND)));
  }
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  while (const GstSamplePointer sample{
      gst_app_sink_try_pull_sample(GST_APP_SINK(sink.get()), 30 * GST_SECOND)}) {
    GstBuffer* const buffer = gst_sample_get_buffer(sample.get());
    Picture picture;
    picture.time = GST_BUFFER_PTS(buffer);
    picture.lasts = GST_BUFFER_DURATION(buffer);
    picture.format = FormatOf(sample.get());
    picture.fields =
        GST_BUFFER_FLAGS(buffer) &
        (GST_VIDEO_BUFFER_FLAG_INTERLACED | GST_VIDEO_BUFFER_FLAG_TFF | GST_VIDEO_BUFFER_FLAG_RFF);
    picture.planes = PlanesOf(sample.get());
    EXPECT_FALSE(picture.planes.empty());
    pictures.push_back(picture);
  }
  gst_element_set_state(pipeline, GST_STATE_NULL);
  return pictures;
}

void ExpectSame(const std::vector<Picture>& ours, const std::vector<Picture>& theirs) {
  ASSERT_EQ(theirs.size(), ours.size());
  for (size_t i = 0; i < ours.size(); ++i) {
    SCOPED_TRACE("picture " + std::to_string(i));
    EXPECT_EQ(theirs[i].time, ours[i].time);
    EXPECT_EQ(theirs[i].lasts, ours[i].lasts);
    ASSERT_EQ(theirs[i].format, ours[i].format);
    EXPECT_EQ(theirs[i].fields, ours[i].fields);
    EXPECT_TRUE(theirs[i].planes == ours[i].planes) << "pixels differ";
  }
}

class VideoDecoderTest : public ::testing::Test {
 protected:
  VideoDecoderTest() { RegisterVideoDecoder(); }

  MediaClips clips_;
};

/// 25 frames of moving noise: each differs from all others in every block.
std::string Source(const std::string& format, const char* dims = "width=64,height=48") {
  return "videotestsrc num-buffers=25 pattern=ball ! video/x-raw,framerate=25/1," +
         std::string(dims) + ",format=" + format + " ! ";
}

struct Stream {
  const char* name;
  std::string clip;
  std::string chain;
  const char* theirs;
};

std::vector<Stream> Streams() {
  const std::string mp4 = "qtdemux ! h264parse ! video/x-h264,stream-format=avc,alignment=au";
  return {
      {"h264.mp4",
       Source("I420") + "x264enc key-int-max=8 bframes=3 ! mp4mux ! filesink location=%", mp4,
       "avdec_h264"},
      {"h264.ts", Source("I420") + "x264enc key-int-max=8 ! mpegtsmux ! filesink location=%",
       "tsdemux ! h264parse ! video/x-h264,stream-format=byte-stream,alignment=au", "avdec_h264"},
      // Cropped on two sides by the codec.
      {"odd.mp4", Source("I420", "width=70,height=50") + "x264enc ! mp4mux ! filesink location=%",
       mp4, "avdec_h264"},
      {"wide.mp4",
       Source("I420", "width=64,height=48,pixel-aspect-ratio=4/3") +
           "x264enc ! mp4mux ! filesink location=%",
       mp4, "avdec_h264"},
      {"444.mkv", Source("Y444") + "x264enc ! matroskamux ! filesink location=%",
       "matroskademux ! h264parse ! video/x-h264,alignment=au", "avdec_h264"},
      {"10bit.mkv", Source("I420_10LE") + "x264enc ! matroskamux ! filesink location=%",
       "matroskademux ! h264parse ! video/x-h264,alignment=au", "avdec_h264"},
      {"interlaced.mp4",
       Source("I420") + "interlace field-pattern=1:1 ! x264enc interlaced=true ! mp4mux ! "
                        "filesink location=%",
       mp4, "avdec_h264"},
      {"full.mp4",
       Source("I420") + "capssetter caps=video/x-raw,colorimetry=(string)1:3:5:1 ! x264enc ! "
                        "mp4mux ! filesink location=%",
       mp4, "avdec_h264"},
      {"h265.mp4", Source("I420") + "x265enc ! h265parse ! mp4mux ! filesink location=%",
       "qtdemux ! h265parse ! video/x-h265,alignment=au", "avdec_h265"},
      {"mpeg2.ts",
       Source("I420") + "mpeg2enc ! mpegvideoparse ! mpegtsmux ! "
                        "filesink location=%",
       "tsdemux ! mpegvideoparse", "avdec_mpeg2video"},
      {"mpeg4.mp4", Source("I420") + "avenc_mpeg4 max-bframes=2 ! mp4mux ! filesink location=%",
       "qtdemux ! mpeg4videoparse", "avdec_mpeg4"},
  };
}

TEST_F(VideoDecoderTest, MakesThePicturesThatTheFrameworksElementMakes) {
  for (const Stream& stream : Streams()) {
    SCOPED_TRACE(stream.name);
    const std::string path = clips_.Make(stream.name, stream.clip);
    const std::vector<Picture> theirs = Decode(path, stream.chain, stream.theirs);
    ASSERT_GE(theirs.size(), 12u);
    ExpectSame(Decode(path, stream.chain, kVideoDecoderName), theirs);
    // In threads as well, each of which has pictures of its own.
    ExpectSame(Decode(path, stream.chain, std::string(kVideoDecoderName) + " max-threads=3"),
               theirs);
    // In the middle nothing of before is left.
    ExpectSame(Decode(path, stream.chain, kVideoDecoderName, 0.5),
               Decode(path, stream.chain, stream.theirs, 0.5));
  }
}

TEST_F(VideoDecoderTest, WhoTakesNoPaddedRowsGetsACopy) {
  const Stream stream = Streams()[2];
  const std::string path = clips_.Make(stream.name, stream.clip);
  // Says nothing of what it takes, and so takes the format's own layout only.
  const std::string silent = " ! identity drop-allocation=true";
  const std::vector<Picture> copied = Decode(path, stream.chain, kVideoDecoderName, -1, silent);
  ExpectSame(copied, Decode(path, stream.chain, stream.theirs));
}

TEST_F(VideoDecoderTest, ComesAfterHardwareAndBeforeTheFrameworksElement) {
  const auto rank = [](const std::string& name) {
    const GstFeaturePointer feature(gst_registry_lookup_feature(gst_registry_get(), name.c_str()));
    return feature == nullptr ? 0 : gst_plugin_feature_get_rank(feature.get());
  };
  EXPECT_LT(rank(kVideoDecoderName), guint{GST_RANK_PRIMARY});
  for (const Stream& stream : Streams()) {
    EXPECT_GT(rank(kVideoDecoderName), rank(stream.theirs)) << stream.theirs;
    EXPECT_GT(rank(stream.theirs), guint{GST_RANK_SECONDARY}) << stream.theirs;
  }
}

TEST_F(VideoDecoderTest, AStreamThatIsDamagedGoesOnAfterIt) {
  const Stream stream = Streams()[1];
  std::string bytes = MediaClips::Read(clips_.Make(stream.name, stream.clip));
  for (size_t i = bytes.size() / 3; i < bytes.size() / 3 + 600; i += 3) bytes[i] ^= '\x5a';
  const std::string path = clips_.Write("damaged.ts", bytes);
  const std::vector<Picture> ours = Decode(path, stream.chain, kVideoDecoderName);
  const std::vector<Picture> theirs = Decode(path, stream.chain, stream.theirs);
  ASSERT_FALSE(theirs.empty());
  EXPECT_EQ(theirs.back().time, ours.back().time);
  EXPECT_TRUE(theirs.back().planes == ours.back().planes);
}

TEST_F(VideoDecoderTest, PicturesThatAreKeptDoNotChange) {
  const Stream stream = Streams()[0];
  const std::string path = clips_.Make(stream.name, stream.clip);
  GstElement* const pipeline =
      gst_parse_launch(("filesrc location=\"" + path + "\" ! " + stream.chain + " ! " +
                        kVideoDecoderName + " ! appsink name=out sync=false")
                           .c_str(),
                       nullptr);
  ASSERT_NE(nullptr, pipeline);
  const GstElementPointer owned(pipeline);
  const GstElementPointer sink(gst_bin_get_by_name(GST_BIN(pipeline), "out"));
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  std::vector<GstSamplePointer> kept;
  std::vector<std::vector<std::string>> before;
  while (GstSamplePointer sample{
      gst_app_sink_try_pull_sample(GST_APP_SINK(sink.get()), 30 * GST_SECOND)}) {
    before.push_back(PlanesOf(sample.get()));
    kept.push_back(std::move(sample));
  }
  // The element and its codec go before the pictures do.
  gst_element_set_state(pipeline, GST_STATE_NULL);
  EXPECT_EQ(25u, kept.size());
  for (size_t i = 0; i < kept.size(); ++i) EXPECT_TRUE(PlanesOf(kept[i].get()) == before[i]);
}

}  // namespace
}  // namespace plexion_host::player
