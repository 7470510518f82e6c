// Where the kernel's Printf and the host's own messages go.

#include "host/kernel/Console.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

// Null while the thread does not capture. One for all consoles: a thread prints for one at a time.
thread_local std::unique_ptr<std::string> captured;
// The line that the thread has not ended yet, for the log.
thread_local std::string openLine;

/// Written at once: a pipe that takes anything takes this much, a terminal less.
constexpr size_t kPieceBytes = 512;
/// A line of the log is this long at most before it ends.
constexpr size_t kMaxOpenLine = 16384;
/// How often the writer looks whether it is still wanted.
constexpr int kLookMs = 20;

bool CanWrite(int fd) {
  pollfd ready{fd, POLLOUT, 0};
  return poll(&ready, 1, 0) > 0;  // an error, too, is something that a write will tell
}

}  // namespace

Console::~Console() {
  Flush();
  NamedThread writer;
  {
    const RecursiveMutexLock lock(mutex_);
    output_.kept.clear();
    error_.kept.clear();
    writer = std::move(writer_);
  }
}

void Console::Print(const std::string& text) {
  if (captured != nullptr) {
    captured->append(Printable(text));
    return;
  }
  if (log_ != nullptr && log_->Settings().takesModuleTexts) {
    LogModuleText(text);
  } else {
    Write(&Console::output_, text);
  }
}

void Console::PrintPlain(const std::string& text) { Write(&Console::output_, text); }

void Console::PrintFormat(const char* format, va_list arguments) {
  // Nearly all that is printed fits, and takes no allocation.
  char small[1024];
  va_list again;
  // The first try uses the arguments up.
  va_copy(again, arguments);
  const int length = std::vsnprintf(small, sizeof(small), format, arguments);
  if (length >= 0 && static_cast<size_t>(length) < sizeof(small)) {
    Print(std::string(small, static_cast<size_t>(length)));
  } else if (length >= 0) {
    std::vector<char> large(static_cast<size_t>(length) + 1);
    std::vsnprintf(large.data(), large.size(), format, again);
    Print(std::string(large.data(), static_cast<size_t>(length)));
  }
  va_end(again);
}

void Console::PrintError(const std::string& text) { Write(&Console::error_, text); }

void Console::SetLog(const LogSettings& settings) {
  log_ = std::make_unique<OperatorLog>(settings);
}

void Console::Log(const LogRecord& record) {
  if (log_ != nullptr) {
    Write(&Console::error_, log_->Line(record));
  } else if (record.level <= LogLevel::kWarning) {
    Write(&Console::error_, "plexion: " + WithoutPasswords(record.text) + "\n");
  }
}

// Modules print lines in pieces; a record is a whole line.
void Console::LogModuleText(const std::string& text) {
  openLine += text;
  for (size_t end = openLine.find('\n'); end != std::string::npos; end = openLine.find('\n')) {
    const std::string line = openLine.substr(0, end);
    openLine.erase(0, end + 1);
    if (!line.empty()) Log({LevelOfModuleText(line), line});
  }
  // Whoever never ends a line must not fill the memory.
  if (openLine.size() < kMaxOpenLine) return;
  const std::string line = std::exchange(openLine, std::string());
  Log({LevelOfModuleText(line), line});
}

// A capture inside of a capture begins anew: commands do not call each other.
void Console::BeginCapture() { captured = std::make_unique<std::string>(); }

std::string Console::EndCapture() {
  const std::unique_ptr<std::string> text = std::move(captured);
  return text != nullptr ? *text : std::string();
}

void Console::SetTerminalHooks(void (*before)(void*), void (*after)(void*), void* context) {
  const RecursiveMutexLock lock(mutex_);
  before_ = before;
  after_ = after;
  context_ = context;
}

bool Console::IsLineOpen() {
  const RecursiveMutexLock lock(mutex_);
  return lineOpen_;
}

void Console::CallHook(void (*hook)(void*)) {
  // A hook that prints would otherwise call itself.
  if (hook == nullptr || insideHook_) return;
  insideHook_ = true;
  hook(context_);
  insideHook_ = false;
}

void Console::KeepLastLines(const std::string& printable, bool output) {
  for (std::string& line : SplitAt(printable, '\n')) {
    // The level in front of it is for the journal.
    if (line.size() > 3 && line[0] == '<' && line[2] == '>') line.erase(0, 3);
    if (line.empty()) continue;
    lastLines_.push_back({line.substr(0, kMostOfLastLine), output});
  }
  while (lastLines_.size() > kMostLastLines) lastLines_.pop_front();
}

std::vector<std::string> Console::LastLines(size_t most, bool all) {
  const RecursiveMutexLock lock(mutex_);
  std::vector<std::string> lines;
  for (const LastLine& line : lastLines_) {
    if (all || !line.output) lines.push_back(line.text);
  }
  if (lines.size() > most) lines.erase(lines.begin(), lines.end() - static_cast<ptrdiff_t>(most));
  return lines;
}

void Console::Write(Stream Console::*which, const std::string& text) {
  if (text.empty()) return;
  std::string printable = Printable(text);
  const RecursiveMutexLock lock(mutex_);
  Stream& stream = this->*which;
  KeepLastLines(printable, which == &Console::output_);
  lineOpen_ = text.back() != '\n';
  // A hook writes as well: not to a terminal that takes nothing.
  const bool now = stream.kept.empty() && CanWrite(stream.fd);
  if (now) CallHook(before_);
  if (stream.kept.size() + printable.size() > kMaxKept) {
    // All of it or none: half a line could read as another message.
    stream.dropped += printable.size();
  } else {
    stream.kept += printable;
  }
  if (now) {
    WriteSome(stream);
    CallHook(after_);
  }
  if (!stream.kept.empty()) StartWriter();
}

void Console::WriteSome(Stream& stream) {
  PLEXION_CHECK(stream.kept.size() <= kMaxKept + kPieceBytes,
                "what nobody reads stays within its limit");
  while (!stream.kept.empty() && CanWrite(stream.fd)) {
    const ssize_t written =
        write(stream.fd, stream.kept.data(), std::min(stream.kept.size(), kPieceBytes));
    if (written > 0) {
      stream.kept.erase(0, static_cast<size_t>(written));
    } else if (errno == EAGAIN) {
      return;  // somebody made the terminal non-blocking
    } else if (written == 0 || errno != EINTR) {
      stream.kept.clear();  // nobody reads any more, and there is nobody to tell
    }
    if (stream.kept.empty() && stream.dropped > 0) {
      stream.kept = "plexion: " + std::to_string(std::exchange(stream.dropped, 0)) +
                    " bytes of output are left out here: nobody read them in time\n";
    }
  }
}

void Console::StartWriter() {
  if (writerRuns_) return;
  writerRuns_ = true;
  writer_ = NamedThread("PlexionConsole", [this] { WriteKept(); });
}

void Console::WriteKept() {
  for (;;) {
    pollfd waiting[2];
    nfds_t count = 0;
    {
      const RecursiveMutexLock lock(mutex_);
      for (Stream* const stream : {&output_, &error_}) {
        const size_t before = stream->kept.size();
        if (before > 0 && CanWrite(stream->fd)) {
          CallHook(before_);
          WriteSome(*stream);
          CallHook(after_);
          if (stream->kept.size() != before) ++taken_;
        }
        if (!stream->kept.empty()) waiting[count++] = {stream->fd, POLLOUT, 0};
      }
      if (count == 0) {
        // Nothing is done under the lock from here on: whoever starts the next may wait for this.
        writerRuns_ = false;
        return;
      }
    }
    // Not for ever: whoever ends the console clears what is kept, which no descriptor tells.
    poll(waiting, count, kLookMs);
  }
}

void Console::Flush(std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  uint64_t before = 0;
  for (Clock::time_point deadline = Clock::now() + patience; Clock::now() < deadline;) {
    {
      const RecursiveMutexLock lock(mutex_);
      if (output_.kept.empty() && error_.kept.empty()) return;
      if (taken_ != before) deadline = Clock::now() + patience;
      before = taken_;
    }
    poll(nullptr, 0, kLookMs);
  }
}

}  // namespace plexion_host
