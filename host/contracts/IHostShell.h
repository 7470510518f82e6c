#ifndef HOST_CONTRACTS_IHOSTSHELL_H_
#define HOST_CONTRACTS_IHOSTSHELL_H_

#include <functional>
#include <string>
#include <vector>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// What "help" and completion know of a command.
struct CommandDescription {
  std::string usage;    ///< "move N X Y"
  std::string summary;  ///< "puts the window's top left corner at X,Y"
  /// What its first argument may be, for completion; may be empty. Called on a thread of the
  /// shell's.
  std::function<std::vector<std::string>()> firstArguments;
};

/// What this host's shell can do beyond IShell: module "IHostShell", the same object as "IShell" in
/// the same library.
///
/// Order    Describe and Listen may come before or after IShell::Start, and without it: then only
///          the socket is served and standard input is left alone.
/// Thread   any.
class IHostShell : public IQXModule {
 public:
  /// `name` need not be registered yet. A second description takes the place of the first.
  virtual void DescribeCommand(const std::string& name, const CommandDescription& description) = 0;

  /// `name` will be registered: a line with it waits for that, rather than being refused. So a script
  /// can send "go" without knowing when the service begins to wait for it.
  virtual void ExpectCommand(const std::string& name) = 0;

  /// Serves the same commands on a Unix stream socket until the module is released. Once only.
  /// The members of `group`, a name or a number, can connect as well; empty: the owner alone.
  /// Returns  false with the reason in `error`.
  virtual bool Listen(const std::string& socketPath, const std::string& group,
                      std::string& error) = 0;

  /// Runs one line as if somebody had typed it, on the calling thread; what it prints is dropped.
  /// Whoever unregisters a command waits for a line that is run this way, as for any other.
  /// Returns  whether the line was run and succeeded. False at once, and nothing is run, while
  /// another command is at work.
  virtual bool TryLine(const std::string& line) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTSHELL_H_
