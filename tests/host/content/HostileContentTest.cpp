// A table of hostile contents, one after the other in one window, while a good movie plays in another:
// which notices nothing of them.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "host/player/instance/PlayerClock.h"
#include "host/player/remote/RemoteEngines.h"
#include "tests/host/content/HostileContents.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::content {
namespace {

using namespace player;
using namespace qx::plexion;
using Clock = std::chrono::steady_clock;

constexpr size_t kFewestRows = 60;
constexpr uint64_t kMostGrowth = uint64_t{10} << 20;
/// Longer than a loaded machine keeps a thread waiting, shorter than a process that hangs is waited for.
constexpr std::chrono::milliseconds kMostPause{1500};
/// The longest that a content may take to end by itself: a load without a sign of life is given ten.
constexpr std::chrono::seconds kLoading{40};
constexpr std::chrono::milliseconds kPlaying{700};

/// 64 x 36 pixels, 60 frames a second, for 25 minutes: a square that moves a little with each frame.
constexpr char kGoodMovie[] =
    R"({"v":"5","fr":60,"ip":0,"op":90000,"w":64,"h":36,"layers":[{"ty":4,
  "ip":0,"op":90000,"st":0,"sr":1,"ks":{"o":{"a":0,"k":100},"r":{"a":1,"k":[{"t":0,"s":[0],
  "i":{"x":[1],"y":[1]},"o":{"x":[0],"y":[0]}},{"t":90000,"s":[1500000]}]},"p":{"a":0,"k":[32,18]},
  "a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},"shapes":[{"ty":"gr","it":[{"ty":"rc",
  "p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[20,10]},"r":{"a":0,"k":0}},{"ty":"fl",
  "c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100},"r":1},{"ty":"tr","p":{"a":0,"k":[0,0]},
  "a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},"r":{"a":0,"k":0},"o":{"a":0,"k":100}}]}]}]})";

/// A window that plays one content.
class Window {
 public:
  Window(EngineSource& engines, const std::string& content) {
    parameters_.notifier = &notifier;
    parameters_.contentUrl.Assign(content.c_str());
    parameters_.gcHeapLimitMegabytes = 64;
    player_ = std::make_unique<PlayerInstance>(nullptr, engines, SteadyPlayerClock());
  }
  void Load() {
    ASSERT_TRUE(player_->Configure(parameters_));
    ASSERT_TRUE(player_->LoadMVX());
  }
  void Play() {
    if (player_->SetRenderPlane(&plane_)) player_->Play();
  }
  bool IsPlaying() { return player_->GetStageWindowStatus() == kStatusPlaying; }
  bool HasEnded() { return IsTerminalStatus(player_->GetStageWindowStatus()); }
  bool IsReady() { return player_->GetStageWindowStatus() >= kStatusReadyToAnimate; }
  StageWindowStatus Status() { return player_->GetStageWindowStatus(); }

  RecordingWindow notifier;

 private:
  qx::core::morvellib::MorvelInstanceParameters parameters_;
  FakePlane plane_{64, 36};
  std::unique_ptr<PlayerInstance> player_;
};

uint64_t OwnMemory() {
  uint64_t size = 0;
  uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

template <typename Condition>
bool WaitUntil(std::chrono::milliseconds most, const Condition& condition) {
  const auto deadline = Clock::now() + most;
  while (Clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return condition();
}

class HostileContentTest : public ::testing::TestWithParam<const char*> {
 protected:
  HostileContentTest() {
    TestKernel();
    char pattern[] = "/tmp/plexion-hostile-XXXXXX";
    folder_ = mkdtemp(pattern);
    std::ofstream(folder_ / "good.mvx") << kGoodMovie;
  }
  ~HostileContentTest() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path folder_;
};

TEST_P(HostileContentTest, LeavesItsNeighbourAndTheLauncherAlone) {
  std::vector<HostileContent> contents = MakeHostileContents(folder_);
  ASSERT_GE(contents.size(), kFewestRows);
  const std::string prefix = GetParam();
  const auto isOther = [&](const HostileContent& content) {
    const bool application = content.name.rfind("application", 0) == 0;
    const bool movie = content.name.rfind("movie", 0) == 0;
    return prefix == "media" ? application || movie : content.name.rfind(prefix, 0) != 0;
  };
  contents.erase(std::remove_if(contents.begin(), contents.end(), isOther), contents.end());

  remote::RemoteEngines engines(PLEXION_BIN "/plexion-content");
  Window good(engines, folder_ / "good.mvx");
  std::atomic<int64_t> longestPause{0};
  std::atomic<uint64_t> frames{0};
  std::atomic<uint64_t> late{0};
  Clock::time_point last;
  good.notifier.onStatus = [&](StageWindowStatus status) {
    if (status != kInfoRenderPlaneUpdated) return;
    const auto now = Clock::now();
    const auto pause = std::chrono::duration_cast<std::chrono::milliseconds>(now - last).count();
    if (frames++ > 0) longestPause = std::max(longestPause.load(), pause);
    if (frames > 1 && pause > 33) ++late;
    last = now;
  };
  good.Load();
  ASSERT_TRUE(WaitUntil(kLoading, [&] { return good.IsReady(); })) << good.notifier.EndMessage();
  good.Play();
  ASSERT_TRUE(WaitUntil(kLoading, [&] { return good.IsPlaying(); })) << good.notifier.EndMessage();

  uint64_t before = 0;
  for (const HostileContent& content : contents) {
    SCOPED_TRACE(content.name);
    const auto began = Clock::now();
    {
      Window bad(engines, content.path);
      bad.Load();
      EXPECT_TRUE(WaitUntil(kLoading, [&] { return bad.IsReady(); })) << "neither ready nor ended";
      if (!bad.HasEnded()) {
        bad.Play();
        WaitUntil(kPlaying, [&] { return bad.HasEnded(); });
      }
      // Who fails says why; the player's status is there before the window has heard of it.
      const bool failed = bad.HasEnded() && bad.Status() != kStatusComplete;
      const bool told =
          WaitUntil(kPlaying, [&] { return !bad.notifier.EndMessage().empty() || !failed; });
      EXPECT_TRUE(told);
      const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began);
      printf("%-36s %2d %6lld ms  %s\n", content.name.c_str(), bad.Status(),
             static_cast<long long>(took.count()),
             bad.notifier.EndMessage().substr(0, 150).c_str());
    }
    EXPECT_TRUE(good.IsPlaying());
    if (before == 0) before = OwnMemory();  // after the first, which makes threads and buffers
  }
  const uint64_t after = OwnMemory();
  printf(
      "%zu contents; the good movie: %llu frames, %llu late, longest pause %lld ms; memory %+lld "
      "KiB\n",
      contents.size(), static_cast<unsigned long long>(frames),
      static_cast<unsigned long long>(late), static_cast<long long>(longestPause),
      (static_cast<long long>(after) - static_cast<long long>(before)) / 1024);
  EXPECT_TRUE(good.IsPlaying());
  EXPECT_LT(std::chrono::milliseconds(longestPause), kMostPause);
  EXPECT_LT(after, before + kMostGrowth);
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostileContentTest,
                         ::testing::Values("movie", "application", "media"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace plexion_host::content
