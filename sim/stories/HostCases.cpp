// What the contract leaves to the host to avoid: each goes wrong, and the device says how.
// docs/concurrency.md tells what to do instead.

#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::StageWindow;
using qx::plexion::StageWindowStatus;
using qx::plexion::StageWindowStatusData;

namespace {

/// Waits, inside its callback, for something that another thread does.
class Waiting final : public qx::plexion::StageWindowNotifier {
 public:
  explicit Waiting(SimKernel& kernel) : kernel_(kernel) {}
  void OnStageWindowNotification(StageWindow*, StageWindowStatus status,
                                 const StageWindowStatusData*) override {
    if (status != qx::plexion::kStatusPlaying) return;
    heard = true;
    kernel_.WaitUntil(
        "the observer's wait", [this] { return answered; }, IQXKernel::kInfinite);
  }
  bool heard = false;
  bool answered = false;

 private:
  SimKernel& kernel_;
};

StageWindow* OpenWithPlanes(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  return Expect(device, window != nullptr && window->CreatePlanes(), "planes are made") ? window
                                                                                        : nullptr;
}

void LoadUnconfigured(SimDevice&, SimHost& host) {
  StageWindow* window = host.Service()->CreateStageWindow();
  window->LoadMVX();
}

void LoadRefused(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  device.kernel.GetFaults().FailAll(Fallible::kInstanceLoad);
  window->LoadMVX();
}

void PlayRefused(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  host.WaitFor(window, qx::plexion::kStatusReadyToAnimate);
  device.kernel.GetFaults().FailAll(Fallible::kInstancePlay);
  window->PlayForLFD();
}

void GoRefused(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  device.kernel.GetFaults().FailAll(Fallible::kShellRegisterCommand);
  host.Type("go");
  window->LoadForLFD();
}

void PlaneRefused(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  window->Play();
  host.RunForMs(5);
  device.kernel.GetFaults().FailAll(Fallible::kInstanceSetRenderPlane);
  window->Resize({16, 8}, true);
  host.RunForMs(50);
}

void ResizeWhileDrawing(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  window->Play();
  for (uint32_t width = 8; width < 64; ++width) {
    host.RunForMs(1);
    window->Resize({width, 8}, false);
  }
}

void MoveDuringResize(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  window->Play();
  for (uint32_t step = 1; step < 20; ++step) {
    window->Resize({step, 8}, true);
    window->MoveTo({step, 1});
    window->SetAlpha(static_cast<unsigned char>(step));
  }
}

void DestroyWhileRunning(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  host.WaitFor(window, qx::plexion::kStatusReadyToAnimate);
  host.Spawn("runner", [window] { window->PlayForLFD(); });
  host.RunForMs(20);
  host.CloseWindow(window);
}

void ObserverWaits(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  Waiting observer(device.kernel);
  window->RegisterNotifier(&observer);
  window->Play();
  while (!observer.heard) host.RunForMs(1);
  window->GetStageDims();
  observer.answered = true;
}

void ResizeWhileMakingPlanes(SimDevice&, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  window->LoadMVX();
  host.Spawn("resizer", [window] {
    for (uint32_t width = 8; width < 12; ++width) window->Resize({width, 8}, false);
  });
  window->CreatePlanes();
  window->Play();
  host.RunForMs(20);
  host.CloseWindow(window);
}

void NotifiesInPlay(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenWithPlanes(device, host);
  window->Play();
  host.Spawn("keys", [&] {
    for (unsigned long key = 13; key < 18; ++key) host.Service()->DispatchKeyDown(key);
  });
  for (int i = 0; i < 3; ++i) window->Play();
  host.Join();
}

}  // namespace

const std::vector<HostCase>& CasesLeftToHost() {
  static const std::vector<HostCase> cases = [] {
    const auto replacing = [](SimDevice& device) {
      device.player.usual.frames = 0;
      device.graphics.replacesPlanesOnResize = true;
    };
    const auto endless = [](SimDevice& device) { device.player.usual.frames = 0; };
    std::vector<HostCase> all = {
        {ServiceStory("load-unconfigured", "a window that has no player is loaded", nullptr,
                      LoadUnconfigured),
         FindingKind::kDeadlock, "host waits for event"},
        {ServiceStory("load-refused", "the player refuses to load and announces no error", nullptr,
                      LoadRefused),
         FindingKind::kDeadlock, "host waits for event"},
        {ServiceStory("play-refused", "the player refuses to play and stays ready", nullptr,
                      PlayRefused),
         FindingKind::kDeadlock, "host waits for event"},
        {ServiceStory("go-refused", "the shell refuses the command go", nullptr, GoRefused),
         FindingKind::kDeadlock, "host waits for event"},
        {ServiceStory("plane-refused", "the player refuses the plane that replaced its own",
                      replacing, PlaneRefused),
         FindingKind::kUseAfterDestroy, "render"},
        {ServiceStory("resize-while-drawing",
                      "an immediate resize replaces the planes of content that draws", replacing,
                      ResizeWhileDrawing),
         FindingKind::kUseAfterDestroy, "put"},
        {ServiceStory("move-during-resize",
                      "a window is moved while its player replaces the planes", replacing,
                      MoveDuringResize),
         FindingKind::kUseAfterDestroy, "output"},
        {ServiceStory("destroy-while-running", "a window goes while another thread runs it",
                      endless, DestroyWhileRunning),
         FindingKind::kUseAfterDestroy, "is destroyed while runner waits"},
        {ServiceStory("observer-waits", "an observer waits for a thread that needs the window",
                      endless, ObserverWaits),
         FindingKind::kDeadlock, "host wants geometryLock"},
        {ServiceStory("resize-while-making-planes",
                      "a resize replaces the planes while CreatePlanes is still using them",
                      replacing, ResizeWhileMakingPlanes),
         FindingKind::kUseAfterDestroy, "render"},
        {ServiceStory(
             "notifies-in-play", "the player notifies from inside Play while keys arrive",
             [endless](SimDevice& device) {
               endless(device);
               device.player.usual.notifiesInPlay = true;
               device.kernel.GetLockOrder().Allow("stateLock", "stageWindowLock");
             },
             NotifiesInPlay),
         FindingKind::kDeadlock, "wants stageWindowLock"},
    };
    for (HostCase& left : all) {
      left.story.prepare = [prepare = left.story.prepare](SimDevice& device) {
        // What goes wrong here goes wrong in more ways than one.
        device.kernel.IgnoreDataRaces();
        prepare(device);
      };
      if (left.story.name == "go-refused") left.story.hostArguments = {"--pause"};
    }
    return all;
  }();
  return cases;
}

}  // namespace plexion_sim
