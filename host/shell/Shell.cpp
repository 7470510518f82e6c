// Starts the readers of commands, and ends them.

#include "host/shell/Shell.h"

#include "host/shell/History.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host {
namespace {

constexpr const char* kGo = "go";

}  // namespace

Shell::Shell(int inputFd, int outputFd)
    : inputFd_(inputFd),
      outputFd_(outputFd),
      console_(static_cast<IHostConsole*>(IQXKernel::GetKernel()->AcquireModule("IHostConsole"))) {
  commands_.SetConsole(console_);
  commands_.Describe(kGo, {"go [--rundefault | URL [ZOR_BASE_URL]]",
                           "lets paused content run, or other content in its place",
                           {}});
}

Shell::~Shell() {
  // A line may be waiting for a word that no longer comes.
  commands_.Stop();
  // Both join their threads, and so wait for a command that is running.
  server_.reset();
  reader_.reset();
  IQXKernel::GetKernel()->ReleaseModule(console_);
}

QXError Shell::RegisterCommand(const char* name, qx::platform::IShellCommand* command) {
  return commands_.Register(name, command);
}

qx::platform::IShellCommand* Shell::UnregisterCommand(const char* name) {
  return commands_.Unregister(name);
}

QXError Shell::Start() {
  const MutexLock lock(mutex_);
  if (reader_ != nullptr) return QXError_OK;
  InputReader::Settings settings;
  settings.inputFd = inputFd_;
  settings.outputFd = outputFd_;
  settings.historyPath = History::DefaultPath();
  settings.print = [console = console_](const std::string& text) {
    if (console != nullptr) {
      console->PrintPlain(text);
    } else {
      IQXKernel::GetKernel()->Printf("%s", text.c_str());
    }
  };
  settings.console = console_;
  reader_ = std::make_unique<InputReader>(commands_, std::move(settings));
  return QXError_OK;
}

void Shell::DescribeCommand(const std::string& name, const CommandDescription& description) {
  commands_.Describe(name, description);
}

bool Shell::TryLine(const std::string& line) {
  const std::optional<CommandTable::Outcome> outcome = commands_.TryRun(line);
  return outcome && outcome->succeeded;
}

bool Shell::Listen(const std::string& socketPath, const std::string& group, std::string& error) {
  const MutexLock lock(mutex_);
  if (server_ != nullptr) {
    error = "the shell serves a socket already";
    return false;
  }
  auto server = std::make_unique<SocketServer>(commands_);
  if (!server->Start(socketPath, error, group)) return false;
  server_ = std::move(server);
  return true;
}

}  // namespace plexion_host
