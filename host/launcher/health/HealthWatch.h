// Looks at what is presented every few seconds, names what stands still, and keeps the watchdog quiet
// as long as the display lives.

#ifndef HOST_LAUNCHER_HEALTH_HEALTHWATCH_H_
#define HOST_LAUNCHER_HEALTH_HEALTHWATCH_H_

#include <optional>
#include <vector>

#include "host/base/NamedThread.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostWindows.h"
#include "host/launcher/control/PlayControl.h"
#include "host/launcher/health/HealthJudge.h"
#include "host/launcher/process/ServiceManager.h"
#include "host/launcher/run/Session.h"

namespace plexion_host {

/// What was seen of each window, now. `withPictures`: a hash of each picture that should move, which
/// takes a few milliseconds each; the others have none.
/// Thread   any but a player's own; takes the launcher's window lock.
std::vector<WindowHealth> ReadHealth(IHostWindows& windows, IHostDisplay* display,
                                     bool withPictures);

/// The same of each content of a report, by the numbers of its windows.
void AddHealth(PlayReport& report, IHostWindows& windows, IHostDisplay* display);

/// The thread "PlexionHealth", while it lives.
///
/// Order    made when the display is open, gone before it is closed.
class HealthWatch {
 public:
  /// All outlive it.
  HealthWatch(Session& session, const ServiceManager& manager);
  ~HealthWatch();
  HealthWatch(const HealthWatch&) = delete;
  HealthWatch& operator=(const HealthWatch&) = delete;

 private:
  void Run();
  void Look();
  void Tell(const HealthJudge::Verdict& verdict);

  Session& session_;
  const ServiceManager& manager_;
  HealthJudge judge_;  // the thread's
  bool lived_ = true;  // the thread's
  Mutex mutex_;
  Condition changed_;
  bool stopping_ GUARDED_BY(mutex_) = false;
  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_HEALTH_HEALTHWATCH_H_
