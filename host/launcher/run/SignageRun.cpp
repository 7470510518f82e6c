#include "host/launcher/run/SignageRun.h"

#include <pthread.h>

#include <thread>

#include "host/launcher/run/WindowRun.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {
namespace {

// A content without pictures (sound alone) never draws; it is not waited for longer than this.
constexpr std::chrono::seconds kFirstPictureWait{1};

}  // namespace

SignageRun::SignageRun(Session& session, const std::vector<WindowLine>& lines)
    : session_(session), lines_(lines), opener_(session) {}

bool SignageRun::Run() {
  std::optional<OpenWindow> current = PrepareNext(nullptr);
  std::optional<OpenWindow> previous;
  if (current && !session_.WaitForStartTime()) {
    session_.windows.Destroy(current->window);
    return true;
  }
  while (current) {
    Switch(*current, previous ? &*previous : nullptr);
    std::optional<OpenWindow> next;
    std::thread preparation([&] {
      pthread_setname_np(pthread_self(), "PlexionSignage");
      if (previous) session_.windows.Destroy(previous->window);
      next = PrepareNext(&*current);
    });
    Play(*current);
    preparation.join();
    previous = current;
    current = next;
    if (current && (session_.windows.IsQuitting() || unseenInRow_ >= lines_.size())) {
      session_.windows.Destroy(current->window);
      current.reset();
    }
  }
  if (previous) {
    session_.OnLastWindow();
    session_.windows.Destroy(previous->window);
  }
  if (session_.windows.IsQuitting()) return true;
  if (anySeen_ && !roundFailed_ && unseenInRow_ < lines_.size()) return true;
  session_.Error("--signage: none of the " + std::to_string(lines_.size()) +
                 " contents can be played");
  return false;
}

std::optional<OpenWindow> SignageRun::PrepareNext(const OpenWindow* current) {
  for (size_t failures = 0; !session_.windows.IsQuitting(); ++failures) {
    roundFailed_ = failures == lines_.size();
    if (roundFailed_) break;
    if (nextLine_ == lines_.size()) {
      if (!session_.options.loop) break;
      nextLine_ = 0;
    }
    const std::optional<OpenWindow> next = opener_.Open(lines_[nextLine_++]);
    if (next && Prepare(*next, current)) return next;
    if (next) session_.windows.Destroy(next->window);
  }
  return std::nullopt;
}

bool SignageRun::Prepare(const OpenWindow& next, const OpenWindow* current) {
  bool shown = false;
  if (Load(next) && session_.WaitForDisplay()) {
    const OneFrame frame(session_.display);
    shown = session_.CreatePlanes(*next.window, next.line->content);
    qx::platform::OutputPlane* const plane = next.window->GetOutputPlane();
    if (shown && plane != nullptr) {
      // Visible, or nothing would be drawn on it; but it must not show beside or through the
      // current content.
      next.window->SetAlpha(0);
      if (current != nullptr) plane->SetBelow(current->window->GetOutputPlane());
    }
  }
  if (shown) {
    session_.windows.Board().WaitUntil(StatusBoard::Clock::now() + kFirstPictureWait,
                                       [&] { return next.observer->HasDrawnLocked(); });
  }
  const auto ending = next.observer->GetEnding();
  if (shown && !ending) return true;
  const Ending cause = EndingOf(next);
  if (!session_.windows.IsQuitting()) session_.ContentError(next.line->content, cause);
  return false;
}

bool SignageRun::Load(const OpenWindow& next) {
  const bool mayPause = IsPauseWanted(session_.kernel);
  if (firstLoad_ || !mayPause) {
    // The service's own way; with "--pause" this waits for "go", once. Noted before the question:
    // whoever asks for the end from now on types "go" as well.
    session_.pausePending = firstLoad_ && mayPause;
    firstLoad_ = false;
    const bool loaded = !session_.windows.IsQuitting() && next.window->LoadForLFD();
    session_.pausePending = false;
    if (!loaded) return false;
  } else if (session_.windows.IsQuitting() || !next.window->LoadMVXAsync()) {
    return false;
  }
  session_.windows.Board().Wait([&] { return next.observer->IsReadyLocked(); });
  return !next.observer->GetEnding();
}

void SignageRun::Switch(const OpenWindow& next, const OpenWindow* previous) {
  const OneFrame frame(session_.display);
  if (qx::platform::OutputPlane* const plane = next.window->GetOutputPlane()) {
    plane->SetAbove(nullptr);
  }
  next.window->SetAlpha(255);
  if (previous != nullptr) previous->window->SetVisible(false);
}

void SignageRun::Play(const OpenWindow& current) {
  session_.OnFirstPlay();
  const bool completed = current.window->PlayForLFD();
  const Ending ending = EndingOf(current);
  const bool failed = !completed || ending.status != qx::plexion::kStatusComplete;
  if (failed && !session_.windows.IsQuitting()) {
    session_.ContentError(current.line->content, ending);
  }
  if (!failed || current.observer->HasDrawn()) {
    unseenInRow_ = 0;
    anySeen_ = true;
  } else {
    ++unseenInRow_;
  }
}

}  // namespace plexion_host
