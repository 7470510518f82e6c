// What the operator's commands work on.

#ifndef HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
#define HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostWindows.h"
#include "host/launcher/control/PlayControl.h"
#include "host/launcher/control/SoundControl.h"
#include "qx/core/IQXKernel.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowNotifier.h"

namespace plexion_host {

class Diagnosis;

/// What the operator's commands work on. The windows are there for the whole of a run; display,
/// graphics and input only in the middle of it.
struct CommandContext {
  CommandContext(IQXKernel& hostKernel, IHostWindows& hostWindows)
      : kernel(hostKernel), windows(hostWindows) {}

  IQXKernel& kernel;
  IHostWindows& windows;
  PlayControls* play = nullptr;    ///< constant once commands run; null: nothing ever plays
  SoundControl* sound = nullptr;   ///< likewise; null: there is no sound
  Diagnosis* diagnosis = nullptr;  ///< likewise; null: bundles cannot be had
  const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();

  /// Set by a command whose words were wrong, which is another failure than one of its work. One
  /// command runs at a time.
  bool misused = false;
  /// For such a command. Returns  false.
  bool Misuse(std::string& error, const std::string& reason) {
    misused = true;
    error = reason;
    return false;
  }

  /// How long "resize" waits to hear what became of it.
  std::chrono::milliseconds resizePatience{2000};
  /// Observers whose windows went before they could be unregistered. One command runs at a time.
  std::vector<std::shared_ptr<qx::plexion::StageWindowNotifier>> lateObservers;

  /// Held by a command while it uses what follows. Comes before the launcher's window lock.
  Mutex mutex;
  IHostDisplay* display GUARDED_BY(mutex) = nullptr;
  IHostInput* input GUARDED_BY(mutex) = nullptr;
  qx::platform::IGraphicsDriver* graphics GUARDED_BY(mutex) = nullptr;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
