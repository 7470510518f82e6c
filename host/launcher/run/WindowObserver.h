#ifndef HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_
#define HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"

namespace plexion_host {

/// Where observers post what has changed, and the launcher's threads wait for it. Its lock is the
/// innermost of all: nothing is called while it is held.
class StatusBoard {
 public:
  using Clock = std::chrono::steady_clock;

  void Post(const std::function<void()>& change);
  /// Waits until `condition`, which is evaluated under the lock.
  void Wait(const std::function<bool()>& condition);
  /// Returns  false when `deadline` came first.
  bool WaitUntil(Clock::time_point deadline, const std::function<bool()>& condition);
  bool WaitUntil(std::chrono::system_clock::time_point deadline,
                 const std::function<bool()>& condition);

  std::mutex& Mutex() { return mutex_; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

/// Why a content ended.
struct Ending {
  qx::plexion::StageWindowStatus status = qx::plexion::kStatusComplete;
  std::string message;  ///< the player's own words, may be empty
};

/// Listens to one window and remembers how far it is. Must outlive the window.
class WindowObserver final : public qx::plexion::StageWindowNotifier {
 public:
  explicit WindowObserver(StatusBoard& board) : board_(board) {}

  void OnStageWindowNotification(qx::plexion::StageWindow* window,
                                 qx::plexion::StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData* data) override;

  /// As `window` says by itself: for what happened before this began to listen.
  void Learn(qx::plexion::StageWindowStatus status);

  // The questions are for conditions of the board: under its lock.
  qx::plexion::StageWindowStatus StateLocked() const { return state_; }
  bool HasEndedLocked() const { return ending_.has_value(); }
  /// Loaded, or further, or ended.
  bool IsLoadedLocked() const { return HasEndedLocked() || state_ >= qx::plexion::kStatusLoaded; }
  bool IsReadyLocked() const {
    return HasEndedLocked() || state_ >= qx::plexion::kStatusReadyToAnimate;
  }
  bool HasDrawnLocked() const { return HasEndedLocked() || drawn_; }

  qx::plexion::StageWindowStatus GetState();
  bool HasDrawn();
  std::optional<Ending> GetEnding();

 private:
  StatusBoard& board_;
  // Guarded by the board's lock.
  qx::plexion::StageWindowStatus state_ = qx::plexion::kStatusUnconfigured;
  bool drawn_ = false;
  std::optional<Ending> ending_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_
