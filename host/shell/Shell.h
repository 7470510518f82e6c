// The operator's shell behind both of its module names.

#ifndef HOST_SHELL_SHELL_H_
#define HOST_SHELL_SHELL_H_

#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/contracts/IHostConsole.h"
#include "host/contracts/IHostShell.h"
#include "host/shell/CommandTable.h"
#include "host/shell/InputReader.h"
#include "host/shell/SocketServer.h"
#include "qx/platform/IShell.h"

namespace plexion_host {

/// The operator's shell behind both of its module names.
class Shell final : public qx::platform::IShell, public IHostShell {
 public:
  /// Standard input and output of this process; tests name others.
  explicit Shell(int inputFd = 0, int outputFd = 1);
  /// Ends the readers at once, waiting only for a command that is being run, and restores the
  /// terminal.
  ~Shell() override;
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  QXError RegisterCommand(const char* name, qx::platform::IShellCommand* command) override;
  qx::platform::IShellCommand* UnregisterCommand(const char* name) override;
  QXError Start() override;

  void DescribeCommand(const std::string& name, const CommandDescription& description) override;
  void ExpectCommand(const std::string& name) override { commands_.Expect(name); }
  bool Listen(const std::string& socketPath, const std::string& group, std::string& error) override;
  bool TryLine(const std::string& line) override;

 private:
  const int inputFd_;
  const int outputFd_;
  IHostConsole* const console_;  // held, or null
  CommandTable commands_;

  Mutex mutex_;
  std::unique_ptr<InputReader> reader_ GUARDED_BY(mutex_);
  std::unique_ptr<SocketServer> server_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_SHELL_SHELL_H_
