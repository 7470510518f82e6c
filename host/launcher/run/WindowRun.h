// All windows at the same time, until each has ended.

#ifndef HOST_LAUNCHER_RUN_WINDOWRUN_H_
#define HOST_LAUNCHER_RUN_WINDOWRUN_H_

#include <optional>
#include <vector>

#include "host/launcher/run/Restarts.h"
#include "host/launcher/run/WindowOpener.h"

namespace plexion_host {

/// Plays all windows at the same time, until each has ended. Runs on the service thread.
///
/// With --restart-failed a content that failed is opened again after a pause. Its last picture stays
/// until the new window has drawn one.
class WindowRun {
 public:
  WindowRun(Session& session, const std::vector<OpenWindow>& windows);
  /// Returns  when no window is left. Contents that failed have been reported.
  void Run();

 private:
  enum class Phase {
    kLoading,
    kShown,
    kPlaying,
    kAway,  ///< it failed, and comes back
  };
  struct Item {
    OpenWindow open;
    Phase phase = Phase::kLoading;
    bool refused = false;  ///< the window would not begin to load
    std::optional<StatusBoard::Clock::time_point> shownAt = {};
    Restarts restarts{};
    StatusBoard::Clock::time_point returnAt = {};  ///< kAway
    std::optional<OpenWindow> before = {};  ///< the one that failed, until this one has drawn
  };

  /// The service's own way: load (and, paused, wait for "go" with its address), then play.
  void RunOne();
  void RunSeveral();
  /// Moves each window as far as it can go without waiting. Returns  false when nothing changed.
  bool Advance(bool mayPlay);
  bool MayPlayYet();
  bool CreatePlanes(size_t index);
  void LogShown(Item& item);
  /// Reports an ending in error, and destroys the window, or has it come back.
  void Finish(size_t index);
  bool ComeBack(Item& item);
  /// Returns  whether anything changed.
  bool Return(size_t index);
  void DestroyBefore(Item& item);
  void WaitForChange();

  Session& session_;
  WindowOpener opener_;
  std::vector<Item> items_;
};

/// The ending of a window whose planes or play failed: what the player said first, or else what the
/// window says now.
Ending EndingOf(const OpenWindow& window);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWRUN_H_
