// The host program of a story.

#ifndef SIM_DEVICE_SIMHOST_H_
#define SIM_DEVICE_SIMHOST_H_

#include <functional>
#include <string>
#include <vector>

#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowSet.h"
#include "sim/device/SimDevice.h"

namespace qx {
namespace plexion {
struct StageWindowParameters;
}  // namespace plexion
}  // namespace qx

namespace plexion_sim {

/// How the service object is made and destroyed: the module's own entry points.
struct ServiceEntries {
  IQXModule* (*load)();
  void (*unload)(IQXModule*);
};

/// The host program of a story: loads the service and drives it with short verbs. To be used inside
/// SimDevice::Run.
class SimHost {
 public:
  SimHost(SimDevice& device, const ServiceEntries& entries) : device_(device), entries_(entries) {}

  qx::plexion::IPlexionSets* LoadService();
  /// Destroys windows left in the set, then the service.
  void UnloadService();
  qx::plexion::IPlexionSets* Service() { return service_; }
  bool IsLoaded() const { return service_ != nullptr; }

  /// Windows from a command line (without the program's name) into the host's one set.
  QXError OpenWindows(const std::vector<std::string>& arguments, unsigned long maxWindows = 16);
  /// One window; null when it could not be made. `edit` changes what no option says.
  qx::plexion::StageWindow* OpenWindow(
      const std::vector<std::string>& arguments,
      const std::function<void(qx::plexion::StageWindowParameters&)>& edit = nullptr);
  /// Runs the set; see IPlexionSets::RunStageWindowSetToCompletion.
  bool RunWindows();
  void CloseWindow(qx::plexion::StageWindow* window);
  void CloseWindows();
  qx::plexion::StageWindowSet& Windows() { return set_; }

  void RunFor(Nanoseconds duration) { device_.kernel.Sleep(duration); }
  void RunForMs(int64_t milliseconds) { device_.kernel.Sleep(milliseconds * kMillisecond); }
  /// Waits until the window's status is `status` or terminal. Returns  whether it is `status`.
  bool WaitFor(qx::plexion::StageWindow* window, qx::plexion::StageWindowStatus status,
               Nanoseconds limit = 60000 * kMillisecond);
  void Spawn(const std::string& name, std::function<void()> body) {
    spawned_.push_back(device_.kernel.Spawn(name, std::move(body)));
  }
  /// Waits until all that this host has spawned has ended; what they did comes before what follows.
  void Join();

  void KeyDown(unsigned long key) { service_->DispatchKeyDown(key); }
  void KeyUp(unsigned long key) { service_->DispatchKeyUp(key); }
  /// Down, `held` later up.
  void PressKey(unsigned long key, Nanoseconds held = 20 * kMillisecond);
  /// The operator types at the shell.
  void Type(const std::string& line) { device_.shell.Type(line); }

  /// The scripted instance behind a window.
  SimInstance* Player(qx::plexion::StageWindow* window);

 private:
  void NameLocksOfNextWindows(unsigned long windows);
  const char** Keep(const std::vector<std::string>& arguments);

  SimDevice& device_;
  ServiceEntries entries_;
  qx::plexion::IPlexionSets* service_ = nullptr;
  qx::plexion::StageWindowSet set_;
  std::vector<qx::plexion::StageWindow*> loose_;  ///< made, but not in the set
  unsigned windowNumber_ = 0;
  std::vector<const SimTask*> spawned_;
  // Windows borrow their texts from here.
  std::vector<std::vector<std::string>> texts_;
  std::vector<std::vector<const char*>> vectors_;
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMHOST_H_
