// Windows that were given up: destroyed beside the run, however long their players take to let go.

#ifndef HOST_LAUNCHER_RUN_LATEWINDOWS_H_
#define HOST_LAUNCHER_RUN_LATEWINDOWS_H_

#include <memory>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/launcher/run/WindowOpener.h"

namespace plexion_host {

/// Destroying a window waits for its player's thread, and a content that was given up because it
/// hangs may hang there, too.
///
/// Thread   one at a time.
class LateWindows {
 public:
  explicit LateWindows(WindowList& windows) : windows_(windows) {}
  /// Waits for all of them; the end of the launcher is watched by others.
  ~LateWindows() = default;

  /// Ends the window and destroys it on a thread of its own.
  void Take(const OpenWindow& window);
  /// Whether a window of that line has not been destroyed yet.
  bool Has(const WindowLine* line);

 private:
  struct Late {
    const WindowLine* line = nullptr;
    Mutex mutex;
    bool gone GUARDED_BY(mutex) = false;
    NamedThread thread;
  };

  WindowList& windows_;
  std::vector<std::unique_ptr<Late>> late_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_LATEWINDOWS_H_
