// The launcher's side of the operator's shell.

#include "host/launcher/commands/OperatorShell.h"

#include "host/base/Check.h"
#include "host/launcher/options/ShellSocketPath.h"

namespace plexion_host {
namespace {

/// What completion offers behind "key"; any name of the key map works.
const std::vector<std::string> kKeyNames = {"left", "right",  "up",      "down", "ok",   "back",
                                            "red",  "green",  "yellow",  "blue", "play", "pause",
                                            "stop", "rewind", "forward", "shell"};

}  // namespace

void OperatorShell::Close() {
  // First what a running command could reach: display and input go before the shell does.
  SetRun(nullptr, nullptr, nullptr);
  // UnregisterCommand returns when no command runs any more, so what they stand in may go behind it.
  if (shell_) {
    for (const auto& command : commands_) shell_->UnregisterCommand(command->Rule().name);
  }
  commands_.clear();
  hostShell_.Reset();
  shell_.Reset();
}

void OperatorShell::SayGo() {
  // By the shell itself: whoever waits for "go" destroys the command as soon as it is woken, and
  // only the shell's own table makes that wait until the command has returned.
  if (hostShell_) hostShell_->TryLine("go --rundefault");
}

bool OperatorShell::Open(const LauncherOptions& options, std::string& error) {
  PLEXION_CHECK(commands_.empty(), "a shell is opened once");
  const bool asked = !options.shellSocket.empty();
  const bool playlist = options.signage || !options.programme.empty();
  // What plays without an end is steered from outside sooner or later: its socket needs no option.
  const bool usual = playlist && !UsualShellSocket().empty();
  if (!asked && !usual && !options.useShell && !options.pause) return true;
  shell_ = ModuleHandle<qx::platform::IShell>(kernel_, kernel_.TryAcquireModule("IShell", error));
  if (!shell_) {
    error = "module IShell is not available: " + error;
    // Who asked for the socket gets an error; who did not gets a run without a shell.
    return !asked;
  }
  hostShell_ = ModuleHandle<IHostShell>(kernel_, kernel_.TryAcquireModule("IHostShell", error));
  // Typed ahead: "go" may be in the pipe before there is anything that waits for it.
  if (hostShell_ && options.pause) hostShell_->ExpectCommand("go");
  for (const auto& table :
       {WindowCommands(), PlayCommands(), SoundCommands(), InputCommands(), LauncherCommands()}) {
    for (const CommandRule& rule : table) {
      commands_.push_back(std::make_unique<HostCommand>(rule, context_));
      Describe(rule);
      shell_->RegisterCommand(rule.name, commands_.back().get());
    }
  }
  if (asked) return Listen(options, error);
  // Another launcher of this user may serve there: then this one does without.
  std::string ignored;
  if (usual && hostShell_ && hostShell_->Listen(UsualShellSocket(), "", ignored)) {
    socketPath_ = UsualShellSocket();
  }
  return true;
}

bool OperatorShell::Listen(const LauncherOptions& options, std::string& error) {
  if (!hostShell_) {
    error = "--shellsocket: this shell serves no socket (" + error + ")";
    return false;
  }
  if (!hostShell_->Listen(options.shellSocket, options.shellSocketGroup, error)) {
    error = "--shellsocket: " + error;
    return false;
  }
  socketPath_ = options.shellSocket;
  return true;
}

void OperatorShell::Describe(const CommandRule& rule) {
  if (!hostShell_) return;
  CommandDescription description{UsageOf(rule), rule.summary, {}};
  if (std::string(rule.name) == "key") {
    description.firstArguments = [] { return kKeyNames; };
  } else if (!rule.arguments.empty() && std::string(rule.arguments[0].name) == "N") {
    description.firstArguments = [this] {
      std::vector<std::string> numbers;
      context_.windows.WithWindows([&](std::vector<HostWindow>& windows) {
        for (const HostWindow& window : windows) numbers.push_back(std::to_string(window.number));
      });
      return numbers;
    };
  }
  hostShell_->DescribeCommand(rule.name, description);
}

void OperatorShell::SetRun(IHostDisplay* display, IHostInput* input,
                           qx::platform::IGraphicsDriver* graphics) {
  const MutexLock lock(context_.mutex);
  context_.display = display;
  context_.input = input;
  context_.graphics = graphics;
}

}  // namespace plexion_host
