// Windows that move and change size, with a driver that replaces the planes.

#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {

using qx::plexion::StageWindow;
using qx::plexion::StageWindowStatus;

namespace {

/// Counts the outcomes of moves and resizes.
class Outcomes final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(StageWindow*, StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData*) override {
    if (status == qx::plexion::kStatusPaused) paused = true;
    if (status == qx::plexion::kInfoWindowMoved) ++moved;
    if (status == qx::plexion::kInfoWindowResized) ++resized;
    if (status >= qx::plexion::kInfoWindowResized && status <= qx::plexion::kInfoWindowMoveFailed) {
      ++all;
    }
  }
  bool paused = false;
  unsigned moved = 0;
  unsigned resized = 0;
  unsigned all = 0;
};

StageWindow* OpenPlaying(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr && window->CreatePlanes(), "planes are made")) {
    return nullptr;
  }
  window->Play();
  const bool playing = host.WaitFor(window, qx::plexion::kStatusPlaying, 1000 * kMillisecond);
  if (!Expect(device, playing, "the content plays")) return nullptr;
  host.RunForMs(3);
  return window;
}

void ResizeInFrame(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenPlaying(device, host);
  if (window == nullptr) return;
  window->Resize({16, 8}, true);
  const auto resized = [&device] {
    const auto planes = device.graphics.OutputPlanes();
    return planes.size() == 1 && planes[0]->rect.width == 16 && planes[0]->rect.height == 8;
  };
  for (int ms = 0; ms < 1000 && !resized(); ++ms) host.RunForMs(1);
  Expect(device, resized(), "one output plane is left, of the size asked for");
  host.CloseWindow(window);
}

void DestroyInResize(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenPlaying(device, host);
  if (window == nullptr) return;
  host.RunForMs(5);
  window->Resize({16, 8}, true);
  // The player comes to the gap between two frames while the window goes.
  host.CloseWindow(window);
}

void MoveAndResize(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenPlaying(device, host);
  if (window == nullptr) return;
  Outcomes outcomes;
  window->RegisterNotifier(&outcomes);
  // Between two frames, while a move comes from this thread once the planes are new.
  window->Resize({16, 8}, true);
  while (outcomes.all == 0 && !IsTerminalStatus(window->GetStageWindowStatus())) host.RunForMs(1);
  host.RunForMs(1);
  window->MoveTo({3, 4});
  // At once: the content must not draw meanwhile, nor be about to tell of its pause, since the
  // active window's planes are used for that.
  window->Pause();
  for (int ms = 0; ms < 1000 && !outcomes.paused; ++ms) host.RunForMs(1);
  if (Expect(device, outcomes.paused, "the content pauses")) {
    window->ResizeAndMove({32, 16}, {5, 6});
    window->Resize({64, 33}, false);
    const auto planes = device.graphics.OutputPlanes();
    if (Expect(device, planes.size() == 1, "one output plane is left")) {
      const qx::plexion::Rect rect = planes[0]->rect;
      Expect(device, rect.x == 5 && rect.y == 6 && rect.width == 32 && rect.height == 16,
             "the window is where it was sent, at the last size that fits");
    }
    Expect(device, outcomes.moved == 2 && outcomes.resized == 2 && outcomes.all == 5,
           "each change has its outcome, the one that does not fit included");
  }
  window->UnregisterNotifier(&outcomes);
  host.CloseWindow(window);
}

void MoveWhileActivated(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenPlaying(device, host);
  StageWindow* neighbour = window != nullptr ? OpenPlaying(device, host) : nullptr;
  if (neighbour == nullptr) return;
  neighbour->SetActiveStageWindow();
  Outcomes outcomes;
  window->RegisterNotifier(&outcomes);
  bool gone = false;
  host.Spawn("closer", [&] {
    host.CloseWindow(neighbour);
    gone = true;
  });
  window->MoveTo({3, 4});
  window->Resize({16, 8}, false);
  for (int ms = 0; ms < 1000 && !gone; ++ms) host.RunForMs(1);
  Expect(device, gone && window->IsActiveStageWindow(), "the window follows its neighbour");
  Expect(device, outcomes.moved == 1 && outcomes.resized == 1, "each change has its outcome");
  window->UnregisterNotifier(&outcomes);
  host.CloseWindow(window);
}

void ResizeAtTheEndOfAnother(SimDevice& device, SimHost& host) {
  StageWindow* window = OpenPlaying(device, host);
  if (window == nullptr) return;
  Outcomes outcomes;
  window->RegisterNotifier(&outcomes);
  window->Resize({16, 8}, true);
  const auto& resizing = static_cast<qx::plexion::StageWindowImpl*>(window)->resizeInProgress;
  for (int looks = 1; outcomes.all == 0 || resizing; ++looks) {
    // Now and then in time, else at every step of the player's thread.
    if (looks % 8 == 0) host.RunForMs(1);
    device.kernel.GetTime();
  }
  window->Resize({32, 16}, true);
  for (int ms = 0; ms < 1000 && outcomes.all < 2; ++ms) host.RunForMs(1);
  Expect(device, outcomes.resized == 2, "the second resize has its outcome");
  window->UnregisterNotifier(&outcomes);
  host.CloseWindow(window);
}

void ResizeBeforePlanes(SimDevice& device, SimHost& host) {
  StageWindow* window = host.OpenWindow({"movie.mvx"});
  if (!Expect(device, window != nullptr, "the window opens")) return;
  Outcomes outcomes;
  window->RegisterNotifier(&outcomes);
  window->Resize({16, 8}, true);
  Expect(device, window->CreatePlanes(), "planes are made");
  window->Play();
  for (int ms = 0; ms < 1000 && outcomes.all == 0; ++ms) host.RunForMs(1);
  Expect(device, outcomes.resized == 1 && outcomes.all == 1, "the resize has its outcome");
  window->UnregisterNotifier(&outcomes);
  host.CloseWindow(window);
}

}  // namespace

std::vector<Story> GeometryStories() {
  const auto replacing = [](SimDevice& device) {
    device.player.usual.frames = 0;
    device.graphics.replacesPlanesOnResize = true;
  };
  return {
      ServiceStory("resize-in-frame",
                   "a resize waits for the gap between two frames; planes are replaced", replacing,
                   ResizeInFrame),
      ServiceStory("destroy-in-resize", "a window goes while its player resizes it", replacing,
                   DestroyInResize),
      ServiceStory("move-and-resize",
                   "moves and resizes, at once and deferred; planes are replaced", replacing,
                   MoveAndResize),
      ServiceStory(
          "move-while-activated",
          "a window with an observer is moved while it becomes the active one",
          [](SimDevice& device) { device.player.usual.frames = 0; }, MoveWhileActivated),
      ServiceStory(
          "resize-at-the-end-of-another",
          "a resize between frames is asked for while another is just ending",
          [](SimDevice& device) { device.player.usual.frames = 0; }, ResizeAtTheEndOfAnother),
      ServiceStory(
          "resize-before-planes", "a resize between frames is asked for before there are planes",
          [](SimDevice& device) { device.player.usual.frames = 0; }, ResizeBeforePlanes),
  };
}

}  // namespace plexion_sim
