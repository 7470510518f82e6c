// From parameters to a window with a player.

#include "tests/plexion/WindowFixture.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;

class WindowConfigure : public WindowTest {};

constexpr char kProfileLine[] =
    "QXPROFILE: qx/plexion/StageWindowImpl:313: 0ms for { .. "
    "pKernel->AcquireModule(pMorvelModuleName) .. }";

TEST_F(WindowConfigure, ChoosesTheRuntimeByNameAndOpenGl) {
  const struct {
    const char* name;
    int32_t gl;
    const char* acquired;
  } kCases[] = {
      {"IMorvelRuntimeLib", kGlDefault, "IMorvelRuntimeLib"},
      {"IMorvelRuntimeLib", kGlOn, "IMorvelRuntimeGLLib"},
      {"IMorvelRuntimeLib", kGlOff, "IMorvelRuntimeLib"},
      {nullptr, kGlDefault, "IMorvelRuntimeLib"},
      {nullptr, kGlOn, "IMorvelRuntimeGLLib"},
      {"IMyRuntime", kGlOn, "IMyRuntime"},
  };
  for (const auto& one : kCases) {
    Restart({});
    plexion_sim::SimPlayer custom(device->kernel, "IMyRuntime");
    device->kernel.RegisterModule("IMyRuntime", &custom);
    Story([&] {
      StageWindowParameters parameters = Defaults();
      parameters.morvelModuleName = one.name;
      parameters.gl = one.gl;
      StageWindowImpl* const window = Make(parameters);
      ASSERT_NE(window, nullptr);
      EXPECT_EQ(device->kernel.ModuleReferences(one.acquired), 1u) << one.acquired;
      plexion_sim::SimInstance* player = nullptr;
      for (plexion_sim::SimPlayer* runtime : {&device->player, &device->glPlayer, &custom}) {
        if (runtime->GetName() == one.acquired) player = runtime->InstanceOf(window);
      }
      ASSERT_NE(player, nullptr);
      EXPECT_STREQ(player->Parameters().moduleName.Utf8(), one.acquired);
    });
    End();
  }
}

TEST_F(WindowConfigure, FailsWithTheStatusThatSaysWhy) {
  const struct {
    const char* what;
    std::function<void(plexion_sim::SimDevice&)> prepare;
    StageWindowStatus status;
    bool stored;
  } kCases[] = {
      {"no runtime", [](auto& d) { d.Remove("IMorvelRuntimeLib"); }, kErrorModuleUnavailable,
       false},
      {"no instance",
       [](auto& d) { d.kernel.GetFaults().FailAll(Fallible::kCreateMorvelInstance); },
       kErrorModuleUnavailable, true},
      {"refused",
       [](auto& d) {
         d.player.usual.configures = false;
         d.player.usual.configureError = kErrorUnsupportedVersion;
       },
       kErrorUnsupportedVersion, false},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.what);
    Restart({}, one.prepare);
    Story([&] {
      StageWindowImpl* const window = Unconfigured();
      EXPECT_FALSE(window->Configure(Defaults()));
      EXPECT_EQ(window->GetStageWindowStatus(), one.status);
      EXPECT_EQ(window->hasErrorStatus, one.stored);
    });
    EXPECT_EQ(Printed(kProfileLine), 1);
  }
}

TEST_F(WindowConfigure, SurvivesEveryFailingAllocation) {
  for (uint64_t nth = 1;; ++nth) {
    bool configured = false;
    StageWindowStatus status = kStatusUnconfigured;
    uint64_t injected = 0;
    Restart({});
    Story([&] {
      StageWindowImpl* const window = Unconfigured();
      Faults().Fail(Fallible::kAllocate, Faults().Count(Fallible::kAllocate) + nth);
      configured = window->Configure(Defaults());
      injected = Faults().Injected();
      status = window->GetStageWindowStatus();
    });
    EXPECT_EQ(status, configured ? kStatusConfigured : kErrorNotEnoughMemory) << "call " << nth;
    if (injected == 0) {
      EXPECT_GT(nth, 3u);
      EXPECT_TRUE(configured);
      break;
    }
  }
}

TEST_F(WindowConfigure, CopiesOnlyTheTwoTextsThatItKeeps) {
  Story([&] {
    std::string content = "folder/m\xC3\xB6vie.mvx";
    std::string name = "plane";
    std::string vars = "loop=3";
    StageWindowParameters parameters = Defaults(content.c_str());
    parameters.outputPlaneName = name.c_str();
    parameters.morvelVars = vars.c_str();
    StageWindowImpl* const window = Make(parameters);
    content.assign(content.size(), '?');
    name.assign(name.size(), '?');
    EXPECT_STREQ(window->parameters.contentPath, "folder/m\xC3\xB6vie.mvx");
    EXPECT_STREQ(window->parameters.outputPlaneName, "plane");
    EXPECT_EQ(window->parameters.morvelVars, vars.c_str());
    EXPECT_STREQ(window->parameters.locale, "en_US.UTF-8");
    EXPECT_FALSE(window->parameters.hasRectProvider);

    parameters = Defaults("");
    parameters.outputPlaneName = nullptr;
    StageWindowImpl* const empty = Make(parameters);
    EXPECT_STREQ(empty->parameters.contentPath, "");
    EXPECT_EQ(empty->parameters.outputPlaneName, nullptr);
  });
}

TEST_F(WindowConfigure, SetsTheLocaleAndSaysSo) {
  Story([&] {
    StageWindowParameters parameters = Defaults();
    device->locale.answer = "C";
    Make(parameters);
    EXPECT_NE(device->kernel.PrintedText().find("Desired locale: en_US.UTF-8\nLocale set to: C\n"),
              std::string::npos);
    device->locale.answer.clear();
    parameters.locale = "de_DE.UTF-8";
    Make(parameters);
    EXPECT_NE(device->kernel.PrintedText().find(
                  "Desired locale: de_DE.UTF-8\nLocale set to: de_DE.UTF-8\n"),
              std::string::npos);
    device->Remove("ILocaleUtils");
    EXPECT_NE(Make(parameters), nullptr);
    EXPECT_EQ(Printed("Locale set to: <failed to load ILocaleUtils>"), 1);
    EXPECT_EQ(device->kernel.ModuleReferences("ILocaleUtils"), 0u);
  });
}

TEST_F(WindowConfigure, AsksEveryoneInOrder) {
  Story([&] {
    StageWindowImpl* const window = Unconfigured();
    const auto& journal = device->kernel.GetJournal().Entries();
    size_t at = journal.size();
    ASSERT_TRUE(window->Configure(Defaults()));
    std::vector<std::string> calls;
    for (; at < journal.size(); ++at) {
      const std::string call = journal[at].call;
      if (call == "Allocate" || call == "Free" || call == "Lock" || call == "Unlock") continue;
      if (call == "Printf" || call == "begins") continue;
      calls.push_back(call + " " + journal[at].detail);
    }
    EXPECT_EQ(calls, (std::vector<std::string>{
                         "AcquireModule IMorvelRuntimeLib", "FillInstanceParameters movie.mvx",
                         "CreateMorvelInstance -> player1", "CreateMutex -> mutex6",
                         "Configure player1 movie.mvx", "Configure player1 -> true",
                         "AcquireModule ILocaleUtils", "SetLocale 5 en_US.UTF-8 -> en_US.UTF-8",
                         "ReleaseModule ILocaleUtils"}));
  });
}

TEST_F(WindowConfigure, ReadsItsOwnCommandLine) {
  Story([&] {
    StageWindowImpl* const window = Unconfigured();
    const char* noContent[] = {"plexion", "--keymaster"};
    EXPECT_FALSE(window->Configure(2, noContent));
    const char* unknown[] = {"plexion", "--nonsense", "movie.mvx"};
    EXPECT_FALSE(window->Configure(3, unknown));
    EXPECT_EQ(device->kernel.ModuleReferences("IMorvelRuntimeLib"), 0u);
    const char* good[] = {"plexion", "--keymaster", "movie.mvx"};
    EXPECT_TRUE(window->Configure(3, good));
    EXPECT_TRUE(window->parameters.keyMaster);
    EXPECT_STREQ(window->parameters.contentPath, "movie.mvx");
  });
}

TEST_F(WindowConfigure, ReportsTheRuntimesVersionOnceThereIsOne) {
  Story([&] {
    QXString version("as it was");
    StageWindowImpl* const window = Unconfigured();
    EXPECT_FALSE(window->GetRuntimeVersion(version));
    EXPECT_STREQ(version.Utf8(), "as it was");
    device->player.version = std::string(300, 'v');
    ASSERT_TRUE(window->Configure(Defaults()));
    EXPECT_TRUE(window->GetRuntimeVersion(version));
    EXPECT_EQ(std::string(version.Utf8()), std::string(254, 'v'));
    device->player.version.clear();
    EXPECT_TRUE(window->GetRuntimeVersion(version));
    EXPECT_TRUE(version.IsEmpty());
  });
}

}  // namespace
}  // namespace plexion
}  // namespace qx
