// The launcher's own options.

#ifndef HOST_LAUNCHER_OPTIONS_COMMANDLINE_H_
#define HOST_LAUNCHER_OPTIONS_COMMANDLINE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/contracts/ContentFit.h"
#include "host/contracts/IHostDisplay.h"
#include "host/kernel/OperatorLog.h"
#include "host/launcher/options/LookAddress.h"
#include "host/launcher/options/StartTime.h"
#include "host/launcher/options/Transition.h"
#include "host/launcher/options/WindowArguments.h"
#include "host/launcher/programme/time/Rehearsal.h"
#include "qx/plexion/InputTypes.h"

namespace plexion_host {

/// Exit codes of the launcher.
enum ExitCode : int {
  kExitCompleted = 0,     ///< every content has completed
  kExitContentError = 1,  ///< some content ended in an error
  kExitUsage = 2,         ///< the command line is wrong
  kExitCannotWork = 3,    ///< no service, no player runtime, no display
  kExitDisplayLost = 4    ///< the display that was there has gone
};

/// The windows that one command line may ask for.
constexpr unsigned long kMaxStageWindows = 64;

struct KeyMode {
  qx::plexion::KeyInputMode mode = qx::plexion::kKeyInputModeDirect;
  int64_t delayMs = 50;
  int64_t intervalMs = 50;
};

/// What the launcher's own options say.
struct LauncherOptions {
  DisplayOptions display;
  std::string snapshotFile;             ///< empty: none
  std::optional<int64_t> snapshotAtMs;  ///< after the first play; none: when the content ends
  std::optional<int64_t> exitAfterMs;   ///< after the start
  std::string dataDirectory;            ///< empty: the install base as it is
  std::map<std::string, std::string> moduleMap;
  std::vector<std::string> modulePath;
  std::optional<KeyMode> keyMode;
  uint32_t memoryLimitBytes = 0;       ///< of each window; 0: none
  std::optional<bool> isolation;       ///< each content in a process of its own
  std::string programme;               ///< a document, a folder or a list; empty: none
  std::optional<Rehearsal> rehearsal;  ///< of the programme
  bool signage = false;
  bool loop = false;
  std::optional<unsigned> restartFailed;  ///< how often; none: see MostRestarts
  std::string diagnose;  ///< a tar file for a bug report, written at the end; empty: none
  bool watch = false;    ///< content that is being written is read again when its files change
  std::optional<StartTime> startAt;
  int64_t loadTimeoutMs = 15000;     ///< with signage: a content that takes longer is left out
  std::string shellSocket;           ///< empty: none
  std::optional<LookAddress> look;   ///< where the page is served; none: nowhere
  std::string lookToken;             ///< a file; empty: a new token for each run
  std::string soundOutput;           ///< a name, "auto" or "none"; empty: as the system says
  std::string shellSocketGroup;      ///< may use it as well; empty: its owner alone
  std::optional<LogLevel> logLevel;  ///< none: info, where there is a log
  bool logJson = false;
  std::string recordFile;         ///< what crosses the module's border goes there; empty: nowhere
  uint64_t recordMegabytes = 64;  ///< most that the file takes
  uint64_t recordMinutes = 0;     ///< that are kept; 0: as many as there is room for
  int64_t frozenAfterMs = 60000;  ///< a moving content whose picture stands still; 0: never said
  std::string captions;           ///< of a programme, likewise; "on", "off" or a file; empty: off
  std::optional<Fit> fit;  ///< of a programme's zones that do not say; windows have their own
  std::optional<uint32_t> rotation;  ///< degrees; none: what a programme says, else 0
  Transition transition;             ///< of a playlist, and of a programme that says nothing
  /// The service's own, anywhere on the command line, as the service looks for them.
  bool pause = false;
  bool useShell = false;
};

/// How often a content that failed comes back: as asked for, else three times on a sign, and never where
/// somebody may look at it.
inline unsigned MostRestarts(const LauncherOptions& options) {
  return options.restartFailed.value_or(options.signage ? 3 : 0);
}

struct CommandLine {
  enum class Kind { kRun, kHelp, kVersion, kWrong };
  Kind kind = Kind::kRun;
  std::string helpTopic;  ///< kHelp: as typed; empty: none
  std::string error;      ///< kWrong: what is wrong, and what would be right
  LauncherOptions options;
  /// What is left for the service: its options and the contents, without the program's name.
  std::vector<std::string> windowArguments;
  /// Options of the launcher that belong to contents, with their places among `windowArguments`.
  std::vector<ContentOption> contentOptions;
};

/// Takes the launcher's options out of a command line. `arguments` begins with the program's name.
///
/// A value of one of the service's options is never taken for an option of the launcher.
/// "--modulemap" belongs to both: the kernel needs it, the service checks it.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

/// What people are told of the launcher's own options.
std::vector<OptionHelp> LauncherOptionHelp();

/// The launcher's options, dashes included.
std::vector<std::string> LauncherOptionNames();

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_COMMANDLINE_H_
