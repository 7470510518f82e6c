// What the service manager that started the launcher hears of it.

#ifndef HOST_LAUNCHER_PROCESS_SERVICEMANAGER_H_
#define HOST_LAUNCHER_PROCESS_SERVICEMANAGER_H_

#include <chrono>
#include <string>

#include "host/base/Descriptor.h"

namespace plexion_host {

/// Speaks the readiness protocol of systemd (sd_notify(3)): datagrams to the socket that NOTIFY_SOCKET
/// names. Without one nothing is said.
///
/// A kiosk compositor may stand between the manager and the launcher: the watchdog is then meant for
/// the compositor's process, and the launcher, its child, answers in its place (NotifyAccess=all). It
/// says as well that it is the process that matters, so that it is the one that is asked to end.
///
/// Thread   Say any; it waits for nobody.
class ServiceManager {
 public:
  /// Takes the variables out of the environment, so that no child speaks for the launcher; while
  /// there is one thread.
  ServiceManager();
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  bool IsThere() const { return static_cast<bool>(socket_); }
  /// How often the watchdog wants to be petted: half of its time-out; 0: there is none.
  std::chrono::milliseconds WatchdogPeriod() const { return watchdogPeriod_; }

  void SayReady() const;
  void SayStopping() const { Say("STOPPING=1"); }
  void PetWatchdog() const { Say("WATCHDOG=1"); }
  /// One line that "systemctl status" shows.
  void SayStatus(const std::string& text) const;

 private:
  void Say(const std::string& message) const;

  Descriptor socket_;
  std::string address_;
  std::chrono::milliseconds watchdogPeriod_{0};
  bool underCompositor_ = false;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROCESS_SERVICEMANAGER_H_
