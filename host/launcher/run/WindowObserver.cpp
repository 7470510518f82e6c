// How far each window is: what observers post, and what the launcher's threads wait for.

#include "host/launcher/run/WindowObserver.h"

#include "host/base/Check.h"

namespace plexion_host {

using qx::plexion::StageWindowStatus;

namespace {

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             StatusBoard::Clock::now().time_since_epoch())
      .count();
}

}  // namespace

void StatusBoard::Post(const std::function<void()>& change) {
  PLEXION_CHECK(change != nullptr, "a change is posted");
  {
    const MutexLock lock(mutex_);
    // Changes are made under the lock and told after it: who wakes up finds it free.
    change();
  }
  changed_.NotifyAll();
}

void StatusBoard::Wait(const std::function<bool()>& condition) {
  MutexLock lock(mutex_);
  changed_.Wait(lock, condition);
}

bool StatusBoard::WaitUntil(Clock::time_point deadline, const std::function<bool()>& condition) {
  MutexLock lock(mutex_);
  return changed_.WaitUntil(lock, deadline, condition);
}

bool StatusBoard::WaitUntil(std::chrono::system_clock::time_point deadline,
                            const std::function<bool()>& condition) {
  MutexLock lock(mutex_);
  return changed_.WaitUntil(lock, deadline, condition);
}

void WindowObserver::OnStageWindowNotification(qx::plexion::StageWindow* /*window*/,
                                               StageWindowStatus status,
                                               const qx::plexion::StageWindowStatusData* data) {
  if (status == qx::plexion::kInfoOutputPlaneUpdated) {
    // Comes with every frame: only the first is news, and the first of another size.
    const bool resized = resize_ == Resize::kDone;
    if (firstFrameMs_ != 0 && !resized) return;
    if (firstFrameMs_ == 0) firstFrameMs_ = NowMs();
    board_.Post([&] {
      drawn_ = true;
      // One that was asked for meanwhile is still to come.
      Resize done = Resize::kDone;
      if (resized) resize_.compare_exchange_strong(done, Resize::kNone);
    });
    return;
  }
  if (status == qx::plexion::kInfoWindowResized) {
    Resize asked = Resize::kAsked;
    resize_.compare_exchange_strong(asked, Resize::kDone);
    return;
  }
  if (status == qx::plexion::kInfoOutputPlaneResizeFailed ||
      status == qx::plexion::kInfoRenderPlaneResizeFailed) {
    board_.Post([this] { resize_ = Resize::kNone; });
    return;
  }
  // Informations, which no status is.
  if (status > qx::plexion::kErrorUnsupportedVersion) return;
  board_.Post([&] {
    state_ = status;
    // What follows the first ending (a plane that then cannot be made) is not the cause.
    if (!qx::plexion::IsTerminalStatus(status) || ending_) return;
    ending_.emplace();
    ending_->status = status;
    if (data != nullptr && data->message != nullptr) ending_->message = data->message;
  });
}

void WindowObserver::TakeStatus(StageWindowStatus status) {
  // A window that has no player yet says this.
  if (status == qx::plexion::kErrorModuleUnavailable) return;
  board_.Post([&] {
    // Only forward: a notification that came between the window's answer and this call knows
    // better.
    if (status > state_) state_ = status;
    if (qx::plexion::IsTerminalStatus(status) && !ending_) ending_ = Ending{status, ""};
  });
}

int64_t WindowObserver::GetShownMs() const {
  const int64_t first = firstFrameMs_;
  return first == 0 ? 0 : NowMs() - first;
}

StageWindowStatus WindowObserver::GetState() {
  return board_.Ask([this] { return state_; });
}

bool WindowObserver::HasDrawn() {
  return board_.Ask([this] { return drawn_; });
}

std::optional<Ending> WindowObserver::GetEnding() {
  return board_.Ask([this] { return ending_; });
}

}  // namespace plexion_host
