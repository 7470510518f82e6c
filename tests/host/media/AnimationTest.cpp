// Animated pictures in a player: when each frame is seen, passes, ends, and what comes from a
// server.
#include "tests/host/media/HttpServer.h"
#include "tests/host/media/MediaFixture.h"
#include "tests/host/media/PictureBuilders.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kGreen = 0xFF00FF00;
constexpr uint32_t kBlue = 0xFF0000FF;

class AnimationTest : public MediaFixture {
 protected:
  AnimationTest() { plane_ = std::make_unique<FakePlane>(4, 4); }

  /// Red for 100 ms, green for 50, blue for 150.
  static std::vector<BuiltFrame> Colours() {
    std::vector<BuiltFrame> frames;
    for (const auto& [letter, durationMs] : {std::pair('r', 100u), {'g', 50u}, {'b', 150u}}) {
      frames.push_back({0, 0, PictureRows(4, std::string(4, letter)), durationMs});
    }
    return frames;
  }
  void PlayBytes(const std::string& bytes, const std::string& variables = "") {
    Play(clips_.Write("picture", bytes), variables);
    clock_.Settle();
  }
  bool Ended() const { return player_->GetStageWindowStatus() == kStatusComplete; }
};

TEST_F(AnimationTest, EachFrameIsSeenForItsTimeInEveryFormat) {
  for (const std::string& bytes : {BuildGif({4, 4}, Colours()), BuildApng({4, 4}, Colours(), 1),
                                   BuildWebp({4, 4}, Colours(), 1)}) {
    SCOPED_TRACE(bytes.substr(0, 4));
    centres_.clear();
    PlayBytes(bytes);
    EXPECT_EQ(4u, Authored().width);
    clock_.RunFor(99 * kMs);
    EXPECT_THAT(centres_, ElementsAre(kRed));
    clock_.RunFor(1 * kMs);
    EXPECT_THAT(centres_, ElementsAre(kRed, kGreen));
    clock_.RunFor(50 * kMs);
    EXPECT_THAT(centres_, ElementsAre(kRed, kGreen, kBlue));
    clock_.RunFor(149 * kMs);
    EXPECT_FALSE(Ended());
    clock_.RunFor(1 * kMs);
    EXPECT_TRUE(Ended());
    EXPECT_EQ(3u, centres_.size());
    player_.reset();
  }
}

struct PassCase {
  int loopsInFile;
  const char* variables;
  int endsAfterMs;
};

TEST_F(AnimationTest, ThePassesAreThoseAskedForOrThoseOfTheFile) {
  for (const PassCase& test : {
           PassCase{kNoLoops, "", 300},
           {1, "", 600},
           {1, "loop=3", 900},
           // What never ends fills the time of a still, to the end of a pass.
           {0, "", 10200},
           {0, "duration=1", 1200},
           {0, "duration=0.04", 300},
           {0, "loop=2&duration=1", 600},
           {2, "duration=10", 900},
           {1, "speed=2", 300},
       }) {
    SCOPED_TRACE(std::to_string(test.loopsInFile) + " " + test.variables);
    PlayBytes(BuildGif({4, 4}, Colours(), test.loopsInFile), test.variables);
    clock_.RunFor((test.endsAfterMs - 1) * kMs);
    EXPECT_FALSE(Ended());
    clock_.RunFor(1 * kMs);
    EXPECT_TRUE(Ended());
    player_.reset();
  }
}

TEST_F(AnimationTest, PlaysWithoutEndWhenAskedTo) {
  PlayBytes(BuildGif({4, 4}, Colours()), "loop=forever");
  clock_.RunFor(60 * 1000 * kMs);
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  EXPECT_EQ(200u * 3 + 1, centres_.size());
}

TEST_F(AnimationTest, NothingRunsWhileAFrameStands) {
  std::vector<BuiltFrame> frames = Colours();
  frames[2].durationMs = 600 * 1000;
  PlayBytes(BuildApng({4, 4}, frames, 1));
  clock_.RunFor(150 * kMs);
  const int waits = clock_.Waits();
  clock_.RunFor(500 * 1000 * kMs);
  // Once woken, when the time was up that the test let pass.
  EXPECT_EQ(waits + 1, clock_.Waits());
  EXPECT_EQ(3u, centres_.size());
}

TEST_F(AnimationTest, APauseHoldsTheFrame) {
  PlayBytes(BuildGif({4, 4}, Colours()));
  clock_.RunFor(120 * kMs);
  ASSERT_TRUE(player_->Pause());
  clock_.RunFor(60000 * kMs);
  EXPECT_EQ(kGreen, centres_.back());
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(30 * kMs);
  EXPECT_EQ(kBlue, centres_.back());
  clock_.RunFor(150 * kMs);
  EXPECT_TRUE(Ended());
}

TEST_F(AnimationTest, FramesThatAreTooLateAreLeftOutAndTheLastOneIsNot) {
  PlayBytes(BuildGif({4, 4}, Colours()), "loop=2");
  clock_.Jump(160 * kMs);
  EXPECT_THAT(centres_, ElementsAre(kRed, kBlue));
  clock_.Jump(150 * kMs);
  EXPECT_THAT(centres_, ElementsAre(kRed, kBlue, kRed));
  clock_.Jump(10000 * kMs);
  EXPECT_TRUE(Ended());
  EXPECT_THAT(centres_, ElementsAre(kRed, kBlue, kRed, kBlue));
}

TEST_F(AnimationTest, WithoutASpeedLimitEveryFrameIsDrawnAtOnce) {
  parameters_.noSpeedLimit = true;
  PlayToEnd(clips_.Write("fast", BuildWebp({4, 4}, Colours(), 2)));
  EXPECT_THAT(centres_, ElementsAre(kRed, kGreen, kBlue, kRed, kGreen, kBlue));
}

TEST_F(AnimationTest, TransparentPixelsLieOnTheBackground) {
  std::vector<BuiltFrame> frames = Colours();
  frames[1].rows.assign(4, "....");
  frames[1].replaces = true;
  frames[2].rows.assign(4, "hhhh");
  frames[2].replaces = true;
  for (const auto& [bgAlpha, clear, half] :
       {std::tuple(0u, 0x00000000u, 0x80800000u), {255u, 0xFF000000u, 0xFF800000u}}) {
    centres_.clear();
    parameters_.bgAlpha = bgAlpha;
    PlayBytes(BuildApng({4, 4}, frames, 1));
    clock_.RunFor(300 * kMs);
    EXPECT_THAT(centres_, ElementsAre(kRed, clear, half));
    player_.reset();
  }
}

TEST_F(AnimationTest, FramesOfAnotherSizeThanThePlaneChangeAsWell) {
  for (const auto& [width, height] : {std::pair(32u, 36u), {2u, 2u}, {64u, 64u}}) {
    SCOPED_TRACE(width);
    plane_ = std::make_unique<FakePlane>(width, height);
    centres_.clear();
    PlayBytes(BuildGif({4, 4}, Colours()));
    clock_.RunFor(300 * kMs);
    EXPECT_THAT(centres_, ElementsAre(kRed, kGreen, kBlue));
    player_.reset();
  }
}

TEST_F(AnimationTest, APictureOfOneFrameIsAStill) {
  for (const std::string& bytes :
       {BuildGif({4, 4}, {Colours()[0]}, 0), BuildWebp({4, 4}, {Colours()[0]}),
        BuildApng({4, 4}, {Colours()[0]}, 1)}) {
    centres_.clear();
    PlayBytes(bytes, "duration=2");
    clock_.RunFor(1999 * kMs);
    EXPECT_FALSE(Ended());
    clock_.RunFor(1 * kMs);
    EXPECT_TRUE(Ended());
    EXPECT_THAT(centres_, ElementsAre(kRed));
    player_.reset();
  }
}

TEST_F(AnimationTest, ComesFromAServerAsWell) {
  unsetenv("http_proxy");
  unsetenv("HTTP_PROXY");
  for (const auto& [type, bytes] : {std::pair("image/gif", BuildGif({4, 4}, Colours())),
                                    std::pair("image/png", BuildApng({4, 4}, Colours(), 1)),
                                    std::pair("image/webp", BuildWebp({4, 4}, Colours(), 1)),
                                    // Content decides, not what a server calls it.
                                    std::pair("text/plain", BuildGif({4, 4}, Colours()))}) {
    SCOPED_TRACE(type);
    centres_.clear();
    const std::string header = std::string("Content-Type: ") + type + "\r\n";
    HttpServer server([&, &body = bytes](const std::string&) {
      return HttpServer::Reply("200 OK", header, body);
    });
    Play("http://127.0.0.1:" + std::to_string(server.Port()) + "/picture");
    clock_.RunFor(300 * kMs);
    EXPECT_TRUE(Ended());
    EXPECT_THAT(centres_, ElementsAre(kRed, kGreen, kBlue));
    player_.reset();
  }
}

TEST_F(AnimationTest, SaysWhatIsWrongWithAPictureThatShowsNothing) {
  const std::string gif = BuildGif({4, 4}, Colours());
  EXPECT_EQ(kErrorCorruptMovie, EndOf(clips_.Write("cut.gif", gif.substr(0, 40))));
  EXPECT_THAT(window_.EndMessage(), HasSubstr("cut.gif: the GIF picture ends at byte 40 of 40"));
}

TEST_F(AnimationTest, TellsOnceThatAFrameIsDamaged) {
  std::string png = BuildApng({4, 4}, Colours(), 2);
  // Into the compressed pixels of the second frame.
  const size_t data = png.find("fdAT", png.find("fdAT") + 4);
  png.replace(data + 10, 4, "\xff\xff\xff\xff");
  testing::internal::CaptureStdout();
  PlayBytes(png);
  clock_.RunFor(600 * kMs);
  EXPECT_TRUE(Ended());
  player_.reset();
  const std::string said = testing::internal::GetCapturedStdout();
  EXPECT_THAT(said, HasSubstr("picture: frame 2 of 3 is damaged"));
  EXPECT_EQ(said.find("damaged"), said.rfind("damaged"));
}

}  // namespace
}  // namespace plexion_host::player
