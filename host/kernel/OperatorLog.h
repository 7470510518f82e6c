// What an operator reads of a run: lines with time and level, for people, the journal or a program.

#ifndef HOST_KERNEL_OPERATORLOG_H_
#define HOST_KERNEL_OPERATORLOG_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/Mutex.h"

namespace plexion_host {

/// From the most urgent on.
enum class LogLevel { kError, kWarning, kInfo, kDebug };

/// "error", "warning", "info", "debug"; none for another word.
std::optional<LogLevel> ReadLogLevel(std::string_view word);

struct LogSettings {
  enum class Style {
    kTimed,    ///< 2026-11-23 10:00:00 warning TEXT
    kJournal,  ///< <4>TEXT: the journal has a clock of its own, and takes the level from the front
    kJson      ///< {"time":...,"level":...,"message":TEXT, and the record's fields}
  };
  LogLevel level = LogLevel::kInfo;  ///< less urgent ones are left out
  Style style = Style::kTimed;
  bool takesModuleTexts = false;  ///< what modules print becomes lines of the log, too
};

/// Of a record, for programs.
struct LogField {
  const char* name;
  std::string value;
  bool isNumber = false;  ///< the value is a number as JSON has it
};

/// One thing that happened. Fields are for programs, which read them in the JSON style; the text says
/// the same to people.
struct LogRecord {
  LogLevel level = LogLevel::kInfo;
  std::string text;
  std::vector<LogField> fields = {};
};

/// The level of a line that a module printed: alerts at theirs, what is said of each content that is
/// opened at debug, the rest (traces that somebody asked for) at info.
LogLevel LevelOfModuleText(std::string_view line);

/// `text` with passwords taken out: the one in an address (user:PASSWORD@host) and the values of
/// parameters whose names say that they are secret (?token=VALUE).
std::string WithoutPasswords(std::string_view text);

/// Whether `fd` goes to the journal, as its service manager says (JOURNAL_STREAM).
bool GoesToJournal(int fd);

/// Makes lines of records. A warning or an error that is said again within an hour is left out (it
/// becomes one of level debug), and how often is told when it is said next: a content that fails every
/// minute for a day must not hide what else happened.
///
/// Thread   any.
class OperatorLog {
 public:
  using Clock = std::chrono::system_clock;

  explicit OperatorLog(const LogSettings& settings, std::function<Clock::time_point()> now = {});

  const LogSettings& Settings() const { return settings_; }
  /// The line with its end; empty when it is left out. Line ends inside the text are followed by blanks
  /// (and the journal's level), or escaped in the JSON style.
  std::string Line(const LogRecord& record);

 private:
  struct Said {
    Clock::time_point at{};
    uint64_t more = 0;
  };

  /// How often it was left out since it was said last; none when it is to be left out now.
  std::optional<uint64_t> TimesLeftOut(const std::string& text, Clock::time_point now);

  const LogSettings settings_;
  const std::function<Clock::time_point()> now_;
  Mutex mutex_;
  std::map<std::string, Said> said_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_OPERATORLOG_H_
