// A run of the launcher without a player: windows that do what their content's name says.

#ifndef TESTS_HOST_LAUNCHER_RUNSTAGE_H_
#define TESTS_HOST_LAUNCHER_RUNSTAGE_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/run/WindowOpener.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/host/FakeService.h"
#include "tests/host/FakeStageWindow.h"
#include "tests/host/kernel/OutputPipe.h"

namespace plexion_host {

using Lines = std::vector<std::string>;

/// "ends": plays and completes at once. "plays": until it is terminated. "waits": loads when
/// MakeReady says so. "hangs": loads never, and holds up its destruction until Release. "missing":
/// its load fails. "odd": cannot be configured.
class RunService final : public FakeService {
 public:
  class Window final : public FakeStageWindow {
   public:
    Window(RunService& service, std::string content)
        : service_(service), content_(std::move(content)) {}

    void RegisterNotifier(qx::plexion::StageWindowNotifier* notifier) override {
      notifier_ = notifier;
    }
    bool Configure(const Parameters&) override {
      Tell(qx::plexion::kErrorUnsupportedVersion, "it is odd");
      return false;
    }
    qx::plexion::StageWindowStatus GetStageWindowStatus() override {
      return service_.Ask([this] { return status_; });
    }
    bool LoadMVXAsync() override {
      service_.Write("load " + content_);
      if (content_ == "missing") Tell(qx::plexion::kErrorInvalidURL, "no such file");
      if (content_ == "ends" || content_ == "plays") Tell(qx::plexion::kStatusReadyToAnimate);
      return true;
    }
    bool LoadForLFD() override { return LoadMVXAsync() && content_ != "missing"; }
    bool CreatePlanes() override {
      Tell(qx::plexion::kInfoOutputPlaneUpdated);  // its first picture
      return true;
    }
    bool Play() override {
      service_.Write("play " + content_);
      Tell(qx::plexion::kStatusPlaying);
      if (content_ == "ends" || content_ == "waits") Tell(qx::plexion::kStatusComplete);
      return true;
    }
    bool PlayForLFD() override {
      Play();
      service_.AwaitEnd([this] { return qx::plexion::IsTerminalStatus(status_); });
      return true;
    }
    bool Terminate(qx::plexion::StageWindowStatus status) override {
      if (content_ != "hangs") Tell(status);
      return true;
    }
    void Tell(qx::plexion::StageWindowStatus status, const char* message = nullptr) {
      if (status <= qx::plexion::kErrorUnsupportedVersion)
        service_.Ask([&] { return status_ = status; });
      service_.Changed();
      qx::plexion::StageWindowStatusData data{};
      data.message = message;
      if (notifier_ != nullptr) notifier_->OnStageWindowNotification(this, status, &data);
    }
    const std::string& Content() const { return content_; }

   private:
    RunService& service_;
    const std::string content_;
    qx::plexion::StageWindowNotifier* notifier_ = nullptr;
    qx::plexion::StageWindowStatus status_ = qx::plexion::kStatusConfigured;
  };

  bool ParseCommandLineParameters(int argc, const char** argv, Parameters& parameters) override {
    parameters.contentPath = argv[argc - 1];
    return true;
  }
  StageWindow* CreateStageWindow() override {
    Write("bare");
    return new Window(*this, "");
  }
  StageWindow* CreateStageWindow(const Parameters& parameters) override {
    const std::string content = parameters.contentPath;
    if (content == "odd") return nullptr;
    Write("open " + content);
    const MutexLock lock(mutex_);
    locales_.emplace_back(parameters.locale != nullptr ? parameters.locale : "");
    limits_.push_back(parameters.memoryLimit);
    auto* const window = new Window(*this, content);
    windows_.insert(window);
    most_ = std::max(most_, windows_.size());
    return window;
  }
  void DestroyStageWindow(StageWindow* stage) override {
    auto* const window = static_cast<Window*>(stage);
    if (window->Content() == "hangs") AwaitEnd([this] { return released_; });
    Write(window->Content().empty() ? "destroy" : "destroy " + window->Content());
    const MutexLock lock(mutex_);
    windows_.erase(window);
    delete window;
  }
  bool RunStageWindowSetToCompletion(StageWindowSet&) override {
    Write("wait for go");
    return true;
  }
  void DispatchKeyDown(unsigned long key) override { Write("key " + std::to_string(key)); }
  const char* StageWindowStatusToString(qx::plexion::StageWindowStatus) override {
    return "status";
  }

  /// All windows of that content are loaded from now on.
  void MakeReady(const std::string& content) {
    const auto found = Ask([&] {
      std::vector<Window*> of;
      for (Window* const window : windows_) {
        if (window->Content() == content) of.push_back(window);
      }
      return of;
    });
    for (Window* const window : found) window->Tell(qx::plexion::kStatusReadyToAnimate);
  }
  /// Destructions of what hangs go on.
  void Release() {
    Ask([this] { return released_ = true; });
    Changed();
  }
  void AwaitLine(const std::string& line) {
    AwaitEnd([&] { return std::find(journal_.begin(), journal_.end(), line) != journal_.end(); });
  }
  Lines Journal() {
    return Ask([this] { return journal_; });
  }
  size_t CountOf(const std::string& line) {
    const Lines journal = Journal();
    return static_cast<size_t>(std::count(journal.begin(), journal.end(), line));
  }
  Lines Locales() {
    return Ask([this] { return locales_; });
  }
  std::vector<uint32_t> Limits() {
    return Ask([this] { return limits_; });
  }
  size_t MostAtOnce() {
    return Ask([this] { return most_; });
  }
  size_t Alive() {
    return Ask([this] { return windows_.size(); });
  }

 private:
  // The questions run under the lock, which the compiler cannot follow.
  template <typename Question>
  std::invoke_result_t<Question> Ask(const Question& question) NO_THREAD_SAFETY_ANALYSIS {
    const MutexLock lock(mutex_);
    return question();
  }
  template <typename Question>
  void AwaitEnd(const Question& question) {
    MutexLock lock(mutex_);
    changed_.Wait(lock, question);
  }
  void Changed() { changed_.NotifyAll(); }
  void Write(const std::string& line) {
    Ask([&] {
      journal_.push_back(line);
      return 0;
    });
    Changed();
  }

  Mutex mutex_;
  Condition changed_;
  // Under the mutex.
  Lines journal_;
  Lines locales_;
  std::vector<uint32_t> limits_;
  std::set<Window*> windows_;
  size_t most_ = 0;
  bool released_ = false;
};

/// What a run stands on, without a display.
struct RunStage {
  RunStage() {
    windows.SetService(&service);
    session.service = &service;
    session.SetDisplayOpen(true);
  }

  /// The lines of a command line.
  std::vector<WindowLine>& Split(const std::vector<std::string>& arguments) {
    lines = SplitWindows(arguments, kMaxStageWindows).windows;
    return lines;
  }
  std::vector<OpenWindow> OpenAll(const std::vector<std::string>& arguments) {
    std::vector<OpenWindow> opened;
    for (const WindowLine& line : Split(arguments)) {
      if (const auto window = opener.Open(line)) opened.push_back(*window);
    }
    opener.ReportFailures();
    return opened;
  }

  OutputPipe output;
  OutputPipe errors;
  HostKernel kernel{{"plexion"}, {}, output.WriteEnd(), errors.WriteEnd()};
  RunService service;
  StatusBoard board;
  WindowList windows{board};
  ControlThread control;
  LauncherOptions options;
  Session session{kernel, windows, control, options};
  WindowOpener opener{session};
  std::vector<WindowLine> lines;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_LAUNCHER_RUNSTAGE_H_
