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
  // Content that ends before the call looks at it again counts as not played; kept.
  const bool played =
      window->PlayForLFD() || window->GetStageWindowStatus() == qx::plexion::kStatusComplete;
  Expect(device, played, "the content completes");
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
  host.Spawn("mover", [&] {
    for (uint32_t step = 1; step <= 3; ++step) {
      window->MoveTo({step, step});
      window->GetRectOnScreen();
      window->GetStageWindowStatus();
    }
  });
  for (unsigned char alpha = 1; alpha <= 3; ++alpha) {
    window->SetAlpha(alpha);
    window->GetStageDims();
  }
  host.Join();
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

/// Two observers that come and go while the window tells them things.
void ObserversComeAndGo(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  Observer always;
  Observer sometimes;
  window->RegisterNotifier(&always);
  window->Play();
  host.Spawn("visitor", [&] {
    for (int visit = 0; visit < 3; ++visit) {
      window->RegisterNotifier(&sometimes);
      window->RegisterNotifier(&sometimes);  // one entry all the same
      host.RunForMs(7);
      window->UnregisterNotifier(&sometimes);
      const unsigned heard = sometimes.heard;
      host.RunForMs(4);
      Expect(device, sometimes.heard == heard, "who has gone hears nothing more");
    }
  });
  const bool complete = host.WaitFor(window, qx::plexion::kStatusComplete, 1000 * kMillisecond);
  // The status is there before it is announced.
  while (complete && always.ended < 0) host.RunForMs(1);
  host.Join();
  Expect(device, always.ended == qx::plexion::kStatusComplete,
         "who stays hears how the content ended");
  window->UnregisterNotifier(&always);
  host.CloseWindow(window);
}

/// One opens, plays and closes; one presses keys; one moves the pointer and the activation; one
/// asks for directories and values.
void FourHosts(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"--keymaster", "a.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  host.Spawn("keys", [&] {
    for (unsigned long key = 13; key <= 15; ++key) host.PressKey(key, 3 * kMillisecond);
  });
  host.Spawn("pointer", [&] {
    for (unsigned short at = 0; at < 3; ++at) {
      host.Service()->DispatchMouseButtonDown(qx::plexion::kMouseButtonLeft, at, at);
      window->SetActiveStageWindow();
      host.Service()->DispatchScrollWheelScroll(qx::plexion::kScrollWheelUp, 1);
      window->IsActiveStageWindow();
      host.Service()->DispatchMouseButtonUp(qx::plexion::kMouseButtonLeft, at, at);
      host.RunForMs(2);
    }
  });
  host.Spawn("settings", [&] {
    QXString first;
    QXString second;
    host.Service()->GetPlexionDataDirectory(first);
    double rate = 25.0;
    host.Service()->SetStreamFrameRate(rate);
    host.RunForMs(2);
    host.Service()->GetPlexionDataDirectory(second);
    Expect(device, first.Equals(second), "the data directory stays what it was");
    host.Service()->SetExitFlag();
  });
  StageWindow* other = host.OpenWindow({"b.mvx"});
  if (Expect(device, other != nullptr && other->CreatePlanes(), "planes of the other are made")) {
    other->Play();
    host.RunForMs(12);
    other->SetAlpha(100);
  }
  if (other != nullptr) host.CloseWindow(other);
  host.Join();
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
          "observers", "observers register and leave while they are told things",
          [](SimDevice& device) { device.player.usual.frames = 3; }, ObserversComeAndGo),
      ServiceStory(
          "four-hosts", "four host threads call the service at once",
          [](SimDevice& device) { device.player.usual.frames = 0; }, FourHosts),
  };
}

}  // namespace plexion_sim
