#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

#include "host/player/EngineSource.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

/// A file that is gone after the test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) {
    char path[] = "/tmp/plexion-player-XXXXXX";
    const int descriptor = mkstemp(path);
    EXPECT_GE(descriptor, 0);
    path_ = path;
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(descriptor, text.data(), text.size()));
    close(descriptor);
  }
  ~TemporaryFile() { unlink(path_.c_str()); }
  const std::string& Path() const { return path_; }
  std::string Name() const { return path_.substr(path_.rfind('/') + 1); }

 private:
  std::string path_;
};

/// Real files, the real engine, virtual time.
class LottieEngineTest : public ::testing::Test {
 protected:
  LottieEngineTest() { TestKernel(); }

  void Open(const std::string& content) {
    parameters_.notifier = &window_;
    parameters_.contentUrl.Assign(content.c_str());
    player_ = std::make_unique<PlayerInstance>(nullptr, engines_, clock_);
    ASSERT_TRUE(player_->Configure(parameters_));
    ASSERT_TRUE(player_->LoadMVX());
    clock_.Settle();
  }

  /// Plays what is open to its end in the authored size.
  void PlayToEnd() {
    const Dims dims = player_->GetMVXAuthoredStageDims();
    plane_ = std::make_unique<FakePlane>(dims.width, dims.height);
    ASSERT_TRUE(player_->SetRenderPlane(plane_.get()));
    ASSERT_TRUE(player_->Play());
    clock_.RunFor(1000000 * kMs);
  }

  VirtualPlayerClock clock_;
  InstalledEngines engines_;
  RecordingWindow window_;
  std::unique_ptr<FakePlane> plane_;
  qx::core::morvellib::MorvelInstanceParameters parameters_;
  std::unique_ptr<PlayerInstance> player_;
};

std::vector<std::string> MoviesIn(const std::string& folder) {
  std::vector<std::string> movies;
  DIR* directory = opendir(folder.c_str());
  if (directory == nullptr) return movies;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".mvx") == 0) {
      movies.push_back(folder + "/" + name);
    }
  }
  closedir(directory);
  std::sort(movies.begin(), movies.end());
  return movies;
}

TEST_F(LottieEngineTest, PlaysEveryExampleToItsEnd) {
  // Another folder of movies can be tried in place of the examples.
  const char* other = getenv("PLEXION_MOVIES");
  const std::vector<std::string> movies = MoviesIn(other != nullptr ? other : PLEXION_EXAMPLES);
  ASSERT_FALSE(movies.empty());
  size_t complete = 0;
  for (const std::string& movie : movies) {
    SCOPED_TRACE(movie);
    RecordingWindow window;
    VirtualPlayerClock clock;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(movie.c_str());
    PlayerInstance player(nullptr, engines_, clock);
    ASSERT_TRUE(player.Configure(parameters_));
    ASSERT_TRUE(player.LoadMVX());
    clock.Settle();
    const Dims dims = player.GetMVXAuthoredStageDims();
    if (dims.width != 0) {
      // A quarter of the size: every frame is drawn, in a fraction of the time.
      FakePlane plane(dims.width / 4 + 1, dims.height / 4 + 1);
      ASSERT_TRUE(player.SetRenderPlane(&plane));
      ASSERT_TRUE(player.Play());
      clock.RunFor(1000000 * kMs);
    }
    if (other != nullptr) {
      printf("%-40s %s: %zu frames shown %s\n", movie.c_str() + movie.rfind('/') + 1,
             player.GetStageWindowStatus() == kStatusComplete ? "complete" : "FAILED",
             window.Count(kInfoRenderPlaneUpdated), window.EndMessage().c_str());
    } else {
      EXPECT_EQ(kStatusComplete, player.GetStageWindowStatus()) << window.EndMessage();
      EXPECT_GT(window.Count(kInfoRenderPlaneUpdated), 10u);
    }
    complete += player.GetStageWindowStatus() == kStatusComplete ? 1 : 0;
  }
  if (other != nullptr) printf("%zu of %zu complete\n", complete, movies.size());
}

}  // namespace
}  // namespace plexion_host::player
