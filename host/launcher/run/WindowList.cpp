#include "host/launcher/run/WindowList.h"

#include <algorithm>
#include <utility>

namespace plexion_host {

using qx::plexion::StageWindow;

void WindowList::WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::vector<HostWindow> shown;
  size_t keyMaster = entries_.size();
  for (const Entry& entry : entries_) {
    // From the observer, not from the window: that would wait for a load under way.
    const qx::plexion::StageWindowStatus state = entry.observer->GetState();
    shown.push_back(entry.shown);
    const std::optional<Ending> ending = entry.observer->GetEnding();
    shown.back().status = ending ? ending->status : state;
    shown.back().paused = state == qx::plexion::kStatusPaused;
    // Of several that want the role, the youngest that plays has it.
    if (entry.keyMasterWanted && state == qx::plexion::kStatusPlaying) keyMaster = shown.size() - 1;
  }
  if (keyMaster < shown.size()) shown[keyMaster].keyMaster = true;
  visit(shown);
}

void WindowList::RequestQuit() {
  board_.Post([this] { quitting_ = true; });
  if (quitHandler_) quitHandler_();
}

WindowObserver& WindowList::Add(StageWindow* window, const WindowLine& line) {
  auto observer = std::make_unique<WindowObserver>(board_);
  WindowObserver& result = *observer;
  window->RegisterNotifier(observer.get());
  result.Learn(window->GetStageWindowStatus());
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  Entry entry;
  entry.shown.number = nextNumber_++;
  entry.shown.content = line.content;
  entry.shown.window = window;
  entry.keyMasterWanted = line.keyMaster;
  entry.observer = std::move(observer);
  entries_.push_back(std::move(entry));
  if (quitting_) window->Terminate(qx::plexion::kStatusComplete);
  return result;
}

void WindowList::Destroy(StageWindow* window) {
  std::unique_ptr<WindowObserver> observer;
  {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [window](const Entry& e) { return e.shown.window == window; });
    if (entry != entries_.end()) {
      observer = std::move(entry->observer);
      entries_.erase(entry);
    }
  }
  // Whoever visited the window has let go of it. Destroying it waits for its player's thread, so
  // it is better done without the lock.
  service_.load()->DestroyStageWindow(window);
}

void WindowList::TerminateAll() {
  board_.Post([this] { quitting_ = true; });
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  for (const Entry& entry : entries_) entry.shown.window->Terminate(qx::plexion::kStatusComplete);
}

}  // namespace plexion_host
