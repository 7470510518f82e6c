// One or several windows, from their command line to their end.

#include "qx/plexion/StageWindowNotifier.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::StageWindow;

namespace {

/// Counts what a window says, and remembers the last terminal status.
class Observer final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(StageWindow*, qx::plexion::StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData*) override {
    ++heard;
    if (IsTerminalStatus(status)) ended = status;
  }
  unsigned heard = 0;
  int ended = -1;
};

void OneWindow(SimDevice& device, SimHost& host) {
  if (!Expect(device, host.OpenWindows({"movie.mvx"}) == QXError_OK, "a window is opened")) return;
  SimInstance* player = host.Player(host.Windows()[0]);
  Expect(device, host.RunWindows(), "the set runs to its end");
  Expect(device, player->FramesDrawn() == 2, "two frames are drawn");
}

void RunToCompletion(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  Observer observer;
  window->RegisterNotifier(&observer);
  // CreatePlanes has loaded already, so the content is played, not run.
  const bool played = window->Play();
  Expect(device, played, "the player accepts Play");
  if (played) {
    Expect(device, host.WaitFor(window, qx::plexion::kStatusComplete), "the window completes");
    // The status is there before it is announced.
    while (observer.ended < 0) host.RunForMs(1);
  }
  window->UnregisterNotifier(&observer);
  host.CloseWindow(window);
}

void Signage(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->LoadForLFD(), "the load succeeds")) return;
  if (!Expect(device, window->CreatePlanes(), "planes are made")) return;
  if (!host.WaitFor(window, qx::plexion::kStatusReadyToAnimate)) return;
  host.RunForMs(50);
  Expect(device, window->PlayForLFD(), "the content completes");
  host.CloseWindow(window);
}

void DestroyWhilePlaying(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  host.RunForMs(15);
  host.CloseWindow(window);
}

void TwoHosts(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  bool done = false;
  host.Spawn("mover", [&] {
    for (uint32_t step = 1; step <= 3; ++step) {
      window->MoveTo({step, step});
      window->GetRectOnScreen();
      window->GetStageWindowStatus();
    }
    done = true;
  });
  for (unsigned char alpha = 1; alpha <= 3; ++alpha) {
    window->SetAlpha(alpha);
    window->GetStageDims();
  }
  while (!done) host.RunForMs(1);
  host.CloseWindow(window);
}

void LoadFails(SimDevice& device, SimHost& host) {
  for (const char* content : {"at0.mvx", "at1.mvx", "at2.mvx"}) {
    StageWindow* window = host.OpenWindow({content});
    if (!Expect(device, window != nullptr, "the window is configured")) return;
    window->LoadMVX();
    Expect(device, !host.WaitFor(window, qx::plexion::kStatusPlaying, 10 * kMillisecond),
           "content that failed to load does not play");
    host.CloseWindow(window);
  }
}

void ResizeInFrame(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  host.RunForMs(5);
  window->Resize({16, 8}, true);
  host.RunForMs(30);
  if (!Expect(device, device.graphics.OutputPlanes().size() == 1, "one output plane is left")) {
    return;
  }
  const qx::plexion::Rect rect = device.graphics.OutputPlanes()[0]->rect;
  Expect(device, rect.width == 16 && rect.height == 8, "the output plane has the size asked for");
  host.CloseWindow(window);
}

}  // namespace

std::vector<Story> WindowStories() {
  return {
      ServiceStory("one-window", "one window from its command line to its end", nullptr, OneWindow),
      ServiceStory("play-to-end", "one window driven by hand, with an observer", nullptr,
                   RunToCompletion),
      ServiceStory("signage", "load, wait, play", nullptr, Signage),
      ServiceStory(
          "destroy-while-playing", "a window is destroyed while its player notifies",
          [](SimDevice& device) { device.player.usual.frames = 0; }, DestroyWhilePlaying),
      ServiceStory(
          "two-hosts", "two host threads work on one window that plays",
          [](SimDevice& device) { device.player.usual.frames = 0; }, TwoHosts),
      ServiceStory(
          "load-fails", "the load fails at each of its steps",
          [](SimDevice& device) {
            for (size_t step = 0; step < 3; ++step) {
              device.player.Content("at" + std::to_string(step) + ".mvx")
                  .FailAt(step, qx::plexion::kErrorCorruptMovie);
            }
          },
          LoadFails),
      ServiceStory(
          "resize-in-frame", "a resize waits for the gap between two frames; planes are replaced",
          [](SimDevice& device) {
            device.player.usual.frames = 0;
            device.graphics.replacesPlanesOnResize = true;
          },
          ResizeInFrame),
  };
}

}  // namespace plexion_sim
