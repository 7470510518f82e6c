#include "host/launcher/Session.h"

namespace plexion_host {

void Session::Error(const std::string& message) const {
  kernel.GetConsole().PrintError("plexion: " + message + "\n");
}

void Session::ContentError(const std::string& content, const Ending& ending) {
  const char* const name = service->StageWindowStatusToString(ending.status);
  Error(content + ": " + (name != nullptr ? name : "unknown status") +
        (ending.message.empty() ? "" : ": " + ending.message));
  someContentFailed = true;
}

void Session::OnFirstPlay() {
  if (played_.exchange(true) || !options.snapshotAtMs || snapshot == nullptr) return;
  control.SetSnapshotTimer(
      ControlThread::Clock::now() + std::chrono::milliseconds(*options.snapshotAtMs),
      [this] { snapshot->Take(""); });
}

void Session::OnLastWindow() {
  control.CancelSnapshotTimer();
  if (snapshot == nullptr || !played_) return;
  snapshot->Take(options.snapshotAtMs ? "taken when the content ended, before " +
                                            std::to_string(*options.snapshotAtMs) + " ms"
                                      : "");
}

bool Session::WaitForStartTime() {
  if (!options.startAt) return !windows.IsQuitting();
  const auto now = std::chrono::system_clock::now();
  const auto start = Resolve(*options.startAt, now);
  if (start < now && !windows.IsQuitting()) {
    Error("--start-at: that moment has passed; beginning at once");
  }
  return !windows.Board().WaitUntil(start, [this] { return windows.IsQuitting(); });
}

}  // namespace plexion_host
