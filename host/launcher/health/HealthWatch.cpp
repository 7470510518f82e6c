// Looks at what is presented every few seconds, and says what it finds.

#include "host/launcher/health/HealthWatch.h"

#include <algorithm>

#include "host/base/Text.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindow.h"

namespace plexion_host {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr milliseconds kLook{5000};

int64_t NowMs() {
  // The same clock as the display's times of frames.
  return duration_cast<milliseconds>(StatusBoard::Clock::now().time_since_epoch()).count();
}

}  // namespace

std::vector<WindowHealth> ReadHealth(IHostWindows& windows, IHostDisplay* display,
                                     bool withPictures) {
  std::vector<WindowHealth> all;
  windows.WithWindows([&](std::vector<HostWindow>& list) {
    for (const HostWindow& window : list) {
      WindowHealth health;
      health.number = window.number;
      health.content = window.content;
      health.plays = window.status == qx::plexion::kStatusPlaying;
      // One that is still loading would have to be waited for.
      qx::platform::OutputPlane* const plane =
          health.plays || window.paused ? window.window->GetOutputPlane() : nullptr;
      if (plane != nullptr) {
        unsigned long long used = 0;
        unsigned long long limit = 0;
        unsigned long long graphics = 0;
        window.window->GetMemoryInfo(used, limit, graphics);
        health.memoryBytes = used + graphics;
        health.visible = plane->IsVisible() && plane->GetAlpha() != 0;
        PlaneHealth seen;
        const bool hash = withPictures && health.plays && health.visible &&
                          MotionOf(health.content) != Motion::kNone;
        // Hashing a picture of a large screen costs milliseconds: only of what should move.
        if (display != nullptr && display->GetPlaneHealth(plane, hash, seen)) {
          health.frames = seen.frames;
          health.picture = seen.picture;
          if (seen.frames > 0)
            health.ageMs = std::max<int64_t>(NowMs() - seen.drawnNs / 1000000, 0);
        }
      }
      all.push_back(health);
    }
  });
  return all;
}

void AddHealth(PlayReport& report, IHostWindows& windows, IHostDisplay* display) {
  const std::vector<WindowHealth> all = ReadHealth(windows, display, false);
  for (PlayedZone& zone : report.zones) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const WindowHealth& health) {
      return health.number == zone.window;
    });
    if (found == all.end()) continue;
    zone.health.frames = found->frames;
    if (found->ageMs >= 0) zone.health.lastChangeAgeMs = found->ageMs;
    zone.health.memoryBytes = found->memoryBytes;
  }
}

HealthWatch::HealthWatch(Session& session, const ServiceManager& manager)
    : session_(session),
      manager_(manager),
      judge_(session.options.frozenAfterMs),
      thread_("PlexionHealth", [this] { Run(); }) {}

HealthWatch::~HealthWatch() {
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
  }
  changed_.NotifyAll();
  thread_.Join();
}

void HealthWatch::Run() {
  const milliseconds watchdog = manager_.WatchdogPeriod();
  const milliseconds period = watchdog.count() > 0 ? std::min(kLook, watchdog) : kLook;
  MutexLock lock(mutex_);
  while (!stopping_) {
    // Looking takes the launcher's window lock and asks the display; the destructor must not wait
    // for that behind our own.
    lock.Unlock();
    Look();
    lock.Lock();
    const StatusBoard::Clock::time_point next = StatusBoard::Clock::now() + period;
    changed_.WaitUntil(lock, next, [this]() REQUIRES(mutex_) { return stopping_; });
  }
}

void HealthWatch::Look() {
  HealthJudge::Sample sample;
  sample.windows = ReadHealth(session_.windows, session_.display, true);
  sample.nowMs = NowMs();
  sample.turnAtMs = session_.turnAtMs;
  if (session_.display != nullptr) sample.presented = session_.display->GetFrameCount();
  const HealthJudge::Verdict verdict = judge_.Judge(sample);
  Tell(verdict);
  // A display loop of somebody else's counts no frames: it is believed.
  const bool judged = session_.display != nullptr;
  if (verdict.wantsFrame && judged) session_.display->RequestFrame();
  // No petting is all it takes: the manager does the rest.
  if (verdict.alive || !judged) manager_.PetWatchdog();
}

void HealthWatch::Tell(const HealthJudge::Verdict& verdict) {
  for (const HealthJudge::Verdict::Change& change : verdict.changes) {
    const std::string window =
        "window " + std::to_string(change.number) + ", " + PrintableWord(change.content) + ": ";
    const std::string still = ShowDuration(milliseconds(change.stillMs));
    std::vector<LogField> fields = {{"event", change.frozen ? "frozen" : "moves"},
                                    {"content", change.content},
                                    {"ms", std::to_string(change.stillMs), true}};
    if (change.frozen) {
      session_.Log(LogLevel::kWarning,
                   window + "it says that it plays, and its picture has not changed for " + still +
                       (change.drawn ? " (frames come, all alike)" : " (no frame comes)"),
                   fields);
    } else {
      session_.Log(LogLevel::kInfo, window + "it moves again, after " + still, fields);
    }
  }
  if (verdict.alive == lived_) return;
  lived_ = verdict.alive;
  if (verdict.alive) {
    session_.Log(LogLevel::kInfo, "the display lives again", {{"event", "alive"}});
  } else {
    session_.Log(LogLevel::kError, verdict.reason, {{"event", "dead"}});
    manager_.SayStatus(verdict.reason);
  }
}

}  // namespace plexion_host
