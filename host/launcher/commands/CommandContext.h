#ifndef HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
#define HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_

#include <chrono>
#include <mutex>

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

  /// Guards what follows, and is held by a command while it uses it. Comes before the launcher's
  /// window lock.
  std::mutex mutex;
  IHostDisplay* display = nullptr;
  IHostInput* input = nullptr;
  qx::platform::IGraphicsDriver* graphics = nullptr;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_COMMANDCONTEXT_H_
