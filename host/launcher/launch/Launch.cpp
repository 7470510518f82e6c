// The order of a run, and what is said at its end.

#include "host/launcher/launch/Launch.h"

#include <unistd.h>

#include <cmath>
#include <cstdlib>

#include "host/base/Text.h"
#include "host/launcher/options/Help.h"

namespace plexion_host {
namespace {

/// Lives as long as the process: a library that cannot be unloaded keeps the pointer.
HostKernel& MakeKernel(const std::vector<std::string>& arguments, const LauncherOptions& options) {
  ModuleFiles files;
  files.path = ModulePath(ExecutableFolder(), {}, std::getenv("PLEXION_MODULE_PATH"));
  files.map = options.moduleMap;
  // Private interfaces of this host, in the libraries of the public ones.
  files.sharedLibraries = {{"IHostDisplay", "IGraphicsDriver"},
                           {"IHostPlanes", "IGraphicsDriver"},
                           {"IHostInput", "IUserInputDriver"},
                           {"IHostPlayer", "IMorvelRuntimeLib"},
                           {"IHostShell", "IShell"},
                           {"IHostSound", "IMediaEngine"}};
  static HostKernel* const kernel = new HostKernel(arguments, std::move(files));
  IQXModule_QXModule_PutKernel(kernel);
  return *kernel;
}

/// What goes on for long has a log: programmes and playlists, whatever the journal reads, and what
/// somebody asked one of.
void OpenLog(const LauncherOptions& options, Console& console) {
  const bool asked = options.logLevel || options.logJson;
  const bool journal = GoesToJournal(STDERR_FILENO);
  const bool programme = !options.programme.empty();
  if (!asked && !journal && !programme && !options.signage) return;
  LogSettings settings;
  settings.level = options.logLevel.value_or(LogLevel::kInfo);
  if (journal) settings.style = LogSettings::Style::kJournal;
  if (options.logJson) settings.style = LogSettings::Style::kJson;
  settings.takesModuleTexts = asked || journal || programme;
  console.SetLog(settings);
}

}  // namespace

Launch::Launch(const std::vector<std::string>& arguments, CommandLine line)
    : arguments_(arguments),
      line_(std::move(line)),
      kernel_(MakeKernel(arguments, line_.options)) {}

// The order is what the steps need of each other. The end is watched first, since every later step may hang
// in a library of a device's maker; the shell stands before the service, which may ask for it at once; contents are
// read before anything is opened, so that a typing error costs nobody a black screen. After a step that fails all
// closing steps run all the same: each looks for itself whether there is something to close.
int Launch::Run() {
  OpenLog(line_.options, kernel_.GetConsole());
  WatchEnd();
  const bool ready = OpenRecording() && OpenShell() && ChooseSound() && LoadService() &&
                     ReadContents() && PrepareContents() && FindScreen() && OpenWindows() &&
                     StartContents() && OpenDisplay() && OpenInput();
  if (ready) ShowContents();
  EndContents();
  CloseInput();
  CloseDisplay();
  WriteDiagnosis();
  UnloadService();
  CloseShell();
  return ExitCodeNow();
}

int Launch::ShowHelp() {
  const std::string& topic = line_.helpTopic;
  const std::string page = HelpPage(topic);
  if (page.empty()) {
    FailUsage("--help: '" + topic + "' is no topic; expected all or one of " + Join(HelpTopics()));
    return kExitUsage;
  }
  kernel_.GetConsole().Print(page);
  if (topic != "all") return kExitCompleted;
  kernel_.AddBuiltIn("IHostWindows", &windows_);
  const auto service = Acquire<qx::plexion::IPlexionSets>("IPlexion");
  if (!service) return kExitCompleted;
  kernel_.GetConsole().Print("\nWhat the service says of its options:\n");
  service->ShowUsage("plexion", kMaxStageWindows);
  return kExitCompleted;
}

void Launch::WatchEnd() {
  kernel_.AddBuiltIn("IHostWindows", &windows_);
  session_.manager = &manager_;
  windows_.SetQuitHandler([this] {
    manager_.SayStopping();
    end_.EndWithin(EndWatch::kAfterRequest);
    control_.RequestQuit();
  });
  windows_.SetDisplayLostHandler([this](const std::string& reason) {
    Fail(kExitDisplayLost, "the display has gone: " + reason);
    end_.EndWithin(EndWatch::kAfterSignal);  // the main thread may be lost with it
  });
  windows_.SetWindowHandlers(
      [this](const HostWindow& window) { sound_.OnWindow(window); },
      [this](const qx::plexion::StageWindow* window) { sound_.OnWindowGone(window); });
  windows_.SetKeyHandler([this](uint32_t key) {
    if (!sound_.OnKey(key)) return;
    const SoundLevel level = sound_.Get({});
    session_.Log(LogLevel::kInfo,
                 "volume " + std::to_string(std::lround(level.volume * 100)) +
                     (level.muted ? ", muted" : ""),
                 {{"event", "volume"}});
  });
  shell_.Context().diagnosis = &diagnosis_;
  if (!line_.options.diagnose.empty()) windows_.SetGoingHandler([this] { diagnosis_.Remember(); });
  windows_.SetPausePending(line_.options.pause);
  end_.Start([this] { windows_.RequestQuit(); }, [this] { return windows_.GetContents(); },
             [this] { return ExitCodeNow(); });
}

void Launch::WriteDiagnosis() {
  const std::string& path = line_.options.diagnose;
  if (path.empty()) return;
  if (diagnosis_.Write(path, error_)) return;
  Fail(kExitContentError, "--diagnose: " + error_);
}

bool Launch::Fail(ExitCode code, const std::string& reason) {
  int none = kExitCompleted;
  code_.compare_exchange_strong(none, code);
  session_.Error(reason);
  return false;
}

bool Launch::FailUsage(const std::string& reason) {
  // First and last: what is above the usage has often left the screen, what is below a script's log.
  // A log says a thing once, and the journal needs no usage.
  Console& console = kernel_.GetConsole();
  const bool journal = GoesToJournal(STDERR_FILENO);
  if (!console.HasLog()) session_.Error(reason);
  if (console.HasLog() && !journal) console.PrintPlain("plexion: " + PrintableWord(reason) + "\n");
  if (!journal) console.PrintPlain(ShortUsage());
  return Fail(kExitUsage, reason);
}

int Launch::ExitCodeNow() const {
  if (code_ != kExitCompleted) return code_;
  return session_.someContentFailed ? kExitContentError : kExitCompleted;
}

}  // namespace plexion_host
