// Two host threads, and the players' own, in the same service and the same window at once. Told for
// the thread sanitizer, which then sees whether each lock of the module is there; in any build for
// the device, which sees what comes of it.

#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::IPlexionImpl;
using qx::plexion::StageWindow;
using qx::plexion::StageWindowImpl;

namespace {

class Silent final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(StageWindow*, qx::plexion::StageWindowStatus,
                                 const qx::plexion::StageWindowStatusData*) override {}
};

IPlexionImpl* Impl(SimHost& host) { return static_cast<IPlexionImpl*>(host.Service()); }

/// Opens, plays and closes windows, `rounds` times.
void OpenAndClose(SimDevice& device, SimHost& host, const char* option, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    StageWindow* window = host.OpenWindow({option, "movie.mvx"});
    if (!Expect(device, window != nullptr, "the window is configured")) return;
    if (Expect(device, window->CreatePlanes(), "planes are made")) window->Play();
    host.RunForMs(4);
    window->SetActiveStageWindow();
    host.CloseWindow(window);
  }
}

void OpenByTwo(SimDevice& device, SimHost& host) {
  host.Spawn("opener", [&] {
    const QXString runtime("IMorvelRuntimeLib");
    Impl(host)->DisplayBannerOneTimeOnly(&runtime);
    OpenAndClose(device, host, "--dcts", 2);
  });
  host.Spawn("asker", [&] {
    IPlexionImpl* service = Impl(host);
    service->LockPersistentResourcesOnStartup();
    for (unsigned short at = 0; at < 3; ++at) {
      service->DisplayBannerOneTimeOnly(static_cast<StageWindowImpl*>(nullptr));
      service->GetActiveStageWindow();
      service->ResetKeyMaster();
      service->DispatchKeyDown(13);
      service->DispatchMouseButtonDown(qx::plexion::kMouseButtonLeft, at, at);
      service->ResetActiveStageWindow();
      service->DispatchMouseButtonUp(qx::plexion::kMouseButtonLeft, at, at);
      service->DispatchMouseMove(at, at);
      service->DispatchScrollWheelScroll(qx::plexion::kScrollWheelUp, 1);
      service->DispatchKeyUp(13);
      host.RunForMs(2);
    }
    service->ReleasePersistentResourcesForShutdown();
  });
  OpenAndClose(device, host, "--keymaster", 2);
  host.Join();
}

void UseByTwo(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  const auto use = [&](unsigned long key) {
    constexpr unsigned long kTimingKey = 0x400100;
    Silent observer;
    for (uint32_t step = 1; step <= 2; ++step) {
      window->RegisterNotifier(&observer);
      window->Play();
      window->SetContext("a", window);
      window->GetContext("a");
      window->DispatchMouseButtonDown(qx::plexion::kMouseButtonLeft, 1, 1);
      host.Service()->DispatchKeyDown(key);
      window->Resize({8 + step, 8}, true);
      window->DispatchMouseMove(2, 2);
      window->GetStageDims();
      host.RunForMs(2);
      window->MoveTo({step, step});
      window->Pause();
      window->DispatchKeyDown(kTimingKey);
      window->ResizeAndMove({16, 8 + step}, {step, 1});
      window->DispatchMouseButtonUp(qx::plexion::kMouseButtonLeft, 1, 1);
      window->Resize({8, 8 + step}, false);
      window->DispatchScrollWheelScroll(qx::plexion::kScrollWheelUp, 1);
      host.Service()->DispatchKeyUp(key);
      window->GetMVXAuthoredStageDims();
      window->UnregisterNotifier(&observer);
      window->LoadMVXAsync();
      window->SetContext("a", nullptr);
      window->GetStageWindowStatus();
    }
  };
  host.Spawn("other", [&] { use(14); });
  use(15);
  host.Join();
  host.CloseWindow(window);
}

void ConfigureAndAsk(SimDevice& device, SimHost& host) {
  StageWindow* window = host.Service()->CreateStageWindow();
  if (!Expect(device, window != nullptr, "an unconfigured window is made")) return;
  host.Spawn("asker", [&] {
    Silent observer;
    QXString version;
    for (int step = 0; step < 4; ++step) {
      window->RegisterNotifier(&observer);
      window->GetStageWindowStatus();
      static_cast<StageWindowImpl*>(window)->GetRuntimeVersion(version);
      window->GetRenderPlane();
      window->DispatchMouseMove(1, 1);
      window->LoadMVXAsync();
      window->GetOutputPlane();
      window->UnregisterNotifier(&observer);
      window->SetContext("a", nullptr);
      host.RunForMs(1);
    }
  });
  Silent own;
  qx::plexion::StageWindowParameters parameters{};
  host.Service()->InitParameters(parameters);
  parameters.contentPath = "movie.mvx";
  parameters.notifier = &own;
  const bool configured = window->Configure(parameters);
  host.Join();
  // What was asked for while the window was still being configured is refused or done.
  if (Expect(device, configured, "the window is configured")) window->LoadMVX();
  host.CloseWindow(window);
}

/// Content that plays before it has planes, so that the activation comes while they are made.
void PlanesByTwo(SimDevice& device, SimHost& host) {
  StageWindow* first = host.OpenWindow({"a.mvx"});
  StageWindow* second = host.OpenWindow({"b.mvx"});
  if (!Expect(device, first != nullptr && second != nullptr, "both windows are configured")) return;
  first->LoadMVX();
  second->LoadMVX();
  first->Play();
  host.Spawn("activator", [&] {
    for (int step = 0; step < 3; ++step) {
      second->SetActiveStageWindow();
      first->GetOutputPlane();
      first->GetRenderPlane();
      second->GetStageWindowStatus();
      first->SetActiveStageWindow();
      host.RunForMs(1);
    }
  });
  second->Play();
  host.RunForMs(1);
  Expect(device, first->CreatePlanes(), "planes of the first are made");
  Expect(device, second->CreatePlanes(), "planes of the second are made");
  host.Join();
  host.CloseWindow(first);
  host.CloseWindow(second);
}

/// The host's own planes, handed in on one thread and asked for on another.
void HandPlanesIn(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  auto* driver = static_cast<SimGraphics*>(device.kernel.AcquireModule("IGraphicsDriver"));
  if (window != nullptr && driver != nullptr) {
    qx::platform::RenderPlane* one = driver->CreateRenderPlane({8, 4}, 1, nullptr);
    qx::platform::RenderPlane* two = driver->CreateRenderPlane({8, 4}, 1, nullptr);
    qx::platform::OutputPlane* out =
        driver->CreateOutputPlane({0, 0, 8, 4}, false, one, nullptr, "host");
    host.Spawn("other", [&] {
      window->ResetRenderPlane(two);
      window->GetOutputPlane();
      window->GetRenderPlane();
      window->SetOutputPlane(out);
      window->SetRenderPlane(one);
    });
    window->GetOutputPlane();
    window->SetRenderPlane(one);
    window->GetRenderPlane();
    window->SetOutputPlane(out);
    window->ResetRenderPlane(two);
    window->GetOutputPlane();
    host.Join();
    host.CloseWindow(window);
    driver->DestroyOutputPlane(out);
    driver->DestroyRenderPlane(one);
    driver->DestroyRenderPlane(two);
  }
  if (driver != nullptr) device.kernel.ReleaseModule(driver);
}

/// The status of a window that fails, asked for on another thread.
void AskWhileItFails(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr, "the window is configured")) return;
  host.Spawn("asker", [&] {
    for (int step = 0; step < 3; ++step) {
      window->GetStageWindowStatus();
      host.RunForMs(1);
    }
  });
  Expect(device, !window->CreatePlanes(), "no planes are made of content without a size");
  host.Join();
  Expect(device,
         window->GetStageWindowStatus() == qx::plexion::kErrorRenderPlaneCreationFailure ||
             IsTerminalStatus(window->GetStageWindowStatus()),
         "the window says so");
  host.CloseWindow(window);
}

void KeyUpsByTwo(SimDevice& device, SimHost& host) {
  host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeSimulateKeyUp, 5 * kMillisecond,
                                  5 * kMillisecond);
  StageWindow* first = host.OpenWindow({"--keymaster", "a.mvx"});
  StageWindow* second = host.OpenWindow({"b.mvx"});
  if (!Expect(
          device,
          first != nullptr && second != nullptr && first->CreatePlanes() && second->CreatePlanes(),
          "planes are made")) {
    return;
  }
  first->Play();
  second->Play();
  host.RunForMs(2);
  host.Spawn("keys", [&] {
    for (unsigned long key = 13; key < 19; ++key) {
      host.KeyDown(key);
      host.KeyDown(key);
      host.KeyUp(key);
      host.RunForMs(4);
    }
  });
  for (int step = 0; step < 4; ++step) {
    first->SetActiveStageWindow();
    host.RunForMs(5);
    second->SetActiveStageWindow();
  }
  host.CloseWindow(first);
  host.Join();
  host.CloseWindow(second);
}

void MemoryByTwo(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow(
      {"movie.mvx"}, [](qx::plexion::StageWindowParameters& wanted) { wanted.memoryLimit = 1000; });
  if (!Expect(device, window != nullptr, "the window is configured")) return;
  const auto use = [&] {
    qx::plexion::MemoryWatchdog* watchdog = window->GetMemoryWatchdog();
    unsigned long long used;
    unsigned long long limit;
    unsigned long long graphics;
    for (int step = 0; step < 2; ++step) {
      void* block = watchdog->Alloc(100, __FILE__, __LINE__);
      watchdog->GetBytesAvailable();
      window->IncrementGraphicsMemoryUsedCount(10);
      watchdog->GetBytesUsed();
      if (block != nullptr) watchdog->Free(block, __FILE__, __LINE__);
      window->GetMemoryInfo(used, limit, graphics);
      window->DecrementGraphicsMemoryUsedCount(10);
    }
  };
  host.Spawn("other", use);
  use();
  host.Join();
  host.CloseWindow(window);
}

}  // namespace

std::vector<Story> ThreadStories() {
  const auto endless = [](SimDevice& device) { device.player.usual.frames = 0; };
  return {
      ServiceStory("open-by-two", "two threads open and close windows, a third asks and types",
                   endless, OpenByTwo),
      ServiceStory("use-by-two", "two threads use all operations of one window that plays", endless,
                   UseByTwo),
      ServiceStory("configure-and-ask", "a window is asked while another thread configures it",
                   endless, ConfigureAndAsk),
      ServiceStory("planes-by-two", "planes are made while another thread moves the activation",
                   endless, PlanesByTwo),
      ServiceStory("hand-planes-in", "two threads hand the host's own planes in", endless,
                   HandPlanesIn),
      ServiceStory(
          "ask-while-it-fails", "a window is asked for its status while making planes fails",
          [](SimDevice& device) {
            device.player.usual.authored = {0, 4};
          },
          AskWhileItFails),
      ServiceStory(
          "key-ups-by-two", "keys, their simulated key ups and the activation on three threads",
          [endless](SimDevice& device) {
            endless(device);
            AllowDroppedKeyEvents(device, 12);
          },
          KeyUpsByTwo),
      ServiceStory("memory-by-two", "two threads allocate through one window's watchdog", endless,
                   MemoryByTwo),
  };
}

}  // namespace plexion_sim
