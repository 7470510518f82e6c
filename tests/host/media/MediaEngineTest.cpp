// Media in a player: the order of what is announced, ends, passes, stills, sound.
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kRedVideo[] =
    "videotestsrc num-buffers=6 pattern=red ! video/x-raw,width=64,height=48,framerate=50/1 "
    "! theoraenc ! oggmux ! filesink location=%";
constexpr char kRedPicture[] =
    "videotestsrc num-buffers=1 pattern=red ! video/x-raw,width=64,height=48 ! videoconvert "
    "! pngenc ! filesink location=%";

/// Lossy video: red, more or less, and opaque.
bool IsRed(uint32_t pixel) {
  return pixel >> 24 == 0xFF && (pixel >> 16 & 0xFF) > 0xD0 && (pixel >> 8 & 0xFF) < 0x30 &&
         (pixel & 0xFF) < 0x30;
}

TEST_F(MediaFixture, VideoGoesThroughAllStatesToItsEnd) {
  PlayToEnd(clips_.Make("red.ogv", kRedVideo));
  EXPECT_THAT(window_.States(),
              ElementsAre(kStatusConfigured, kStatusLoading, kStatusLoaded, kStatusReadyToAnimate,
                          kStatusPlaying, kStatusComplete));
  ASSERT_FALSE(centres_.empty());
  for (const uint32_t pixel : centres_) EXPECT_TRUE(IsRed(pixel)) << std::hex << pixel;
  EXPECT_EQ(0, plane_->locks);
  const std::vector<RecordingWindow::Event> progress = window_.Events(kInfoLoadProgress);
  ASSERT_GE(progress.size(), 3u);
  for (size_t i = 1; i < progress.size(); ++i) {
    EXPECT_GT(progress[i].percent, progress[i - 1].percent);
  }
  EXPECT_EQ(100u, progress.back().percent);
}

TEST_F(MediaFixture, TheFirstFrameIsThereBeforePlayBegins) {
  Start(clips_.Make("red.ogv", kRedVideo));
  ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate));
  EXPECT_EQ(64u, Authored().width);
  EXPECT_EQ(48u, Authored().height);
  ASSERT_TRUE(player_->SetRenderPlane(plane_.get()));
  ASSERT_TRUE(window_.WaitFor(kInfoRenderPlaneUpdated));
  EXPECT_EQ(0u, window_.Count(kStatusPlaying));
  player_.reset();
  ASSERT_FALSE(centres_.empty());
  EXPECT_TRUE(IsRed(centres_.front()));
}

TEST_F(MediaFixture, EveryFrameIsShownWithoutASpeedLimit) {
  parameters_.noSpeedLimit = true;
  PlayToEnd(clips_.Make("ball.ogv",
                        "videotestsrc num-buffers=30 pattern=ball ! video/x-raw,width=64,height=48,"
                        "framerate=5/1 ! theoraenc ! oggmux ! filesink location=%"));
  EXPECT_EQ(30u, centres_.size());
}

TEST_F(MediaFixture, NoPassBeginsWithABlackFrame) {
  parameters_.noSpeedLimit = true;
  PlayToEnd(clips_.Make("red.ogv", kRedVideo), "loop=3");
  // The first frame comes twice at most, once before play begins.
  EXPECT_GE(centres_.size(), 3 * 6u);
  for (const uint32_t pixel : centres_) EXPECT_TRUE(IsRed(pixel)) << std::hex << pixel;
}

TEST_F(MediaFixture, SpeedShortensAVideo) {
  // Ten seconds; under virtual time nothing but the framework's clock could make them pass.
  PlayToEnd(clips_.Make("slow.ogv",
                        "videotestsrc num-buffers=10 pattern=red ! video/x-raw,width=64,height=48,"
                        "framerate=1/1 ! theoraenc ! oggmux ! filesink location=%"),
            "speed=50");
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaFixture, AStillIsHeldForItsDurationOnThePlayersClock) {
  Play(clips_.Make("red.png", kRedPicture), "duration=3");
  ASSERT_TRUE(window_.WaitFor(kStatusPlaying));
  clock_.RunFor(2999 * kMs);
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  EXPECT_THAT(centres_, ElementsAre(0xFFFF0000u));
  clock_.RunFor(1 * kMs);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaFixture, AStillIsHeldForTenSecondsOfEachPassAndNotWhilePaused) {
  Play(clips_.Make("red.png", kRedPicture), "loop=2");
  ASSERT_TRUE(window_.WaitFor(kStatusPlaying));
  clock_.RunFor(15000 * kMs);
  ASSERT_TRUE(player_->Pause());
  clock_.RunFor(60000 * kMs);
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(4999 * kMs);
  EXPECT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  clock_.RunFor(1 * kMs);
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaFixture, SoundAloneShowsHowLoudItIs) {
  plane_ = std::make_unique<FakePlane>(640, 360);
  size_t lit = 0;
  window_.onStatus = [&](StageWindowStatus status) {
    if (status != kInfoRenderPlaneUpdated) return;
    // The row of the only channel's lamps.
    for (uint32_t x = 0; x < Width(); ++x) lit += plane_->At(x, 180) == 0xFF3CC878 ? 1 : 0;
  };
  parameters_.noSpeedLimit = true;
  PlayToEnd(
      clips_.Make("tone.wav",
                  "audiotestsrc num-buffers=20 volume=0.5 ! audio/x-raw,rate=44100,channels=1 "
                  "! wavenc ! filesink location=%"));
  EXPECT_EQ(LevelPicture::kStage.width, Authored().width);
  EXPECT_EQ(LevelPicture::kStage.height, Authored().height);
  EXPECT_GT(lit, 0u);
}

TEST_F(MediaFixture, PlaysVideoWithSoundWhereThereIsNoSoundCard) {
  // Sound and picture in one file; with or without a card, the end comes.
  PlayToEnd(
      clips_.Make("both.ogv",
                  "oggmux name=m ! filesink location=% videotestsrc num-buffers=5 pattern=red "
                  "! video/x-raw,width=64,height=48,framerate=25/1 ! theoraenc ! m. "
                  "audiotestsrc num-buffers=8 ! audioconvert ! vorbisenc ! m."),
      "volume=0");
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaFixture, PauseHoldsTheFrameAndPlayGoesOn) {
  Play(clips_.Make("red.ogv", kRedVideo), "loop=forever");
  ASSERT_TRUE(window_.WaitFor(kStatusPlaying));
  ASSERT_TRUE(player_->Pause());
  ASSERT_TRUE(window_.WaitFor(kStatusPaused));
  ASSERT_TRUE(player_->Play());
  while (window_.Count(kStatusPlaying) < 2) std::this_thread::yield();
  ASSERT_TRUE(player_->Terminate(kStatusComplete));
  ASSERT_TRUE(window_.WaitForEnd());
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST(MediaOptionsTest, NamesTheVariableThatIsWrong) {
  for (const auto& [variable, value] :
       {std::pair("duration", "0"), std::pair("duration", "long"), std::pair("volume", "101"),
        std::pair("volume", "-1"), std::pair("mute", "perhaps"), std::pair("mute", "")}) {
    PlayerSettings settings;
    settings.variables.emplace_back(variable, value);
    MediaOptions options;
    std::string error;
    EXPECT_FALSE(ReadMediaOptions(settings, options, error)) << variable << "=" << value;
    EXPECT_THAT(error, HasSubstr(std::string("variable ") + variable));
  }
}

}  // namespace
}  // namespace plexion_host::player
