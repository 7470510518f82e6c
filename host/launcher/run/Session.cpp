// What the parts of a run share.

#include "host/launcher/run/Session.h"

#include <filesystem>

#include "host/base/ModuleHandle.h"
#include "host/base/Text.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowSet.h"

namespace plexion_host {

void Session::Log(LogLevel level, const std::string& text, std::vector<LogField> fields) const {
  kernel.GetConsole().Log({level, text, std::move(fields)});
}

std::string ShowDuration(std::chrono::milliseconds duration) {
  const int64_t tenths = (duration.count() + 50) / 100;
  std::string text = tenths >= 600 ? std::to_string(tenths / 600) + " min " : "";
  text += std::to_string(tenths % 600 / 10);
  if (tenths < 600 && tenths % 10 != 0) text += "." + std::to_string(tenths % 10);
  return text + " s";
}

namespace {

/// As short as it can be said: a document's contents are named from its own folder on.
std::string ShownName(const std::string& content) {
  if (content.find("://") != std::string::npos) return PrintableWord(content);
  return PrintableWord(std::filesystem::path(content).lexically_normal().string());
}

}  // namespace

void Session::LogShown(const ShownContent& shown) const {
  std::string text = shown.at.empty() ? "" : shown.at + " ";
  text += shown.zone.empty() ? "" : "zone " + PrintableWord(shown.zone) + ": ";
  text += "shows " + ShownName(shown.content);
  if (shown.lasts) text += " for " + ShowDuration(*shown.lasts);
  text += " (" + shown.reason;
  if (!shown.playlist.empty()) text += ", playlist " + PrintableWord(shown.playlist);
  text += ")";
  if (!shown.before.empty()) {
    text += "; " + ShownName(shown.before) + " was on for " + ShowDuration(shown.beforeLasted);
  }
  std::vector<LogField> fields = {
      {"event", "shown"}, {"content", shown.content}, {"reason", shown.reason}};
  if (!shown.at.empty()) fields.push_back({"at", shown.at});
  if (!shown.zone.empty()) fields.push_back({"zone", shown.zone});
  if (!shown.playlist.empty()) fields.push_back({"playlist", shown.playlist});
  if (shown.lasts) fields.push_back({"ms", std::to_string(shown.lasts->count()), true});
  if (!shown.before.empty()) {
    fields.push_back({"before", shown.before});
    fields.push_back({"beforeMs", std::to_string(shown.beforeLasted.count()), true});
  }
  Log(shown.again ? LogLevel::kDebug : LogLevel::kInfo, text, std::move(fields));
  if (manager != nullptr) manager->SayStatus(text);
}

void Session::ContentError(const std::string& content, const Ending& ending) {
  const char* const name = service->StageWindowStatusToString(ending.status);
  std::string cause = ending.message;
  // A player that names the content itself, with or without its folder, need not be repeated.
  // The player's words begin with "NAME: "; ours do as well.
  for (const std::string& named : {content, content.substr(content.rfind('/') + 1)}) {
    if (cause.compare(0, named.size() + 2, named + ": ") == 0) cause.erase(0, named.size() + 2);
  }
  Log(LogLevel::kError,
      PrintableWord(content) + ": " + (name != nullptr ? name : "unknown status") +
          (cause.empty() ? "" : ": " + cause),
      {{"event", "failed"}, {"content", content}, {"reason", cause}});
  someContentFailed = true;
}

qx::plexion::Dims Session::GetScreenDims() {
  std::string error;
  const ModuleHandle<qx::platform::IGraphicsDriver> driver(
      // Asked anew each time: another driver may be loaded, or none.
      kernel, kernel.TryAcquireModule("IGraphicsDriver", error));
  return driver ? driver->GetScreenDims() : qx::plexion::Dims{0, 0};
}

bool Session::CreatePlanes(qx::plexion::StageWindow& window, const std::string& content) {
  if (!window.CreatePlanes()) return false;
  // Without an output plane there is no place to judge.
  if (window.GetOutputPlane() == nullptr) return true;
  const qx::plexion::Dims screen = GetScreenDims();
  // The rectangle's corner may be negative; the contract's type has no sign, its bits do.
  const qx::plexion::Rect rect = window.GetRectOnScreen();
  const auto x = static_cast<int32_t>(rect.x);
  const auto y = static_cast<int32_t>(rect.y);
  const bool right =
      x >= static_cast<int64_t>(screen.width) || y >= static_cast<int64_t>(screen.height);
  const bool left =
      x + static_cast<int64_t>(rect.width) <= 0 || y + static_cast<int64_t>(rect.height) <= 0;
  if (left || right) {
    Error(PrintableWord(content) + ": nothing of it can be seen: its rectangle " +
          std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(rect.width) + "," +
          std::to_string(rect.height) + " lies outside the screen of " +
          std::to_string(screen.width) + "x" + std::to_string(screen.height));
  }
  return true;
}

void Session::OnFirstPlay() {
  // Once in a run: contents that follow do not move the snapshot's time.
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

void Session::WaitForGo() {
  if (!windows.IsPausePending()) return;
  if (!windows.IsQuitting()) {
    // Without a shell nobody could say it, and the service does not wait.
    std::string error;
    const ModuleHandle<IQXModule> shell(kernel, kernel.TryAcquireModule("IShell", error));
    if (shell) kernel.Printf("Plexion suspended until you use the \"go\" command.\n");
    // A run of no windows is the wait for "go" and nothing else.
    qx::plexion::StageWindowSet none;
    service->RunStageWindowSetToCompletion(none);
  }
  windows.SetPausePending(false);
}

bool Session::WaitForStartTime() {
  if (!options.startAt) return !windows.IsQuitting();
  // The system's clock, since people mean that; the wait follows it when it is set.
  const auto now = std::chrono::system_clock::now();
  const auto start = Resolve(*options.startAt, now);
  if (start < now && !windows.IsQuitting()) {
    Log(LogLevel::kWarning, std::string("--start-at: that moment has passed") +
                                (options.startAt->timeOfDay ? " today" : "") +
                                "; beginning at once");
  }
  return !windows.Board().WaitUntil(start, [this] { return windows.IsQuitting(); });
}

}  // namespace plexion_host
