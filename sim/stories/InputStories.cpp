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
  for (StageWindow* window : windows) host.WaitFor(window, qx::plexion::kStatusPlaying);
  host.RunForMs(5);
  SimInstance* master = host.Player(windows[1]);
  bool done = false;
  host.Spawn("pointer", [&] {
    for (unsigned short x = 1; x <= 3; ++x) host.Service()->DispatchMouseMove(x, x);
    done = true;
  });
  for (unsigned long key = 13; key <= 15; ++key) host.PressKey(key);
  while (!done) host.RunForMs(1);
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

void UnloadWithWorker(SimDevice& device, SimHost& host) {
  Expect(device,
         host.Service()->SetKeyInputMode(qx::plexion::kKeyInputModeSimulateKeyUp, 30 * kMillisecond,
                                         20 * kMillisecond),
         "the mode is accepted before the first key");
  host.RunForMs(25);
}

}  // namespace

std::vector<Story> InputStories() {
  const auto endless = [](SimDevice& device) { device.player.usual.frames = 0; };
  return {
      ServiceStory("key-master", "three windows, a key master, keys and pointer from two threads",
                   endless, KeyMaster),
      ServiceStory(
          "end-while-repeating", "the content ends while a key repeats",
          [](SimDevice& device) { device.player.usual.frames = 5; }, Repeats),
      ServiceStory("unload-with-worker", "unload while the key simulator's thread runs", nullptr,
                   UnloadWithWorker),
  };
}

}  // namespace plexion_sim
