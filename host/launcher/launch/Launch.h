// One run of the launcher: what it stands on, acquired in order and released the other way round.

#ifndef HOST_LAUNCHER_LAUNCH_LAUNCH_H_
#define HOST_LAUNCHER_LAUNCH_LAUNCH_H_

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/ModuleHandle.h"
#include "host/base/NamedThread.h"
#include "host/contracts/ICalendar.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostLook.h"
#include "host/contracts/IHostPlayer.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/commands/Diagnosis.h"
#include "host/launcher/commands/LookSource.h"
#include "host/launcher/commands/OperatorShell.h"
#include "host/launcher/control/SoundControl.h"
#include "host/launcher/launch/DisplayWatch.h"
#include "host/launcher/options/CommandLine.h"
#include "host/launcher/process/EndWatch.h"
#include "host/launcher/process/RecordedService.h"
#include "host/launcher/process/TempFolder.h"
#include "host/launcher/programme/document/Programme.h"
#include "host/launcher/run/Session.h"
#include "host/launcher/run/WindowOpener.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/IUserInputDriver.h"

namespace plexion_host {

/// One run of the launcher, from a command line that is in order to an exit code. Its rooms: Launch.cpp has the
/// order of steps, Service.cpp what stands behind them, Contents.cpp what is played, Display.cpp where it is
/// seen, Input.cpp what acts on it.
///
/// Made once and never destroyed: the end is watched until the process is gone, and a module that cannot
/// be unloaded keeps pointers into it.
///
/// Thread   the main thread makes it and calls Run or ShowHelp; PlayContents runs on `contents_` beside it. What
///          both touch guards itself (`windows_`, `session_`, `control_`), or is written before that thread
///          starts and read after it has been joined.
class Launch {
 public:
  Launch(const std::vector<std::string>& arguments, CommandLine line);
  Launch(const Launch&) = delete;
  Launch& operator=(const Launch&) = delete;

  /// Plays what the line names. Returns  the exit code.
  int Run();
  /// The page that `--help` asks for. Returns  the exit code.
  int ShowHelp();

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
  // What hears of the end, and what is said at it.
  std::optional<RecordedService> recorded_;  // as long as the process: the service may stay loaded
  const ServiceManager manager_;
  EndWatch end_;
  std::atomic<int> code_{kExitCompleted};
  std::string error_;  // of the main thread

  // The windows, and what orders them about. Declared before all that keeps a reference to them.
  StatusBoard board_;
  WindowList windows_{board_};
  ControlThread control_;
  Session session_{kernel_, windows_, control_, line_.options};
  SoundControl sound_;
  ModuleHandle<IHostPlayer>
      player_;  // acquired at the first question for sound, under the control's lock
  OperatorShell shell_{kernel_, windows_, &session_.play, &sound_};
  Diagnosis diagnosis_{kernel_, shell_.Context(), arguments_};
  LookSource lookSource_{shell_.Context(), kernel_};
  ModuleHandle<IHostLook> look_;

  // Modules and what came of them; given back by hand, the last one first, while the end is still watched: a
  // library that hangs when it is unloaded is then named, and ended.
  ModuleHandle<qx::plexion::IPlexionSets> service_;
  std::optional<TempFolder> temporary_;
  std::vector<WindowLine> lines_;
  ModuleHandle<ICalendar> calendar_;
  std::shared_ptr<const Programme> programme_;
  WindowOpener opener_{session_};
  ModuleHandle<IQXModule> runtime_;
  ModuleHandle<IHostPlayer> preparer_;  // holds contents' processes that have been started early
  std::vector<OpenWindow> opened_;      // for the contents' thread
  bool displaySaid_ = false;            // that thread has been told whether there is a display
  ModuleHandle<qx::platform::IGraphicsDriver> driver_;
  ModuleHandle<IHostDisplay> display_;
  DisplayOptions displayOptions_;  // those of the line, with what the programme adds
  bool displayOpen_ = false;  // also without a display of ours, when a device's driver needs none
  std::optional<Snapshot> snapshot_;
  ModuleHandle<IQXModule> userInput_;
  ModuleHandle<IHostInput> input_;
  std::vector<ModuleHandle<qx::platform::IMouseStream>> mouseStreams_;
  DisplayWatch displayWatch_{session_, displayOptions_};
  NamedThread contents_;  // the last: it is joined before anything that it uses goes
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_LAUNCH_LAUNCH_H_
