// Where the service says its files are.

#include "qx/plexion/StageWindowImpl.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;
using plexion_sim::SimDevice;

const char kAlert[] =
    "RED ALERT: IPlexionImpl - no Plexion data directory; see docs for limitations";

class Directories : public ServiceTest {
 protected:
  using Getter = bool (IPlexionImpl::*)(QXString&);
  /// The answer of one operation, after "?" when it answered false.
  std::string Ask(Getter get) { return Ask(*service, get); }
  static std::string Ask(IPlexionImpl& asked, Getter get) {
    QXString directory("before");
    const bool answered = (asked.*get)(directory);
    return (answered ? "" : "?") + std::string(directory.Utf8());
  }
};

TEST_F(Directories, AreThoseOfTheDevicesLayout) {
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionBaseDirectory), "/mtd_down/halvex/plexion");
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionFontDirectory), "/mtd_down/halvex/plexion/fonts");
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionTempDirectory), "/tmp/.plexion");
  EXPECT_EQ(Ask(&IPlexionImpl::GetApplicationPrivateTempFileDirectory),
            "/tmp/.plexion/app-tmp/4711");
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionBinDirectory), "/opt/plexion");
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionDataDirectory), "/mtd_down/halvex/plexion/data");
  EXPECT_EQ(Ask(&IPlexionImpl::GetUserPrivateDataDirectory),
            "/mtd_down/halvex/plexion/data/users/operator");

  // Of these, only data and user directories are made.
  EXPECT_TRUE(device->files.Exists("/mtd_down/halvex/plexion/data/users/operator"));
  EXPECT_FALSE(device->files.Exists("/mtd_down/halvex/plexion/fonts"));
  EXPECT_EQ(Printed(kAlert), 0);
  EXPECT_EQ(device->kernel.ModuleReferences("ISystemDriver"), 0u);

  device->kernel.GetFaults().FailAll(Fallible::kGetBinDirectory);
  EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionBinDirectory), "?before");
}

TEST_F(Directories, UserDirectoryFallsBackToTheDefault) {
  device->system.userName = "";
  EXPECT_EQ(Ask(&IPlexionImpl::GetUserPrivateDataDirectory),
            "/mtd_down/halvex/plexion/data/users/");
  device->Remove("ISystemDriver");
  EXPECT_EQ(Ask(&IPlexionImpl::GetUserPrivateDataDirectory),
            "/mtd_down/halvex/plexion/data/users/default");
}

TEST_F(Directories, DataDirectoryIsMadeOnceAndAlertsOnce) {
  Ask(&IPlexionImpl::GetPlexionDataDirectory);
  const uint64_t opened = device->kernel.GetFaults().Count(Fallible::kFileOpen);
  Ask(&IPlexionImpl::GetPlexionDataDirectory);
  EXPECT_EQ(device->kernel.GetFaults().Count(Fallible::kFileOpen), opened);

  // Whatever keeps it from being written to, it is told once and answered all the same.
  const std::function<void(SimDevice&)> kTroubles[] = {
      [](SimDevice& d) { d.files.Refuse("/mtd_down"); },
      [](SimDevice& d) { d.Remove("IFileSystem"); },
      [](SimDevice& d) { d.kernel.GetFaults().FailAll(Fallible::kCreateFileObject); },
      [](SimDevice& d) { d.kernel.GetFaults().FailAll(Fallible::kFileOpen); },
  };
  for (const auto& trouble : kTroubles) {
    Restart({}, trouble);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(Ask(&IPlexionImpl::GetPlexionDataDirectory), "/mtd_down/halvex/plexion/data");
    }
    EXPECT_EQ(Printed(kAlert), 1);
    EXPECT_EQ(device->files.LiveObjects(), 0u);
  }
}

TEST_F(Directories, TwoThreadsThatAskAtOnceMakeItOnce) {
  for (seed = 1; seed <= 20; ++seed) {
    Restart({}, [](SimDevice& d) { d.files.Refuse("/mtd_down"); });
    std::string answers[2];
    const auto ask = [&](int i) { answers[i] = Ask(&IPlexionImpl::GetPlexionDataDirectory); };
    EXPECT_TRUE(device->Run([&] {
      device->kernel.Spawn("second", [&] { ask(1); });
      ask(0);
    }));
    EXPECT_EQ(answers[0], "/mtd_down/halvex/plexion/data");
    EXPECT_EQ(answers[1], answers[0]);
    EXPECT_EQ(Printed(kAlert), 1) << "seed " << seed;
  }
}

/// A host's own service with another base, or with none.
class MovedService : public IPlexionImpl {
 public:
  bool hasBase = true;
  bool GetPlexionBaseDirectory(QXString& out) override {
    if (hasBase) out.Assign("/elsewhere");
    return hasBase;
  }
};

TEST_F(Directories, FollowAnOverriddenBase) {
  MovedService moved;
  EXPECT_EQ(Ask(moved, &IPlexionImpl::GetPlexionFontDirectory), "/elsewhere/fonts");
  EXPECT_EQ(Ask(moved, &IPlexionImpl::GetPlexionDataDirectory), "/elsewhere/data");
  EXPECT_EQ(Ask(moved, &IPlexionImpl::GetUserPrivateDataDirectory),
            "/elsewhere/data/users/operator");
}

/// A host's own service that answers by itself what others of its operations build on.
class ChangedService : public IPlexionImpl {
 public:
  bool GetPlexionTempDirectory(QXString& out) override {
    out.Assign("/scratch");
    return true;
  }
  bool GetPlexionDataDirectory(QXString& out) override {
    out.Assign("/kept");
    return true;
  }
  int InitParameters(StageWindowParameters& parameters) override {
    IPlexionImpl::InitParameters(parameters);
    parameters.bgAlpha = 7;
    return 0;
  }
  int ShowUsage(const char*, unsigned long windows) override { return static_cast<int>(windows); }
};

TEST_F(Directories, AndParametersAndUsageFollowWhateverIsOverridden) {
  ChangedService changed;
  EXPECT_EQ(Ask(changed, &IPlexionImpl::GetApplicationPrivateTempFileDirectory),
            "/scratch/app-tmp/4711");
  EXPECT_EQ(Ask(changed, &IPlexionImpl::GetUserPrivateDataDirectory), "/kept/users/operator");
  StageWindowParameters parameters = {};
  const char* argv[] = {"plexion", "movie.mvx"};
  EXPECT_TRUE(changed.ParseCommandLineParameters(2, argv, parameters));
  EXPECT_EQ(parameters.bgAlpha, 7);
  EXPECT_EQ(changed.IPlexionImpl::ShowUsage("plexion"), 1);
  StageWindow* const window = changed.CreateStageWindow();
  EXPECT_EQ(static_cast<StageWindowImpl*>(window)->parameters.bgAlpha, 7);
  changed.DestroyStageWindow(window);
}

TEST_F(Directories, WithoutABaseThereIsNoDataDirectory) {
  MovedService homeless;
  homeless.hasBase = false;
  EXPECT_EQ(Ask(homeless, &IPlexionImpl::GetPlexionFontDirectory), "?before");
  EXPECT_EQ(Ask(homeless, &IPlexionImpl::GetPlexionDataDirectory), "?before");
  EXPECT_EQ(Printed(kAlert), 1);
  // A success all the same, with whatever was there.
  EXPECT_EQ(Ask(homeless, &IPlexionImpl::GetUserPrivateDataDirectory), "before");
  homeless.hasBase = true;
  EXPECT_EQ(Ask(homeless, &IPlexionImpl::GetPlexionDataDirectory), "/elsewhere/data");
}

}  // namespace
}  // namespace plexion
}  // namespace qx
