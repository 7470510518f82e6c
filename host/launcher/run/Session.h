// What the parts of a run share.

#ifndef HOST_LAUNCHER_RUN_SESSION_H_
#define HOST_LAUNCHER_RUN_SESSION_H_

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "host/contracts/IHostDisplay.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/control/PlayControl.h"
#include "host/launcher/options/CommandLine.h"
#include "host/launcher/process/ControlThread.h"
#include "host/launcher/process/ServiceManager.h"
#include "host/launcher/run/Snapshot.h"
#include "host/launcher/run/WindowList.h"

namespace plexion_host {

/// A change of what is on.
struct ShownContent {
  std::string at;    ///< the time of a rehearsed day; empty: it is now
  std::string zone;  ///< empty: there are none
  std::string content;
  std::string reason;                                ///< "start", "next", "schedule", "operator"
  std::string playlist;                              ///< empty: none with a name
  std::optional<std::chrono::milliseconds> lasts{};  ///< as planned; none: until it ends
  std::string before;                                ///< what was on; empty: nothing
  std::chrono::milliseconds beforeLasted{0};
  bool again = false;  ///< the same once more: for who looks closely
};

/// "8 s", "1 min 30 s", "12.3 s".
std::string ShowDuration(std::chrono::milliseconds duration);

/// What the parts of a run share. Everything outlives the run.
struct Session {
  Session(HostKernel& hostKernel, WindowList& windowList, ControlThread& controlThread,
          const LauncherOptions& launcherOptions)
      : kernel(hostKernel), windows(windowList), control(controlThread), options(launcherOptions) {}

  HostKernel& kernel;
  WindowList& windows;
  ControlThread& control;
  const LauncherOptions& options;
  /// Set before the run, by the one who has it loaded.
  qx::plexion::IPlexionSets* service = nullptr;
  // Set by the main thread before SetDisplayOpen, read by others after WaitForDisplay.
  IHostDisplay* display = nullptr;  ///< null with a graphics driver that needs no display loop
  Snapshot* snapshot = nullptr;
  /// The screen's size is known before the display is open, so contents may have planes by then. Set
  /// before the run.
  bool screenIsPlanned = false;
  std::atomic<bool> someContentFailed{false};
  /// When the run's loop came round last, in milliseconds of the steady clock; negative: it has none
  /// that comes round by itself.
  std::atomic<int64_t> turnAtMs{-1};
  /// Counts the screen's changes of size. Changes under the board's lock, so that who waits there
  /// does not miss one.
  std::atomic<unsigned> screenChanges{0};
  const ServiceManager* manager = nullptr;  ///< may be null; set before the run
  /// Whoever plays says so here, so that the operator reaches it.
  PlayControls play;
  /// Windows of one line begin together, unless one takes longer than this to load: a stalled network
  /// must not keep the others from playing.
  std::chrono::milliseconds waitForOthers{2000};
  /// In which a content that failed comes back; see Restarts.
  std::chrono::milliseconds second{1000};

  /// Contents load while the display is being opened; said once, by the main thread: false when
  /// there will be none and the run is at its end.
  void SetDisplayOpen(bool open) { displayOpened_.set_value(open); }
  /// Waits for that word. Before it nothing may be shown.
  bool WaitForDisplay() { return displayOpen_.get(); }

  /// One thing that happened, for the log; see Console::Log.
  void Log(LogLevel level, const std::string& text, std::vector<LogField> fields = {}) const;
  /// The same for what went wrong.
  void Error(const std::string& message) const { Log(LogLevel::kError, message); }
  /// A content is on from now on: one line.
  void LogShown(const ShownContent& shown) const;
  /// Tells of a content that ended in an error, and remembers that there was one.
  void ContentError(const std::string& content, const Ending& ending);
  /// 0,0 when there is no screen.
  qx::plexion::Dims GetScreenDims();
  /// The window's own operation; a window that lies outside the screen is told of, and plays.
  bool CreatePlanes(qx::plexion::StageWindow& window, const std::string& content);
  /// First play: the timers that count from there.
  void OnFirstPlay();
  /// The last window is about to go: the picture, when it has not been taken yet.
  void OnLastWindow();
  /// With "--pause", waits until somebody says "go" or asks for the end. No window is touched.
  void WaitForGo();
  /// Waits for --start-at, if any. Returns  false when the end was asked for meanwhile.
  bool WaitForStartTime();

 private:
  std::promise<bool> displayOpened_;
  const std::shared_future<bool> displayOpen_{displayOpened_.get_future()};
  std::atomic<bool> played_{false};
};

/// Holds back presenting while it lives, so that several changes of planes appear in one frame.
class OneFrame {
 public:
  explicit OneFrame(IHostDisplay* display) : display_(display) {
    if (display_ != nullptr) display_->BeginUpdate();
  }
  ~OneFrame() {
    if (display_ != nullptr) display_->EndUpdate();
  }
  OneFrame(const OneFrame&) = delete;
  OneFrame& operator=(const OneFrame&) = delete;

 private:
  IHostDisplay* const display_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_SESSION_H_
