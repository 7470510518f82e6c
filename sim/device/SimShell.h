// An operator's shell that a story types at.

#ifndef SIM_DEVICE_SIMSHELL_H_
#define SIM_DEVICE_SIMSHELL_H_

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "qx/platform/IShell.h"
#include "sim/device/ScriptedModule.h"

namespace plexion_sim {

/// "IShell": lines that a story types are executed on a thread of the shell's own, called "shell".
class SimShell final : public qx::platform::IShell, public ScriptedModule {
 public:
  explicit SimShell(SimKernel& kernel) : ScriptedModule(kernel, "IShell") {}

  /// The operator types a line; it is executed once the shell was started. Words are separated by
  /// blanks.
  void Type(const std::string& line);
  bool IsStarted() const { return started_; }
  bool Knows(const std::string& command) const { return commands_.count(command) > 0; }
  /// "go -> QXError_OK", one for each line executed; "go -> unknown command".
  const std::vector<std::string>& Results() const { return results_; }

  // IShell.
  QXError RegisterCommand(const char* name, qx::platform::IShellCommand* command) override;
  qx::platform::IShellCommand* UnregisterCommand(const char* name) override;
  QXError Start() override;

 private:
  void Execute(const std::string& line);

  std::map<std::string, qx::platform::IShellCommand*> commands_;
  std::deque<std::string> typed_;
  std::vector<std::string> results_;
  std::string executing_;
  bool started_ = false;
  SimTask* thread_ = nullptr;
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMSHELL_H_
