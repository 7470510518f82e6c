// What the launcher does when its display says something.

#ifndef HOST_LAUNCHER_LAUNCH_DISPLAYWATCH_H_
#define HOST_LAUNCHER_LAUNCH_DISPLAYWATCH_H_

#include "host/contracts/IHostDisplay.h"
#include "host/launcher/run/Session.h"

namespace plexion_host {

/// Closing the window ends everything; a display that changes is told of, and what plays goes on.
///
/// Thread   events arrive on the main thread, which runs the display; what they cause is posted to the
///          thread that plays.
class DisplayWatch final : public IDisplayEventSink {
 public:
  /// Both outlive it; `options` are those that the display was opened with.
  DisplayWatch(Session& session, const DisplayOptions& options)
      : session_(session), options_(options) {}
  void OnDisplayEvent(const DisplayEvent& event) override;

 private:
  Session& session_;
  const DisplayOptions& options_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_LAUNCH_DISPLAYWATCH_H_
