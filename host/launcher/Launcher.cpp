#include "host/launcher/Launcher.h"

#include <pthread.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

#include "host/contracts/DataDirectory.h"
#include "host/contracts/IHostInput.h"
#include "host/launcher/commands/OperatorShell.h"
#include "host/launcher/programme/ProgrammeCommand.h"
#include "host/launcher/render/ContentCommand.h"
#include "host/launcher/run/SignageRun.h"
#include "host/launcher/run/WindowRun.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/IUserInputDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

constexpr int64_t kNanosecondsPerMillisecond = 1000000;

/// Closing the window ends everything.
class CloseWatch final : public IDisplayEventSink {
 public:
  explicit CloseWatch(WindowList& windows) : windows_(windows) {}
  void OnDisplayEvent(const DisplayEvent& event) override {
    if (event.kind == DisplayEvent::Kind::kCloseRequested) windows_.RequestQuit();
  }

 private:
  WindowList& windows_;
};

struct StopAtEnd {
  ControlThread& control;
  ~StopAtEnd() { control.Stop(); }
};

/// Lives as long as the process: a library that cannot be unloaded keeps the pointer.
HostKernel& MakeKernel(const std::vector<std::string>& arguments, const LauncherOptions& options) {
  ModuleFiles files;
  files.path =
      ModulePath(ExecutableFolder(), options.modulePath, std::getenv("PLEXION_MODULE_PATH"));
  files.map = options.moduleMap;
  // Private interfaces of this host, in the libraries of the public ones.
  files.sharedLibraries = {{"IHostDisplay", "IGraphicsDriver"},
                           {"IHostInput", "IUserInputDriver"},
                           {"IHostShell", "IShell"}};
  static HostKernel* const kernel = new HostKernel(arguments, std::move(files));
  IQXModule_QXModule_PutKernel(kernel);
  return *kernel;
}

void ExportSettings(const LauncherOptions& options) {
  // For modules, which have no other way to the launcher's own options.
  const std::string& path = options.dataDirectory;
  std::error_code error;
  if (!path.empty()) {
    setenv(kDataDirectoryVariable, std::filesystem::absolute(path, error).c_str(), 1);
  }
}

/// One run of the launcher. Each step answers an exit code, or none to go on.
class Launcher {
 public:
  Launcher(const std::vector<std::string>& arguments, const CommandLine& line)
      : line_(line),
        kernel_(MakeKernel(arguments, line.options)),
        shellWanted_(OperatorShell::IsWanted(arguments, line.options.shellSocket)) {}

  int Run() {
    kernel_.AddBuiltIn("IHostWindows", &windows_);
    windows_.SetQuitHandler([this] { control_.RequestQuit(); });
    std::string error;
    if (shellWanted_ && !shell_.Open(line_.options.shellSocket, error)) return CannotWork(error);
    service_ = static_cast<qx::plexion::IPlexionSets*>(kernel_.TryAcquireModule("IPlexion", error));
    if (service_ == nullptr) return CannotWork("module IPlexion is not available: " + error);
    windows_.SetService(service_);
    const int code = RunWithService();
    windows_.SetService(nullptr);
    kernel_.ReleaseModule(service_);
    return code;
  }

  int ShowHelp() {
    kernel_.GetConsole().Print(LauncherHelp());
    kernel_.AddBuiltIn("IHostWindows", &windows_);
    std::string error;
    IQXModule* const module = kernel_.TryAcquireModule("IPlexion", error);
    if (module == nullptr) return kExitCompleted;
    kernel_.GetConsole().Print("\nWhat the service says of its options:\n");
    static_cast<qx::plexion::IPlexionSets*>(module)->ShowUsage("plexion", kMaxStageWindows);
    kernel_.ReleaseModule(module);
    return kExitCompleted;
  }

 private:
  int RunWithService() {
    const WindowLines lines =
        SplitWindows(line_.windowArguments, kMaxStageWindows, LauncherOptionNames());
    if (!lines.error.empty()) return WrongUsage(lines.error);
    const LauncherOptions& options = line_.options;
    if (options.keyMode) {
      service_->SetKeyInputMode(options.keyMode->mode,
                                options.keyMode->delayMs * kNanosecondsPerMillisecond,
                                options.keyMode->intervalMs * kNanosecondsPerMillisecond);
    }
    Session session(kernel_, service_, windows_, control_, options);
    const StopAtEnd stopControl{control_};  // before the session goes, which the thread uses
    control_.Start([&] {
      windows_.TerminateAll();
      if (!session.pausePending) return true;
      ReleasePause(kernel_);
      return false;  // "go" may not be registered yet
    });
    if (options.exitAfterMs) {
      control_.QuitAt(ControlThread::Clock::now() +
                      std::chrono::milliseconds(*options.exitAfterMs));
    }

    WindowOpener opener(session);
    std::vector<OpenWindow> opened;
    if (options.signage) {
      if (const int code = CheckSignage(lines.windows)) return code;
    } else {
      if (!opener.OpenAll(lines.windows, opened)) {
        return WrongUsage("the service does not accept this command line");
      }
      if (opened.empty()) return opener.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
    }
    const int code = RunWindows(session, lines.windows, opened);
    if (code != kExitCompleted) return code;
    return session.someContentFailed ? kExitContentError : kExitCompleted;
  }

  /// Each content of a playlist is looked at by the service before the first is played.
  int CheckSignage(const std::vector<WindowLine>& lines) {
    for (const WindowLine& line : lines) {
      qx::plexion::StageWindowParameters parameters{};
      std::vector<const char*> argv = AsArgv("plexion", line.arguments);
      if (!service_->ParseCommandLineParameters(static_cast<int>(argv.size()) - 1, argv.data(),
                                                parameters)) {
        return WrongUsage("the service does not accept the options of '" + line.content + "'");
      }
    }
    return kExitCompleted;
  }

  /// The contents' thread runs beside all that the main thread does for the display, so that they
  /// load while it is being opened.
  int RunWindows(Session& session, const std::vector<WindowLine>& lines,
                 const std::vector<OpenWindow>& opened) {
    int contentCode = kExitCompleted;
    std::thread service([&] {
      pthread_setname_np(pthread_self(), "PlexionService");
      if (line_.options.signage) {
        SignageRun run(session, lines);
        if (!run.Run()) contentCode = run.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
      } else {
        WindowRun run(session, opened);
        run.Run();
      }
      if (session.WaitForDisplay() && session.display != nullptr) session.display->RequestQuit();
    });
    const int code = RunOnDisplay(session, lines, service);
    return code == kExitCompleted ? contentCode : code;
  }

  /// These three return when `service` has ended.
  int RunOnDisplay(Session& session, const std::vector<WindowLine>& lines, std::thread& service) {
    std::string error;
    IQXModule* const driver = kernel_.TryAcquireModule("IGraphicsDriver", error);
    if (driver == nullptr) {
      return GiveUp(session, service,
                    CannotWork("module IGraphicsDriver is not available: " + error));
    }
    // A device's own driver may bring its display loop with it.
    auto* const display =
        static_cast<IHostDisplay*>(kernel_.TryAcquireModule("IHostDisplay", error));
    int code = kExitCompleted;
    DisplayOptions options = line_.options.display;
    for (const WindowLine& line : lines) options.clear = options.clear && !line.keepScreen;
    if (display != nullptr && !display->Open(options, error)) {
      code = GiveUp(session, service, CannotWork("no display: " + error));
    } else {
      Snapshot snapshot(line_.options.snapshotFile, display, kernel_.GetConsole());
      session.display = display;
      session.snapshot = &snapshot;
      code = RunWithInput(session, lines, service);
      control_.CancelSnapshotTimer();
      control_.Stop();  // its timers know the snapshot
      if (code == kExitCompleted && snapshot.HasFailed()) code = kExitContentError;
      session.snapshot = nullptr;
      if (display != nullptr) display->Close();
    }
    kernel_.ReleaseModule(display);
    kernel_.ReleaseModule(driver);
    return code;
  }

  int RunWithInput(Session& session, const std::vector<WindowLine>& lines, std::thread& service) {
    std::string error;
    std::vector<IQXModule*> held;
    const auto hold = [&](const char* name) {
      IQXModule* const module = kernel_.TryAcquireModule(name, error);
      if (module != nullptr) held.push_back(module);
      return module;
    };
    // Held here as well, so that input works however the content is started. None is needed.
    hold("IUserInputDriver");
    auto* const input = static_cast<IHostInput*>(hold("IHostInput"));
    int code = kExitCompleted;
    for (const WindowLine& line : lines) {
      if (!line.keymap.empty() && input != nullptr && !input->LoadKeyMap(line.keymap, error)) {
        session.Error("--keymap: " + error);
        code = kExitUsage;
      }
    }
    if (code == kExitCompleted) {
      StartMouseStream(lines, hold);
      shell_.SetRun(session.display, input,
                    static_cast<qx::platform::IGraphicsDriver*>(hold("IGraphicsDriver")));
      RunDisplayLoop(session, service);
      shell_.SetRun(nullptr, nullptr, nullptr);
    } else {
      GiveUp(session, service, code);
    }
    for (auto module = held.rbegin(); module != held.rend(); ++module) {
      kernel_.ReleaseModule(*module);
    }
    return code;
  }

  void RunDisplayLoop(Session& session, std::thread& service) {
    CloseWatch closeWatch(windows_);
    if (session.display != nullptr) session.display->AddEventSink(&closeWatch);
    session.SetDisplayOpen(true);
    if (session.display != nullptr) session.display->Run();
    service.join();
    if (session.display != nullptr) session.display->RemoveEventSink(&closeWatch);
  }

  /// Nothing can be shown: ends the windows, which may be loading.
  int GiveUp(Session& session, std::thread& service, int code) {
    windows_.RequestQuit();
    session.SetDisplayOpen(false);
    service.join();
    return code;
  }

  template <typename Hold>
  void StartMouseStream(const std::vector<WindowLine>& lines, const Hold& hold) {
    for (const WindowLine& line : lines) {
      if (line.mouseStream.empty()) continue;
      auto* const stream = static_cast<qx::platform::IMouseStream*>(hold("IMouseStream"));
      qx::plexion::StageWindowParameters parameters{};
      std::vector<const char*> argv = AsArgv("plexion", line.arguments);
      if (stream != nullptr && service_->ParseCommandLineParameters(
                                   static_cast<int>(argv.size()) - 1, argv.data(), parameters)) {
        stream->StartMouseStream(parameters);
      }
    }
  }

  int CannotWork(const std::string& reason) {
    kernel_.GetConsole().PrintError("plexion: " + reason + "\n");
    return kExitCannotWork;
  }

  int WrongUsage(const std::string& reason) {
    kernel_.GetConsole().Print(ShortUsage());
    kernel_.GetConsole().PrintError("plexion: " + reason + "\n");
    return kExitUsage;
  }

  const CommandLine& line_;
  HostKernel& kernel_;
  const bool shellWanted_;
  StatusBoard board_;
  WindowList windows_{board_};
  ControlThread control_;
  OperatorShell shell_{kernel_, windows_};  // ends before what its commands work on
  qx::plexion::IPlexionSets* service_ = nullptr;
};

}  // namespace

int RunLauncher(const std::vector<std::string>& arguments) {
  if (IsContentCommand(arguments)) return RunContentCommand(arguments);
  if (IsProgrammeCommand(arguments)) return RunProgrammeCommand(arguments);
  ControlThread::BlockSignals();
  const CommandLine line = ParseCommandLine(arguments);
  Console console;
  if (line.kind == CommandLine::Kind::kVersion) {
    console.Print("Plexion " PLEXION_VERSION "\n");
    return kExitCompleted;
  }
  if (line.kind == CommandLine::Kind::kWrong) {
    console.Print(ShortUsage());
    console.PrintError("plexion: " + line.error + "\n");
    return kExitUsage;
  }
  ExportSettings(line.options);
  Launcher launcher(arguments, line);
  return line.kind == CommandLine::Kind::kHelp ? launcher.ShowHelp() : launcher.Run();
}

}  // namespace plexion_host
