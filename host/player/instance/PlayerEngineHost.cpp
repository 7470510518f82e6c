// What a player instance does for its engine. Engines may have threads of their own, so all but
// ReportProgress may come from any thread; what is for the observers waits in the queue until the
// player's thread is out of the engine.
#include <utility>

#include "host/player/instance/PlayerInstance.h"

namespace plexion_host::player {

qx::plexion::MemoryWatchdog* PlayerInstance::Memory() { return watchdog_; }

const PlayerSettings& PlayerInstance::Settings() { return settings_; }

bool PlayerInstance::Cancelled() { return cancelled_; }

void PlayerInstance::ReportProgress(unsigned percent) {
  if (percent > 100) percent = 100;
  if (progressReported_ && percent <= reportedPercent_) return;
  progressReported_ = true;
  reportedPercent_ = percent;
  qx::plexion::StageWindowStatusData data = {};
  data.percent = percent;
  notifier_->OnMorvelInstanceNotification(qx::plexion::kInfoLoadProgress, &data);
}

// Told without the lock, which a thread that wakes up at once would wait for. The instance outlives its
// engine, so it is still there.
void PlayerInstance::RequestFrame() {
  {
    const MutexLock lock(mutex_);
    requests_.frame = true;
    if (std::exchange(woken_, true)) return;
  }
  wake_.NotifyOne();
}

void PlayerInstance::Complete() {
  const MutexLock lock(mutex_);
  requests_.complete = true;
  WakeLocked();
}

void PlayerInstance::Fail(const EngineError& error) {
  Command command;
  command.kind = Command::kFail;
  command.error = error;
  const MutexLock lock(mutex_);
  commands_.push_back(std::move(command));
  WakeLocked();
}

void PlayerInstance::Notify(Status event, const std::string& message) {
  Command command;
  command.kind = Command::kNotify;
  command.event = event;
  command.error.message = message;
  const MutexLock lock(mutex_);
  commands_.push_back(std::move(command));
  WakeLocked();
}

}  // namespace plexion_host::player
