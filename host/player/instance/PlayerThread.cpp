// The player's thread: takes commands, loads, ends. What belongs to a single frame is in
// PlayerFrames.cpp.
#include <algorithm>
#include <new>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/instance/PlayerInstance.h"
#include "host/player/instance/SettingsReport.h"

namespace plexion_host::player {

using qx::plexion::StageWindowStatus;

void PlayerInstance::RunThread() {
  while (WaitForWork()) {
    try {
      DoWork();
    } catch (const std::bad_alloc&) {
      Finish(qx::plexion::kErrorNotEnoughMemory, content_.name + ": out of memory");
    } catch (const std::exception& exception) {
      Finish(qx::plexion::kErrorFatalPlaybackError, content_.name + ": " + exception.what());
    }
  }
  engine_.reset();
}

bool PlayerInstance::WaitForWork() {
  const Time deadline = NextDeadline();
  MutexLock lock(mutex_);
  if (!woken_) clock_.WaitUntil(mutex_, lock, wake_, woken_, deadline);
  woken_ = false;
  return !quit_;
}

void PlayerInstance::DoWork() {
  Command command;
  while (!IsEnding() && TakeCommand(command)) Execute(command);
  if (finished_) return;

  if (!IsEnding() && TakeFlag(&Requests::interFrame)) {
    notifier_->OnMorvelInstanceInterFrameNotification();
  }
  if (!IsEnding()) {
    // Read before the frame is shown: what is requested meanwhile comes round again.
    const bool complete = TakeFlag(&Requests::complete);
    if (TakeFlag(&Requests::frame)) advanceWanted_ = true;
    if (complete) ShowAhead();
    ShowDueFrame();
    if (complete && !finished_) Finish(qx::plexion::kStatusComplete, std::string());
  }
  if (!finished_ && IsEnding()) FinishAsAsked(std::string());
}

bool PlayerInstance::TakeCommand(Command& command) {
  const MutexLock lock(mutex_);
  if (commands_.empty()) return false;
  command = std::move(commands_.front());
  commands_.pop_front();
  return true;
}

bool PlayerInstance::TakeFlag(bool Requests::*flag) {
  const MutexLock lock(mutex_);
  return std::exchange(requests_.*flag, false);
}

bool PlayerInstance::IsEnding() {
  const MutexLock lock(mutex_);
  return quit_ || (!finished_ && qx::plexion::IsTerminalStatus(endAs_));
}

void PlayerInstance::Execute(Command& command) {
  if (finished_) return;
  const bool forEngine = command.kind != Command::kNotify && command.kind != Command::kFail;
  if (forEngine) TakeCharge();
  switch (command.kind) {
    case Command::kAnnounceConfigured:
      Announce(qx::plexion::kStatusConfigured);
      PrepareEngine();
      break;
    case Command::kLoad:
      RunLoad();
      break;
    case Command::kPlay:
      playWanted_ = !pacer_.IsRunning();
      break;
    case Command::kPause:
      playWanted_ = false;
      if (pacer_.IsRunning()) StopPlaying();
      break;
    case Command::kInput:
      if (engine_ == nullptr) break;
      engine_->OnInput(command.input);
      advanceWanted_ = true;
      break;
    case Command::kProxy:
      settings_.proxy = command.proxy.host;
      settings_.proxyPort = command.proxy.port;
      settings_.proxyUser = command.proxy.user;
      settings_.proxyPassword = command.proxy.password;
      if (engine_ != nullptr) engine_->OnProxy(command.proxy);
      break;
    case Command::kVolume:
      if (engine_ == nullptr) break;
      engine_->SetVolume(volume_);
      advanceWanted_ = true;
      break;
    case Command::kSeek:
      command.done(GoTo(command.seconds, command.relative));
      break;
    case Command::kNotify:
      // Whoever stands before the device hears it, too, whichever engine it comes from.
      if (command.event == qx::plexion::kInfoUnsupportedPlaceholderRendered) {
        IQXKernel::GetKernel()->Printf("YELLOW ALERT: %s: %s\n",
                                       PrintableWord(content_.name).c_str(),
                                       PrintableWord(command.error.message).c_str());
      }
      Announce(command.event, command.error.message.c_str());
      break;
    case Command::kFail:
      Finish(command.error.status, content_.name + ": " + command.error.message);
      break;
  }
  // Play and Pause take effect in their order, also when they came together.
  if (playWanted_) StartPlayingWhenPossible();
}

std::string PlayerInstance::GoTo(double seconds, bool relative) {
  if (engine_ == nullptr) return "it is not loaded yet";
  std::string fault;
  if (!pacer_.IsClocked()) {
    engine_->Seek(seconds, relative, fault);
    return fault;
  }
  if (!pacer_.GoTo(seconds, relative, clock_.Now())) return "it has no length to go to a moment of";
  advanceWanted_ = true;
  return fault;
}

void PlayerInstance::PrepareEngine() {
  // A window is often configured long before it is loaded, and the display is opened in between.
  ContentAddress content;
  std::string ignored;
  const std::string& base = settings_.zorBase.empty() ? settings_.base : settings_.zorBase;
  if (ResolveContentAddress(settings_.contentUrl, base, content, ignored)) {
    engines_.Prepare(content);
  }
}

void PlayerInstance::RunLoad() {
  PLEXION_CHECK(engine_ == nullptr, "a content is loaded once");
  Announce(qx::plexion::kStatusLoading);
  statistics_.LoadBegins(clock_.Now());
  EngineError error;
  if (!OpenAndLoad(error)) {
    std::string message =
        content_.name.empty() ? error.message : content_.name + ": " + error.message;
    if (IsEnding()) {
      FinishAsAsked(message);
    } else {
      Finish(error.status, message);
    }
    return;
  }
  statistics_.LoadEnds(clock_.Now());
  ReportProgress(100);
  pacer_ = EnginePacer(facts_, settings_);
  {
    const MutexLock lock(mutex_);
    authoredDims_ = facts_.stageDims;
  }
  SetStatusAndAnnounce(qx::plexion::kStatusLoaded);
  AdvanceTo(0);
  if (!IsEnding()) SetStatusAndAnnounce(qx::plexion::kStatusReadyToAnimate);
}

bool PlayerInstance::OpenAndLoad(EngineError& error) {
  {
    const MutexLock lock(mutex_);
    settings_.contentUrl = contentUrl_;
    settings_.zorBase = zorBase_;
  }
  error.status = qx::plexion::kErrorInvalidURL;
  const std::string& base = settings_.zorBase.empty() ? settings_.base : settings_.zorBase;
  if (!ResolveContentAddress(settings_.contentUrl, base, content_, error.message)) return false;
  error.status = qx::plexion::kErrorStartupFailure;
  if (!ReadMorvelVars(settings_, error.message)) return false;
  ReportSettings(content_.name, settings_);

  ReportProgress(0);
  std::unique_ptr<Engine> engine = engines_.OpenEngine(content_, *this, error);
  if (engine == nullptr || !engine->Load(content_, facts_, error)) return false;
  if (facts_.stageDims.width == 0 || facts_.stageDims.height == 0) {
    error = {qx::plexion::kErrorCorruptMovie, "the content has no size"};
    return false;
  }
  engine_ = std::move(engine);
  if (volume_ != 1) engine_->SetVolume(volume_);
  return true;
}

void PlayerInstance::SetStatusAndAnnounce(StageWindowStatus status) {
  {
    const MutexLock lock(mutex_);
    status_ = status;
  }
  Announce(status);
}

void PlayerInstance::Announce(StageWindowStatus status, const char* message) {
  if (message == nullptr) {
    notifier_->OnMorvelInstanceNotification(status, nullptr);
    return;
  }
  PLEXION_CHECK(notifier_ != nullptr, "a player that runs has somebody to tell");
  qx::plexion::StageWindowStatusData data = {};
  data.message = message;
  notifier_->OnMorvelInstanceNotification(status, &data);
}

void PlayerInstance::FinishAsAsked(const std::string& message) {
  StageWindowStatus status;
  {
    const MutexLock lock(mutex_);
    // On the way out nobody listens any more.
    if (quit_) return;
    status = endAs_;
  }
  Finish(status, message);
}

void PlayerInstance::Finish(StageWindowStatus status, const std::string& message) {
  if (finished_) return;
  finished_ = true;
  playWanted_ = false;
  ahead_.reset();
  pacer_.Stop(clock_.Now());
  // The content's memory is back at the watchdog before anybody hears of the end.
  engine_.reset();
  if (settings_.instrument) {
    IQXKernel::GetKernel()->Printf("Player: %s: %s\n", content_.name.c_str(),
                                   statistics_.Describe().c_str());
  }
  {
    const MutexLock planeLock(planeMutex_);
    const MutexLock lock(mutex_);
    plane_ = nullptr;
    status_ = status;
    // Nothing that was asked for before the end may happen after it.
    commands_.clear();
  }
  Announce(status, message.empty() ? nullptr : message.c_str());
}

}  // namespace plexion_host::player
