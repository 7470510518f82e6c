// The whole service on the simulated device.

#include "tests/support/ServiceTest.h"

namespace plexion_sim {
namespace {

class ServiceStoryTest : public ServiceTest {
 public:
  void Prepare() override {
    device->player.usual.authored = {32, 16};
    device->player.usual.frames = 3;
  }
};

STORY(ServiceStoryTest, OneWindowPlaysToItsEnd) {
  ASSERT_EQ(host->OpenWindows({"movie.mvx"}), QXError_OK);
  SimInstance* player = host->Player(host->Windows()[0]);
  EXPECT_TRUE(host->RunWindows());
  EXPECT_EQ(player->FramesDrawn(), 3u);
  EXPECT_TRUE(player->IsDestroyed());
  ExpectPrinted("Using: Simulated player 1.0");
}

STORY(ServiceStoryTest, TwoWindowsShareTheScreen) {
  ASSERT_EQ(host->OpenWindows(
                {"--outputrect", "0,0,32,16", "a.mvx", "--outputrect", "32,0,32,16", "b.mvx"}),
            QXError_OK);
  EXPECT_TRUE(host->RunWindows());
  EXPECT_EQ(device->kernel.GetJournal().Count("CreateOutputPlane", "'b.mvx' -> output2"), 1u);
}

std::string JournalOf(uint64_t seed) {
  SimOptions options;
  options.seed = seed;
  options.latePermille = 20;
  SimDevice device(options);
  device.player.usual.authored = {32, 16};
  device.Run([&] {
    SimHost host(device, {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
    host.LoadService();
    host.OpenWindows({"a.mvx", "b.mvx"});
    host.RunWindows();
    host.UnloadService();
  });
  EXPECT_EQ(device.Finish(), "") << "seed " << seed;
  return device.kernel.GetJournal().ToText();
}

TEST(ServiceJournalTest, IsTheSameForTheSameSeed) {
  for (uint64_t seed = 1; seed <= 20; ++seed) EXPECT_EQ(JournalOf(seed), JournalOf(seed));
  EXPECT_NE(JournalOf(1), JournalOf(2));
}

}  // namespace
}  // namespace plexion_sim
