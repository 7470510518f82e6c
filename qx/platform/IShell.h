#ifndef QX_PLATFORM_ISHELL_H_
#define QX_PLATFORM_ISHELL_H_

#include "qx/core/IQXModule.h"
#include "qx/core/QXError.h"

namespace qx {
namespace platform {

/// A word that an operator can type at the shell.
class IShellCommand {
 public:
  virtual ~IShellCommand() {}
  /// Runs the command; `argv[0]` is the command word, so `argc` counts it. The words are valid
  /// during the call only. Messages go to the kernel's Printf.
  /// Returns  QXError_OK, or what went wrong.
  /// Thread   the shell's.
  virtual QXError Execute(unsigned long argc, char** argv) = 0;
};

/// The operator's shell, module "IShell".
///
/// Thread   any.
class IShell : public IQXModule {
 public:
  /// Makes `command` available as `name` (copied). The shell keeps the pointer until it is
  /// unregistered and never destroys it. A second registration of a name takes the place of the
  /// first.
  virtual QXError RegisterCommand(const char* name, IShellCommand* command) = 0;

  /// Takes the command away and waits until an execution of it that is under way has returned.
  /// Returns  the command object, to be destroyed by whoever registered it; null for an unknown
  /// name.
  virtual IShellCommand* UnregisterCommand(const char* name) = 0;

  /// Begins to read commands; when it has begun already, nothing more happens. Does not block.
  virtual QXError Start() = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_ISHELL_H_
