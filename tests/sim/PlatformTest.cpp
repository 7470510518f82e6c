// The scripted platform modules, driven as the service drives them.

#include "qx/plexion/StageWindowParameters.h"
#include "tests/support/StoryTest.h"

namespace plexion_sim {
namespace {

using qx::platform::IFileSystem;
using qx::platform::IShell;

class PlatformTest : public StoryTest {
 public:
  SimKernel& kernel() { return device->kernel; }
};

STORY(PlatformTest, DirectoriesAreMadeRefusedAndRemoved) {
  device->files.Refuse("/mtd_down");
  auto* files = static_cast<IFileSystem*>(kernel().AcquireModule("IFileSystem"));
  auto* object = files->CreateFileObject();
  EXPECT_TRUE(object->Open("/tmp/.plexion/7/"));
  EXPECT_FALSE(object->EnsureWritable(false));
  EXPECT_TRUE(object->EnsureWritable(true));
  EXPECT_TRUE(device->files.Exists("/tmp/.plexion/7"));
  EXPECT_TRUE(object->Open("/tmp/.plexion"));
  EXPECT_FALSE(object->RemoveDirectory(false)) << "not empty";
  EXPECT_TRUE(object->RemoveDirectory(true));
  EXPECT_FALSE(device->files.Exists("/tmp/.plexion/7"));
  EXPECT_TRUE(object->Open("/mtd_down/halvex"));
  EXPECT_FALSE(object->EnsureWritable(true));
  files->DestroyFileObject(object);
  kernel().ReleaseModule(files);
}

class WordCommand : public qx::platform::IShellCommand {
 public:
  QXError Execute(unsigned long argc, char** argv) override {
    for (unsigned long i = 0; i < argc; ++i) heard += std::string(argv[i]) + "|";
    SimDevice::Current()->kernel.Sleep(10 * kMillisecond);
    ended = true;
    return QXError_NotFound;
  }
  std::string heard;
  bool ended = false;
};

STORY(PlatformTest, TheShellExecutesWhatIsTypedAndUnregisterWaitsForIt) {
  WordCommand command;
  auto* shell = static_cast<IShell*>(kernel().AcquireModule("IShell"));
  shell->RegisterCommand("go", &command);
  device->shell.Type("go  a.mvx /zor");
  device->shell.Type("stop");
  kernel().Sleep(kMillisecond);
  EXPECT_EQ(command.heard, "") << "not started yet";
  shell->Start();
  kernel().Sleep(kMillisecond);
  EXPECT_EQ(command.heard, "go|a.mvx|/zor|");
  EXPECT_EQ(shell->UnregisterCommand("go"), &command);
  EXPECT_TRUE(command.ended);
  EXPECT_EQ(shell->UnregisterCommand("go"), nullptr);
  kernel().Sleep(kMillisecond);
  const std::vector<std::string> expected = {"go -> QXError_NotFound", "stop -> unknown command"};
  EXPECT_EQ(device->shell.Results(), expected);
  kernel().ReleaseModule(shell);
}

STORY(PlatformTest, PlanesArePixelsWithAnOrder) {
  device->graphics.accountsGraphicsMemory = false;
  device->graphics.stretchCopySupported = true;
  auto* driver =
      static_cast<qx::platform::IGraphicsDriver*>(kernel().AcquireModule("IGraphicsDriver"));
  auto* render = driver->CreateRenderPlane({2, 1}, 1, nullptr);
  auto* pixels = static_cast<uint32_t*>(render->LockPixels(false));
  pixels[0] = 1;
  pixels[1] = 2;
  render->UnlockPixels();
  auto* below = driver->CreateOutputPlane({5, 6, 4, 2}, false, render, nullptr, "below");
  auto* above = driver->CreateOutputPlane({0, 0, 2, 1}, false, render, nullptr, "above");
  EXPECT_TRUE(below->GetDrawingContext()->StretchCopy(render, {0, 0, 2, 1}, {0, 0, 4, 2}));
  const std::vector<uint32_t> expected = {1, 1, 2, 2, 1, 1, 2, 2};
  EXPECT_EQ(device->graphics.FindOutput("below")->surface.pixels, expected);
  const uint32_t sum = device->graphics.FindOutput("below")->surface.Checksum();
  EXPECT_TRUE(above->SetBelow(below));
  EXPECT_EQ(above->GetStackingIndex(), 0u);
  EXPECT_TRUE(above->SetAbove(nullptr));
  EXPECT_EQ(above->GetStackingIndex(), 1u);

  device->graphics.replacesPlanesOnResize = true;
  qx::platform::OutputPlane* resized = below;
  below->SetVisible(false);
  EXPECT_TRUE(driver->ResizeOutputPlane(resized, {2, 2}, {1, 1, 2, 2}, render, nullptr, "below"));
  EXPECT_NE(resized, below);
  EXPECT_FALSE(resized->IsVisible());
  EXPECT_EQ(resized->GetStackingIndex(), 0u);
  EXPECT_NE(device->graphics.FindOutput("below")->surface.Checksum(), sum);
  faults().FailAll(Fallible::kResizeOutputPlane);
  EXPECT_FALSE(driver->ResizeOutputPlane(resized, {3, 3}, {1, 1, 3, 3}, render, nullptr, "below"));
  driver->DestroyOutputPlane(resized);
  driver->DestroyOutputPlane(above);
  driver->DestroyRenderPlane(render);
  kernel().ReleaseModule(driver);
}

class DestroyedPlaneTest : public PlatformTest {
 public:
  void Check() override {
    const auto found = kernel().GetFindings().Take(FindingKind::kUseAfterDestroy);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], "ShowRegion of output1, which is destroyed");
  }
};

STORY(DestroyedPlaneTest, ACallIntoItIsFound) {
  device->graphics.accountsGraphicsMemory = false;
  auto* driver =
      static_cast<qx::platform::IGraphicsDriver*>(kernel().AcquireModule("IGraphicsDriver"));
  auto* plane = driver->CreateOutputPlane({0, 0, 2, 2}, false, nullptr, nullptr, "gone");
  driver->DestroyOutputPlane(plane);
  plane->ShowRegion({0, 0, 1, 1});
}

/// Hears what a player instance says.
class Listener : public qx::core::morvellib::MorvelInstanceNotifier {
 public:
  void OnMorvelInstanceNotification(qx::plexion::StageWindowStatus status,
                                    const qx::plexion::StageWindowStatusData* data) override {
    heard += std::to_string(status) + " ";
    if (data != nullptr && data->message != nullptr) heard += std::string(data->message) + " ";
  }
  void OnMorvelInstanceInterFrameNotification() override { heard += "between "; }
  std::string heard;
};

class PlayerTest : public PlatformTest {
 public:
  std::string Hear(const char* content, int64_t pauseAtMs) {
    Listener listener;
    auto* runtime = static_cast<qx::core::morvellib::IMorvelRuntimeLib*>(
        kernel().AcquireModule("IMorvelRuntimeLib"));
    auto* instance = runtime->CreateMorvelInstance(nullptr);
    {
      qx::plexion::StageWindowParameters parameters{};
      parameters.contentPath = content;
      qx::core::morvellib::MorvelInstanceParameters record;
      runtime->FillInstanceParameters(record, parameters);
      record.notifier = &listener;
      instance->Configure(record);
    }
    device->graphics.accountsGraphicsMemory = false;
    auto* driver =
        static_cast<qx::platform::IGraphicsDriver*>(kernel().AcquireModule("IGraphicsDriver"));
    auto* plane = driver->CreateRenderPlane({4, 2}, 1, nullptr);
    instance->LoadMVXAsync();
    instance->RequestInterFrameNotification();
    kernel().Sleep(10 * kMillisecond);
    instance->SetRenderPlane(plane);
    instance->Play();
    if (pauseAtMs > 0) {
      kernel().Sleep(pauseAtMs * kMillisecond);
      instance->Pause();
      kernel().Sleep(100 * kMillisecond);
      instance->Terminate(qx::plexion::kErrorFatalPlaybackError);
    }
    kernel().Sleep(300 * kMillisecond);
    runtime->DestroyMorvelInstance(instance);
    driver->DestroyRenderPlane(plane);
    kernel().ReleaseModule(driver);
    kernel().ReleaseModule(runtime);
    return listener.heard;
  }
};

STORY(PlayerTest, PlaysItsScript) {
  device->player.Content("bad.mvx").FailAt(1, qx::plexion::kErrorCorruptMovie, "line 3");
  device->player.Content("two.mvx").frames = 2;
  EXPECT_EQ(Hear("two.mvx", 0), "between 2 20 3 4 5 22 22 7 ");
  EXPECT_EQ(Hear("bad.mvx", 0), "between 2 20 13 line 3 ");
  EXPECT_EQ(Hear("other.mvx", 50), "between 2 20 3 4 5 22 6 17 ");
}

class DestroyUnderLockTest : public PlayerTest {
 public:
  void Check() override {
    const auto found = kernel().GetFindings().Take(FindingKind::kContract);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], "DestroyMorvelInstance of player1 by host, which holds a lock");
  }
};

STORY(DestroyUnderLockTest, IsFound) {
  IQXKernel::Mutex* mutex = kernel().CreateMutex();
  mutex->Lock();
  Hear("movie.mvx", 0);
  mutex->Unlock();
  kernel().DestroyMutex(mutex);
}

}  // namespace
}  // namespace plexion_sim
