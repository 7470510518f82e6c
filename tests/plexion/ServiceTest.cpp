// The service object itself: its life, what it reads from the host, the banner, plain values.

#include "tests/support/ServiceTest.h"

#include <cmath>
#include <cstring>

#include "qx/platform/IShell.h"
#include "qx/plexion/StageWindow.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;
using plexion_sim::SimDevice;

const char kTempDirectory[] = "/tmp/.plexion/app-tmp/4711";
const char kOthersDirectory[] = "/tmp/.plexion/app-tmp/4712";  // another launcher's

class Service : public ServiceTest {
 protected:
  const char* Version() { return "Using: Simulated player 1.0"; }

  StageWindow* OpenWindow(const char* content) {
    StageWindowParameters parameters = {};
    service->InitParameters(parameters);
    parameters.contentPath = content;
    return service->CreateStageWindow(parameters);
  }
};

TEST_F(Service, KeepsItsTemporaryDirectoryForItsLifeOnly) {
  EXPECT_TRUE(device->files.Exists(kTempDirectory));
  EXPECT_STREQ(service->applicationPrivateTempFileDirectory.Utf8(), "/tmp/.plexion/app-tmp/4711/");
  device->files.AddDirectory(std::string(kTempDirectory) + "/cache/a");
  Unload();
  EXPECT_FALSE(device->files.Exists(kTempDirectory));
  EXPECT_TRUE(device->files.Exists("/tmp/.plexion/app-tmp"));
  EXPECT_EQ(device->kernel.ModuleReferences("IFileSystem"), 0u);
  EXPECT_EQ(IQXKernel::GetKernel(), SimDevice::ProcessKernel());
}

/// The calls that made and unmade kernel objects since the entry `from`; of neighbouring
/// allocations the first.
std::vector<std::string> MakingsSince(const plexion_sim::Journal& journal, size_t from) {
  std::vector<std::string> calls;
  for (size_t i = from; i < journal.Entries().size(); ++i) {
    std::string call = journal.Entries()[i].call;
    if (call == "Allocate") {
      if (!calls.empty() && calls.back() == call) continue;
    } else if (call == "AcquireModule" || call == "ReleaseModule") {
      call += " " + journal.Entries()[i].detail;
    } else if (call.rfind("Create", 0) != 0 && call.rfind("Destroy", 0) != 0) {
      continue;
    }
    calls.push_back(call);
  }
  return calls;
}

TEST_F(Service, AndItsWindowsAreMadeAndUnmadeInOrder) {
  using Calls = std::vector<std::string>;
  Restart({"--useshell"});
  const plexion_sim::Journal& journal = device->kernel.GetJournal();
  EXPECT_STREQ(journal.Entries()[1].call, "Allocate") << "room for windows comes before the locks";
  EXPECT_EQ(MakingsSince(journal, 0),
            (Calls{"Allocate", "CreateMutex", "CreateMutex", "AcquireModule IFileSystem",
                   "Allocate", "CreateFileObject", "Allocate", "DestroyFileObject",
                   "AcquireModule IShell", "Allocate", "CreateThread", "CreateMutex", "Allocate"}));
  service->LockPersistentResourcesOnStartup();
  size_t from = journal.Entries().size();
  EXPECT_TRUE(device->Run([&] {
    StageWindow* const window = service->CreateStageWindow();
    EXPECT_EQ(MakingsSince(journal, from),
              (Calls{"Allocate", "CreateMutex", "CreateMutex", "CreateEvent", "CreateEvent"}));
    from = journal.Entries().size();
    service->DestroyStageWindow(window);
    EXPECT_EQ(MakingsSince(journal, from),
              (Calls{"DestroyMutex", "DestroyMutex", "DestroyEvent", "DestroyEvent"}));
  }));
  from = journal.Entries().size();
  Unload();
  EXPECT_EQ(
      MakingsSince(journal, from),
      (Calls{"CreateFileObject", "DestroyFileObject", "DestroyThread", "DestroyMutex",
             "ReleaseModule IFileSystem", "ReleaseModule IShell", "DestroyMutex", "DestroyMutex"}));
}

TEST_F(Service, WorksWithoutAFileSystem) {
  Restart({"--useshell"}, [](SimDevice& d) { d.Remove("IFileSystem"); });
  ASSERT_NE(service, nullptr);
  EXPECT_TRUE(service->applicationPrivateTempFileDirectory.IsEmpty());
  EXPECT_TRUE(device->shell.IsStarted());  // what comes after is not skipped
  EXPECT_NE(service->GetKeyEventSimulator(), nullptr);
}

TEST_F(Service, SurvivesRefusalsOfTheFileSystem) {
  for (Fallible refused : {Fallible::kCreateFileObject, Fallible::kFileOpen,
                           Fallible::kFileEnsureWritable, Fallible::kFileRemoveDirectory}) {
    Restart({}, [refused](SimDevice& d) { d.kernel.GetFaults().FailAll(refused); });
    ASSERT_NE(service, nullptr);
    Unload();
    EXPECT_EQ(device->files.LiveObjects(), 0u);
  }
}

TEST_F(Service, GivesNothingBackForANullModuleAndNoneWithoutMemory) {
  const size_t blocks = device->kernel.LiveBlocks();
  IQXModule_IPlexion_ModuleUnload(nullptr);
  EXPECT_EQ(device->kernel.LiveBlocks(), blocks);
  Restart({}, [](SimDevice& d) { d.kernel.GetFaults().FailAll(Fallible::kAllocate); });
  EXPECT_EQ(service, nullptr);
}

TEST_F(Service, IsMadeAndUnmadeWhicheverAllocationFails) {
  const auto askForDirectories = [this] {
    QXString directory;
    service->GetUserPrivateDataDirectory(directory);
  };
  device->files.AddDirectory(kOthersDirectory);
  askForDirectories();
  const std::set<std::string> usual = device->files.Directories();
  const uint64_t all = device->kernel.GetFaults().Count(Fallible::kAllocate);
  ASSERT_GT(all, 5u);
  for (uint64_t nth = 1; nth <= all; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    Restart({"--useshell"}, [nth](SimDevice& d) {
      d.files.AddDirectory(kOthersDirectory);
      d.kernel.GetFaults().Fail(Fallible::kAllocate, nth);
    });
    if (service == nullptr) continue;
    service->DispatchKeyDown(13);
    // Without a simulator there is no mode to set.
    EXPECT_EQ(service->SetKeyInputMode(kKeyInputModeDirect, 1, 1),
              service->GetKeyEventSimulator() != nullptr);
    askForDirectories();
    // A path that lacks a piece is none: nothing is made or removed in its place.
    for (const std::string& made : device->files.Directories()) EXPECT_EQ(usual.count(made), 1u);
    Unload();
    EXPECT_TRUE(device->files.Exists(kOthersDirectory));
  }
}

TEST_F(Service, ReadsTheHostsOptions) {
  const struct {
    std::vector<std::string> words;
    bool shell;
    unsigned long key;
  } kLines[] = {
      {{}, false, 0},
      {{"useshell", "-useshell", "--UseShell", "--useshell2"}, false, 0},
      {{"movie.mvx", "--useshell"}, true, 0},
      {{"--mastershellkey", "113"}, false, 113},
      {{"--mastershellkey", "113", "--useshell"}, true, 113},
      // In the value's place an option is passed over ...
      {{"--mastershellkey", "--useshell"}, false, 0},
      {{"--mastershellkey", "-5", "--useshell"}, true, 0},
      {{"--mastershellkey", "", "--mastershellkey", "7"}, false, 7},
      // ... but once there is a key nothing is.
      {{"--mastershellkey", "7", "--mastershellkey", "--useshell"}, true, 7},
      {{"--mastershellkey", "7", "--mastershellkey", "8"}, false, 7},
      {{"--mastershellkey", "0", "--mastershellkey", "9"}, false, 9},
      {{"--mastershellkey", "none", "--mastershellkey", "9"}, false, 9},
      {{"--mastershellkey"}, false, 0},
      {{"--useshell", "--mastershellkey"}, true, 0},
  };
  for (const auto& line : kLines) {
    std::string text;
    for (const std::string& word : line.words) text += " '" + word + "'";
    SCOPED_TRACE(text);
    Restart(line.words);
    EXPECT_EQ(service->masterShellKey, line.key);
    EXPECT_EQ(service->shell != nullptr, line.shell);
    EXPECT_EQ(device->shell.IsStarted(), line.shell);
    EXPECT_EQ(device->kernel.ModuleReferences("IShell"), line.shell ? 1u : 0u);
  }
  Restart({"--useshell"}, [](SimDevice& d) { d.Remove("IShell"); });
  EXPECT_EQ(service->shell, nullptr);
}

TEST_F(Service, ResolvesResourcesWithTheFirstWindowUnlessTheHostDoes) {
  const char kData[] = "/mtd_down/halvex/plexion/data";
  EXPECT_FALSE(device->files.Exists(kData));
  service->DestroyStageWindow(service->CreateStageWindow());
  EXPECT_TRUE(device->files.Exists(kData));

  Restart({});
  service->LockPersistentResourcesOnStartup();
  EXPECT_TRUE(device->files.Exists(kData));
  EXPECT_EQ(service->persistentResourceState, 1);
  service->ReleasePersistentResourcesForShutdown();
  EXPECT_EQ(service->persistentResourceState, 2);

  Restart({});
  service->ReleasePersistentResourcesForShutdown();
  service->DestroyStageWindow(service->CreateStageWindow());
  EXPECT_FALSE(device->files.Exists(kData));
}

TEST_F(Service, ShowsTheBannerOnceWithTheRuntimesVersion) {
  StageWindow* const first = OpenWindow("a.mvx");
  StageWindow* const second = OpenWindow("b.mvx");
  service->ShowUsage("plexion");
  EXPECT_EQ(Printed("Plexion"), 1);
  EXPECT_EQ(Printed(Version()), 1);
  EXPECT_NE(device->kernel.PrintedText().find("\nPlexion\n"), std::string::npos);
  service->DestroyStageWindow(first);
  service->DestroyStageWindow(second);
}

TEST_F(Service, SpendsTheOneBannerOnAWindowWithoutRuntime) {
  StageWindow* const unconfigured = service->CreateStageWindow();
  StageWindow* const window = OpenWindow("a.mvx");
  service->ShowUsage("plexion");
  EXPECT_EQ(Printed("Plexion") + Printed(Version()), 0);
  service->DestroyStageWindow(unconfigured);
  service->DestroyStageWindow(window);
}

TEST_F(Service, AsksTheNamedRuntimeForItsVersion) {
  const auto display = [&](const char* name) {
    const QXString runtime(name);
    service->DisplayBannerOneTimeOnly(&runtime);
  };
  display("IMorvelRuntimeLib");
  EXPECT_EQ(device->kernel.PrintedLines().size(), 4u);
  EXPECT_EQ(device->kernel.PrintedLines().back(), Version());
  EXPECT_EQ(device->kernel.ModuleReferences("IMorvelRuntimeLib"), 0u);
  display("IMorvelRuntimeLib");
  EXPECT_EQ(Printed(Version()), 1);

  Restart({});
  display("IMissing");
  EXPECT_EQ(Printed("Plexion"), 1);
  EXPECT_EQ(device->kernel.PrintedLines().size(), 3u);
}

TEST_F(Service, KeepsPlainValues) {
  EXPECT_EQ(service->GetWindowXID(), 0);
  EXPECT_TRUE(service->SetUserInputKey(-5) && service->SetViewIndex(6) && service->SetWindowXID(7));
  EXPECT_EQ(service->GetUserInputKey(), -5);
  EXPECT_EQ(service->GetViewIndex(), 6);
  EXPECT_EQ(service->GetWindowXID(), 7);
  bool flag = true;
  service->GetExitFlag(flag);
  EXPECT_FALSE(flag);
  service->SetExitFlag();
  service->GetExitFlag(flag);
  EXPECT_TRUE(flag);
}

TEST_F(Service, RefusesFrameRatesThatAreNone) {
  double rate = 12.5;
  EXPECT_FALSE(service->GetStreamFrameRate(rate));
  EXPECT_EQ(rate, 12.5);
  EXPECT_TRUE(service->SetStreamFrameRate(rate));
  for (double none : {0.0, -0.0, -25.0}) {
    EXPECT_FALSE(service->SetStreamFrameRate(none));
    EXPECT_TRUE(service->GetStreamFrameRate(rate));
    EXPECT_EQ(rate, 12.5);
  }
  double notANumber = std::nan("");
  EXPECT_TRUE(service->SetStreamFrameRate(notANumber));
  EXPECT_TRUE(service->GetStreamFrameRate(rate));
  EXPECT_TRUE(std::isnan(rate));
}

TEST_F(Service, HandsOutItsOwnCopyOfTheLastFrame) {
  struct Frame {
    char* data = nullptr;
    int size = -1;
    long value = -1;
    bool valid = false;
  };
  const auto get = [&] {
    Frame frame;
    service->GetLastFrame(&frame.data, &frame.size, &frame.value, &frame.valid);
    return frame;
  };
  EXPECT_EQ(get().size, -1);  // untouched

  char pixels[] = {1, 0, 3};
  ASSERT_TRUE(service->SetLastFrame(pixels, 3, 99));
  pixels[0] = 42;
  const Frame kept = get();
  ASSERT_EQ(kept.size, 3);
  EXPECT_EQ(memcmp(kept.data, "\1\0\3", 3), 0);
  EXPECT_EQ(kept.value, 99);
  EXPECT_TRUE(kept.valid);
  EXPECT_EQ(get().data, kept.data);

  ASSERT_TRUE(service->SetLastFrame(pixels, 1, 7));
  EXPECT_EQ(get().size, 1);
  EXPECT_EQ(*get().data, 42);
  ASSERT_TRUE(service->SetLastFrame(pixels, 0, 8));
  EXPECT_EQ(get().size, 0);

  // What it handed out may be given back, whole or in part.
  ASSERT_TRUE(service->SetLastFrame(pixels, 3, 9));
  ASSERT_TRUE(service->SetLastFrame(get().data, 3, 10));
  ASSERT_TRUE(service->SetLastFrame(get().data + 2, 1, 11));
  EXPECT_EQ(*get().data, 3);

  ASSERT_TRUE(service->SetLastFrame(pixels, 2, 7));
  EXPECT_FALSE(service->SetLastFrame(nullptr, 5, 1));
  EXPECT_EQ(get().size, -1);
  EXPECT_EQ(service->lastFrameSize, 2);
  EXPECT_FALSE(service->lastFrameValid);

  // A copy that cannot be made leaves no frame, yet the flag says there is one.
  EXPECT_FALSE(service->SetLastFrame(pixels, -1, 1));
  EXPECT_EQ(get().size, -1);
  EXPECT_EQ(service->lastFrameSize, -1);
  EXPECT_TRUE(service->lastFrameValid);
}

TEST_F(Service, NamesEveryStatusAndNothingElse) {
  const auto name = [&](int status) {
    return service->StageWindowStatusToString(static_cast<StageWindowStatus>(status));
  };
  EXPECT_STREQ(name(0), "kStatusUnconfigured");
  EXPECT_STREQ(name(5), "kStatusPlaying");
  EXPECT_STREQ(name(7), "kStatusComplete");
  EXPECT_STREQ(name(8), "kErrorIncompleteConfiguration");
  EXPECT_STREQ(name(13), "kErrorCorruptMovie");
  EXPECT_STREQ(name(19), "kErrorUnsupportedVersion");
  EXPECT_STREQ(name(20), "kInfoLoadProgress");
  EXPECT_STREQ(name(26), "kInfoWindowResized");
  EXPECT_STREQ(name(33), "kInfoNotifyFPS");
  for (int none : {-1, 34, 0x7FFFFFFF, -0x7FFFFFFF}) EXPECT_EQ(name(none), nullptr);
}

TEST_F(Service, StringTableKeepsCopies) {
  IPlexionImpl::StringTable table;
  EXPECT_FALSE(table.StringExists(""));
  EXPECT_EQ(table.capacity, 8u);
  char text[] = "first";
  table.AddString(text);
  table.AddString("");
  text[0] = 'F';
  EXPECT_TRUE(table.StringExists("first") && table.StringExists(""));
  EXPECT_FALSE(table.StringExists("First") || table.StringExists("firs"));
  for (int i = 0; i < 20; ++i) table.AddString(std::to_string(i).c_str());
  EXPECT_TRUE(table.StringExists("19"));
  device->kernel.GetFaults().FailAll(Fallible::kAllocate);
  table.AddString("no room");
  EXPECT_EQ(table.Count(), 22u);
  device->kernel.GetFaults().Clear();
}

}  // namespace
}  // namespace plexion
}  // namespace qx
