// The launcher's side of the operator's shell.

#ifndef HOST_LAUNCHER_COMMANDS_OPERATORSHELL_H_
#define HOST_LAUNCHER_COMMANDS_OPERATORSHELL_H_

#include <memory>
#include <string>
#include <vector>

#include "host/base/ModuleHandle.h"
#include "host/contracts/IHostShell.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/commands/HostCommand.h"
#include "host/launcher/options/CommandLine.h"
#include "qx/platform/IShell.h"

namespace plexion_host {

/// The launcher's side of the shell: holds the modules and has its commands registered while it
/// lives.
///
/// Order    Open before the service is loaded, which may start the shell at once: a command that
///          is typed ahead then finds itself registered. SetRun while there is a display.
class OperatorShell {
 public:
  OperatorShell(HostKernel& kernel, IHostWindows& windows, PlayControls* play = nullptr,
                SoundControl* sound = nullptr)
      : kernel_(kernel), context_(kernel, windows) {
    context_.play = play;
    context_.sound = sound;
  }
  ~OperatorShell() { Close(); }
  OperatorShell(const OperatorShell&) = delete;
  OperatorShell& operator=(const OperatorShell&) = delete;

  /// Registers the commands when the command line asks for a shell in one way or another, and serves
  /// the socket if it names one. Programmes and playlists are served at the usual place without being
  /// asked, if that is free. A shell that is missing is an error only when a socket was asked
  /// for: the service does without.
  /// Returns  false with the reason in `error`.
  bool Open(const LauncherOptions& options, std::string& error);
  /// What the commands work on.
  CommandContext& Context() { return context_; }
  /// Where the socket is; empty: there is none.
  const std::string& SocketPath() const { return socketPath_; }
  /// Waits for a command that is being run. Hold no lock that one could want.
  void Close();

  /// Types "go" in the operator's stead, so that what waits for it goes on. Nothing happens while
  /// nobody waits, or another command is at work. Thread   any, between Open and Close.
  void SayGo();

  /// What the commands may use from now on; null for what is not there. Waits for a command that
  /// is using the old ones.
  void SetRun(IHostDisplay* display, IHostInput* input, qx::platform::IGraphicsDriver* graphics);

 private:
  void Describe(const CommandRule& rule);
  bool Listen(const LauncherOptions& options, std::string& error);

  HostKernel& kernel_;
  CommandContext context_;
  std::vector<std::unique_ptr<HostCommand>> commands_;
  ModuleHandle<qx::platform::IShell> shell_;
  ModuleHandle<IHostShell> hostShell_;
  std::string socketPath_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_OPERATORSHELL_H_
