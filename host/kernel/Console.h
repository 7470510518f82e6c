// Where the kernel's Printf and the host's own messages go.

#ifndef HOST_KERNEL_CONSOLE_H_
#define HOST_KERNEL_CONSOLE_H_

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/contracts/IHostConsole.h"
#include "host/kernel/OperatorLog.h"

namespace plexion_host {

/// A call is one piece of output: it is formatted first and then written as a whole, so lines of
/// two threads are not mixed. What a capturing thread prints to standard output is kept for it;
/// messages to standard error are never captured.
///
/// Much of what is printed comes from others: names of files, words of documents and servers. So all
/// of it is made printable first (Printable in host/base/Text.h): nothing that passes here can steer
/// a terminal.
///
/// Nobody who prints waits for whoever reads: what a pipe or a stopped terminal does not take at once
/// is kept, up to kMaxKept bytes, and written by a thread of its own as it is read; what comes beyond
/// that is dropped, and how much is said when there is room again.
///
/// With a log (SetLog) what is said of the run becomes lines of it on standard error, with time and
/// level; without one messages are "plexion: TEXT" there, and modules' texts go to standard output byte
/// for byte as they are.
///
/// Thread   any.
class Console final : public IHostConsole {
 public:
  static constexpr size_t kMaxKept = 1U << 20;
  static constexpr size_t kMostLastLines = 500;
  static constexpr size_t kMostOfLastLine = 2000;  ///< bytes of one that are remembered

  /// `outputFd` and `errorFd` stay the caller's.
  explicit Console(int outputFd = 1, int errorFd = 2) : output_(outputFd), error_(errorFd) {}
  /// Waits for the reader as Flush does.
  ~Console() override;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void Print(const std::string& text);
  void PrintFormat(const char* format, va_list arguments);
  void PrintError(const std::string& text);

  /// From now on there is a log. Once, before other threads print.
  void SetLog(const LogSettings& settings);
  bool HasLog() const { return log_ != nullptr; }
  /// A record of the log. Without a log warnings and errors are "plexion: TEXT", and the others are
  /// left out.
  void Log(const LogRecord& record);

  /// The last lines of the log, or what went to standard error; the oldest first, `most` at most and no
  /// more than kMostLastLines. `all`: also those that went to standard output.
  std::vector<std::string> LastLines(size_t most, bool all = false);

  /// Waits until what was kept has been written, as long as its reader takes something every now and
  /// then; what a reader does not take for so long is dropped.
  void Flush(std::chrono::milliseconds patience = std::chrono::milliseconds(500));

  void BeginCapture() override;
  std::string EndCapture() override;
  void PrintPlain(const std::string& text) override;
  /// Hooks run under the console's lock, which a thread may take again: a hook may print.
  void SetTerminalHooks(void (*before)(void*), void (*after)(void*), void* context) override;
  bool IsLineOpen() override;

 private:
  struct Stream {
    explicit Stream(int descriptor) : fd(descriptor) {}
    const int fd;
    std::string kept;    // what has not been taken yet
    size_t dropped = 0;  // bytes since `kept` was full
  };

  /// Text of a module for the log: whole lines go, the rest waits for its end.
  void LogModuleText(const std::string& text);
  void Write(Stream Console::*which, const std::string& text) EXCLUDES(mutex_);
  void CallHook(void (*hook)(void*)) REQUIRES(mutex_);
  /// Writes what is kept as it is taken, until nothing is.
  void WriteKept() EXCLUDES(mutex_);
  /// Writes what the reader takes now, from the front of `stream.kept`.
  static void WriteSome(Stream& stream);
  void StartWriter() REQUIRES(mutex_);

  std::unique_ptr<OperatorLog> log_;  // constant once others print

  struct LastLine {
    std::string text;
    bool output = false;
  };
  void KeepLastLines(const std::string& printable, bool output) REQUIRES(mutex_);

  RecursiveMutex mutex_;  // also the order of output
  std::deque<LastLine> lastLines_ GUARDED_BY(mutex_);
  Stream output_ GUARDED_BY(mutex_);
  Stream error_ GUARDED_BY(mutex_);
  void (*before_)(void*) GUARDED_BY(mutex_) = nullptr;
  void (*after_)(void*) GUARDED_BY(mutex_) = nullptr;
  void* context_ GUARDED_BY(mutex_) = nullptr;
  bool insideHook_ GUARDED_BY(mutex_) = false;
  bool lineOpen_ GUARDED_BY(mutex_) = false;
  bool writerRuns_ GUARDED_BY(mutex_) = false;
  uint64_t taken_ GUARDED_BY(mutex_) = 0;  // counts what the writer got rid of
  NamedThread writer_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_CONSOLE_H_
