// The operations of a player instance. They run on any thread, most of them under the window's
// stateLock: check, queue, wake, return.
#include "host/player/instance/PlayerInstance.h"

#include <system_error>
#include <utility>

#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host::player {

using qx::plexion::StageWindowStatus;

namespace {

// Input that the content does not get round to is dropped rather than piled up.
constexpr size_t kMostWaitingInputs = 1024;

std::string TextOf(const char* text) { return text == nullptr ? std::string() : text; }

}  // namespace

PlayerInstance::PlayerInstance(qx::plexion::StageWindow* window, EngineSource& engines,
                               PlayerClock& clock)
    : window_(window), engines_(engines), clock_(clock) {}

PlayerInstance::~PlayerInstance() {
  {
    const MutexLock lock(mutex_);
    quit_ = true;
    cancelled_ = true;
    WakeLocked();
  }
  thread_.Join();
}

bool PlayerInstance::Configure(const qx::core::morvellib::MorvelInstanceParameters& parameters) {
  MutexLock lock(mutex_);
  if (status_ != qx::plexion::kStatusUnconfigured) return false;
  notifier_ = parameters.notifier;
  if (notifier_ == nullptr) {
    status_ = qx::plexion::kErrorIncompleteConfiguration;
    return false;
  }
  settings_ = CopySettings(parameters);
  loadSettings_.contentUrl = parameters.contentUrl;
  loadSettings_.zorBase = parameters.zorBase;
  watchdog_ = window_ == nullptr ? nullptr : window_->GetMemoryWatchdog();
  Command announce;
  announce.kind = Command::kAnnounceConfigured;
  commands_.push_back(std::move(announce));
  status_ = qx::plexion::kStatusConfigured;
  woken_ = true;
  try {
    thread_ = NamedThread("PlexionPlayer", [this] { RunThread(); });
  } catch (const std::system_error&) {
    status_ = qx::plexion::kErrorStartupFailure;
    return false;
  }
  return true;
}

qx::core::morvellib::MorvelLoadSettings* PlayerInstance::GetLoadSettings() {
  return &loadSettings_;
}

bool PlayerInstance::LoadMVX() {
  // Read on the caller's thread, which is the one that "go" let write them.
  std::string contentUrl = loadSettings_.contentUrl.Utf8();
  std::string zorBase = loadSettings_.zorBase.Utf8();
  const MutexLock lock(mutex_);
  if (status_ != qx::plexion::kStatusConfigured) return false;
  status_ = qx::plexion::kStatusLoading;
  contentUrl_ = std::move(contentUrl);
  zorBase_ = std::move(zorBase);
  Command load;
  load.kind = Command::kLoad;
  commands_.push_back(std::move(load));
  WakeLocked();
  return true;
}

bool PlayerInstance::LoadMVXAsync() { return LoadMVX(); }

bool PlayerInstance::Play() {
  Command command;
  command.kind = Command::kPlay;
  return Post(std::move(command));
}

bool PlayerInstance::Pause() {
  Command command;
  command.kind = Command::kPause;
  return Post(std::move(command));
}

void PlayerInstance::SetVolume(double factor) {
  // Kept as well as posted: what is loaded later begins with it.
  volume_ = factor;
  // Before the content is loaded nobody needs to be told.
  Command command;
  command.kind = Command::kVolume;
  Post(std::move(command));
}

bool PlayerInstance::Seek(double seconds, bool relative,
                          std::function<void(const std::string&)> done) {
  Command command;
  command.kind = Command::kSeek;
  command.seconds = seconds;
  command.relative = relative;
  command.done = std::move(done);
  return Post(std::move(command));
}

bool PlayerInstance::Terminate(StageWindowStatus status) {
  if (!qx::plexion::IsTerminalStatus(status)) return false;
  // May be the player's own thread, inside an engine: nothing but flags may change here.
  const MutexLock lock(mutex_);
  if (qx::plexion::IsTerminalStatus(status_) || qx::plexion::IsTerminalStatus(endAs_)) return false;
  endAs_ = status;
  cancelled_ = true;
  // Without a thread nobody would ever take notice.
  if (status_ == qx::plexion::kStatusUnconfigured) status_ = status;
  WakeLocked();
  return true;
}

StageWindowStatus PlayerInstance::GetStageWindowStatus() {
  const MutexLock lock(mutex_);
  return status_;
}

qx::plexion::Dims PlayerInstance::GetMVXAuthoredStageDims() {
  const MutexLock lock(mutex_);
  return authoredDims_;
}

bool PlayerInstance::SetRenderPlane(qx::platform::RenderPlane* plane) {
  if (plane == nullptr || plane->GetPixelFormat() != qx::platform::kPixelFormat32) return false;
  const qx::plexion::Dims dims = plane->GetDims();
  if (dims.width == 0 || dims.height == 0) return false;
  {
    // Waits for the frame that is being drawn: when this returns, nobody draws into the last plane any more.
    const MutexLock planeLock(planeMutex_);
    const MutexLock lock(mutex_);
    if (qx::plexion::IsTerminalStatus(status_)) return false;
    plane_ = plane;
    drawEverything_ = true;
    WakeLocked();
  }
  return true;
}

bool PlayerInstance::ResetRenderPlane(qx::platform::RenderPlane* plane) {
  return SetRenderPlane(plane);
}

void PlayerInstance::RequestInterFrameNotification() {
  const MutexLock lock(mutex_);
  requests_.interFrame = true;
  WakeLocked();
}

void PlayerInstance::UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                                           const char* password) {
  Command command;
  command.kind = Command::kProxy;
  command.proxy = {TextOf(host), port, TextOf(user), TextOf(password)};
  const MutexLock lock(mutex_);
  if (qx::plexion::IsTerminalStatus(status_)) return;
  commands_.push_back(std::move(command));
  WakeLocked();
}

bool PlayerInstance::Post(Command command) {
  const MutexLock lock(mutex_);
  // Before the load there is nobody who would understand, behind the end nobody is left.
  if (status_ < qx::plexion::kStatusLoading || status_ > qx::plexion::kStatusPaused) return false;
  commands_.push_back(std::move(command));
  WakeLocked();
  return true;
}

void PlayerInstance::PostInput(const InputEvent& event) {
  {
    const MutexLock lock(mutex_);
    // A content that hangs while somebody leans on a key: the queue stays short, the end stays quick.
    if (commands_.size() >= kMostWaitingInputs) return;
  }
  Command command;
  command.kind = Command::kInput;
  command.input = event;
  Post(std::move(command));
}

void PlayerInstance::WakeLocked() {
  woken_ = true;
  wake_.NotifyOne();
}

}  // namespace plexion_host::player
