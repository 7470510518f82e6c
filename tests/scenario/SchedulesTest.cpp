// Every story under many orders of its threads. plexion-sim does the same for as long as one likes.

#include "tests/scenario/StoryNames.h"

namespace plexion_sim {
namespace {

struct Campaign {
  Strategy strategy;
  bool late;
  unsigned preemptions;  // for PCT: change points
  uint64_t count;
};

const Campaign kCampaigns[] = {
    {Strategy::kRandom, false, 0, 100}, {Strategy::kRandom, true, 0, 100},
    {Strategy::kPct, false, 3, 100},    {Strategy::kPct, true, 3, 100},
    {Strategy::kSearch, false, 2, 300},
};

class SchedulesTest : public ::testing::TestWithParam<Story> {};

TEST_P(SchedulesTest, StoryGoesWellInEveryOrder) {
  for (const Campaign& campaign : kCampaigns) {
    ExploreOptions options;
    options.strategy = campaign.strategy;
    options.timeMayPass = campaign.late;
    options.preemptions = campaign.preemptions;
    options.count = campaign.count;
    const ExploreResult result = Explore(GetParam(), options);
    EXPECT_EQ(result.failure.findings, "")
        << "strategy " << static_cast<int>(campaign.strategy) << ", seed " << result.seed
        << (campaign.late ? ", late" : "");
    EXPECT_TRUE(result.exhausted || result.runs == campaign.count);
    EXPECT_EQ(result.mismatches, 0u) << "the story is not the same from run to run";
  }
}

TEST_P(SchedulesTest, StoryIsTheSameForTheSameSeed) {
  SimOptions options;
  options.seed = 7;
  options.latePermille = 20;
  EXPECT_EQ(RunStory(GetParam(), options).journal, RunStory(GetParam(), options).journal);
}

INSTANTIATE_TEST_SUITE_P(All, SchedulesTest, ::testing::ValuesIn(Stories()), NameOfStory());

// One thread and a player: small enough to see everything that two preemptions can do.
TEST(SearchOfStoriesTest, EndsForAStoryWithAWorker) {
  ExploreOptions options;
  options.strategy = Strategy::kSearch;
  options.preemptions = 1;
  options.count = 20000;
  const ExploreResult result = Explore(*FindStory("load-fails"), options);
  EXPECT_EQ(result.failure.findings, "");
  EXPECT_TRUE(result.exhausted);
  EXPECT_GT(result.runs, 50u);
}

}  // namespace
}  // namespace plexion_sim
