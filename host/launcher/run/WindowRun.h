// All windows at the same time, until each has ended.

#ifndef HOST_LAUNCHER_RUN_WINDOWRUN_H_
#define HOST_LAUNCHER_RUN_WINDOWRUN_H_

#include <optional>
#include <vector>

#include "host/launcher/run/WindowOpener.h"

namespace plexion_host {

/// Plays all windows at the same time, until each has ended. Runs on the service thread.
class WindowRun {
 public:
  WindowRun(Session& session, const std::vector<OpenWindow>& windows);
  /// Returns  when no window is left. Contents that failed have been reported.
  void Run();

 private:
  enum class Phase { kLoading, kShown, kPlaying };
  struct Item {
    OpenWindow open;
    Phase phase = Phase::kLoading;
    bool refused = false;  ///< the window would not begin to load
    std::optional<StatusBoard::Clock::time_point> shownAt = {};
  };

  /// The service's own way: load (and, paused, wait for "go" with its address), then play.
  void RunOne();
  void RunSeveral();
  /// Moves each window as far as it can go without waiting. Returns  false when nothing changed.
  bool Advance(bool mayPlay);
  bool MayPlayYet();
  bool CreatePlanes(size_t index);
  void LogShown(Item& item);
  /// Reports an ending in error, and destroys the window.
  void Finish(size_t index);

  Session& session_;
  std::vector<Item> items_;
};

/// The ending of a window whose planes or play failed: what the player said first, or else what the
/// window says now.
Ending EndingOf(const OpenWindow& window);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWRUN_H_
