// Windows that are run to their end, with and without an operator; two signage phases.

#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindowParameters.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::StageWindow;

namespace {

bool Printed(SimDevice& device, const char* part) {
  return device.kernel.PrintedText().find(part) != std::string::npos;
}

/// Loads under "--pause" while an operator types `lines` at once, as soon as the window asks.
bool LoadWithOperator(SimDevice& device, SimHost& host, StageWindow* window,
                      const std::vector<std::string>& lines) {
  bool loaded = false;
  host.Spawn("operator", [&] {
    while (!loaded && !Printed(device, "suspended")) {
      window->GetStageWindowStatus();
      host.RunForMs(1);
    }
    if (!loaded) {
      for (const std::string& line : lines) {
        host.Type(line);
        window->GetStageWindowStatus();
      }
    }
  });
  const bool result = window->LoadForLFD();
  loaded = true;
  host.Join();
  return result;
}

void PauseAndGo(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr, "the window is configured")) return;
  const bool loaded = LoadWithOperator(device, host, window, {"go", "go other.mvx zor/base"});
  if (!Expect(device, loaded && window->CreatePlanes(), "the load succeeds, planes are made")) {
    return;
  }
  SimInstance* player = host.Player(window);
  Expect(device, std::string(player->GetLoadSettings()->contentUrl.Utf8()) == "other.mvx",
         "the operator's content is loaded");
  Expect(device, std::string(player->GetLoadSettings()->zorBase.Utf8()) == "zor/base",
         "the operator's base is used");
  // Content that ends before the call looks at it again counts as not played; kept.
  const bool played =
      window->PlayForLFD() || window->GetStageWindowStatus() == qx::plexion::kStatusComplete;
  Expect(device, played && player->FramesDrawn() == 1, "the operator's content plays to its end");
  host.CloseWindow(window);
}

void TwoGoes(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr, "the window is configured")) return;
  const bool loaded =
      LoadWithOperator(device, host, window, {"go a.mvx base/a", "go b.mvx base/b"});
  if (!Expect(device, loaded, "the load succeeds")) return;
  // Either word wins, but never half of each.
  const auto* settings = host.Player(window)->GetLoadSettings();
  const std::string url = settings->contentUrl.Utf8();
  const std::string base = settings->zorBase.Utf8();
  Expect(device, (url == "a.mvx" && base == "base/a") || (url == "b.mvx" && base == "base/b"),
         "one of the two lines is taken whole, not '" + url + "' with '" + base + "'");
  host.CloseWindow(window);
}

void GoForTheSet(SimDevice& device, SimHost& host) {
  if (!Expect(device, host.OpenWindows({"movie.mvx", "movie.mvx"}) == QXError_OK,
              "two windows are opened")) {
    return;
  }
  bool done = false;
  host.Spawn("operator", [&] {
    // Nothing is printed, so an operator who hears nothing types again.
    while (!done) {
      host.Type("go");
      host.RunForMs(20);
    }
  });
  const bool ran = host.RunWindows();
  done = true;
  host.Join();
  Expect(device, ran, "the set runs to its end after go");
}

void RunToEnd(SimDevice& device, SimHost& host) {
  StageWindow* window =
      host.OpenWindow({"--instrument", "--mousestream", "127.0.0.1:5900", "movie.mvx"});
  if (!Expect(device, window != nullptr, "the window is configured")) return;
  bool result = false;
  host.Spawn("runner", [&] { result = window->RunToCompletion(); });
  // The run needs planes from another thread before it can end.
  const bool ready = host.WaitFor(window, qx::plexion::kStatusPlaying);
  const bool made = ready && window->CreatePlanes();
  Expect(device, made, "planes are made while the content waits for them");
  // Whatever went wrong, the run is brought to an end.
  if (!made) window->Terminate(qx::plexion::kErrorStartupFailure);
  host.Join();
  Expect(device, result, "the run ends with completed content");
  host.CloseWindow(window);
  // Written by the player's thread after it has woken the runner, so only now for certain.
  Expect(device, Printed(device, "Shutdown complete"), "the timing log is complete");
}

void MemoryLimit(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow(
      {"movie.mvx"}, [](qx::plexion::StageWindowParameters& wanted) { wanted.memoryLimit = 1000; });
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) return;
  qx::plexion::MemoryWatchdog* watchdog = window->GetMemoryWatchdog();
  window->Play();
  host.Spawn("decoder", [&] {
    std::vector<void*> blocks;
    for (int i = 0; i < 4; ++i) {
      void* block = watchdog->Alloc(200, __FILE__, __LINE__);
      if (block != nullptr) blocks.push_back(block);
      host.RunForMs(5);
    }
    for (void* block : blocks) watchdog->Free(block, __FILE__, __LINE__);
  });
  const bool complete = host.WaitFor(window, qx::plexion::kStatusComplete);
  host.Join();
  Expect(device, !complete, "content that passes its limit does not complete");
  Expect(device, window->GetStageWindowStatus() == qx::plexion::kErrorNotEnoughMemory,
         "the window says that memory ran out");
  host.CloseWindow(window);
}

}  // namespace

std::vector<Story> RunStories() {
  const auto otherContent = [](SimDevice& device) {
    device.player.Content("other.mvx").frames = 1;
    device.player.Content("a.mvx");
    device.player.Content("b.mvx");
  };
  std::vector<Story> stories = {
      ServiceStory("pause-and-go", "a window waits for go and takes the operator's content",
                   otherContent, PauseAndGo),
      ServiceStory("two-goes", "two go in a row: the second comes while the first is taken",
                   otherContent, TwoGoes),
      ServiceStory("go-for-the-set", "a set of windows waits for go", nullptr, GoForTheSet),
  };
  for (Story& story : stories) story.hostArguments = {"--pause"};
  stories.push_back(ServiceStory("run-to-end", "one blocking call, planes from another thread",
                                 nullptr, RunToEnd));
  stories.push_back(ServiceStory(
      "memory-limit", "the memory limit is passed on two threads",
      [](SimDevice& device) {
        device.player.usual.frames = 100;
        device.player.usual.allocatesPerFrame = 150;
      },
      MemoryLimit));
  return stories;
}

}  // namespace plexion_sim
