// The operator's control of ordinary windows.

#ifndef HOST_LAUNCHER_RUN_WINDOWCONTROL_H_
#define HOST_LAUNCHER_RUN_WINDOWCONTROL_H_

#include <string>

#include "host/contracts/IHostWindows.h"
#include "host/launcher/control/PlayControl.h"

namespace plexion_host {

/// Windows that play beside each other: there is no next one, but they can be paused and told of.
/// They are named by their numbers.
class WindowControl final : public PlayControl {
 public:
  explicit WindowControl(IHostWindows& windows) : windows_(windows) {}

  bool Next(const std::string& zone, std::string& error) override;
  bool Previous(const std::string& zone, std::string& error) override;
  bool Play(const std::string& what, const std::string& zone, std::string& error) override;
  bool Pause(const std::string& zone, std::string& error) override;
  bool Report(PlayReport& report, std::string& error) override;

 private:
  bool PauseOrPlay(bool pause, const std::string& number, std::string& error);

  IHostWindows& windows_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWCONTROL_H_
