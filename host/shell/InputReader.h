// Commands from standard input.

#ifndef HOST_SHELL_INPUTREADER_H_
#define HOST_SHELL_INPUTREADER_H_

#include <functional>
#include <memory>
#include <string>

#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/contracts/IHostConsole.h"
#include "host/shell/CommandTable.h"
#include "host/shell/TerminalPrompt.h"

namespace plexion_host {

/// Runs the commands that come over standard input, on a thread of its own: with a prompt when it
/// is a terminal, line by line when it is a pipe or a file, and not at all when it is closed. Where
/// it ends, reading ends; nothing else does.
class InputReader {
 public:
  struct Settings {
    int inputFd = 0;
    int outputFd = 1;         ///< the prompt's terminal, if it is one
    std::string historyPath;  ///< empty: none
    /// Writes to the host's console; called on the reader's thread.
    std::function<void(const std::string&)> print;
    IHostConsole* console = nullptr;  ///< may be null: output then runs through the typed line
  };

  /// `commands` must outlive this.
  InputReader(CommandTable& commands, Settings settings);
  /// Returns when the command that is being run, if any, has returned.
  ~InputReader();
  InputReader(const InputReader&) = delete;
  InputReader& operator=(const InputReader&) = delete;

 private:
  // The console's hooks; the context is the reader.
  static void HideLine(void* self);
  static void ShowLine(void* self);

  void ReadTerminal();
  void ReadStream();
  void Run(const std::string& line);
  void Show(const CommandTable::Outcome& outcome);
  std::unique_ptr<TerminalPrompt> OpenPrompt();

  CommandTable& commands_;
  const Settings settings_;
  WakeSignal wake_;
  int terminalFd_ = -1;  // our own descriptor of the terminal, when standard output is none
  std::unique_ptr<TerminalPrompt> prompt_;
  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_INPUTREADER_H_
