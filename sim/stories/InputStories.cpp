// Keys, the key master and the key simulator's thread.

#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::StageWindow;

namespace {

void KeyMaster(SimDevice& device, SimHost& host) {
  StageWindow* windows[3];
  windows[0] = host.OpenWindow({"a.mvx"});
  windows[1] = host.OpenWindow({"--keymaster", "b.mvx"});
  windows[2] = host.OpenWindow({"c.mvx"});
  for (StageWindow* window : windows) {
    if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
    window->Play();
  }
  for (StageWindow* window : windows) {
    const bool playing = host.WaitFor(window, qx::plexion::kStatusPlaying, 1000 * kMillisecond);
    if (!Expect(device, playing, "all play")) return;
  }
  host.RunForMs(5);
  SimInstance* master = host.Player(windows[1]);
  host.Spawn("pointer", [&] {
    for (unsigned short x = 1; x <= 3; ++x) host.Service()->DispatchMouseMove(x, x);
  });
  for (unsigned long key = 13; key <= 15; ++key) host.PressKey(key);
  host.Join();
  unsigned keys = 0;
  for (const std::string& input : master->Input()) {
    if (input.compare(0, 4, "down") == 0) ++keys;
  }
  Expect(device, keys == 3, "the key master hears all three keys");
}

void Repeats(SimDevice& device, SimHost& host) {
  host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeAutoRepeat, 30 * kMillisecond,
                                  20 * kMillisecond);
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  host.RunForMs(10);
  host.KeyDown(38);
  // The content ends while the key is held.
  host.RunForMs(100);
  host.KeyUp(38);
  host.CloseWindow(window);
}

void DestroyWhileRepeating(SimDevice& device, SimHost& host) {
  host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeAutoRepeat, 10 * kMillisecond,
                                  10 * kMillisecond);
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  window->Play();
  const bool playing = host.WaitFor(window, qx::plexion::kStatusPlaying, 1000 * kMillisecond);
  if (!Expect(device, playing, "the content plays")) return;
  host.RunForMs(3);
  host.KeyDown(38);
  // A tick of the worker, then the window goes as the next one comes.
  host.RunFor(40 * kMillisecond - device.kernel.Now() % (10 * kMillisecond));
  host.CloseWindow(window);
  host.RunForMs(15);
}

void UnloadWithWorker(SimDevice& device, SimHost& host) {
  Expect(device,
         host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeSimulateKeyUp, 30 * kMillisecond,
                                         20 * kMillisecond),
         "the mode is accepted before the first key");
  host.RunForMs(25);
}

/// Every mode of the key simulator, each with a service of its own, since the first key fixes it.
/// A window goes while the other's key is held or its key up waits.
void KeyModes(SimDevice& device) {
  for (const int mode : {0, 1, 2, 7}) {
    SimHost host(device, {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
    if (!Expect(device, host.LoadService() != nullptr, "the service is made")) return;
    WatchService(device, host.Service());
    host.Service()->SetKeyInputMode(static_cast<qx::plexion::KeyInputMode>(mode), 30 * kMillisecond,
                                    20 * kMillisecond);
    StageWindow* first = host.OpenWindow({"a.mvx"});
    StageWindow* second = host.OpenWindow({"b.mvx"});
    if (Expect(device,
               first != nullptr && second != nullptr && first->CreatePlanes() &&
                   second->CreatePlanes(),
               "planes are made")) {
      first->Play();
      second->Play();
      // The first key fixes the mode once a window hears it.
      for (int ms = 0; ms < 1000; ++ms) {
        if (first->IsActiveStageWindow() || second->IsActiveStageWindow()) break;
        host.RunForMs(1);
      }
      host.KeyDown(38);
      host.KeyDown(38);
      host.RunForMs(55);
      host.KeyUp(38);
      Expect(device, !host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeDirect, 0, 0),
             "the mode is fixed by the first key");
      host.KeyDown(40);
      host.CloseWindow(second->IsActiveStageWindow() ? first : second);
      host.RunForMs(25);
    }
    UnwatchService(device);
    host.UnloadService();
  }
}

}  // namespace

std::vector<Story> InputStories() {
  Story keyModes;
  keyModes.name = "key-modes";
  keyModes.summary = "all modes of the key simulator; a window goes while another's key waits";
  keyModes.prepare = [](SimDevice& device) {
    WatchLocks(device);
    AllowDroppedKeyEvents(device, 2);
    device.graphics.screen = {64, 32};
    device.player.usual.authored = {8, 4};
    device.player.usual.frames = 0;
    device.player.usual.frameTime = 40 * kMillisecond;
  };
  keyModes.tell = KeyModes;
  const auto endless = [](SimDevice& device) { device.player.usual.frames = 0; };
  return {
      ServiceStory("key-master", "three windows, a key master, keys and pointer from two threads",
                   endless, KeyMaster),
      ServiceStory(
          "end-while-repeating", "the content ends while a key repeats",
          [](SimDevice& device) { device.player.usual.frames = 5; }, Repeats),
      ServiceStory("unload-with-worker", "unload while the key simulator's thread runs", nullptr,
                   UnloadWithWorker),
      ServiceStory("destroy-while-repeating", "a window goes at the tick that repeats its key",
                   endless, DestroyWhileRepeating),
      keyModes,
  };
}

}  // namespace plexion_sim
