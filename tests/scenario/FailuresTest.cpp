// Every call of every story that may fail, once and for ever after; every story without each
// platform module. What the story itself expected is void then: what remains must be a clean
// refusal, with the ledger empty and nobody blocked, but for the cases left to the host.

#include "tests/scenario/StoryNames.h"

namespace plexion_sim {
namespace {

class FailuresTest : public ::testing::TestWithParam<Story> {};

TEST_P(FailuresTest, EveryFailingCallIsRefusedCleanly) {
  SimOptions options;
  options.journal = false;
  options.timeLimit = kFaultTimeLimit;
  const std::vector<FaultCase> cases = FaultCases(GetParam(), options);
  EXPECT_GT(cases.size(), 30u);
  for (const FaultCase& fault : cases) {
    uint64_t injected = 0;
    Story story = GetParam();
    story.check = [&](SimDevice& device) { injected = device.kernel.GetFaults().Injected(); };
    const StoryRun run = RunStory(story, options, [&](Faults& faults) {
      faults.Fail(fault.operation, fault.nth, fault.repeat);
    });
    EXPECT_GT(injected, 0u) << fault.ToText();
    EXPECT_EQ(UnexpectedFindings(fault, run.findings), "") << fault.ToText();
  }
}

TEST_P(FailuresTest, EveryMissingModuleIsAnExpectedCase) {
  for (const std::string& module : PlatformModules()) {
    SimOptions options;
    options.journal = false;
    const StoryRun run = RunStory(WithoutModule(GetParam(), module), options);
    EXPECT_EQ(UnexpectedFindings(run.findings), "") << "without " << module;
    // Without a player no window is made; the rest plays without input, shell and files.
    if (module == "ISystemDriver" || module == "IUserInputDriver" || module == "IFileSystem") {
      EXPECT_EQ(run.findings, "") << "without " << module;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, FailuresTest, ::testing::ValuesIn(Stories()), NameOfStory());

}  // namespace
}  // namespace plexion_sim
