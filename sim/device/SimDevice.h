// A whole device: the kernel and every platform module.

#ifndef SIM_DEVICE_SIMDEVICE_H_
#define SIM_DEVICE_SIMDEVICE_H_

#include <functional>
#include <string>

#include "sim/device/SimFiles.h"
#include "sim/device/SimGraphics.h"
#include "sim/device/SimPlatform.h"
#include "sim/device/SimPlayer.h"
#include "sim/device/SimShell.h"
#include "sim/kernel/SimKernel.h"

namespace plexion_sim {

/// A whole device without hardware or real time: the kernel and every platform module, scripted.
///
/// A module keeps the first kernel that it is given for the life of the process, so what it is
/// given is a forwarder to the device that lives on the calling operating-system thread. There is
/// at most one device on a thread at a time.
///
/// Usual order: make it, change scripts, Run a story, ask what happened, Finish.
class SimDevice {
 public:
  explicit SimDevice(const SimOptions& options = SimOptions());
  /// Finish, if that has not been done.
  ~SimDevice();
  SimDevice(const SimDevice&) = delete;
  SimDevice& operator=(const SimDevice&) = delete;

  /// The kernel to hand to modules. Lives for ever.
  static IQXKernel* ProcessKernel();
  /// The device of the calling thread, or null.
  static SimDevice* Current();

  /// See SimKernel::Run.
  bool Run(std::function<void()> body) { return kernel.Run(std::move(body)); }

  /// Takes a platform module away: acquiring it gives null.
  void Remove(const std::string& moduleName) { kernel.RegisterModule(moduleName, nullptr); }

  /// Ends the device: checks memory and ledger. What is wrong is added to the findings. After a run
  /// that was given up nothing is checked.
  /// Returns  all findings, a paragraph each; empty when all is well.
  std::string Finish();

  SimKernel kernel;
  SimPlayer player;
  SimPlayer glPlayer;
  SimGraphics graphics;
  SimFiles files;
  SimShell shell;
  SimSystem system;
  SimLocale locale;
  SimMouseStream mouse;
  SimInput input;

 private:
  bool finished_ = false;
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMDEVICE_H_
