// How far each window is: what observers post, and what the launcher's threads wait for.

#ifndef HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_
#define HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "host/base/Mutex.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"

namespace plexion_host {

/// Where observers post what has changed, and the launcher's threads wait for it. Its lock is the
/// innermost of all: nothing is called while it is held but the changes and conditions themselves.
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
  /// What `question` answers under the lock.
  template <typename Question>
  auto Ask(const Question& question) {
    const MutexLock lock(mutex_);
    return question();
  }

 private:
  Mutex mutex_;
  Condition changed_;
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
  void TakeStatus(qx::plexion::StageWindowStatus status);

  // The questions are for conditions of the board: under its lock.
  bool HasEndedLocked() const { return ending_.has_value(); }
  /// Loaded, or further, or ended.
  bool IsLoadedLocked() const { return HasEndedLocked() || state_ >= qx::plexion::kStatusLoaded; }
  bool IsReadyLocked() const {
    return HasEndedLocked() || state_ >= qx::plexion::kStatusReadyToAnimate;
  }
  bool HasDrawnLocked() const { return HasEndedLocked() || drawn_; }
  /// Whether nothing is left of AwaitResize.
  bool HasResizedLocked() const { return HasEndedLocked() || resize_ == Resize::kNone; }

  /// Before a resize is asked for: HasResizedLocked is false until the content has drawn at its new size,
  /// or does not get it.
  void AwaitResize() { resize_ = Resize::kAsked; }

  /// Waits for nothing. Milliseconds since its first picture; 0: there was none.
  int64_t GetShownMs() const;

  qx::plexion::StageWindowStatus GetState();
  bool HasDrawn();
  std::optional<Ending> GetEnding();

 private:
  enum class Resize { kNone, kAsked, kDone };

  StatusBoard& board_;
  std::atomic<int64_t> firstFrameMs_{0};
  std::atomic<Resize> resize_{Resize::kNone};
  // Under the board's lock, which the compiler cannot follow through its conditions.
  qx::plexion::StageWindowStatus state_ = qx::plexion::kStatusUnconfigured;
  bool drawn_ = false;
  std::optional<Ending> ending_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWOBSERVER_H_
