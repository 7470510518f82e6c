// The prompt on a terminal.

#ifndef HOST_SHELL_TERMINALPROMPT_H_
#define HOST_SHELL_TERMINALPROMPT_H_

#include <histedit.h>
#include <termios.h>

#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/base/WakeSignal.h"
#include "host/shell/History.h"

namespace plexion_host {

/// One line at a time from a terminal, with editing, history and completion.
///
/// One thread reads. Others may print meanwhile: they call HideLine before and ShowLine after, and
/// what they print appears above the line that is being typed.
class TerminalPrompt {
 public:
  using Completer = std::function<std::vector<std::string>(const std::string& line)>;

  /// `input` and `output` are descriptors of the terminal and stay the caller's; `wake` ends
  /// ReadLine and must outlive this.
  TerminalPrompt(int input, int output, const WakeSignal& wake, Completer completer,
                 const std::string& historyPath);
  ~TerminalPrompt();
  TerminalPrompt(const TerminalPrompt&) = delete;
  TerminalPrompt& operator=(const TerminalPrompt&) = delete;

  /// False when there is no editor to be had.
  bool IsUsable() const { return editor_ != nullptr; }

  enum class Result {
    kLine,
    kEndTyped,  ///< Ctrl-D on an empty line
    kClosed     ///< the terminal has gone, or `wake` was raised
  };
  Result ReadLine(std::string& line);

  /// In pairs, on one thread; the lock is held in between. `unfinished`: what was printed goes on
  /// with the next pair, so the line stays hidden until then, or until a key is typed.
  void HideLine();
  void ShowLine(bool unfinished);

 private:
  static char* Prompt(EditLine* editor);
  static int ReadCharacter(EditLine* editor, wchar_t* character);
  static unsigned char CompleteKey(EditLine* editor, int key);
  static TerminalPrompt* Of(EditLine* editor);

  int WaitForCharacter(wchar_t* character);
  bool FillInput();
  bool DecodeCharacter(wchar_t* character);
  void TakeBackTerminal();
  unsigned char Complete();
  void List(const std::vector<std::string>& candidates);
  void EraseLine();
  unsigned Columns() const;
  void Write(const std::string& text) const;

  const int inputFd_;
  const int outputFd_;
  const WakeSignal& wake_;
  const Completer completer_;
  locale_t locale_;  // UTF-8 whatever the process speaks: the terminal does
  FILE* input_ = nullptr;
  FILE* output_ = nullptr;
  bool hasEscapes_ = false;

  std::mutex mutex_;  // guards the editor; released only while waiting for a key
  EditLine* editor_ = nullptr;
  ::History* editorHistory_ = nullptr;
  History history_;
  bool reading_ = false;
  bool hidden_ = false;
  bool closed_ = false;
  std::string pending_;  // bytes read and not decoded yet
};

}  // namespace plexion_host

#endif  // HOST_SHELL_TERMINALPROMPT_H_
