// The windows that the launcher runs, the keys that reach them, and the way to end them all.

#include "host/launcher/run/WindowList.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host {

using qx::plexion::StageWindow;

namespace {

// The service looks for key ups that are due every 10 ms; a busy machine looks later.
constexpr std::chrono::milliseconds kKeyUpMargin{50};

}  // namespace

void WindowList::WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) {
  const RecursiveMutexLock lock(mutex_);
  std::vector<HostWindow> shown;
  size_t keyMaster = entries_.size();
  for (const Entry& entry : entries_) {
    // From the observer, not from the window: that would wait for a load under way.
    const qx::plexion::StageWindowStatus state = entry.observer->GetState();
    shown.push_back(entry.shown);
    const std::optional<Ending> ending = entry.observer->GetEnding();
    shown.back().status = ending ? ending->status : state;
    shown.back().paused = state == qx::plexion::kStatusPaused;
    shown.back().shownMs = entry.observer->GetShownMs();
    // What has ended keeps its status for whoever asks, until its window goes.
    // Of several that want the role, the youngest that plays has it.
    if (entry.keyMasterWanted && state == qx::plexion::kStatusPlaying) keyMaster = shown.size() - 1;
  }
  if (keyMaster < shown.size()) shown[keyMaster].keyMaster = true;
  visit(shown);
}

void WindowList::RequestQuit() {
  // Under the board's lock: who waits there looks at the flag before it sleeps.
  board_.Post([this] { quitting_ = true; });
  if (quitHandler_) quitHandler_();
}

void WindowList::DisplayLost(const std::string& reason) {
  if (displayLostHandler_) displayLostHandler_(reason);
  RequestQuit();
}

void WindowList::DispatchKeyDown(uint32_t key) {
  if (keyHandler_) keyHandler_(key);
  // Not together with a window's destruction: its player would hear of a key when it is gone.
  const MutexLock lock(keysMutex_);
  if (qx::plexion::IPlexionSets* const service = service_.load()) {
    // Noted before the service has the key: a window that is destroyed right behind it finds the
    // key up due.
    keyUpsDue_ = StatusBoard::Clock::now() + keyUpDelay_ + kKeyUpMargin;
    service->DispatchKeyDown(key);
  }
}

void WindowList::DispatchKeyUp(uint32_t key) {
  const MutexLock lock(keysMutex_);
  if (qx::plexion::IPlexionSets* const service = service_.load()) service->DispatchKeyUp(key);
}

WindowObserver& WindowList::Add(StageWindow* window, const WindowLine& line) {
  PLEXION_CHECK(window != nullptr, "a window that was made is added");
  auto observer = std::make_unique<WindowObserver>(board_);
  WindowObserver& result = *observer;
  // Registered first, asked second: what happens between is told twice, and missed never.
  window->RegisterNotifier(observer.get());
  result.TakeStatus(window->GetStageWindowStatus());
  {
    const MutexLock lock(contentsMutex_);
    contents_[window] = line.content;
  }
  const RecursiveMutexLock lock(mutex_);
  Entry entry;
  entry.shown.number = nextNumber_++;
  entry.shown.content = line.content;
  entry.shown.zone = line.zone;
  entry.shown.window = window;
  entry.keyMasterWanted = line.keyMaster;
  entry.observer = std::move(observer);
  // Before the list has it: nobody can name the window to the sound control before that knows it.
  if (windowAdded_) windowAdded_(entry.shown);
  entries_.push_back(std::move(entry));
  // The end may have come while it was made: nobody else would tell it.
  if (quitting_) window->Terminate(qx::plexion::kStatusComplete);
  return result;
}

void WindowList::Destroy(StageWindow* window) {
  PLEXION_CHECK(service_.load() != nullptr, "the service outlives its windows");
  if (windowGoing_) windowGoing_();
  // First out of the list, so that no visitor can still get hold of it; the observer lives on in
  // here until the window is gone, which may notify it to the last.
  const std::unique_ptr<WindowObserver> observer = TakeOut(window);
  PLEXION_CHECK(observer != nullptr, "a window is destroyed once");
  if (windowGone_) windowGone_(window);
  // Whoever visited the window has let go of it. Destroying it waits for its player's thread, so
  // it is better done without the lock.
  if (keyUpDelay_.count() > 0) {
    const MutexLock lock(keysMutex_);
    WaitForKeyUps();
    service_.load()->DestroyStageWindow(window);
  } else {
    service_.load()->DestroyStageWindow(window);
  }
  // Last of all: as long as destroying takes, the content counts as what still runs.
  const MutexLock lock(contentsMutex_);
  contents_.erase(window);
}

std::unique_ptr<WindowObserver> WindowList::TakeOut(StageWindow* window) {
  const RecursiveMutexLock lock(mutex_);
  std::unique_ptr<WindowObserver> observer;
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [window](const Entry& e) { return e.shown.window == window; });
  if (entry == entries_.end()) return observer;
  observer = std::move(entry->observer);
  entries_.erase(entry);
  return observer;
}

unsigned WindowList::NumberOf(const StageWindow* window) {
  const RecursiveMutexLock lock(mutex_);
  for (const Entry& entry : entries_) {
    if (entry.shown.window == window) return entry.shown.number;
  }
  return 0;
}

void WindowList::WaitForKeyUps() {
  // At the end of everything no content is left that could mind a key that stays down.
  board_.WaitUntil(keyUpsDue_, [this] { return quitting_.load(); });
}

void WindowList::TerminateAll() {
  // The flag before the windows: one that is added now sees it and ends itself.
  board_.Post([this] { quitting_ = true; });
  const RecursiveMutexLock lock(mutex_);
  for (const Entry& entry : entries_) entry.shown.window->Terminate(qx::plexion::kStatusComplete);
}

std::vector<std::string> WindowList::GetContents() {
  const MutexLock lock(contentsMutex_);
  std::vector<std::string> contents;
  for (const auto& [window, content] : contents_) contents.push_back(content);
  return contents;
}

}  // namespace plexion_host
