// Strategies, shrinking and failing calls.

#include <gtest/gtest.h>

#include <set>

#include "sim/explore/Explore.h"

namespace plexion_sim {
namespace {

/// Two threads of two calls each, which write their names down.
Story TwoOfTwo(std::set<std::string>& orders) {
  Story story;
  story.name = "two-of-two";
  story.tell = [&orders](SimDevice& device) {
    auto order = std::make_shared<std::string>();
    unsigned left = 2;
    for (const char* name : {"a", "b"}) {
      device.kernel.Spawn(name, [&device, &left, order, name] {
        *order += name;
        device.kernel.Point("between");
        *order += name;
        --left;
      });
    }
    device.kernel.WaitUntil(
        "both", [&left] { return left == 0; }, IQXKernel::kInfinite);
    orders.insert(*order);
  };
  return story;
}

TEST(SearchTest, FindsEveryScheduleWithinTheBound) {
  const std::pair<unsigned, std::set<std::string>> cases[] = {
      {0, {"aabb", "bbaa"}},
      {1, {"aabb", "bbaa", "abba", "baab"}},
      {2, {"aabb", "bbaa", "abba", "baab", "abab", "baba"}},
  };
  for (const auto& expected : cases) {
    std::set<std::string> orders;
    ExploreOptions options;
    options.strategy = Strategy::kSearch;
    options.preemptions = expected.first;
    const ExploreResult result = Explore(TwoOfTwo(orders), options);
    EXPECT_TRUE(result.exhausted);
    EXPECT_EQ(result.mismatches, 0u);
    EXPECT_EQ(orders, expected.second) << expected.first << " preemptions";
  }
}

/// Fails only when the reader comes between the two halves of the writer's change, which needs a
/// switch at one place among many.
Story TornWrite() {
  Story story;
  story.name = "torn-write";
  story.tell = [](SimDevice& device) {
    SimKernel& kernel = device.kernel;
    int width = 0;
    int height = 0;
    bool done = false;
    kernel.Spawn("writer", [&] {
      for (int i = 1; i <= 20; ++i) {
        kernel.GetTime();
        if (i == 13) width = 7;
        kernel.GetTime();
        if (i == 13) height = 7;
      }
      done = true;
    });
    for (int i = 0; i < 20; ++i) {
      kernel.GetTime();
      if (width != height) kernel.Report(FindingKind::kContract, "a size half changed");
    }
    while (!done) kernel.Sleep(kMillisecond);
  };
  return story;
}

TEST(ExploreTest, EveryStrategyFindsATornWriteAndItShrinksAndReplays) {
  for (const Strategy strategy : {Strategy::kRandom, Strategy::kPct, Strategy::kSearch}) {
    SCOPED_TRACE(static_cast<int>(strategy));
    ExploreOptions options;
    options.strategy = strategy;
    options.count = 20000;
    options.preemptions = strategy == Strategy::kPct ? 3 : 2;
    const ExploreResult result = Explore(TornWrite(), options);
    ASSERT_TRUE(result.failed);
    const Schedule shrunk = Shrink(TornWrite(), SimOptions(), result.failure);
    EXPECT_LE(shrunk.switches.size(), result.failure.schedule.switches.size());
    EXPECT_LE(shrunk.switches.size(), 3u);
    Schedule read;
    std::string error;
    ASSERT_TRUE(read.FromText(shrunk.ToText(), error)) << error;
    EXPECT_EQ(read.story, "torn-write");
    ReplayScheduler replay(read);
    SimOptions again;
    again.scheduler = &replay;
    EXPECT_NE(RunStory(TornWrite(), again).findings.find("a size half changed"), std::string::npos);
  }
}

TEST(FaultCasesTest, ListEachCallOnceAndForEver) {
  Story story;
  story.tell = [](SimDevice& device) {
    for (int i = 0; i < 2; ++i) {
      void* block = device.kernel.Allocate(8, nullptr, 0);
      if (block != nullptr) device.kernel.Free(block, nullptr, 0);
    }
    device.kernel.ReleaseModule(device.kernel.AcquireModule("IShell"));
  };
  std::string all;
  for (const FaultCase& fault : FaultCases(story, SimOptions())) {
    all += fault.ToText() + "\n";
    const StoryRun run = RunStory(story, SimOptions(), [&](Faults& faults) {
      faults.Fail(fault.operation, fault.nth, fault.repeat);
    });
    EXPECT_EQ(run.findings, "");
  }
  EXPECT_EQ(all,
            "Allocate number 1 fails once\nAllocate number 1 and all later ones fail\n"
            "Allocate number 2 fails once\nAllocate number 2 and all later ones fail\n"
            "AcquireModule number 1 fails once\nAcquireModule number 1 and all later ones fail\n");
}

}  // namespace
}  // namespace plexion_sim
