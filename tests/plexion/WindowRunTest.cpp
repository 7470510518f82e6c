// Loading and running one window, in one go or in the two halves of signage.

#include "tests/plexion/WindowFixture.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::kMillisecond;
using plexion_sim::Nanoseconds;

constexpr char kSuspended[] = "Plexion suspended until you use the \"go\" command.";

class WindowRun : public WindowTest {
 protected:
  Nanoseconds Now() { return device->kernel.Now(); }

  /// A run makes no planes: another thread of the host's does, once the size is known.
  void ShowWhenReady(StageWindow* window) {
    device->kernel.Spawn("planes", [this, window] {
      for (;;) {
        const StageWindowStatus status = window->GetStageWindowStatus();
        if (IsTerminalStatus(status)) return;
        if (status == kStatusReadyToAnimate || status == kStatusPlaying) break;
        RunFor(1);
      }
      EXPECT_TRUE(window->CreatePlanes());
    });
  }
};

TEST_F(WindowRun, EndsTrueExactlyWhenTheContentCompletes) {
  const struct {
    StageWindowStatus end;
    bool result;
    const char* mouseStream;
  } kCases[] = {{kStatusComplete, true, "127.0.0.1:5900"},
                {kErrorFatalPlaybackError, false, nullptr}};
  for (const auto& one : kCases) {
    Restart({});
    Script().endStatus = one.end;
    Script().frames = 3;
    Story([&] {
      StageWindowParameters parameters = Defaults();
      parameters.mouseStream = one.mouseStream;
      StageWindowImpl* const window = Make(parameters);
      bool held = false;
      device->kernel.Spawn("look", [&] {
        RunFor(60);
        held = device->input.IsHeld() && device->kernel.ModuleReferences("IMouseStream") ==
                                             (one.mouseStream != nullptr ? 1u : 0u);
      });
      ShowWhenReady(window);
      EXPECT_EQ(window->RunToCompletion(), one.result);
      EXPECT_TRUE(held);
      EXPECT_EQ(device->mouse.served.size(), one.mouseStream != nullptr ? 1u : 0u);
      for (const std::string& served : device->mouse.served) EXPECT_EQ(served, one.mouseStream);
      EXPECT_FALSE(device->input.IsHeld());
      // What has happened stays so for whoever comes later.
      for (int times = 0; times < 2; ++times) {
        EXPECT_TRUE(window->loadEvent->Wait(0) && window->completionEvent->Wait(0));
      }
    });
    EXPECT_EQ(Printed(kSuspended), 0);
  }
}

TEST_F(WindowRun, EndsFalseWhenTheLoadFailsAndNeverPlays) {
  Script().FailAt(0, kErrorCorruptMovie);
  Story([&] {
    StageWindowImpl* const window = Make();
    EXPECT_FALSE(window->RunToCompletion());
    EXPECT_EQ(Calls("Play"), 0u);
    EXPECT_EQ(window->GetStageWindowStatus(), kErrorCorruptMovie);
  });
}

TEST_F(WindowRun, SharesOneBudgetBetweenItsTwoWaits) {
  // Loaded after 4 s of waiting for the configuration, ready only 8 s later.
  Script().loadSteps = {{1 * kMillisecond, kStatusLoaded},
                        {8000 * kMillisecond, kStatusReadyToAnimate}};
  Script().frames = 1;
  Story([&] {
    StageWindowImpl* const window = Unconfigured();
    device->kernel.Spawn("configure", [&] {
      RunFor(4000);
      window->Configure(Defaults());
    });
    const Nanoseconds begin = Now();
    EXPECT_TRUE(window->LoadForLFD());  // merely slow: the truth comes with the status
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusLoaded);
    EXPECT_NEAR(static_cast<double>(Now() - begin) / kMillisecond, 10000, 20);
    EXPECT_FALSE(window->PlayForLFD());
    EXPECT_EQ(Calls("Play"), 0u);
    RunFor(3000);
    EXPECT_TRUE(window->CreatePlanes());
    EXPECT_TRUE(window->PlayForLFD());
  });
}

TEST_F(WindowRun, PlaysASlowWindowAnyway) {
  Script().loadSteps = {{1 * kMillisecond, kStatusLoaded},
                        {60000 * kMillisecond, kStatusReadyToAnimate}};
  Story([&] {
    StageWindowImpl* const window = Make();
    EXPECT_FALSE(window->RunToCompletion());
    EXPECT_GE(Calls("Play"), 1u);
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusLoaded);
  });
}

TEST_F(WindowRun, InTwoHalvesWaitsForTheHostsMoment) {
  Script().frames = 2;
  Script("bad.mvx").FailAt(1, kErrorInvalidURL);
  Story([&] {
    StageWindowImpl* const window = Make();
    EXPECT_FALSE(window->PlayForLFD());  // not loaded
    EXPECT_TRUE(window->LoadForLFD());
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusReadyToAnimate);
    EXPECT_EQ(Player(window)->FramesDrawn(), 0u);
    RunFor(5000);
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusReadyToAnimate);
    ASSERT_TRUE(window->CreatePlanes());
    EXPECT_TRUE(window->PlayForLFD());
    EXPECT_FALSE(window->PlayForLFD());  // over

    StageWindowImpl* const bad = Make("bad.mvx");
    EXPECT_FALSE(bad->LoadForLFD());
    EXPECT_FALSE(bad->PlayForLFD());
  });
}

TEST_F(WindowRun, WaitsForGoWhichMayNameOtherContent) {
  const struct {
    const char* line;
    const char* content;
    const char* zorBase;
  } kCases[] = {
      {"go --rundefault", "movie.mvx", nullptr},
      {"go other.mvx", "other.mvx", nullptr},
      {"go app.xml /zor/base", "app.xml", "/zor/base"},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.line);
    Restart({"--pause"});
    Script().frames = 1;
    Story([&] {
      StageWindowParameters parameters = Defaults();
      parameters.instrument = true;
      StageWindowImpl* const window = Make(parameters);
      device->kernel.Spawn("operator", [&] {
        RunFor(3000);
        EXPECT_EQ(window->GetStageWindowStatus(), kStatusConfigured);  // nothing is loaded yet
        device->shell.Type("go");                                      // not enough: usage
        RunFor(1000);
        EXPECT_EQ(window->GetStageWindowStatus(), kStatusConfigured);
        device->shell.Type(one.line);
      });
      ShowWhenReady(window);
      EXPECT_TRUE(window->RunToCompletion());
      auto* const settings = Player(window)->GetLoadSettings();
      EXPECT_STREQ(settings->contentUrl.Utf8(), one.content);
      EXPECT_STREQ(window->parameters.contentPath, one.content);
      if (one.zorBase == nullptr) {
        EXPECT_EQ(window->parameters.zorBase, nullptr);
      } else {
        EXPECT_STREQ(settings->zorBase.Utf8(), one.zorBase);
        EXPECT_STREQ(window->parameters.zorBase, one.zorBase);
      }
      EXPECT_FALSE(device->shell.Knows("go"));
      EXPECT_EQ(device->kernel.ModuleReferences("IShell"), 0u);
    });
    EXPECT_EQ(Printed(kSuspended), 1);
    EXPECT_EQ(Printed("Usage: go --rundefault | CONTENT_URL [ ZOR_BASE_URL ]"), 1);
    EXPECT_EQ(Printed("Source file loaded: 2"), 1) << device->kernel.PrintedText();
  }
}

TEST_F(WindowRun, DoesNotPauseWithoutShellOrEvent) {
  for (const bool withShell : {false, true}) {
    Restart({"--pause"});
    if (!withShell) device->Remove("IShell");
    Script().frames = 1;
    Story([&] {
      StageWindowImpl* const window = Make();
      const IQXKernel::Time created = window->creationTime;
      if (withShell) Faults().FailAll(plexion_sim::Fallible::kCreateEvent);
      ShowWhenReady(window);
      EXPECT_TRUE(window->RunToCompletion());
      EXPECT_EQ(window->creationTime, created);
    });
    EXPECT_EQ(Printed(kSuspended), 0);
    EXPECT_EQ(device->kernel.ModuleReferences("IShell"), 0u);
  }
}

TEST_F(WindowRun, IsEndedByAnotherThread) {
  Script().frames = 0;
  Story([&] {
    StageWindowImpl* const window = Make();
    device->kernel.Spawn("operator", [&] {
      RunFor(500);
      EXPECT_TRUE(window->Terminate(kErrorFatalPlaybackError));
    });
    EXPECT_FALSE(window->RunToCompletion());
    EXPECT_EQ(window->GetStageWindowStatus(), kErrorFatalPlaybackError);
  });
}

}  // namespace
}  // namespace plexion
}  // namespace qx
