// What the operator's commands work on.

#ifndef HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
#define HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_

#include <chrono>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostWindows.h"
#include "qx/core/IQXKernel.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

/// What the operator's commands work on. The windows are there for the whole of a run; display,
/// graphics and input only in the middle of it.
struct CommandContext {
  CommandContext(IQXKernel& hostKernel, IHostWindows& hostWindows)
      : kernel(hostKernel), windows(hostWindows) {}

  IQXKernel& kernel;
  IHostWindows& windows;
  const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();

  /// Held by a command while it uses what follows. Comes before the launcher's window lock.
  Mutex mutex;
  IHostDisplay* display GUARDED_BY(mutex) = nullptr;
  IHostInput* input GUARDED_BY(mutex) = nullptr;
  qx::platform::IGraphicsDriver* graphics GUARDED_BY(mutex) = nullptr;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
