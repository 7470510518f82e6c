// What is left to the host is found, shrunk and found again from the shrunk schedule.

#include "tests/scenario/StoryNames.h"

namespace plexion_sim {

void PrintTo(const HostCase& left, std::ostream* out) { *out << left.story.name; }

namespace {

class HostCasesTest : public ::testing::TestWithParam<HostCase> {};

TEST_P(HostCasesTest, IsFoundShrunkAndReplayed) {
  const HostCase& left = GetParam();
  ExploreOptions options;
  options.count = 2000;
  const ExploreResult result = Explore(left.story, options);
  ASSERT_TRUE(result.failed);
  EXPECT_EQ(result.failure.firstKind, NameOf(left.kind));
  EXPECT_NE(result.failure.findings.find(left.part), std::string::npos) << result.failure.findings;
  const Schedule shrunk = Shrink(left.story, SimOptions(), result.failure);
  EXPECT_LE(shrunk.switches.size(), 2u);
  ReplayScheduler replay(shrunk);
  SimOptions again;
  again.scheduler = &replay;
  EXPECT_EQ(RunStory(left.story, again).firstKind, NameOf(left.kind));
}

INSTANTIATE_TEST_SUITE_P(All, HostCasesTest, ::testing::ValuesIn(CasesLeftToHost()),
                         [](const auto& shown) { return TestName(shown.param.story.name); });

}  // namespace
}  // namespace plexion_sim
