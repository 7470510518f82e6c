// The operator's commands, by name.

#ifndef HOST_SHELL_COMMANDTABLE_H_
#define HOST_SHELL_COMMANDTABLE_H_

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/IHostConsole.h"
#include "host/contracts/IHostShell.h"
#include "qx/platform/IShell.h"

namespace plexion_host {

/// The words that can be typed, and the one place where they are run.
///
/// Commands run on the thread that read the line, one at a time over all threads. What a command
/// prints is kept and handed back, so that it reaches whoever typed it.
///
/// Thread   any.
class CommandTable {
 public:
  /// What became of a line.
  struct Outcome {
    bool succeeded = true;
    /// When it did not succeed: whether the line was wrong, so that it never will.
    bool misused = false;
    /// What the command printed; whole lines.
    std::string output;
    /// When it did not succeed: why, one line.
    std::string reason;
  };

  /// `console` may be null: then output goes where the kernel's Printf goes.
  void SetConsole(IHostConsole* console);

  /// As IShell says. Also waits for a running execution of a command that it takes the place of.
  QXError Register(const char* name, qx::platform::IShellCommand* command);
  qx::platform::IShellCommand* Unregister(const char* name);

  void Describe(const std::string& name, const CommandDescription& description);

  /// A word that somebody will register soon: a line with it waits for that, rather than being
  /// refused, until it was registered for the first time.
  void Expect(const std::string& name);

  /// Runs one line. An empty line or a comment succeeds.
  Outcome Run(const std::string& line);

  /// The same, but waits for nothing: neither for an expected word nor for its turn.
  /// Returns  none, with nothing run, while another command is at work.
  std::optional<Outcome> TryRun(const std::string& line);

  /// The answer to a line that is longer than a line may be.
  static Outcome RefuseLongLine();

  /// What could stand in the place of the last word of `line`, sorted.
  std::vector<std::string> Complete(const std::string& line);

  /// From now on nothing waits for an expected word.
  void Stop();

 private:
  Outcome Help(const std::vector<std::string>& words);
  Outcome Execute(std::vector<std::string>& words);
  Outcome Unknown(const std::string& word);
  std::vector<std::string> NamesLocked() const REQUIRES(mutex_);
  void WaitUntilNotRunning(MutexLock& lock, const qx::platform::IShellCommand* command)
      REQUIRES(mutex_);

  std::mutex turn_;  // held while a command runs; taken before mutex_, and tried: so no Mutex

  Mutex mutex_;  // never held while a command runs
  Condition changed_;
  std::map<std::string, qx::platform::IShellCommand*> commands_ GUARDED_BY(mutex_);
  std::map<std::string, CommandDescription> descriptions_ GUARDED_BY(mutex_);
  std::map<std::string, bool> expected_ GUARDED_BY(mutex_);  // name to: was registered since
  IHostConsole* console_ GUARDED_BY(mutex_) = nullptr;
  const qx::platform::IShellCommand* running_ GUARDED_BY(mutex_) = nullptr;
  std::thread::id runner_ GUARDED_BY(mutex_);
  bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_COMMANDTABLE_H_
