// What is in a file: shapes and alpha of pictures, and files that cannot be played.
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kVideo[] =
    "videotestsrc num-buffers=25 ! video/x-raw,width=64,height=48,framerate=25/1 ! theoraenc "
    "! oggmux ! filesink location=%";

constexpr char kTransportStream[] =
    "videotestsrc num-buffers=10 pattern=white ! video/x-raw,width=64,height=48,framerate=50/1 "
    "! avenc_mpeg4 ! mpeg4videoparse ! mpegtsmux ! filesink location=%";

/// Takes parts away from the framework for one test.
class WithoutFeatures {
 public:
  explicit WithoutFeatures(std::initializer_list<const char*> names) {
    for (const char* name : names) {
      GstPluginFeature* feature = gst_registry_lookup_feature(gst_registry_get(), name);
      if (feature == nullptr) continue;
      gst_registry_remove_feature(gst_registry_get(), feature);
      features_.push_back(feature);
    }
  }
  ~WithoutFeatures() {
    for (GstPluginFeature* feature : features_) {
      gst_registry_add_feature(gst_registry_get(), feature);
      gst_object_unref(feature);
    }
  }
  WithoutFeatures(const WithoutFeatures&) = delete;
  WithoutFeatures& operator=(const WithoutFeatures&) = delete;

 private:
  std::vector<GstPluginFeature*> features_;
};

struct AlphaCase {
  unsigned bgAlpha;
  uint32_t pixel;
};

TEST_F(MediaFixture, TransparentPicturesAreMultipliedAndLieOnTheBackground) {
  const std::string picture = clips_.Make(
      "half.png",
      "videotestsrc num-buffers=1 pattern=solid-color foreground-color=0x80FF0000 "
      "! video/x-raw,format=BGRA,width=64,height=48 ! videoconvert ! pngenc ! filesink location=%");
  for (const AlphaCase& test : {AlphaCase{0, 0x80800000}, AlphaCase{255, 0xFF800000}}) {
    parameters_.bgAlpha = test.bgAlpha;
    centres_.clear();
    Play(picture);
    clock_.Settle();
    ASSERT_EQ(1u, centres_.size());
    EXPECT_EQ(test.pixel, centres_.front()) << std::hex << centres_.front();
    player_.reset();
  }
}

TEST_F(MediaFixture, PicturesOfAnotherShapeAreCentredOnTheBackground) {
  plane_ = std::make_unique<FakePlane>(64, 64, 3);
  parameters_.bgAlpha = 0x40;
  Play(clips_.Make("white.png",
                   "videotestsrc num-buffers=1 pattern=white ! video/x-raw,width=128,height=64 "
                   "! videoconvert ! pngenc ! filesink location=%"));
  clock_.Settle();
  EXPECT_EQ(0x40000000u, plane_->At(32, 15));
  EXPECT_EQ(0xFFFFFFFFu, plane_->At(0, 16));
  EXPECT_EQ(0xFFFFFFFFu, plane_->At(63, 47));
  EXPECT_EQ(0x40000000u, plane_->At(32, 48));
  EXPECT_EQ(FakePlane::kUntouched, plane_->Pixels()[64]) << "what lies between rows is not ours";
}

TEST_F(MediaFixture, PicturesWithoutADecoderOfTheirOwnAreShownAsWell) {
  for (const char* encoder : {"avenc_bmp", "avenc_tiff"}) {
    SCOPED_TRACE(encoder);
    centres_.clear();
    Play(clips_.Make(encoder, std::string("videotestsrc num-buffers=1 pattern=white ! video/x-raw,"
                                          "width=64,height=48 ! videoconvert ! ") +
                                  encoder + " ! filesink location=%"));
    clock_.Settle();
    ASSERT_EQ(1u, centres_.size());
    EXPECT_EQ(0xFFFFFFFFu, centres_.front()) << std::hex << centres_.front();
    player_.reset();
  }
}

TEST_F(MediaFixture, WidePixelsWidenTheStage) {
  Start(clips_.Make("wide.ogv",
                    "videotestsrc num-buffers=2 ! video/x-raw,width=64,height=48,framerate=25/1,"
                    "pixel-aspect-ratio=2/1 ! theoraenc ! oggmux ! filesink location=%"));
  ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate));
  EXPECT_EQ(128u, Authored().width);
  EXPECT_EQ(48u, Authored().height);
}

TEST_F(MediaFixture, VideoTakenWithTheCameraTurnedIsTurnedBack) {
  std::string bytes = MediaClips::Read(
      clips_.Make("straight.mov",
                  "videotestsrc num-buffers=3 ! video/x-raw,width=64,height=48,framerate=25/1 "
                  "! jpegenc ! qtmux ! filesink location=%"));
  // The track's matrix stands 40 bytes behind its header's name; this one turns by a quarter.
  constexpr char kQuarter[] =
      "\0\0\0\0"
      "\0\1\0\0"
      "\0\0\0\0"
      "\xff\xff\0\0"
      "\0\0\0\0";
  const size_t header = bytes.find("tkhd");
  ASSERT_NE(std::string::npos, header);
  bytes.replace(header + 4 + 40, sizeof kQuarter - 1, kQuarter, sizeof kQuarter - 1);
  Start(clips_.Write("turned.mov", bytes));
  ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
  EXPECT_EQ(48u, Authored().width);
  EXPECT_EQ(64u, Authored().height);
}

TEST_F(MediaFixture, ATransportStreamPlays) {
  PlayToEnd(clips_.Make("clip.ts", kTransportStream));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_GT(centres_.size(), 2u);
}

TEST_F(MediaFixture, AMissingPartIsNamedWithItsPackage) {
  if (IsIsolated()) GTEST_SKIP() << "the parts of this process are taken away";
  // The last one of each stands for its package.
  const struct {
    const char* name;
    const char* pipeline;
    std::initializer_list<const char*> without;
    const char* type;
    const char* package;
  } cases[] = {
      {"clip.ogv",
       kVideo,
       {"theoradec", "avdec_theora", "avdec_h264"},
       "video/x-theora",
       "\"gstreamer1.0-libav\" has one"},
      {"clip.ts",
       kTransportStream,
       {"tsdemux"},
       "video/mpegts",
       "\"gstreamer1.0-plugins-bad\" has one"},
      // What is installed already is not to be installed.
      {"other.ogv",
       kVideo,
       {"theoradec", "avdec_theora"},
       "video/x-theora",
       "the media framework has none"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    const std::string clip = clips_.Make(test.name, test.pipeline);
    const WithoutFeatures without{test.without};
    RecordingWindow window;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(clip.c_str());
    PlayerInstance player(nullptr, engines_, clock_);
    ASSERT_TRUE(player.Configure(parameters_));
    ASSERT_TRUE(player.LoadMVX());
    ASSERT_TRUE(window.WaitForEnd());
    EXPECT_EQ(kErrorUnsupportedVersion, player.GetStageWindowStatus()) << window.EndMessage();
    EXPECT_THAT(window.EndMessage(), HasSubstr(test.type));
    EXPECT_THAT(window.EndMessage(), HasSubstr(test.package));
  }
}

TEST_F(MediaFixture, ATgaPictureIsRecognisedByItsHeader) {
  // White, two pixels wide and two high.
  std::string tga =
      std::string("\0\0\x02\0\0\0\0\0\0\0\0\0\x02\0\x02\0\x18\0", 18) + std::string(12, '\xff');
  Play(clips_.Write("white.tga", tga));
  clock_.Settle();
  EXPECT_EQ(2u, Authored().width);
  EXPECT_EQ(2u, Authored().height);
  EXPECT_THAT(centres_, ElementsAre(0xFFFFFFFFu));
  player_.reset();
  // Pixels of 25 bits: this is something else.
  tga[16] = 25;
  RecordingWindow window;
  parameters_.notifier = &window;
  parameters_.contentUrl.Assign(clips_.Write("other.tga", tga).c_str());
  PlayerInstance player(nullptr, engines_, clock_);
  ASSERT_TRUE(player.Configure(parameters_));
  ASSERT_TRUE(player.LoadMVX());
  ASSERT_TRUE(window.WaitForEnd());
  EXPECT_EQ(kErrorCorruptMovie, player.GetStageWindowStatus());
}

TEST_F(MediaFixture, APictureThatWasCutOffShowsItsRows) {
  const std::string whole = MediaClips::Read(
      clips_.Make("whole.png",
                  "videotestsrc num-buffers=1 pattern=snow ! video/x-raw,format=RGB,width=64,"
                  "height=48 ! pngenc ! filesink location=%"));
  parameters_.bgAlpha = 0;
  Play(clips_.Write("cut.png", whole.substr(0, whole.size() / 2)));
  clock_.Settle();
  EXPECT_EQ(64u, Authored().width);
  EXPECT_EQ(0xFFu, plane_->At(0, 0) >> 24);
  EXPECT_EQ(0u, plane_->At(63, 47));
}

TEST_F(MediaFixture, VideoWhoseSoundHasNoDecoderPlaysSilently) {
  const std::string clip =
      clips_.Make("both.ogv",
                  "oggmux name=m ! filesink location=% videotestsrc num-buffers=3 "
                  "! video/x-raw,width=64,height=48,framerate=25/1 ! theoraenc ! m. "
                  "audiotestsrc num-buffers=4 ! audioconvert ! vorbisenc ! m.");
  const WithoutFeatures without{"vorbisdec", "avdec_vorbis"};
  PlayToEnd(clip);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaFixture, SaysWhyAFileCannotBePlayed) {
  const std::string whole = MediaClips::Read(clips_.Make(
      "whole.mp4",
      "videotestsrc num-buffers=5 ! video/x-raw,width=64,height=48 ! avenc_mpeg4 ! mp4mux "
      "! filesink location=%"));
  const struct {
    std::string path;
    StageWindowStatus status;
    const char* reason;
  } cases[] = {
      {clips_.PathOf("none.mp4"), kErrorInvalidURL, "none.mp4"},
      {clips_.Write("text.mp4", "hello, world, this is no video\n"), kErrorCorruptMovie,
       "'h' at byte 0"},
      {clips_.Write("cut.mp4", whole.substr(0, whole.size() / 2)), kErrorCorruptMovie, "cut.mp4"},
      {clips_.Write("broken.png", "\x89PNG\r\n\x1a\n broken behind its signature"),
       kErrorCorruptMovie, "broken.png"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.path);
    RecordingWindow window;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(test.path.c_str());
    PlayerInstance player(nullptr, engines_, clock_);
    ASSERT_TRUE(player.Configure(parameters_));
    ASSERT_TRUE(player.LoadMVX());
    ASSERT_TRUE(window.WaitForEnd());
    EXPECT_EQ(test.status, player.GetStageWindowStatus()) << window.EndMessage();
    EXPECT_THAT(window.EndMessage(), HasSubstr(test.reason));
  }
}

TEST_F(MediaFixture, ABrokenStretchInTheMiddleDoesNotEndAVideo) {
  std::string bytes = MediaClips::Read(clips_.Make(
      "whole.avi",
      "videotestsrc num-buffers=20 ! video/x-raw,width=64,height=48,framerate=50/1 ! avenc_mpeg4 "
      "! avimux ! filesink location=%"));
  const size_t middle = bytes.size() / 2;
  for (size_t i = 0; i < 200; ++i) bytes[middle + i] = static_cast<char>(i * 37);
  PlayToEnd(clips_.Write("broken.avi", bytes));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_GT(centres_.size(), 2u);
}

}  // namespace
}  // namespace plexion_host::player
