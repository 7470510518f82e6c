// Media inside of applications, with the media engine itself and clips that are made here.
#include <algorithm>

#include "host/kernel/HostKernel.h"
#include "host/player/media/MediaEngine.h"
#include "tests/host/application/ApplicationFixture.h"
#include "tests/host/media/HttpServer.h"
#include "tests/host/media/MediaClips.h"
#include "tests/host/media/PictureBuilders.h"

/// Fontconfig 2.14 loses a few hundred bytes of each pattern that Pango makes.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace plexion_host::player::application {
namespace {

/// Half a second.
constexpr char kVideo[] =
    "videotestsrc num-buffers=10 pattern=red ! video/x-raw,width=64,height=48,framerate=20/1 ! "
    "theoraenc ! oggmux ! filesink location=%";
/// In a container that is read front to back. The one above is searched for its end while its headers are read,
/// which the framework gets wrong now and then.
constexpr char kStream[] =
    "videotestsrc num-buffers=10 pattern=red ! video/x-raw,width=64,height=48,framerate=20/1 ! "
    "jpegenc ! matroskamux ! filesink location=%";
constexpr char kPicture[] =
    "videotestsrc num-buffers=1 pattern=blue ! video/x-raw,width=16,height=16 ! pngenc ! "
    "filesink location=%";
constexpr char kSound[] =
    "audiotestsrc num-buffers=10 samplesperbuffer=2205 ! audio/x-raw,rate=44100,channels=1 ! "
    "wavenc ! filesink location=%";

class EmbeddedMediaTest : public ApplicationTest, private EngineSource {
 protected:
  EmbeddedMediaTest() {
    // Never destroyed: the libraries that were handed the kernel keep it.
    static auto* const kernel = new HostKernel({"application_test"}, ModuleFiles());
    IQXModule_QXModule_PutKernel(kernel);
  }
  ~EmbeddedMediaTest() override { engine_.reset(); }

  EngineSource& Engines() override { return *this; }
  std::unique_ptr<Engine> OpenEngine(const ContentAddress&, EngineHost& host,
                                     EngineError&) override {
    return std::make_unique<MediaEngine>(host);
  }
  void Put(const std::string& name, const char* pipeline) {
    std::filesystem::copy_file(clips_.Make(name, pipeline), folder_ / name);
  }
  /// One media element "m" over half of the stage.
  bool LoadMedia(const std::string& attributes) {
    return LoadDocument(
        "<application width='64' height='36' rate='20' background='#000'><scene id='s'>"
        "<media id='m' x='32' width='32' height='36' fit='fill' " +
        attributes +
        "/></scene><script>"
        "on('ready', function(e) trace(e.id, 'ready') end)"
        "on('ended', function(e) trace(e.id, 'ended') end)"
        "on('failed', function(e, why) trace(e.id, why) end)</script></application>");
  }
  /// The framework's clock paces video, so this takes as long as that does.
  void VisitUntilTraces(size_t count) {
    Visit(position_);
    while (host_.Traces().size() < count) {
      ASSERT_TRUE(host_.WaitForRequest());
      Visit(position_);
    }
  }
  static bool IsMostly(uint32_t pixel, unsigned shift) {
    return (pixel >> shift & 255) > 200 && ((pixel & 0xFFFFFF) & ~(0xFFu << shift)) < 0x606061;
  }

  MediaClips clips_;
};

TEST_F(EmbeddedMediaTest, AVideoPlaysToItsEndInItsPlace) {
  Put("red.ogv", kVideo);
  ASSERT_TRUE(LoadMedia("src='red.ogv'")) << error_.message;
  Visit(0);
  EXPECT_TRUE(IsMostly(At(48, 18), 16)) << std::hex << At(48, 18) << ": the first picture is there";
  EXPECT_EQ(0xFF000000, At(10, 18));
  VisitUntilTraces(2);
  EXPECT_EQ((std::vector<std::string>{"m\tready", "m\tended"}), host_.Traces());
  EXPECT_GE(visits_, 8) << "one for each frame but for those that came too late";
  EXPECT_TRUE(IsMostly(At(48, 18), 16)) << "the last picture stays";
  EXPECT_EQ("", host_.failure.message);
}

TEST_F(EmbeddedMediaTest, ADeclaredStreamPlaysLikeAFile) {
  const std::string bytes = MediaClips::Read(clips_.Make("red.mkv", kStream));
  HttpServer server([&](const std::string& head) {
    return head.compare(0, 9, "GET /gone") == 0
               ? HttpServer::Reply("404 Not Found", "", "")
               : HttpServer::ReplyWithRange(head, "Content-Type: video/x-matroska\r\n", bytes);
  });
  ASSERT_TRUE(
      LoadMedia("src='stream:live'/><media id='n' src='stream:gone' width='9' height='9'/>"
                "</scene><stream id='live' address='" +
                server.Address("/red.mkv") + "'/><stream id='gone' address='" +
                server.Address("/gone.mkv") + "'/><scene id='other'><group"))
      << error_.message;
  VisitUntilTraces(3);
  std::vector<std::string> traces = host_.Traces();
  ASSERT_EQ(3u, traces.size());
  std::sort(traces.begin(), traces.end());
  EXPECT_EQ("m\tended", traces[0]);
  EXPECT_EQ("m\tready", traces[1]);
  EXPECT_NE(traces[2].find("404"), std::string::npos) << traces[2];
  EXPECT_TRUE(IsMostly(At(48, 18), 16)) << "the last picture stays";
}

TEST_F(EmbeddedMediaTest, AVideoThatRepeatsGoesOnAndIsPausedWithTheWindow) {
  Put("red.ogv", kVideo);
  ASSERT_TRUE(LoadMedia("src='red.ogv' loop='0' speed='4' volume='0.3'")) << error_.message;
  for (int frame = 0; frame < 30; ++frame) {
    Visit(position_);
    ASSERT_TRUE(IsMostly(At(48, 18), 16)) << "no picture without it, frame " << frame;
    ASSERT_TRUE(host_.WaitForRequest());
  }
  playing_ = false;
  Visit(position_);
  EXPECT_EQ(std::vector<std::string>{"m\tready"}, host_.Traces());
  EXPECT_FALSE(host_.completed) << "only the media element may come to an end";
}

TEST_F(EmbeddedMediaTest, APictureLastsTenSeconds) {
  Put("blue.png", kPicture);
  ASSERT_TRUE(LoadMedia("src='blue.png'")) << error_.message;
  RunTo(199);
  EXPECT_EQ(std::vector<std::string>{"m\tready"}, host_.Traces());
  EXPECT_TRUE(IsMostly(At(48, 18), 0)) << std::hex << At(48, 18);
  RunTo(200);
  EXPECT_EQ("m\tended", Trace(1));
  EXPECT_LT(visits_, 6) << "it stands still meanwhile";
}

TEST_F(EmbeddedMediaTest, AnAnimatedPictureGoesThroughItsPassAndStops) {
  // Endless by itself: what the element asks for counts, and that is one pass.
  Write("moving.gif", BuildGif({2, 2}, {{0, 0, {"rr", "rr"}, 500}, {0, 0, {"bb", "bb"}, 500}}, 0));
  ASSERT_TRUE(LoadMedia("src='moving.gif'")) << error_.message;
  RunTo(9);
  EXPECT_EQ(0xFFFF0000, At(48, 18));
  RunTo(10);
  EXPECT_EQ(0xFF0000FF, At(48, 18));
  RunTo(30);
  EXPECT_EQ(0xFF0000FF, At(48, 18));
  EXPECT_EQ((std::vector<std::string>{"m\tready", "m\tended"}), host_.Traces());
}

TEST_F(EmbeddedMediaTest, ImagesAreKnownByWhatTheyHoldAndToldWhenCutOff) {
  Put("whole.jpg",
      "videotestsrc num-buffers=1 pattern=blue ! video/x-raw,width=320,height=320 ! jpegenc ! "
      "filesink location=%");
  Put("whole.png", kPicture);
  const std::string jpeg = MediaClips::Read(folder_ / "whole.jpg");
  Write("cut.jpg", jpeg.substr(0, jpeg.size() - 300));
  const std::string png = MediaClips::Read(folder_ / "whole.png");
  Write("cut.png", png.substr(0, png.size() - 30));
  // The first frame is smaller than the picture.
  Write("gif.jpg", BuildGif({2, 2}, {{1, 1, {"r"}, 500}, {0, 0, {"bb", "bb"}, 500}}, 0));
  Write("text.png", "no picture");
  const auto image = [](const char* name, int x) {
    return "<image fit='fill' width='10' height='10' src='" + std::string(name) + "' x='" +
           std::to_string(x) + "'/>";
  };
  ASSERT_TRUE(LoadDocument("<application width='64' height='36' background='#000'><scene id='s'>" +
                           image("whole.jpg", 0) + image("cut.jpg", 10) + image("cut.png", 20) +
                           image("gif.jpg", 30) + image("text.png", 40) +
                           "</scene></application>"));
  RunTo(0);
  EXPECT_TRUE(IsMostly(At(5, 5), 0)) << std::hex << At(5, 5);
  EXPECT_TRUE(IsMostly(At(15, 2), 0)) << "what is there is drawn: " << std::hex << At(15, 2);
  EXPECT_EQ(0xFFFF0000, At(38, 8));
  EXPECT_EQ(0xFF000000, At(31, 1));
  const std::string cut = "\": the file ends before the picture does; what is missing is not drawn";
  EXPECT_EQ((std::vector<std::string>{
                "<image> \"cut.jpg" + cut, "<image> \"cut.png" + cut,
                "<image> \"text.png\": it is no picture in a format that is known; expected PNG, "
                "JPEG, GIF, WebP or SVG"}),
            host_.Notices());
}

TEST_F(EmbeddedMediaTest, SoundPlaysToItsEnd) {
  Put("tone.wav", kSound);
  ASSERT_TRUE(LoadMedia("src='tone.wav'")) << error_.message;
  VisitUntilTraces(2);
  EXPECT_EQ((std::vector<std::string>{"m\tready", "m\tended"}), host_.Traces());
}

TEST_F(EmbeddedMediaTest, ADamagedVideoIsToldAndTheApplicationGoesOn) {
  Put("red.ogv", kVideo);
  Write("broken.ogv", MediaClips::Read(folder_ / "red.ogv").substr(0, 60));
  ASSERT_TRUE(LoadMedia("src='broken.ogv'")) << error_.message;
  VisitUntilTraces(1);
  ASSERT_EQ(2u, host_.notes.size());
  EXPECT_EQ(kInfoUnsupportedPlaceholderRendered, host_.notes[0].first);
  EXPECT_EQ(0u, host_.notes[0].second.find("<media> \"broken.ogv\": "));
  EXPECT_EQ("m\t" + host_.notes[0].second.substr(22), Trace(0));
  EXPECT_EQ("", host_.failure.message);
}

}  // namespace
}  // namespace plexion_host::player::application
