// All windows at the same time, until each has ended.

#include "host/launcher/run/WindowRun.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

Ending EndingOf(const OpenWindow& window) {
  if (const auto ending = window.observer->GetEnding()) return *ending;
  const qx::plexion::StageWindowStatus status = window.window->GetStageWindowStatus();
  return {status, qx::plexion::IsTerminalStatus(status) ? "" : "the player refuses to go on"};
}

WindowRun::WindowRun(Session& session, const std::vector<OpenWindow>& windows)
    : session_(session), opener_(session) {
  for (const OpenWindow& window : windows) {
    PLEXION_CHECK(window.window != nullptr && window.line != nullptr && window.observer != nullptr,
                  "a window of the run is one that was opened");
    items_.push_back({window});
    items_.back().restarts = Restarts(MostRestarts(session.options), session.second);
  }
}

void WindowRun::Run() {
  if (items_.size() == 1 && MostRestarts(session_.options) == 0) {
    RunOne();
  } else {
    RunSeveral();
  }
}

void WindowRun::RunOne() {
  const OpenWindow& open = items_[0].open;
  // With "--pause" it waits in here for "go", which may bring another address.
  // Blocks until the content is loaded or has failed. Others wait for the board.
  const bool loaded = !session_.windows.IsQuitting() && open.window->LoadForLFD();
  session_.windows.SetPausePending(false);
  if (loaded) {
    // A slow load has only been begun.
    // LoadForLFD may return with a load that goes on by itself.
    session_.windows.Board().Wait([&] { return open.observer->IsReadyLocked(); });
  }
  // Its first frame is drawn while the display is being opened, where that need not be known.
  const bool early = session_.screenIsPlanned && loaded && !open.observer->GetEnding();
  const bool earlyPlanes = early && session_.CreatePlanes(*open.window, open.line->content);
  session_.WaitForDisplay();
  const bool planes =
      early ? earlyPlanes : loaded && !open.observer->GetEnding() && CreatePlanes(0);
  if (planes && !open.observer->GetEnding() && session_.WaitForStartTime()) {
    session_.OnFirstPlay();
    LogShown(items_[0]);
    open.window->PlayForLFD();
  }
  // Whatever happened above, the window is told of and destroyed in there.
  Finish(0);
}

// All loads begin before any is waited for: together they take as long as the longest.
void WindowRun::RunSeveral() {
  session_.WaitForGo();
  for (Item& item : items_) item.refused = !item.open.window->LoadMVXAsync();
  session_.WaitForDisplay();
  // From the back: Finish takes items out.
  for (size_t i = items_.size(); i-- > 0;) {
    if (items_[i].refused && !items_[i].open.observer->GetEnding()) Finish(i);
  }
  while (!items_.empty()) {
    // Looking whether they may play can end the last of them, too.
    if (Advance(MayPlayYet()) || items_.empty()) continue;
    WaitForChange();
  }
}

void WindowRun::WaitForChange() {
  StatusBoard& board = session_.windows.Board();
  const auto changed = [this] {
    for (const Item& item : items_) {
      const WindowObserver& observer = *item.open.observer;
      // Who is away has a window that has ended already; only its time, or the end of all, is news.
      if (item.phase == Phase::kAway) {
        if (session_.windows.IsQuitting()) return true;
        continue;
      }
      if (observer.HasEndedLocked()) return true;
      if (session_.windows.IsQuitting()) continue;  // nothing else will be begun
      if (item.phase == Phase::kLoading && observer.IsLoadedLocked()) return true;
      if (item.phase == Phase::kShown && observer.IsReadyLocked()) return true;
      if (item.before && observer.HasDrawnLocked()) return true;
    }
    return false;
  };
  // The next one that comes back decides how long may be slept.
  std::optional<StatusBoard::Clock::time_point> first;
  for (const Item& item : items_) {
    if (item.phase != Phase::kAway) continue;
    first = first ? std::min(*first, item.returnAt) : item.returnAt;
  }
  if (first) {
    board.WaitUntil(*first, changed);
  } else {
    board.Wait(changed);
  }
}

bool WindowRun::MayPlayYet() {
  // Waits for those that are still loading, a while; the first answer is the answer for good.
  StatusBoard& board = session_.windows.Board();
  bool anyReady = false;
  bool anyPlaying = false;
  board.Ask([&] {
    for (const Item& item : items_) {
      anyPlaying = anyPlaying || item.phase == Phase::kPlaying;
      anyReady = anyReady || (item.phase == Phase::kShown && item.open.observer->IsReadyLocked());
    }
    return 0;
  });
  if (anyPlaying || !anyReady) return anyPlaying;
  board.WaitUntil(StatusBoard::Clock::now() + session_.waitForOthers, [this] {
    for (const Item& item : items_) {
      if (!item.open.observer->IsReadyLocked()) return false;
    }
    return true;
  });
  // Those that became ready meanwhile get their planes before the first of all plays, so that they
  // begin in one frame.
  Advance(false);
  return session_.WaitForStartTime();
}

bool WindowRun::Advance(bool mayPlay) {
  bool moved = false;
  for (size_t i = 0; i < items_.size();) {
    Item& item = items_[i];
    if (item.phase == Phase::kAway) {
      const size_t before = items_.size();
      moved = Return(i) || moved;
      if (items_.size() == before) ++i;
      continue;
    }
    if (item.before && item.open.observer->HasDrawn()) DestroyBefore(item);
    // Three questions under three locks: an answer that changes in between moves the item at the
    // next round.
    const WindowObserver& observer = *item.open.observer;
    StatusBoard& board = session_.windows.Board();
    const bool ended = board.Ask([&] { return observer.HasEndedLocked(); });
    const bool loaded = board.Ask([&] { return observer.IsLoadedLocked(); });
    const bool ready = board.Ask([&] { return observer.IsReadyLocked(); });
    bool failed = false;
    if (!ended && item.phase == Phase::kLoading && loaded) {
      failed = !CreatePlanes(i);
      item.phase = Phase::kShown;
      moved = true;
    } else if (!ended && item.phase == Phase::kShown && ready && mayPlay) {
      session_.OnFirstPlay();
      LogShown(item);
      failed = !item.open.window->Play();
      item.phase = Phase::kPlaying;
      moved = true;
    }
    if (ended || failed) {
      Finish(i);
      moved = true;
    } else {
      ++i;
    }
  }
  return moved;
}

bool WindowRun::CreatePlanes(size_t index) {
  const OpenWindow& open = items_[index].open;
  const OneFrame frame(session_.display);
  if (!session_.CreatePlanes(*open.window, open.line->content)) return false;
  // Windows lie as the command line names them, each above those before, whichever loads first.
  qx::platform::OutputPlane* const plane = open.window->GetOutputPlane();
  // The nearest above that has planes; those still loading will go below it by themselves.
  for (size_t i = index + 1; plane != nullptr && i < items_.size(); ++i) {
    if (items_[i].phase == Phase::kLoading) continue;
    qx::platform::OutputPlane* const above = items_[i].open.window->GetOutputPlane();
    if (above == nullptr) continue;
    plane->SetBelow(above);
    break;
  }
  return true;
}

void WindowRun::LogShown(Item& item) {
  item.shownAt = StatusBoard::Clock::now();
  ShownContent shown;
  shown.content = item.open.line->content;
  shown.reason = "start";
  session_.LogShown(shown);
}

bool WindowRun::ComeBack(Item& item) {
  const auto now = StatusBoard::Clock::now();
  const auto healthy = item.shownAt ? now - *item.shownAt : StatusBoard::Clock::duration::zero();
  const auto pause = item.restarts.Next(healthy);
  if (!pause) return false;
  session_.Log(LogLevel::kWarning, PrintableWord(item.open.line->content) + ": comes back in " +
                                       ShowDuration(*pause) + " (" +
                                       std::to_string(item.restarts.Count()) + " of " +
                                       std::to_string(item.restarts.Most()) + ")");
  // What was seen last stays, whichever window drew it.
  if (item.before && !item.open.observer->HasDrawn()) std::swap(item.open, *item.before);
  DestroyBefore(item);
  item.phase = Phase::kAway;
  item.shownAt.reset();
  item.returnAt = now + *pause;
  return true;
}

bool WindowRun::Return(size_t index) {
  // The window whose last picture is seen is the one that stays, be it the failed one or the one
  // before that.
  Item& item = items_[index];
  if (session_.windows.IsQuitting()) {
    Finish(index);
    return true;
  }
  if (StatusBoard::Clock::now() < item.returnAt) return false;
  const std::optional<OpenWindow> opened = opener_.Open(*item.open.line);
  if (!opened) {
    opener_.ReportFailures();
    if (!ComeBack(item)) Finish(index);
    return true;
  }
  item.before = std::exchange(item.open, *opened);
  item.phase = Phase::kLoading;
  if (!item.open.window->LoadMVXAsync()) Finish(index);
  return true;
}

void WindowRun::DestroyBefore(Item& item) {
  if (item.before) session_.windows.Destroy(item.before->window);
  item.before.reset();
}

void WindowRun::Finish(size_t index) {
  PLEXION_CHECK(index < items_.size(), "a window of the run ends once");
  const Ending ending = EndingOf(items_[index].open);
  const bool ended = ending.status == qx::plexion::kStatusComplete;
  // Whoever ends the run does not want to hear what it was ended in; and who is away has been told of.
  if (!ended && !session_.windows.IsQuitting() && items_[index].phase != Phase::kAway) {
    session_.ContentError(items_[index].open.line->content, ending);
    if (ComeBack(items_[index])) return;
  }
  DestroyBefore(items_[index]);
  // A copy: the window is destroyed when the item is gone, since that takes its time and asks for
  // no lock of ours.
  const Item item = items_[index];
  const OpenWindow& open = item.open;
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
  if (item.shownAt && ended) {
    const auto lasted = std::chrono::duration_cast<std::chrono::milliseconds>(
        StatusBoard::Clock::now() - *item.shownAt);
    session_.Log(LogLevel::kInfo,
                 PrintableWord(open.line->content) + " has ended after " + ShowDuration(lasted),
                 {{"event", "ended"},
                  {"content", open.line->content},
                  {"ms", std::to_string(lasted.count()), true}});
  }
  if (items_.empty()) session_.OnLastWindow();
  session_.windows.Destroy(open.window);
}

}  // namespace plexion_host
