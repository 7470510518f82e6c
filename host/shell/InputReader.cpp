// Reads lines from a terminal, a pipe or a file, and runs them.

#include "host/shell/InputReader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/base/Check.h"
#include "host/shell/LineBuffer.h"

namespace plexion_host {

void InputReader::HideLine(void* self) { static_cast<InputReader*>(self)->prompt_->HideLine(); }

void InputReader::ShowLine(void* self) {
  auto* const reader = static_cast<InputReader*>(self);
  reader->prompt_->ShowLine(reader->settings_.console->IsLineOpen());
}

InputReader::InputReader(CommandTable& commands, Settings settings)
    : commands_(commands), settings_(std::move(settings)) {
  // A service is often started without standard input; then nobody types.
  if (wake_.Fd() < 0 || fcntl(settings_.inputFd, F_GETFD) < 0) return;
  prompt_ = OpenPrompt();
  if (prompt_ != nullptr && settings_.console != nullptr) {
    settings_.console->SetTerminalHooks(&InputReader::HideLine, &InputReader::ShowLine, this);
  }
  thread_ = NamedThread("PlexionShell", [this] {
    if (prompt_ != nullptr) {
      ReadTerminal();
    } else {
      ReadStream();
    }
  });
}

InputReader::~InputReader() {
  wake_.Raise();
  thread_.Join();
  if (prompt_ != nullptr && settings_.console != nullptr) {
    settings_.console->SetTerminalHooks(nullptr, nullptr, nullptr);
  }
  prompt_.reset();
  if (terminalFd_ >= 0) close(terminalFd_);
}

std::unique_ptr<TerminalPrompt> InputReader::OpenPrompt() {
  if (isatty(settings_.inputFd) == 0) return nullptr;
  int output = settings_.outputFd;
  if (isatty(output) == 0) {
    // Output may be redirected while somebody still types: the prompt belongs to the terminal.
    terminalFd_ = open("/dev/tty", O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (terminalFd_ < 0) return nullptr;
    output = terminalFd_;
  }
  auto prompt = std::make_unique<TerminalPrompt>(
      settings_.inputFd, output, wake_,
      [this](const std::string& line) { return commands_.Complete(line); }, settings_.historyPath);
  if (!prompt->IsUsable()) prompt.reset();
  return prompt;
}

void InputReader::ReadTerminal() {
  PLEXION_CHECK(prompt_ != nullptr, "a terminal has a prompt");
  std::string line;
  for (;;) {
    switch (prompt_->ReadLine(line)) {
      case TerminalPrompt::Result::kClosed:
        return;
      case TerminalPrompt::Result::kEndTyped:
        // The end of input is typed by mistake too easily to end a display by it.
        settings_.print("\"quit\" ends Plexion.\n");
        break;
      case TerminalPrompt::Result::kLine:
        Run(line);
        break;
    }
  }
}

void InputReader::ReadStream() {
  LineBuffer lines;
  bool ended = false;
  while (!ended) {
    pollfd waits[] = {{settings_.inputFd, POLLIN, 0}, {wake_.Fd(), POLLIN, 0}};
    if (poll(waits, 2, -1) < 0 && errno != EINTR) return;
    if (wake_.IsRaised()) return;
    if (waits[0].revents == 0) continue;
    char bytes[4096];
    const ssize_t count = read(settings_.inputFd, bytes, sizeof(bytes));
    if (count > 0) {
      lines.Append(bytes, static_cast<size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
      // A last line without an end was meant: "echo -n quit" pipes one.
      lines.Finish();
      ended = true;
    }
    while (!lines.IsEmpty() && !wake_.IsRaised()) {
      const LineBuffer::Line line = lines.Take();
      if (line.tooLong) {
        Show(CommandTable::RefuseLongLine());
      } else {
        Run(line.text);
      }
    }
  }
}

void InputReader::Run(const std::string& line) {
  if (line.size() > LineBuffer::kMaxLineBytes) {
    Show(CommandTable::RefuseLongLine());
  } else {
    Show(commands_.Run(line));
  }
}

void InputReader::Show(const CommandTable::Outcome& outcome) {
  std::string text = outcome.output;
  if (!outcome.succeeded) text += outcome.reason + "\n";
  if (!text.empty()) settings_.print(text);
}

}  // namespace plexion_host
