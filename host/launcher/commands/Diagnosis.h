// What a bug report needs to hold, as one file.

#ifndef HOST_LAUNCHER_COMMANDS_DIAGNOSIS_H_
#define HOST_LAUNCHER_COMMANDS_DIAGNOSIS_H_

#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/commands/CommandContext.h"

namespace plexion_host {

/// `arguments` without what is nobody's business: passwords in addresses and parameters, and the whole
/// value of an option or variable whose name says that it is secret.
std::vector<std::string> WithoutSecrets(const std::vector<std::string>& arguments);

/// Makes the bundle: versions, options without passwords, states and memory of the windows, the last lines
/// of the log, what protects from content.
///
/// Thread   any, but not under a lock of the windows.
class Diagnosis {
 public:
  /// Both outlive this. `arguments`: the launcher's.
  Diagnosis(HostKernel& kernel, CommandContext& context, std::vector<std::string> arguments);

  /// A window is about to go: how the windows are is remembered, for a bundle after the last one.
  void Remember();

  /// Writes the bundle for the file's owner to read, in place of one that is there.
  /// Returns  false with the reason in `error`.
  bool Write(const std::string& path, std::string& error);

 private:
  std::string WindowTable();
  std::string Protection();
  std::string Options() const;

  HostKernel& kernel_;
  CommandContext& context_;
  const std::vector<std::string> arguments_;
  Mutex mutex_;
  std::string lastTable_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_DIAGNOSIS_H_
