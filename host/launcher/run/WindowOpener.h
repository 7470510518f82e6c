// From a command line to configured windows.

#ifndef HOST_LAUNCHER_RUN_WINDOWOPENER_H_
#define HOST_LAUNCHER_RUN_WINDOWOPENER_H_

#include <optional>
#include <vector>

#include "host/contracts/IHostPlayer.h"
#include "host/launcher/run/Session.h"

namespace plexion_host {

/// A window of the run.
struct OpenWindow {
  qx::plexion::StageWindow* window = nullptr;
  const WindowLine* line = nullptr;
  WindowObserver* observer = nullptr;
};

/// Lets a content be drawn in `rect` of the screen, at just that size. Planes as large as a large
/// screen are not the content's doing: they do not count towards the alert for graphics memory, unless
/// that was set to another value than `service`'s own.
void DrawInto(const qx::plexion::Rect& rect, qx::plexion::IPlexionSets& service,
              qx::plexion::StageWindowParameters& parameters);

/// Makes configured windows from the command line. `lines` must outlive the windows, which borrow
/// their texts.
class WindowOpener {
 public:
  explicit WindowOpener(Session& session) : session_(session) {}

  /// Whether the service takes the options of the line.
  bool Check(const WindowLine& line);
  /// Has the player get ready for the line's content, before it can be opened.
  void Prepare(const WindowLine& line, IHostPlayer& player);

  /// A window for one line; none when it cannot be configured. That is reported now or, as long as no
  /// window could be opened at all, with the first that is opened or by ReportFailures: finding out
  /// why takes a bare window, and the service prints its banner and the player's version with the
  /// first window of all or never.
  std::optional<OpenWindow> Open(const WindowLine& line);
  void ReportFailures();

  /// A player runtime module could not be had. After ReportFailures.
  bool IsRuntimeMissing() const { return runtimeMissing_; }

 private:
  bool Read(const WindowLine& line, qx::plexion::StageWindowParameters& parameters);
  /// Gives the content the screen, or its rectangle, to take its place in, unless its sizes are named.
  void Place(const WindowLine& line, qx::plexion::StageWindowParameters& parameters);
  OpenWindow Take(qx::plexion::StageWindow* window, const WindowLine& line);
  void Report(const WindowLine& line);
  /// Which runtime is missing and what to do about it; empty when none is.
  std::string MissingRuntime(bool gl);

  Session& session_;
  bool anyOpened_ = false;
  std::vector<const WindowLine*> unreported_;
  bool runtimeMissing_ = false;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWOPENER_H_
