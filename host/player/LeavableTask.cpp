// A thread that is waited for with patience, and left without it.

#include "host/player/LeavableTask.h"

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <system_error>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"

namespace plexion_host::player {

namespace {

constexpr std::chrono::milliseconds kGlance{20};
/// Each takes a processor until it ends. Content that makes more of them is not worth it.
constexpr int kMostLeft = 4;

std::atomic<int> left{0};

struct Progress {
  Mutex mutex;
  Condition changed;
  bool done GUARDED_BY(mutex) = false;
  bool isLeft GUARDED_BY(mutex) = false;
};

/// The library that holds this code must not be unloaded under a thread that was left in it.
void StayLoaded() {
  static std::atomic<bool> stays{false};
  if (stays.exchange(true)) return;
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&StayLoaded), &info) != 0 && info.dli_fname != nullptr) {
    void* library = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
    if (library != nullptr) dlclose(library);
  }
}

}  // namespace

TaskEnd RunLeavable(const std::string& name, std::function<void()> work,
                    const std::function<bool()>& givesUp) {
  PLEXION_CHECK(work != nullptr && givesUp != nullptr,
                "there is work, and somebody who decides how long");
  if (left >= kMostLeft) return TaskEnd::kNotStarted;
  auto progress = std::make_shared<Progress>();
  NamedThread thread;
  try {
    thread = NamedThread(name, [progress, work = std::move(work)]() mutable {
      work();
      work = nullptr;  // what it owned goes before anybody hears of the end
      const MutexLock lock(progress->mutex);
      progress->done = true;
      if (progress->isLeft) --left;
      progress->changed.NotifyAll();
    });
  } catch (const std::system_error&) {
    return TaskEnd::kNotStarted;
  }
  Progress& state = *progress;
  MutexLock lock(state.mutex);
  while (!state.done) {
    state.changed.WaitFor(lock, kGlance, [&state]() REQUIRES(state.mutex) { return state.done; });
    if (state.done) break;
    lock.Unlock();
    const bool leaves = givesUp();
    lock.Lock();
    if (!leaves || state.done) continue;
    state.isLeft = true;
    ++left;
    StayLoaded();
    thread.Detach();
    return TaskEnd::kLeft;
  }
  return TaskEnd::kDone;
}

}  // namespace plexion_host::player
