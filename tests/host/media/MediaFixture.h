// A player of media, without a window.

#ifndef TESTS_HOST_MEDIA_MEDIAFIXTURE_H_
#define TESTS_HOST_MEDIA_MEDIAFIXTURE_H_

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "host/player/media/MediaEngine.h"
#include "tests/host/media/MediaClips.h"
#include "tests/host/player/OwnOrIsolated.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {

class MediaEngines final : public EngineSource {
 public:
  std::unique_ptr<Engine> OpenEngine(const ContentAddress&, EngineHost& host,
                                     EngineError&) override {
    return std::make_unique<MediaEngine>(host);
  }
};

/// A player of media. The player's clock is virtual; video goes by the framework's own clock, so
/// clips of moving pictures last a fraction of a second.
class MediaFixture : public ::testing::Test {
 protected:
  MediaFixture() {
    TestKernel();
    window_.onStatus = [this](StageWindowStatus status) {
      // The player's thread is here: nobody else draws.
      if (status == kInfoRenderPlaneUpdated)
        centres_.push_back(plane_->At(Width() / 2, Height() / 2));
    };
  }

  void Start(const std::string& content, const std::string& variables = "") {
    parameters_.notifier = &window_;
    parameters_.contentUrl.Assign(content.c_str());
    parameters_.morvelVars.Assign(variables.c_str());
    player_ = std::make_unique<PlayerInstance>(nullptr, engines_, clock_);
    ASSERT_TRUE(player_->Configure(parameters_));
    ASSERT_TRUE(player_->LoadMVX());
  }
  void Play(const std::string& content, const std::string& variables = "") {
    Start(content, variables);
    ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
    ASSERT_TRUE(player_->SetRenderPlane(plane_.get()));
    ASSERT_TRUE(player_->Play());
  }
  void PlayToEnd(const std::string& content, const std::string& variables = "") {
    Play(content, variables);
    ASSERT_TRUE(window_.WaitForEnd());
    EXPECT_EQ("", window_.EndMessage());
  }
  /// Loads content in a player of its own, and `wait`s; the message with which it ended, if it did.
  template <typename Wait>
  std::string MessageOf(const std::string& content, const Wait& wait) {
    RecordingWindow window;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(content.c_str());
    PlayerInstance player(nullptr, engines_, clock_);
    EXPECT_TRUE(player.Configure(parameters_));
    EXPECT_TRUE(player.LoadMVX());
    wait(window, player);
    return window.EndMessage();
  }
  StageWindowStatus EndOf(const std::string& content) {
    Start(content);
    EXPECT_TRUE(window_.WaitForEnd());
    return player_->GetStageWindowStatus();
  }

  uint32_t Width() const { return plane_->GetDims().width; }
  uint32_t Height() const { return plane_->GetDims().height; }
  Dims Authored() { return player_->GetMVXAuthoredStageDims(); }

  MediaClips clips_;
  VirtualPlayerClock clock_;
  OwnOrIsolated<MediaEngines> engines_;
  RecordingWindow window_;
  std::unique_ptr<FakePlane> plane_ = std::make_unique<FakePlane>(64, 48);
  std::vector<uint32_t> centres_;  ///< the plane's middle pixel after each frame
  qx::core::morvellib::MorvelInstanceParameters parameters_;
  std::unique_ptr<PlayerInstance> player_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_MEDIAFIXTURE_H_
