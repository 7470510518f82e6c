// Whole command lines: windows made, run, waited for and destroyed.

#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowImpl.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;
using plexion_sim::kMillisecond;
using plexion_sim::SimDevice;

class WindowSets : public ServiceTest {
 protected:
  ~WindowSets() override { set.reset(); }

  void Fresh(const std::vector<std::string>& hostWords,
             const std::function<void(SimDevice&)>& prepare = nullptr,
             const std::string& program = "/opt/plexion/plexion") {
    set.reset();
    Restart(hostWords, prepare, program);
    set = std::make_unique<StageWindowSet>();
  }

  int Open(std::vector<const char*> words, unsigned long maxWindows = 16) {
    words.insert(words.begin(), "plexion");
    vectors_.push_back(std::move(words));
    return service
        ->CreateAndConfigureStageWindowSet(*set, static_cast<int>(vectors_.back().size()),
                                           vectors_.back().data(), maxWindows)
        .code;
  }

  bool RunSet() { return service->RunStageWindowSetToCompletion(*set); }
  void Close() { service->DestroyStageWindowSet(*set); }

  void Story(const std::function<void()>& body) {
    EXPECT_TRUE(device->Run([&] {
      body();
      Close();
    }));
  }

  int64_t NowMs() { return device->kernel.Now() / kMillisecond; }

  std::unique_ptr<StageWindowSet> set = std::make_unique<StageWindowSet>();

 private:
  std::vector<std::vector<const char*>> vectors_;  // windows borrow their texts from here
};

TEST_F(WindowSets, TellAWrongCommandLineFromAWindowThatCannotBeMade) {
  const struct {
    std::vector<const char*> words;
    unsigned long maxWindows;
    int code;
    unsigned windows;
  } kLines[] = {
      {{"a.mvx"}, 1, 0, 1},
      {{"--dcts", "a.mvx", "--outputdims", "8,8", "b.mvx"}, 2, 0, 2},
      {{}, 16, 5, 0},
      {{"--dcts"}, 16, 5, 0},
      {{"a.mvx", "b.mvx"}, 1, 5, 1},
      {{"a.mvx", "--dcts"}, 1, 5, 1},
      {{"a.mvx", "--dcts"}, 2, 5, 1},
      {{"a.mvx", "--bogus", "b.mvx"}, 16, 5, 1},
      {{"a.mvx"}, 0, 5, 0},
      {{"a.mvx", "refused.mvx", "b.mvx"}, 16, 3, 1},
  };
  for (const auto& line : kLines) {
    Fresh({}, [](SimDevice& d) { d.player.Content("refused.mvx").configures = false; });
    EXPECT_EQ(Open(line.words, line.maxWindows), line.code) << line.words.size();
    EXPECT_EQ(set->Count(), line.windows);
    EXPECT_EQ(service->stageWindows.Count(), line.windows);
    Close();
    EXPECT_TRUE(set->IsEmpty() && service->stageWindows.IsEmpty());
    Close();
  }
}

TEST_F(WindowSets, TheShortFormMakesOneWindow) {
  const char* argv[] = {"plexion", "a.mvx", "b.mvx"};
  EXPECT_EQ(service->CreateAndConfigureStageWindowSet(*set, 3, argv).code, QXError_Usage.code);
  EXPECT_EQ(set->Count(), 1u);
  Close();
  EXPECT_EQ(service->CreateAndConfigureStageWindowSet(*set, 2, argv).code, QXError_OK.code);
  Close();
}

TEST_F(WindowSets, WindowsThatAreThereAlreadyCountAgainstTheLimit) {
  EXPECT_EQ(Open({"a.mvx"}, 2), QXError_OK.code);
  EXPECT_EQ(Open({"b.mvx", "c.mvx"}, 2), QXError_Usage.code);
  EXPECT_EQ(set->Count(), 2u);
  EXPECT_EQ(Open({"d.mvx"}, 2), QXError_Usage.code);
  EXPECT_EQ(set->Count(), 2u);
  Close();
}

TEST_F(WindowSets, TheLocaleHoldsForTheWindowsBehindIt) {
  EXPECT_EQ(Open({"a.mvx", "--locale", "de_DE", "b.mvx", "c.mvx"}), 0);
  EXPECT_EQ(device->locale.asked, (std::vector<std::string>{"en_US.UTF-8", "de_DE", "de_DE"}));
  Close();
}

TEST_F(WindowSets, RunUntilTheLastWindowHasEnded) {
  device->player.Content("short.mvx").frames = 3;
  device->player.Content("long.mvx").frames = 50;  // 40 ms each
  device->player.Content("broken.mvx").frames = 5;
  device->player.Content("broken.mvx").endStatus = kErrorFatalPlaybackError;
  Story([&] {
    ASSERT_EQ(Open({"short.mvx", "long.mvx", "broken.mvx"}), 0);
    device->kernel.Spawn("watcher", [&] {
      device->kernel.Sleep(1000 * kMillisecond);
      const plexion_sim::Unseen unseen;
      EXPECT_EQ(set->Count(), 1u);  // ended windows do not wait for the others
      EXPECT_EQ(service->stageWindows.Count(), 1u);
    });
    EXPECT_TRUE(RunSet());
    EXPECT_TRUE(set->IsEmpty() && service->stageWindows.IsEmpty());
    EXPECT_GE(NowMs(), 2000);
    EXPECT_LT(NowMs(), 2300);
  });
}

TEST_F(WindowSets, SleepOnceEvenWhenAllHasEndedAlready) {
  Story([&] {
    EXPECT_TRUE(RunSet());  // an empty set
    EXPECT_EQ(NowMs(), 0);
    ASSERT_EQ(Open({"a.mvx", "b.mvx"}), 0);
    for (unsigned i = 0; i < 2; ++i) {
      ASSERT_TRUE((*set)[i]->CreatePlanes());
      (*set)[i]->Play();
      device->kernel.Sleep(5000 * kMillisecond);
      ASSERT_EQ((*set)[i]->GetStageWindowStatus(), kStatusComplete);
    }
    const int64_t before = NowMs();
    EXPECT_TRUE(RunSet());
    EXPECT_EQ(NowMs(), before + 100);
  });
}

TEST_F(WindowSets, StopAtTheFirstWindowThatCannotBeShown) {
  device->player.Content("bad.mvx").FailAt(0, kErrorCorruptMovie);
  Story([&] {
    ASSERT_EQ(Open({"a.mvx", "bad.mvx", "c.mvx"}), 0);
    EXPECT_FALSE(RunSet());
    EXPECT_EQ(set->Count(), 3u);
    EXPECT_NE((*set)[0]->GetOutputPlane(), nullptr);
    EXPECT_EQ((*set)[2]->GetOutputPlane(), nullptr);
    EXPECT_EQ(device->kernel.GetJournal().Count("Play"), 0u);
  });
}

TEST_F(WindowSets, WaitForGoBeforeAnythingIsShown) {
  Fresh({"x", "--pause", "y"});
  Story([&] {
    ASSERT_EQ(Open({"a.mvx"}), 0);
    device->kernel.Spawn("operator", [&] {
      device->kernel.Sleep(3000 * kMillisecond);
      EXPECT_TRUE(device->shell.Knows("go") && device->shell.IsStarted());
      EXPECT_EQ((*set)[0]->GetOutputPlane(), nullptr);
      device->shell.Type("went");
      device->shell.Type("go now");
    });
    EXPECT_TRUE(RunSet());
    EXPECT_GE(NowMs(), 3000);
    EXPECT_FALSE(device->shell.Knows("go"));
    EXPECT_EQ(device->kernel.LiveEvents(), 0u);
    EXPECT_EQ(device->shell.Results(),
              (std::vector<std::string>{"went -> unknown command", "go -> QXError_OK"}));
    // The shell stays with the service; the next run waits again.
    EXPECT_EQ(device->kernel.ModuleReferences("IShell"), 1u);
    device->shell.Type("go");
    EXPECT_TRUE(RunSet());
    EXPECT_EQ(device->kernel.ModuleReferences("IShell"), 1u);
    EXPECT_EQ(device->shell.Results().size(), 3u);
  });
}

TEST_F(WindowSets, DoNotWaitForWhatCannotBe) {
  const std::function<void(SimDevice&)> kLacks[] = {
      [](SimDevice& d) { d.Remove("IShell"); },
      [](SimDevice& d) { d.kernel.GetFaults().FailAll(Fallible::kCreateEvent); },
      [](SimDevice& d) {
        // What the command object would need; the service is made by then.
        d.kernel.GetFaults().Fail(Fallible::kAllocate,
                                  d.kernel.GetFaults().Count(Fallible::kAllocate) + 1,
                                  plexion_sim::Faults::Repeat::kForEver);
      },
  };
  for (const auto& lack : kLacks) {
    Fresh({"--pause"});
    lack(*device);
    Story([&] {
      EXPECT_TRUE(RunSet());
      EXPECT_EQ(NowMs(), 0);
      EXPECT_EQ(device->kernel.LiveEvents(), 0u);
      EXPECT_FALSE(device->shell.Knows("go"));
    });
  }
}

TEST_F(WindowSets, PauseOnlyOnTheHostsExactWord) {
  Fresh({}, nullptr, "--pause");  // the program's own name counts
  device->shell.Type("go");
  Story([&] { RunSet(); });
  EXPECT_EQ(device->shell.Results().size(), 1u);

  Fresh({"-pause", "--paused", "pause"});
  Story([&] {
    ASSERT_EQ(Open({"--pause", "a.mvx"}), 0);  // the set's own words do not
    RunSet();
  });
  EXPECT_FALSE(device->shell.IsStarted());
}

TEST_F(WindowSets, LeaveNothingBehindWhateverFails) {
  const auto story = [this] {
    if (service == nullptr) return;
    Story([&] {
      if (Open({"a.mvx", "b.mvx"}) == 0) RunSet();
    });
  };
  for (Fallible operation : {Fallible::kAllocate, Fallible::kAcquireModule}) {
    Fresh({});
    story();
    const uint64_t all = device->kernel.GetFaults().Count(operation);
    ASSERT_GT(all, 5u);
    for (uint64_t nth = 1; nth <= all; ++nth) {
      SCOPED_TRACE(std::string(plexion_sim::NameOf(operation)) + " " + std::to_string(nth));
      Fresh({}, [=](SimDevice& d) { d.kernel.GetFaults().Fail(operation, nth); });
      story();
    }
  }
}

TEST_F(WindowSets, DestroyWindowsThatAreInNoList) {
  service->DestroyStageWindow(nullptr);
  StageWindow* const window = service->CreateStageWindow();
  service->stageWindows.SetSize(0);
  service->DestroyStageWindow(window);  // the device would tell of a leak
}

}  // namespace
}  // namespace plexion
}  // namespace qx
