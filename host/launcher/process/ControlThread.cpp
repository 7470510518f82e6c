// What the launcher does in its own time: the snapshot's timer, the end that was asked for.

#include "host/launcher/process/ControlThread.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

constexpr std::chrono::milliseconds kQuitRetry{50};

}  // namespace

void ControlThread::Start(std::function<bool()> onQuit) {
  PLEXION_CHECK(!thread_.IsJoinable(), "the control thread is started once");
  PLEXION_CHECK(onQuit != nullptr, "somebody ends what runs");
  onQuit_ = std::move(onQuit);
  thread_ = NamedThread("PlexionControl", [this] { Run(); });
}

void ControlThread::Stop() {
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
  }
  changed_.NotifyAll();
  thread_.Join();
}

void ControlThread::SetSnapshotTimer(Clock::time_point when, std::function<void()> action) {
  const MutexLock lock(mutex_);
  PLEXION_CHECK(action != nullptr, "a timer has something to do");
  snapshotAt_ = when;
  takeSnapshot_ = std::move(action);
  changed_.NotifyAll();
}

void ControlThread::CancelSnapshotTimer() {
  const MutexLock lock(mutex_);
  snapshotAt_.reset();
}

void ControlThread::QuitAt(Clock::time_point when) {
  const MutexLock lock(mutex_);
  if (!quitAt_ || when < *quitAt_) quitAt_ = when;
  changed_.NotifyAll();
}

// Only a time in the past: this is called under locks of others.
void ControlThread::RequestQuit() { QuitAt(Clock::now()); }

void ControlThread::Run() {
  MutexLock lock(mutex_);
  while (!stopping_) {
    const Clock::time_point now = Clock::now();
    if (snapshotAt_ && *snapshotAt_ <= now) {
      // Taken out under the lock: a timer that is set while the picture is saved is another one.
      const std::function<void()> take = std::move(takeSnapshot_);
      snapshotAt_.reset();
      lock.Unlock();
      // A picture takes as long as its disk does; whoever sets a timer meanwhile must not wait for it.
      take();
      lock.Lock();
    } else if (quitAt_ && *quitAt_ <= now && !quitDone_) {
      lock.Unlock();
      // It takes windows' locks, which a player may hold for a while: hence a thread that nobody
      // waits for, and hence again and again.
      const bool done = onQuit_();
      lock.Lock();
      quitDone_ = done;
      quitAt_ = Clock::now() + kQuitRetry;
    } else {
      std::optional<Clock::time_point> next = snapshotAt_;
      if (quitAt_ && !quitDone_ && (!next || *quitAt_ < *next)) next = quitAt_;
      if (next) {
        changed_.WaitOnceUntil(lock, *next);
      } else {
        changed_.Wait(lock);
      }
    }
  }
}

}  // namespace plexion_host
