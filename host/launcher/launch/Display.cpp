// Where a run is seen: the display found, opened, run and closed.

#include <optional>

#include "host/launcher/health/HealthWatch.h"
#include "host/launcher/launch/Launch.h"

namespace plexion_host {

bool Launch::FindScreen() {
  end_.SetStep("the display");
  driver_ = Acquire<qx::platform::IGraphicsDriver>("IGraphicsDriver");
  if (!driver_) return Fail(kExitCannotWork, "module IGraphicsDriver is not available: " + error_);
  // A device's own driver may bring its display loop with it.
  display_ = Acquire<IHostDisplay>("IHostDisplay");
  displayOptions_ = line_.options.display;
  for (const WindowLine& line : lines_) {
    displayOptions_.clear = displayOptions_.clear && !line.keepScreen;
  }
  if (programme_ && displayOptions_.width == 0) {
    displayOptions_.width = programme_->width;
    displayOptions_.height = programme_->height;
  }
  // Windows of a command line have their places in pixels; a playlist's are scaled with the picture.
  displayOptions_.followsDisplay = programme_ != nullptr;
  const uint32_t rotation = programme_ ? programme_->rotation : 0;
  displayOptions_.rotation = line_.options.rotation.value_or(rotation);
  session_.screenIsPlanned = display_ && display_->Plan(displayOptions_);
  return !display_ || session_.screenIsPlanned || OpenDisplay();
}

bool Launch::OpenDisplay() {
  if (displayOpen_) return true;
  end_.SetStep("the display");
  if (display_ && !display_->Open(displayOptions_, error_)) {
    return Fail(kExitCannotWork, "no display: " + error_);
  }
  displayOpen_ = true;
  if (display_ && displayOptions_.mode == DisplayMode::kAuto && display_->IsHeadless()) {
    session_.Log(
        LogLevel::kWarning,
        "no display was found: it plays off screen, and nobody sees it (--display headless "
        "says that this is meant; a display is named by DISPLAY or WAYLAND_DISPLAY)",
        {{"event", "display"}});
  }
  session_.display = display_.Get();
  snapshot_.emplace(line_.options.snapshotFile, display_.Get(), kernel_.GetConsole());
  session_.snapshot = &*snapshot_;
  return true;
}

void Launch::ShowContents() {
  if (display_) display_->AddEventSink(&displayWatch_);
  displaySaid_ = true;
  session_.SetDisplayOpen(true);
  manager_.SayReady();
  std::optional<HealthWatch> health;
  if (manager_.IsThere() || kernel_.GetConsole().HasLog()) health.emplace(session_, manager_);
  if (display_) display_->Run();
  contents_.Join();
  health.reset();
  if (display_) display_->RemoveEventSink(&displayWatch_);
}

void Launch::CloseDisplay() {
  control_.CancelSnapshotTimer();
  control_.Stop();  // its timers know the snapshot
  end_.SetStep("the display");
  if (snapshot_ && snapshot_->HasFailed() && code_ == kExitCompleted) code_ = kExitContentError;
  session_.snapshot = nullptr;
  if (displayOpen_ && display_) display_->Close();
  display_.Reset();
  driver_.Reset();
}

}  // namespace plexion_host
