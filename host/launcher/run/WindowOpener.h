#ifndef HOST_LAUNCHER_RUN_WINDOWOPENER_H_
#define HOST_LAUNCHER_RUN_WINDOWOPENER_H_

#include <optional>
#include <vector>

#include "host/launcher/run/Session.h"

namespace plexion_host {

/// A window of the run.
struct OpenWindow {
  qx::plexion::StageWindow* window = nullptr;
  const WindowLine* line = nullptr;
  WindowObserver* observer = nullptr;
};

/// Makes configured windows from the command line. `lines` must outlive the windows, which borrow
/// their texts.
class WindowOpener {
 public:
  explicit WindowOpener(Session& session) : session_(session) {}

  /// A window for each line. Those that cannot be configured are reported and left out.
  /// Returns  false when the service finds the command line wrong; no window is left then.
  bool OpenAll(const std::vector<WindowLine>& lines, std::vector<OpenWindow>& opened);

  /// A window for one line; none when it cannot be configured, which has been reported.
  std::optional<OpenWindow> Open(const WindowLine& line);

  /// A player runtime module could not be had.
  bool IsRuntimeMissing() const { return runtimeMissing_; }

 private:
  OpenWindow Take(qx::plexion::StageWindow* window, const WindowLine& line);
  /// Configures a window by itself, which tells why the service could not.
  std::optional<OpenWindow> OpenAlone(const WindowLine& line);
  /// Which runtime is missing and what to do about it; empty when none is.
  std::string MissingRuntime(bool gl);

  Session& session_;
  bool runtimeMissing_ = false;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWOPENER_H_
