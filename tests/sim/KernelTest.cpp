// Virtual time, blocking and deadlocks of the simulated kernel.

#include <climits>

#include "tests/support/StoryTest.h"

namespace plexion_sim {
namespace {

class KernelTest : public StoryTest {
 public:
  SimKernel& kernel() { return device->kernel; }
};

STORY(KernelTest, TimeJumpsToTheNextWakeUp) {
  std::string order;
  for (const int64_t delay : {30, 10, 20}) {
    kernel().Spawn("sleeper" + std::to_string(delay), [this, delay, &order] {
      kernel().Sleep(delay * kMillisecond);
      order +=
          std::to_string(delay) + "@" + std::to_string(kernel().GetTime() / kMillisecond) + " ";
    });
  }
  kernel().Sleep(3600LL * 100 * kMillisecond);
  EXPECT_EQ(order, "10@10 20@20 30@30 ");
  EXPECT_EQ(kernel().GetTime(), 3600LL * 100 * kMillisecond);
}

STORY(KernelTest, EventsStaySignalledUntilReset) {
  IQXKernel::Event* event = kernel().CreateEvent(true);
  event->Reset();
  EXPECT_FALSE(event->Wait(5 * kMillisecond));
  EXPECT_EQ(kernel().GetTime(), 5 * kMillisecond);
  EXPECT_FALSE(event->Wait(0));
  unsigned woken = 0;
  for (int i = 0; i < 3; ++i) {
    kernel().Spawn("waiter", [&] {
      if (event->Wait(IQXKernel::kInfinite)) ++woken;
    });
  }
  kernel().Sleep(kMillisecond);
  // A signal wakes all, also when the flag is gone again before they run.
  event->Signal();
  event->Reset();
  kernel().Sleep(kMillisecond);
  EXPECT_EQ(woken, 3u);
  EXPECT_FALSE(event->Wait(0));
  kernel().DestroyEvent(event);
  kernel().DestroyEvent(nullptr);
}

STORY(KernelTest, MutexesAreRecursiveAndExclusive) {
  IQXKernel::Mutex* mutex = kernel().CreateMutex();
  unsigned inside = 0;
  unsigned most = 0;
  unsigned turns = 0;
  for (int i = 0; i < 4; ++i) {
    kernel().Spawn("worker", [&] {
      for (int turn = 0; turn < 10; ++turn) {
        mutex->Lock();
        mutex->Lock();
        most = std::max(most, ++inside);
        kernel().Sleep(kMillisecond);
        --inside;
        mutex->Unlock();
        mutex->Unlock();
        ++turns;
      }
    });
  }
  while (turns < 40) kernel().Sleep(kMillisecond);
  EXPECT_EQ(most, 1u);
  EXPECT_GE(kernel().GetTime(), 40 * kMillisecond);
  kernel().DestroyMutex(mutex);
}

STORY(KernelTest, ThreadsAreJoinedAndStartedAgain) {
  IQXKernel::Thread* thread = kernel().CreateThread();
  EXPECT_TRUE(thread->Join(IQXKernel::kInfinite)) << "never started counts as ended";
  int runs = 0;
  const auto procedure = [](IQXKernel::Thread*, void* argument) {
    SimDevice::Current()->kernel.Sleep(10 * kMillisecond);
    ++*static_cast<int*>(argument);
  };
  for (int round = 1; round <= 2; ++round) {
    ASSERT_TRUE(thread->Start("counter", procedure, &runs));
    EXPECT_FALSE(thread->Join(2 * kMillisecond));
    EXPECT_TRUE(thread->Join(IQXKernel::kInfinite));
    EXPECT_EQ(runs, round);
  }
  kernel().DestroyThread(thread);
}

STORY(KernelTest, TextIsPrintedLineByLine) {
  kernel().Printf("half %d", 1);
  kernel().Printf(" done\nQXPROFILE: %s:%d: %ldms for %s\nopen", "a.cpp", 3, LONG_MAX, "x");
  const std::vector<std::string> expected = {
      "half 1 done", "QXPROFILE: a.cpp:3: " + std::to_string(LONG_MAX) + "ms for x", "open"};
  EXPECT_EQ(kernel().PrintedLines(), expected);
  char buffer[4];
  kernel().FormatString(buffer, sizeof buffer, "%d", 12345);
  EXPECT_STREQ(buffer, "123");
}

class DeadlockTest : public KernelTest {
 public:
  void Check() override {
    EXPECT_TRUE(kernel().HasFailed());
    const std::vector<std::string> found = kernel().GetFindings().Take(FindingKind::kDeadlock);
    ASSERT_EQ(found.size(), 1u);
    text = found[0];
    for (const char* part : Expected()) EXPECT_NE(text.find(part), std::string::npos) << text;
    EXPECT_FALSE(device->Run([] { FAIL() << "a device that failed runs nothing more"; }));
  }
  virtual std::vector<const char*> Expected() = 0;
  std::string text;
};

class RingTest : public DeadlockTest {
 public:
  std::vector<const char*> Expected() override {
    return {"first wants right, which second holds", "second wants left, which first holds",
            "it holds left", "host sleeps"};
  }
  void Check() override {
    kernel().GetFindings().Take(FindingKind::kLockOrder);
    DeadlockTest::Check();
  }
};

STORY(RingTest, ThreadsThatWaitForEachOtherAreNamedAtOnce) {
  kernel().NameNextMutexes({"left", "right"});
  IQXKernel::Mutex* left = kernel().CreateMutex();
  IQXKernel::Mutex* right = kernel().CreateMutex();
  const auto both = [this](IQXKernel::Mutex* one, IQXKernel::Mutex* other) {
    one->Lock();
    kernel().Sleep(kMillisecond);
    other->Lock();
    other->Unlock();
    one->Unlock();
  };
  kernel().Spawn("first", [=] { both(left, right); });
  kernel().Spawn("second", [=] { both(right, left); });
  kernel().Sleep(1000 * kMillisecond);
  FAIL() << "went on after a deadlock";
}

class ForEverTest : public DeadlockTest {
 public:
  std::vector<const char*> Expected() override {
    return {"host waits for event1, for ever", "other wants mutex1, which host holds"};
  }
};

STORY(ForEverTest, EverybodyBlockedIsReported) {
  IQXKernel::Mutex* mutex = kernel().CreateMutex();
  IQXKernel::Event* event = kernel().CreateEvent(true);
  event->Reset();
  mutex->Lock();
  kernel().Spawn("other", [mutex] { mutex->Lock(); });
  event->Wait(IQXKernel::kInfinite);
}

class RunAwayTest : public KernelTest {
 public:
  SimOptions Options() override {
    SimOptions options;
    options.timeLimit = 1000 * kMillisecond;
    return options;
  }
  void Check() override {
    const auto found = kernel().GetFindings().Take(FindingKind::kRunAway);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NE(found[0].find("more than 1000 ms of virtual time"), std::string::npos) << found[0];
  }
};

STORY(RunAwayTest, AStoryWithoutEndIsGivenUp) {
  for (;;) kernel().Sleep(10 * kMillisecond);
}

// A switch orders nothing: the thread sanitizer sees what the kernel's own primitives order, alone.
TEST(DataRaceTest, IsWhatNothingOfTheKernelsOrders) {
  const auto touch = [](SimKernel& kernel, char* memory) { kernel.MemSet(memory, 1, 1); };
  const struct {
    const char* name;
    bool race;
    std::function<void(SimKernel&, char*)> tell;
  } kCases[] = {
      {"nothing", true,
       [touch](SimKernel& kernel, char* memory) {
         kernel.Spawn("other", [&kernel, touch, memory] { touch(kernel, memory); });
         kernel.Sleep(kMillisecond);
         touch(kernel, memory);
       }},
      {"mutex", false,
       [touch](SimKernel& kernel, char* memory) {
         IQXKernel::Mutex* mutex = kernel.CreateMutex();
         const auto locked = [&kernel, touch, memory, mutex] {
           mutex->Lock();
           touch(kernel, memory);
           mutex->Unlock();
         };
         kernel.Spawn("other", locked);
         locked();
         kernel.Sleep(kMillisecond);
         kernel.DestroyMutex(mutex);
       }},
      {"event", false,
       [touch](SimKernel& kernel, char* memory) {
         IQXKernel::Event* event = kernel.CreateEvent(true);
         event->Reset();
         kernel.Spawn("other", [&kernel, touch, memory, event] {
           touch(kernel, memory);
           event->Signal();
         });
         event->Wait(IQXKernel::kInfinite);
         touch(kernel, memory);
         kernel.DestroyEvent(event);
       }},
      {"thread", false,
       [touch](SimKernel& kernel, char* memory) {
         IQXKernel::Thread* thread = kernel.CreateThread();
         touch(kernel, memory);
         thread->Start(
             "other",
             [](IQXKernel::Thread*, void* argument) {
               SimDevice::Current()->kernel.MemSet(argument, 1, 1);
             },
             memory);
         thread->Join(IQXKernel::kInfinite);
         touch(kernel, memory);
         kernel.DestroyThread(thread);
       }},
  };
  for (const auto& one : kCases) {
    const auto run = [&one] {
      SimDevice device;
      char memory = 0;
      device.Run([&] { one.tell(device.kernel, &memory); });
      const std::vector<std::string> races =
          device.kernel.GetFindings().Take(FindingKind::kDataRace);
      std::exit(device.Finish().empty() ? static_cast<int>(races.size()) : 2);
    };
    // The sanitizer's own exit status, when it has reported something, comes before ours.
    constexpr int kSanitizersStatus = 66;
    EXPECT_EXIT(run(),
                ::testing::ExitedWithCode(SeesDataRaces() && one.race ? kSanitizersStatus : 0),
                SeesDataRaces() && one.race ? "data race" : "")
        << one.name;
  }
}

}  // namespace
}  // namespace plexion_sim
