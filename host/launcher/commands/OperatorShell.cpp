#include "host/launcher/commands/OperatorShell.h"

#include <algorithm>

namespace plexion_host {
namespace {

/// What completion offers behind "key"; any name of the key map works.
const std::vector<std::string> kKeyNames = {"left", "right",  "up",      "down", "ok",   "back",
                                            "red",  "green",  "yellow",  "blue", "play", "pause",
                                            "stop", "rewind", "forward", "shell"};

}  // namespace

OperatorShell::~OperatorShell() {
  SetRun(nullptr, nullptr, nullptr);
  if (shell_ != nullptr) {
    for (const auto& command : commands_) shell_->UnregisterCommand(command->Rule().name);
  }
  kernel_.ReleaseModule(hostShell_);
  kernel_.ReleaseModule(shell_);
}

bool OperatorShell::IsWanted(const std::vector<std::string>& arguments,
                             const std::string& socketPath) {
  return !socketPath.empty() ||
         std::any_of(arguments.begin(), arguments.end(), [](const std::string& argument) {
           return argument == "--useshell" || argument == "--pause";
         });
}

bool OperatorShell::Open(const std::string& socketPath, std::string& error) {
  shell_ = static_cast<qx::platform::IShell*>(kernel_.TryAcquireModule("IShell", error));
  if (shell_ == nullptr) {
    error = "module IShell is not available: " + error;
    return socketPath.empty();
  }
  hostShell_ = static_cast<IHostShell*>(kernel_.TryAcquireModule("IHostShell", error));
  for (const auto& table : {WindowCommands(), InputCommands(), LauncherCommands()}) {
    for (const CommandRule& rule : table) {
      commands_.push_back(std::make_unique<HostCommand>(rule, context_));
      Describe(rule);
      shell_->RegisterCommand(rule.name, commands_.back().get());
    }
  }
  if (socketPath.empty()) return true;
  if (hostShell_ == nullptr) {
    error = "--shellsocket: this shell serves no socket (" + error + ")";
    return false;
  }
  if (!hostShell_->Listen(socketPath, error)) {
    error = "--shellsocket: " + error;
    return false;
  }
  return true;
}

void OperatorShell::Describe(const CommandRule& rule) {
  if (hostShell_ == nullptr) return;
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
  const std::lock_guard<std::mutex> lock(context_.mutex);
  context_.display = display;
  context_.input = input;
  context_.graphics = graphics;
}

}  // namespace plexion_host
