// The launcher from command line to exit code: what a run stands on, acquired in order and released
// the other way round.

#include "host/launcher/Launcher.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>

#include "host/base/Check.h"
#include "host/base/ModuleHandle.h"
#include "host/base/NamedThread.h"
#include "host/base/RandomToken.h"
#include "host/base/Text.h"
#include "host/contracts/DataDirectory.h"
#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostLook.h"
#include "host/contracts/IHostPlayer.h"
#include "host/contracts/IHostSound.h"
#include "host/contracts/Isolation.h"
#include "host/contracts/WatchFiles.h"
#include "host/launcher/commands/Diagnosis.h"
#include "host/launcher/commands/LookSource.h"
#include "host/launcher/commands/OperatorShell.h"
#include "host/launcher/control/SoundControl.h"
#include "host/launcher/ctl/CtlCommand.h"
#include "host/launcher/health/HealthWatch.h"
#include "host/launcher/options/Help.h"
#include "host/launcher/process/EndWatch.h"
#include "host/launcher/process/RecordedService.h"
#include "host/launcher/process/TempFolder.h"
#include "host/launcher/programme/ProgrammeCommand.h"
#include "host/launcher/programme/ProgrammeRun.h"
#include "host/launcher/render/ContentCommand.h"
#include "host/launcher/run/SignageRun.h"
#include "host/launcher/run/WindowControl.h"
#include "host/launcher/run/WindowRun.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/IUserInputDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

constexpr int64_t kNanosecondsPerMillisecond = 1000000;

/// Closing the window ends everything; a display that changes is told of, and what plays goes on.
class DisplayWatch final : public IDisplayEventSink {
 public:
  DisplayWatch(Session& session, const DisplayOptions& options)
      : session_(session), options_(options) {}
  void OnDisplayEvent(const DisplayEvent& event) override {
    const bool follows = options_.followsDisplay && options_.width == 0;
    switch (event.kind) {
      case DisplayEvent::Kind::kCloseRequested:
        session_.windows.RequestQuit();
        break;
      case DisplayEvent::Kind::kDisplayResized:
        session_.Log(
            LogLevel::kInfo,
            "the display has " + std::to_string(event.x) + "x" + std::to_string(event.y) +
                " pixels now; " +
                (follows ? "the zones are laid out for it" : "the picture is scaled to it"),
            {{"event", "display"}});
        session_.windows.Board().Post([this] { ++session_.screenChanges; });
        break;
      case DisplayEvent::Kind::kOutputsChanged:
        session_.Log(event.x > 0 ? LogLevel::kInfo : LogLevel::kWarning,
                     "an output was plugged in or out; there are " + std::to_string(event.x) +
                         " now, and what plays goes on",
                     {{"event", "display"}});
        break;
      default:
        break;
    }
  }

 private:
  Session& session_;
  const DisplayOptions& options_;  ///< those that the display was opened with
};

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

void ExportSettings(const LauncherOptions& options) {
  // For modules, which have no other way to the launcher's own options.
  const std::string& path = options.dataDirectory;
  std::error_code error;
  if (options.watch) setenv(kWatchVariable, "1", 1);
  if (!path.empty()) {
    setenv(kDataDirectoryVariable, std::filesystem::absolute(path, error).c_str(), 1);
  }
  // The variable alone says so for a whole suite, or a whole machine.
  const bool given = options.isolation.has_value();
  setenv(kIsolationVariable, options.isolation.value_or(true) ? "on" : "off", given ? 1 : 0);
  // Contents' processes find the engines where this one does.
  const char* const variable = "PLEXION_MODULE_PATH";
  const std::string modules =
      Join(ModulePath(std::string(), options.modulePath, getenv(variable)), ":");
  setenv(variable, modules.c_str(), 1);
  std::string map;
  for (const auto& [name, file] : options.moduleMap) map += name + ":" + file + "\n";
  setenv(kModuleMapVariable, map.c_str(), 1);
}

/// One run of the launcher.
class Launcher {
 public:
  Launcher(const std::vector<std::string>& arguments, CommandLine line)
      : arguments_(arguments),
        line_(std::move(line)),
        kernel_(MakeKernel(arguments, line_.options)) {}

  int Run() {
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

  int ShowHelp() {
    const std::string& topic = line_.helpTopic;
    const std::string page = HelpPage(topic);
    if (page.empty()) {
      FailUsage("--help: '" + topic + "' is no topic; expected all or one of " +
                Join(HelpTopics()));
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

 private:
  // What a run stands on, each a step that answers whether to go on and has said why not.
  void WatchEnd();
  bool OpenRecording();
  bool OpenShell();
  bool ChooseSound();
  bool LoadService();
  bool ReadContents();
  bool ReadProgrammeFile();
  /// Where contents have processes of their own, those start while the display is being found.
  bool PrepareContents();
  /// Contents are made for the screen's size. Where only the display knows it, it is opened first.
  bool FindScreen();
  bool OpenWindows();
  /// The contents' thread runs beside all that the main thread does for the display, so that they
  /// load while it is being opened.
  bool StartContents();
  bool OpenDisplay();
  bool OpenInput();
  bool StartLook();
  void ShowContents();
  // And the way back; each is harmless when its step was not reached.
  void EndContents();
  void CloseInput();
  void CloseDisplay();
  void WriteDiagnosis();
  void UnloadService();
  void CloseShell();

  void PlayContents();
  bool LoadKeyMaps();
  void StartMouseStreams();

  /// Empty when there is no such module; `error_` then says why.
  template <typename Interface>
  ModuleHandle<Interface> Acquire(const char* name) {
    return ModuleHandle<Interface>(kernel_, kernel_.TryAcquireModule(name, error_));
  }
  /// The first reason stays the exit code. Returns  false.
  bool Fail(ExitCode code, const std::string& reason);
  bool FailUsage(const std::string& reason);
  int ExitCodeNow() const;

  const std::vector<std::string> arguments_;
  const CommandLine line_;
  HostKernel& kernel_;
  std::optional<RecordedService> recorded_;  // as long as the process: the service may stay loaded
  const ServiceManager manager_;
  EndWatch end_;
  std::atomic<int> code_{kExitCompleted};
  std::string error_;  // of the main thread

  StatusBoard board_;
  WindowList windows_{board_};
  ControlThread control_;
  Session session_{kernel_, windows_, control_, line_.options};
  SoundControl sound_;
  ModuleHandle<IHostPlayer> player_;  // under the sound control's lock
  OperatorShell shell_{kernel_, windows_, &session_.play, &sound_};
  Diagnosis diagnosis_{kernel_, shell_.Context(), arguments_};
  LookSource lookSource_{shell_.Context(), kernel_};
  ModuleHandle<IHostLook> look_;
  ModuleHandle<qx::plexion::IPlexionSets> service_;
  std::optional<TempFolder> temporary_;
  std::vector<WindowLine> lines_;
  ModuleHandle<ICalendar> calendar_;
  std::shared_ptr<const Programme> programme_;
  WindowOpener opener_{session_};
  ModuleHandle<IQXModule> runtime_;
  ModuleHandle<IHostPlayer> preparer_;
  std::vector<OpenWindow> opened_;
  bool displaySaid_ = false;
  ModuleHandle<qx::platform::IGraphicsDriver> driver_;
  ModuleHandle<IHostDisplay> display_;
  DisplayOptions displayOptions_;
  bool displayOpen_ = false;
  std::optional<Snapshot> snapshot_;
  ModuleHandle<IQXModule> userInput_;
  ModuleHandle<IHostInput> input_;
  std::vector<ModuleHandle<qx::platform::IMouseStream>> mouseStreams_;
  DisplayWatch displayWatch_{session_, displayOptions_};
  NamedThread contents_;
};

void Launcher::WatchEnd() {
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

bool Launcher::OpenRecording() {
  if (line_.options.recordFile.empty()) return true;
  recorded_.emplace(kernel_);
  if (recorded_->Open(line_.options, arguments_, error_)) return true;
  return Fail(kExitCannotWork, "--record: " + error_);
}

bool Launcher::OpenShell() {
  // Before the service, which may start the shell at once.
  end_.SetStep("the operator's shell");
  if (!shell_.Open(line_.options, error_)) return Fail(kExitCannotWork, error_);
  if (!shell_.SocketPath().empty()) end_.SetSocket(shell_.SocketPath());
  return true;
}

/// A wrong name is found before anything is opened. Only who names an output waits for the question
/// which ones there are.
bool Launcher::ChooseSound() {
  sound_.SetPlayer([this](std::string& error) -> IHostPlayer* {
    if (!player_) {
      player_ = ModuleHandle<IHostPlayer>(kernel_, kernel_.TryAcquireModule("IHostPlayer", error));
      if (!player_) error = "this player offers no volume and no positions: " + error;
    }
    return player_.Get();
  });
  const std::string& name = line_.options.soundOutput;
  if (name.empty()) return true;
  setenv(kSoundOutputVariable, name.c_str(), 1);
  if (name == "auto" || name == "none") return true;
  end_.SetStep("the sound outputs");
  const auto outputs = Acquire<IHostSound>("IHostSound");
  if (!outputs) return Fail(kExitCannotWork, "module IHostSound is not available: " + error_);
  std::vector<std::string> names = outputs->GetOutputNames();
  if (std::find(names.begin(), names.end(), name) != names.end()) return true;
  for (std::string& each : names) each = "'" + PrintableWord(each) + "'";
  names.insert(names.begin(), {"auto", "none"});
  return FailUsage("--sound-output: there is no output '" + PrintableWord(name) + "'; expected " +
                   Join(names));
}

bool Launcher::LoadService() {
  end_.SetStep("the module IPlexion");
  service_ = Acquire<qx::plexion::IPlexionSets>("IPlexion");
  if (!service_) return Fail(kExitCannotWork, "module IPlexion is not available: " + error_);
  temporary_.emplace(kernel_, *service_.Get());
  end_.SetCleanUp([this] { temporary_->Remove(); });
  windows_.SetService(service_.Get());
  session_.service = service_.Get();
  const std::optional<KeyMode>& keyMode = line_.options.keyMode;
  if (!keyMode) return true;
  if (keyMode->mode == qx::plexion::kKeyInputModeSimulateKeyUp) {
    windows_.SetKeyUpDelay(std::chrono::milliseconds(keyMode->delayMs));
  }
  return service_->SetKeyInputMode(keyMode->mode, keyMode->delayMs * kNanosecondsPerMillisecond,
                                   keyMode->intervalMs * kNanosecondsPerMillisecond) ||
         Fail(kExitCannotWork, "--key-mode: the service does not take it");
}

bool Launcher::ReadProgrammeFile() {
  // Of what else the service reads by itself, the operator's shell is of use here.
  const std::vector<std::string>& words = line_.windowArguments;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--useshell") continue;
    if (words[i] == "--modulemap") {
      ++i;
      continue;
    }
    return FailUsage("--programme: '" + words[i] +
                     "' stands beside it; expected no other content, and no option of a window");
  }
  calendar_ = Acquire<ICalendar>("ICalendar");
  if (!calendar_) return Fail(kExitCannotWork, "module ICalendar is not available: " + error_);
  auto programme = std::make_shared<Programme>();
  if (!OpenProgramme(line_.options.programme, *calendar_.Get(), *programme, error_)) {
    return Fail(kExitUsage, error_);
  }
  programme_ = std::move(programme);
  return true;
}

bool Launcher::ReadContents() {
  if (!line_.options.programme.empty()) return ReadProgrammeFile();
  WindowLines lines = SplitWindows(line_.windowArguments, kMaxStageWindows, LauncherOptionNames());
  if (!lines.error.empty()) return FailUsage(lines.error);
  lines_ = std::move(lines.windows);
  GiveVariables(line_.contentOptions, lines_);
  for (const WindowLine& line : lines_) {
    // The service has the last word, before the first content is opened.
    if (!opener_.Check(line)) {
      return FailUsage("the service does not accept the options of '" + line.content + "'");
    }
    std::error_code fault;
    const std::filesystem::path folder = line.content;
    if (std::filesystem::is_directory(folder, fault) &&
        !std::filesystem::exists(folder / "application.xml", fault)) {
      session_.Log(LogLevel::kWarning,
                   "'" + PrintableWord(line.content) +
                       "' is a folder without an application.xml; --programme plays what is in it");
    }
  }
  return true;
}

bool Launcher::PrepareContents() {
  const char* const isolation = getenv(kIsolationVariable);
  if (lines_.empty() || isolation == nullptr || std::string_view(isolation) != "on") return true;
  std::string ignored;  // who opens the first window says what is missing
  runtime_ =
      ModuleHandle<IQXModule>(kernel_, kernel_.TryAcquireModule("IMorvelRuntimeLib", ignored));
  preparer_ = ModuleHandle<IHostPlayer>(kernel_, kernel_.TryAcquireModule("IHostPlayer", ignored));
  if (!preparer_) return true;
  // Of a playlist the first; the others are prepared in their turn.
  const size_t first = line_.options.signage ? 1 : lines_.size();
  for (size_t i = 0; i < first; ++i) opener_.Prepare(lines_[i], *preparer_.Get());
  return true;
}

bool Launcher::OpenWindows() {
  end_.SetStep("the player runtime");
  control_.Start([this] {
    windows_.TerminateAll();
    if (!windows_.IsPausePending()) return true;
    shell_.SayGo();
    return false;  // "go" may not be registered yet
  });
  if (const std::optional<int64_t>& ms = line_.options.exitAfterMs) {
    control_.QuitAt(ControlThread::Clock::now() + std::chrono::milliseconds(*ms));
  }
  if (line_.options.signage || programme_) return true;  // one by one, in their turn
  for (const WindowLine& line : lines_) {
    if (const auto window = opener_.Open(line)) opened_.push_back(*window);
  }
  opener_.ReportFailures();
  if (!opened_.empty()) return true;
  code_ = opener_.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
  return false;
}

bool Launcher::StartContents() {
  contents_ = NamedThread("PlexionService", [this] { PlayContents(); });
  return true;
}

void Launcher::PlayContents() {
  if (programme_) {
    ProgrammeRun(session_, *calendar_.Get(), line_.options.programme, programme_).Run();
  } else if (line_.options.signage) {
    SignageRun run(session_, lines_);
    if (!run.Run()) code_ = run.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
    end_.EndWithin(EndWatch::kAfterRequest);  // a content that was left out may hang still
  } else {
    WindowControl control(windows_);
    session_.play.Set(&control);
    WindowRun(session_, opened_).Run();
    session_.play.Set(nullptr);
  }
  if (session_.WaitForDisplay() && session_.display != nullptr) session_.display->RequestQuit();
}

bool Launcher::FindScreen() {
  end_.SetStep("the display");
  driver_ = Acquire<qx::platform::IGraphicsDriver>("IGraphicsDriver");
  if (!driver_) return Fail(kExitCannotWork, "module IGraphicsDriver is not available: " + error_);
  // A device's own driver may bring its display loop with it.
  display_ = Acquire<IHostDisplay>("IHostDisplay");
  displayOptions_ = line_.options.display;
  for (const WindowLine& line : lines_) {
    displayOptions_.clear = displayOptions_.clear && !line.keepScreen;
  }
  if (programme_ && displayOptions_.width == 0) {
    displayOptions_.width = programme_->width;
    displayOptions_.height = programme_->height;
  }
  // Windows of a command line have their places in pixels; a playlist's are scaled with the picture.
  displayOptions_.followsDisplay = programme_ != nullptr;
  const uint32_t rotation = programme_ ? programme_->rotation : 0;
  displayOptions_.rotation = line_.options.rotation.value_or(rotation);
  return !display_ || display_->Plan(displayOptions_) || OpenDisplay();
}

bool Launcher::OpenDisplay() {
  if (displayOpen_) return true;
  end_.SetStep("the display");
  if (display_ && !display_->Open(displayOptions_, error_)) {
    return Fail(kExitCannotWork, "no display: " + error_);
  }
  displayOpen_ = true;
  if (display_ && displayOptions_.mode == DisplayMode::kAuto && display_->IsHeadless()) {
    session_.Log(
        LogLevel::kWarning,
        "no display was found: it plays off screen, and nobody sees it (--display headless "
        "says that this is meant; a display is named by DISPLAY or WAYLAND_DISPLAY)",
        {{"event", "display"}});
  }
  session_.display = display_.Get();
  snapshot_.emplace(line_.options.snapshotFile, display_.Get(), kernel_.GetConsole());
  session_.snapshot = &*snapshot_;
  return true;
}

bool Launcher::OpenInput() {
  // Held here as well as by the service, so that input works however the content is started. None
  // of it is needed.
  userInput_ = Acquire<IQXModule>("IUserInputDriver");
  input_ = Acquire<IHostInput>("IHostInput");
  if (!LoadKeyMaps()) return false;
  StartMouseStreams();
  shell_.SetRun(display_.Get(), input_.Get(), driver_.Get());
  return StartLook();
}

bool Launcher::StartLook() {
  const LauncherOptions& options = line_.options;
  if (!options.look) return true;
  LookSettings settings{options.look->address, options.look->port, RandomToken()};
  if (!options.lookToken.empty() && !LoadLookToken(options.lookToken, settings.token, error_)) {
    return Fail(kExitUsage, "--look-token: " + error_);
  }
  if (settings.token.empty()) return Fail(kExitCannotWork, "--look: no random numbers to be had");
  look_ = Acquire<IHostLook>("IHostLook");
  if (!look_) return Fail(kExitCannotWork, "module IHostLook is not available: " + error_);
  if (!look_->Start(settings, lookSource_, error_)) {
    return Fail(kExitCannotWork, "--look: " + error_);
  }
  const bool known = !options.lookToken.empty();
  session_.Log(LogLevel::kInfo, "the page is at " + LookUrl(*options.look, look_->GetPort()) +
                                    (known ? "TOKEN/ with the token of " + options.lookToken
                                           : settings.token + "/"));
  if (!options.look->IsLoopback()) {
    session_.Log(LogLevel::kWarning,
                 "--look: the page and its token travel in clear to all who can hear the network");
  }
  return true;
}

bool Launcher::LoadKeyMaps() {
  for (const WindowLine& line : lines_) {
    if (!line.keymap.empty() && input_ && !input_->LoadKeyMap(line.keymap, error_)) {
      return Fail(kExitUsage, "--keymap: " + error_);
    }
  }
  return true;
}

void Launcher::StartMouseStreams() {
  for (const WindowLine& line : lines_) {
    if (line.mouseStream.empty()) continue;
    mouseStreams_.push_back(Acquire<qx::platform::IMouseStream>("IMouseStream"));
    qx::plexion::StageWindowParameters parameters{};
    std::vector<const char*> argv = AsArgv("plexion", line.arguments);
    if (mouseStreams_.back() && service_->ParseCommandLineParameters(
                                    static_cast<int>(argv.size()) - 1, argv.data(), parameters)) {
      mouseStreams_.back()->StartMouseStream(parameters);
    }
  }
}

void Launcher::ShowContents() {
  if (display_) display_->AddEventSink(&displayWatch_);
  displaySaid_ = true;
  session_.SetDisplayOpen(true);
  manager_.SayReady();
  std::optional<HealthWatch> health;
  if (manager_.IsThere() || kernel_.GetConsole().HasLog()) health.emplace(session_, manager_);
  if (display_) display_->Run();
  contents_.Join();
  health.reset();
  if (display_) display_->RemoveEventSink(&displayWatch_);
}

void Launcher::EndContents() {
  end_.EndWithin(EndWatch::kAfterRequest);
  if (!displaySaid_) {
    // Nothing can be shown: ends the windows, which may be loading.
    windows_.RequestQuit();
    session_.SetDisplayOpen(false);
  }
  contents_.Join();
  PLEXION_CHECK(windows_.GetContents().empty(), "every window is destroyed by who opened it");
}

void Launcher::CloseInput() {
  look_.Reset();
  shell_.SetRun(nullptr, nullptr, nullptr);
  mouseStreams_.clear();
  input_.Reset();
  userInput_.Reset();
}

void Launcher::CloseDisplay() {
  control_.CancelSnapshotTimer();
  control_.Stop();  // its timers know the snapshot
  end_.SetStep("the display");
  if (snapshot_ && snapshot_->HasFailed() && code_ == kExitCompleted) code_ = kExitContentError;
  session_.snapshot = nullptr;
  if (displayOpen_ && display_) display_->Close();
  display_.Reset();
  driver_.Reset();
}

void Launcher::WriteDiagnosis() {
  const std::string& path = line_.options.diagnose;
  if (path.empty()) return;
  if (diagnosis_.Write(path, error_)) return;
  Fail(kExitContentError, "--diagnose: " + error_);
}

void Launcher::UnloadService() {
  end_.SetStep("the module IPlexion");
  sound_.Close();
  player_.Reset();
  preparer_.Reset();
  runtime_.Reset();
  windows_.SetService(nullptr);
  end_.SetCleanUp(nullptr);
  temporary_.reset();
  service_.Reset();
  calendar_.Reset();
}

void Launcher::CloseShell() {
  end_.SetStep("the operator's shell");
  shell_.Close();
  kernel_.GetConsole().Flush();
}

bool Launcher::Fail(ExitCode code, const std::string& reason) {
  int none = kExitCompleted;
  code_.compare_exchange_strong(none, code);
  session_.Error(reason);
  return false;
}

bool Launcher::FailUsage(const std::string& reason) {
  // First and last: what is above the usage has often left the screen, what is below a script's log.
  // A log says a thing once, and the journal needs no usage.
  Console& console = kernel_.GetConsole();
  const bool journal = GoesToJournal(STDERR_FILENO);
  if (!console.HasLog()) session_.Error(reason);
  if (console.HasLog() && !journal) console.PrintPlain("plexion: " + PrintableWord(reason) + "\n");
  if (!journal) console.PrintPlain(ShortUsage());
  return Fail(kExitUsage, reason);
}

int Launcher::ExitCodeNow() const {
  if (code_ != kExitCompleted) return code_;
  return session_.someContentFailed ? kExitContentError : kExitCompleted;
}

}  // namespace

int RunLauncher(const std::vector<std::string>& arguments) {
  if (IsContentCommand(arguments)) return RunContentCommand(arguments);
  if (IsProgrammeCommand(arguments)) return RunProgrammeCommand(arguments);
  if (IsCtlCommand(arguments)) return RunCtlCommand(arguments);
  EndWatch::BlockSignals();
  CommandLine line = ParseCommandLine(arguments);
  if (line.kind == CommandLine::Kind::kVersion || line.kind == CommandLine::Kind::kWrong) {
    Console console;
    const bool wrong = line.kind == CommandLine::Kind::kWrong;
    if (wrong) console.PrintError("plexion: " + line.error + "\n");
    console.Print(wrong ? ShortUsage() : "Plexion " PLEXION_VERSION "\n");
    if (wrong) console.PrintError("plexion: " + line.error + "\n");
    return wrong ? kExitUsage : kExitCompleted;
  }
  ExportSettings(line.options);
  const bool help = line.kind == CommandLine::Kind::kHelp;
  // Lives as long as the process, which is watched to its very end.
  static Launcher* const launcher = new Launcher(arguments, std::move(line));
  return help ? launcher->ShowHelp() : launcher->Run();
}

}  // namespace plexion_host
