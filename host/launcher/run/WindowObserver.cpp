#include "host/launcher/run/WindowObserver.h"

namespace plexion_host {

using qx::plexion::StageWindowStatus;

void StatusBoard::Post(const std::function<void()>& change) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    change();
  }
  changed_.notify_all();
}

void StatusBoard::Wait(const std::function<bool()>& condition) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, condition);
}

bool StatusBoard::WaitUntil(Clock::time_point deadline, const std::function<bool()>& condition) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_until(lock, deadline, condition);
}

bool StatusBoard::WaitUntil(std::chrono::system_clock::time_point deadline,
                            const std::function<bool()>& condition) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_until(lock, deadline, condition);
}

void WindowObserver::OnStageWindowNotification(qx::plexion::StageWindow* /*window*/,
                                               StageWindowStatus status,
                                               const qx::plexion::StageWindowStatusData* data) {
  if (status == qx::plexion::kInfoOutputPlaneUpdated) {
    // Comes with every frame: only the first is news.
    {
      const std::lock_guard<std::mutex> lock(board_.Mutex());
      if (drawn_) return;
    }
    board_.Post([this] { drawn_ = true; });
    return;
  }
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

void WindowObserver::Learn(StageWindowStatus status) {
  // A window that has no player yet says this.
  if (status == qx::plexion::kErrorModuleUnavailable) return;
  board_.Post([&] {
    if (status > state_) state_ = status;
    if (qx::plexion::IsTerminalStatus(status) && !ending_) ending_ = Ending{status, ""};
  });
}

StageWindowStatus WindowObserver::GetState() {
  const std::lock_guard<std::mutex> lock(board_.Mutex());
  return state_;
}

bool WindowObserver::HasDrawn() {
  const std::lock_guard<std::mutex> lock(board_.Mutex());
  return drawn_;
}

std::optional<Ending> WindowObserver::GetEnding() {
  const std::lock_guard<std::mutex> lock(board_.Mutex());
  return ending_;
}

}  // namespace plexion_host
