// Edits a line on a terminal while others print above it.

#include "host/shell/TerminalPrompt.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <utility>

namespace plexion_host {
namespace {

char kPrompt[] = "plexion> ";  // the editor wants it writable
constexpr wchar_t kReplacement = 0xFFFD;

/// The editor turns characters into bytes by the calling thread's locale.
class ThreadLocale {
 public:
  explicit ThreadLocale(locale_t locale) : before_(uselocale(locale)) {}
  ~ThreadLocale() { uselocale(before_); }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;

 private:
  const locale_t before_;
};

FILE* OpenStream(int fd, const char* mode) {
  // A copy: closing the stream must not close the process's standard input.
  const int copy = dup(fd);
  FILE* const stream = copy >= 0 ? fdopen(copy, mode) : nullptr;
  if (stream == nullptr && copy >= 0) close(copy);
  return stream;
}

/// On which row, from the prompt's, the cursor stands behind `text` on lines of `columns`.
unsigned RowBehind(const std::string& text, unsigned columns) {
  unsigned row = 0;
  unsigned column = 0;
  mbstate_t state{};
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at < end) {
    wchar_t character = 0;
    size_t bytes = mbrtowc(&character, at, static_cast<size_t>(end - at), &state);
    int width = 2;  // control characters show as ^X
    if (bytes == 0 || bytes > static_cast<size_t>(end - at)) {
      bytes = 1;
      state = mbstate_t{};
    } else if (character >= 0x20 && character != 0x7F) {
      width = std::max(wcwidth(character), 0);
    }
    at += bytes;
    if (column + static_cast<unsigned>(width) > columns) {
      ++row;
      column = 0;
    }
    column += static_cast<unsigned>(width);
  }
  return column >= columns ? row + 1 : row;
}

std::string CommonBeginning(const std::vector<std::string>& words) {
  std::string common = words.front();
  for (const std::string& word : words) {
    const auto differs = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
    common.erase(differs.first, common.end());
  }
  return common;
}

}  // namespace

TerminalPrompt::TerminalPrompt(int input, int output, const WakeSignal& wake, Completer completer,
                               const std::string& historyPath)
    : inputFd_(input),
      outputFd_(output),
      wake_(wake),
      completer_(std::move(completer)),
      locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)),
      input_(OpenStream(input, "r")),
      output_(OpenStream(output, "w")),
      history_(historyPath) {
  const char* const terminal = std::getenv("TERM");
  hasEscapes_ = terminal != nullptr && *terminal != '\0' && std::strcmp(terminal, "dumb") != 0;
  if (input_ == nullptr || output_ == nullptr) return;
  const ThreadLocale locale(locale_);
  editor_ = el_init("plexion", input_, output_, output_);
  if (editor_ == nullptr) return;

  el_set(editor_, EL_CLIENTDATA, this);
  el_set(editor_, EL_PROMPT, &TerminalPrompt::Prompt);
  el_set(editor_, EL_GETCFN, &TerminalPrompt::ReadCharacter);
  el_set(editor_, EL_EDITOR, "emacs");
  el_set(editor_, EL_ADDFN, "complete-command", "Completes the word", &TerminalPrompt::CompleteKey);
  // What the default keys leave out: completion, search, and the keys of today's terminals.
  static constexpr const char* kKeys[][2] = {
      {"\t", "complete-command"},    {"^R", "em-inc-search-prev"},
      {"^W", "ed-delete-prev-word"}, {"\033[1~", "ed-move-to-beg"},
      {"\033[4~", "ed-move-to-end"}, {"\033[H", "ed-move-to-beg"},
      {"\033[F", "ed-move-to-end"},  {"\033[3~", "ed-delete-next-char"},
      {"\033[1;5C", "em-next-word"}, {"\033[1;5D", "ed-prev-word"}};
  for (const auto& key : kKeys) el_set(editor_, EL_BIND, key[0], key[1], nullptr);

  editorHistory_ = history_init();
  if (editorHistory_ == nullptr) return;
  HistEvent event;
  history(editorHistory_, &event, H_SETSIZE, static_cast<int>(History::kKeptLines));
  history(editorHistory_, &event, H_SETUNIQUE, 1);
  el_set(editor_, EL_HIST, history, editorHistory_);
  for (const std::string& line : history_.GetLines()) {
    history(editorHistory_, &event, H_ENTER, line.c_str());
  }
}

TerminalPrompt::~TerminalPrompt() {
  if (editor_ != nullptr) el_end(editor_);
  if (editorHistory_ != nullptr) history_end(editorHistory_);
  if (input_ != nullptr) fclose(input_);
  if (output_ != nullptr) fclose(output_);
  if (locale_ != nullptr) freelocale(locale_);
}

TerminalPrompt* TerminalPrompt::Of(EditLine* editor) {
  void* self = nullptr;
  el_get(editor, EL_CLIENTDATA, &self);
  return static_cast<TerminalPrompt*>(self);
}

char* TerminalPrompt::Prompt(EditLine*) { return kPrompt; }

TerminalPrompt::Result TerminalPrompt::ReadLine(std::string& line) {
  const ThreadLocale locale(locale_);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (closed_ || wake_.IsRaised()) return Result::kClosed;
  // By itself the editor prompts first and takes the terminal afterwards; a key in between would
  // be the terminal's.
  el_set(editor_, EL_PREP_TERM, 1);
  int length = 0;
  reading_ = true;
  hidden_ = false;
  const char* const text = el_gets(editor_, &length);
  reading_ = false;
  if (closed_ || wake_.IsRaised()) {
    // Whoever prints next starts on a line of their own.
    Write("\n");
    return Result::kClosed;
  }
  if (text == nullptr || length <= 0) {
    Write("\n");
    return Result::kEndTyped;
  }
  line.assign(text, static_cast<size_t>(length));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (history_.Add(line) && editorHistory_ != nullptr) {
    HistEvent event;
    history(editorHistory_, &event, H_ENTER, line.c_str());
  }
  return Result::kLine;
}

// Keys

int TerminalPrompt::ReadCharacter(EditLine* editor, wchar_t* character) {
  return Of(editor)->WaitForCharacter(character);
}

int TerminalPrompt::WaitForCharacter(wchar_t* character) {
  while (!DecodeCharacter(character)) {
    if (!FillInput()) {
      closed_ = true;
      return 0;
    }
  }
  return 1;
}

bool TerminalPrompt::FillInput() {
  mutex_.unlock();
  pollfd waits[] = {{inputFd_, POLLIN, 0}, {wake_.Fd(), POLLIN, 0}};
  int ready = 0;
  do {
    ready = poll(waits, 2, -1);
  } while (ready < 0 && errno == EINTR);
  mutex_.lock();
  if (ready < 0 || wake_.IsRaised()) return false;
  if (hidden_) {
    hidden_ = false;
    Write("\n");
    el_set(editor_, EL_REFRESH);
  }
  TakeBackTerminal();
  char bytes[256];
  ssize_t count = 0;
  do {
    count = read(inputFd_, bytes, sizeof(bytes));
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return false;
  pending_.append(bytes, static_cast<size_t>(count));
  return true;
}

bool TerminalPrompt::DecodeCharacter(wchar_t* character) {
  if (pending_.empty()) return false;
  mbstate_t state{};
  size_t bytes = mbrtowc(character, pending_.data(), pending_.size(), &state);
  // In the middle of a character the rest is still to come; four bytes that make none never will.
  if (bytes == static_cast<size_t>(-2) && pending_.size() < 4) return false;
  if (bytes == static_cast<size_t>(-1) || bytes == static_cast<size_t>(-2)) {
    *character = kReplacement;
    bytes = 1;
  }
  pending_.erase(0, std::max<size_t>(bytes, 1));
  return true;
}

// A process that was stopped comes back to a terminal in the shell's mode and of another size; its
// signals belong to the launcher, so this looks before each key instead.
void TerminalPrompt::TakeBackTerminal() {
  el_resize(editor_);
  termios mode{};
  if (tcgetattr(inputFd_, &mode) == 0 && (mode.c_lflag & ICANON) != 0) {
    el_set(editor_, EL_PREP_TERM, 0);  // it believes that it has the terminal still
    el_set(editor_, EL_PREP_TERM, 1);
    el_set(editor_, EL_REFRESH);
  }
}

// Completion

unsigned char TerminalPrompt::CompleteKey(EditLine* editor, int) { return Of(editor)->Complete(); }

unsigned char TerminalPrompt::Complete() {
  const LineInfo* const info = el_line(editor_);
  const std::string line(info->buffer, info->cursor);
  // Without the lock: the completer may wait for somebody who is printing.
  mutex_.unlock();
  const std::vector<std::string> candidates = completer_(line);
  mutex_.lock();
  if (candidates.empty()) return CC_ERROR;
  const size_t blank = line.find_last_of(" \t");
  const size_t typed = line.size() - (blank == std::string::npos ? 0 : blank + 1);
  std::string rest = CommonBeginning(candidates).substr(typed);
  if (candidates.size() == 1) rest += ' ';
  if (!rest.empty()) {
    el_insertstr(editor_, rest.c_str());
    return CC_REFRESH;
  }
  List(candidates);
  return CC_NORM;
}

void TerminalPrompt::List(const std::vector<std::string>& candidates) {
  size_t width = 0;
  for (const std::string& candidate : candidates) width = std::max(width, candidate.size() + 2);
  const size_t columns = std::max<size_t>(Columns() / width, 1);
  std::string text;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const bool last = i + 1 == candidates.size() || (i + 1) % columns == 0;
    text += candidates[i];
    text += last ? std::string("\n") : std::string(width - candidates[i].size(), ' ');
  }
  EraseLine();
  Write(text);
  el_set(editor_, EL_REFRESH);
}

// Output of others above the line

void TerminalPrompt::HideLine() {
  mutex_.lock();
  if (!reading_ || hidden_) return;
  const ThreadLocale locale(locale_);
  EraseLine();
}

void TerminalPrompt::ShowLine(bool unfinished) {
  hidden_ = reading_ && unfinished;
  if (reading_ && !hidden_) {
    const ThreadLocale locale(locale_);
    // Draws prompt and line afresh, from the start of the row where the cursor stands.
    el_set(editor_, EL_REFRESH);
  }
  mutex_.unlock();
}

void TerminalPrompt::EraseLine() {
  if (!hasEscapes_) {
    Write("\n");
    return;
  }
  const LineInfo* const info = el_line(editor_);
  const std::string text = kPrompt + std::string(info->buffer, info->cursor);
  const unsigned row = RowBehind(text, Columns());
  std::string erase = "\r";
  if (row > 0) erase += "\033[" + std::to_string(row) + "A";
  Write(erase + "\033[J");
}

unsigned TerminalPrompt::Columns() const {
  winsize size{};
  if (ioctl(outputFd_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

void TerminalPrompt::Write(const std::string& text) const {
  fflush(output_);
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(outputFd_, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    written += static_cast<size_t>(count);
  }
}

}  // namespace plexion_host
