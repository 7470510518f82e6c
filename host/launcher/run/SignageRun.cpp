// A playlist: contents one after the other without a gap.

#include "host/launcher/run/SignageRun.h"

#include <filesystem>
#include <utility>

#include "host/base/Check.h"
#include "host/base/NamedThread.h"
#include "host/base/Text.h"
#include "host/launcher/run/WindowRun.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {
namespace {

// A content without pictures (sound alone) never draws; it is not waited for longer than this.
constexpr std::chrono::seconds kFirstPictureWait{1};
constexpr std::chrono::milliseconds kFramePeriod{16};

}  // namespace

SignageRun::SignageRun(Session& session, const std::vector<WindowLine>& lines)
    : session_(session),
      lines_(lines),
      rounds_(MostRestarts(session.options), session.second),
      opener_(session),
      late_(session.windows) {
  PLEXION_CHECK(!lines.empty(), "a list has a content");
}

bool SignageRun::Run() {
  session_.play.Set(this);
  const bool good = RunList();
  session_.play.Set(nullptr);
  return good;
}

bool SignageRun::RunList() {
  session_.WaitForGo();
  // The first is loaded with nothing on: Prepare lays it below nothing, and Switch brings it up.
  std::optional<OpenWindow> current = PrepareNext(nullptr);
  std::optional<OpenWindow> previous;
  if (current && !session_.WaitForStartTime()) {
    session_.windows.Destroy(current->window);
    return true;
  }
  while (current) {
    // Here, and not at the end of the loop: from the switch on the next content may be prepared,
    // which is what this run is about.
    Switch(*current, previous ? &*previous : nullptr);
    std::optional<OpenWindow> next;
    {
      const MutexLock lock(controlMutex_);
      next_.clear();
    }
    // On a second thread, since PlayToEnd does not return before the content ends. It touches
    // `previous`, `next` and what the header calls its own; Join hands all of that back.
    NamedThread preparation("PlexionSignage", [&] {
      if (previous) {
        Blend(*previous);
        session_.windows.Destroy(previous->window);
      }
      next = PrepareNext(&*current);
      const MutexLock lock(controlMutex_);
      next_ = next ? next->line->content : std::string();
    });
    PlayToEnd(*current);
    preparation.Join();
    {
      const MutexLock lock(controlMutex_);
      askFirst_ = std::exchange(jump_, nullptr);
    }
    // What was prepared goes unseen. Preparing the other one takes its time, in which the last
    // picture stays.
    if (askFirst_ != nullptr) {
      // The operator wants another one than has been prepared.
      if (next) session_.windows.Destroy(next->window);
      next = PrepareNext(&*current);
    }
    previous = current;
    current = next;
    // Contents that load well and die without a picture would otherwise go round as fast as the
    // machine can.
    if (current && unseenInRow_ >= lines_.size() && PauseBeforeNextRound()) unseenInRow_ = 0;
    if (current && (session_.windows.IsQuitting() || unseenInRow_ >= lines_.size())) {
      session_.windows.Destroy(current->window);
      current.reset();
    }
  }
  opener_.ReportFailures();
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

// Each line is tried once; as many failures as there are lines mean that a whole round has failed.
std::optional<OpenWindow> SignageRun::PrepareNext(const OpenWindow* current) {
  for (size_t failures = 0; !session_.windows.IsQuitting(); ++failures) {
    roundFailed_ = failures >= lines_.size();
    if (roundFailed_ && session_.options.loop && PauseBeforeNextRound()) {
      failures = 0;
      roundFailed_ = false;
    }
    if (roundFailed_) break;
    const WindowLine* const line = NextLine();
    if (line == nullptr) break;
    // Opened twice, a content that hangs would hold two threads and two decoders.
    if (late_.Has(line)) {
      session_.Error(PrintableWord(line->content) + ": it still hangs; left out again");
      continue;
    }
    const std::optional<OpenWindow> next = opener_.Open(*line);
    if (!next) continue;
    switch (Prepare(*next, current)) {
      case Outcome::kReady:
        readyAt_ = StatusBoard::Clock::now();
        return next;
      case Outcome::kFailed:
        session_.windows.Destroy(next->window);
        break;
      case Outcome::kLate:
        SkipLate(*next);
        break;
    }
  }
  return std::nullopt;
}

bool SignageRun::PauseBeforeNextRound() {
  opener_.ReportFailures();
  if (opener_.IsRuntimeMissing()) return false;  // it will not come by waiting
  const auto healthy =
      readyAt_ ? StatusBoard::Clock::now() - *readyAt_ : StatusBoard::Clock::duration::zero();
  const auto pause = rounds_.Next(healthy);
  if (!pause) return false;
  session_.Log(LogLevel::kWarning,
               "--signage: no content can be played; all are asked for again in " +
                   ShowDuration(*pause) + " (" + std::to_string(rounds_.Count()) + " of " +
                   std::to_string(rounds_.Most()) + ")");
  session_.windows.Board().WaitUntil(StatusBoard::Clock::now() + *pause,
                                     [this] { return session_.windows.IsQuitting(); });
  return !session_.windows.IsQuitting();
}

// Three sources in this order: what the operator jumped to, the list, and what was late and is
// asked for again.
const WindowLine* SignageRun::NextLine() {
  if (askFirst_ != nullptr) {
    const WindowLine* const line = std::exchange(askFirst_, nullptr);
    // The list goes on behind it.
    if (IndexOf(line) < lines_.size()) nextLine_ = IndexOf(line) + 1;
    return line;
  }
  if (nextLine_ == lines_.size() && session_.options.loop) nextLine_ = 0;
  if (nextLine_ < lines_.size()) return &lines_[nextLine_++];
  if (askAgain_.empty()) return nullptr;
  const WindowLine* const line = askAgain_.front();
  askAgain_.pop_front();
  return line;
}

SignageRun::Outcome SignageRun::Prepare(const OpenWindow& next, const OpenWindow* current) {
  const Outcome loaded = LoadNext(next);
  // A late one has no ending to be told of: it may be in the middle of anything.
  if (loaded == Outcome::kLate) return loaded;
  bool shown = false;
  if (loaded == Outcome::kReady && session_.WaitForDisplay()) {
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
  // Sound alone never draws, hence not for long.
  if (shown) {
    session_.windows.Board().WaitUntil(StatusBoard::Clock::now() + kFirstPictureWait,
                                       [&] { return next.observer->HasDrawnLocked(); });
  }
  const auto ending = next.observer->GetEnding();
  if (shown && !ending) return Outcome::kReady;
  const Ending cause = EndingOf(next);
  if (!session_.windows.IsQuitting()) session_.ContentError(next.line->content, cause);
  return Outcome::kFailed;
}

SignageRun::Outcome SignageRun::LoadNext(const OpenWindow& next) {
  const StatusBoard::Clock::time_point deadline =
      StatusBoard::Clock::now() + std::chrono::milliseconds(session_.options.loadTimeoutMs);
  if (session_.windows.IsQuitting() || !next.window->LoadMVXAsync()) return Outcome::kFailed;
  // Also the end that is asked for meanwhile: the wait is over then, and the window is given away
  // like a late one, since nobody knows what it waits for.
  const bool decided = session_.windows.Board().WaitUntil(
      deadline, [&] { return next.observer->IsReadyLocked() || session_.windows.IsQuitting(); });
  if (!decided || session_.windows.IsQuitting()) return Outcome::kLate;
  return next.observer->GetEnding() ? Outcome::kFailed : Outcome::kReady;
}

void SignageRun::SkipLate(const OpenWindow& next) {
  if (!session_.windows.IsQuitting()) {
    session_.Error(PrintableWord(next.line->content) + ": not ready after " +
                   std::to_string(session_.options.loadTimeoutMs) +
                   " ms (--load-timeout); left out for now");
    session_.someContentFailed = true;
    // In a loop its turn comes anyway.
    if (!session_.options.loop) askAgain_.push_back(next.line);
  }
  late_.Take(next);
}

void SignageRun::Switch(const OpenWindow& next, const OpenWindow* previous) {
  const OneFrame frame(session_.display);
  qx::platform::OutputPlane* const plane = next.window->GetOutputPlane();
  // On top of all before its alpha changes, or the picture below would be seen for a frame.
  if (plane != nullptr) plane->SetAbove(nullptr);
  qx::platform::OutputPlane* const below =
      previous != nullptr ? previous->window->GetOutputPlane() : nullptr;
  if (session_.options.transition.IsGradual() && plane != nullptr && below != nullptr) {
    motion_ = std::make_unique<PlaneTransition>(session_.display, session_.options.transition,
                                                *plane, *below);
    motion_->Draw(0);
    return;
  }
  next.window->SetAlpha(255);
  if (previous != nullptr) previous->window->SetVisible(false);
}

// Steps are drawn on the preparing thread; the one that plays is inside of PlayForLFD.
void SignageRun::Blend(const OpenWindow& previous) {
  const std::unique_ptr<PlaneTransition> motion = std::move(motion_);
  if (motion == nullptr) return;
  const auto began = StatusBoard::Clock::now();
  const std::chrono::milliseconds lasts(session_.options.transition.durationMs);
  for (auto now = began; now < began + lasts; now = StatusBoard::Clock::now()) {
    motion->Draw(std::chrono::duration<double>(now - began) / lasts);
    const bool quits = session_.windows.Board().WaitUntil(
        now + kFramePeriod, [this] { return session_.windows.IsQuitting(); });
    // A transition that is interrupted by the end is finished all the same: it puts the planes back
    // to where they belong.
    if (quits) break;
  }
  const OneFrame frame(session_.display);
  motion->End();
  previous.window->SetVisible(false);
}

void SignageRun::PlayToEnd(const OpenWindow& current) {
  session_.OnFirstPlay();
  const StatusBoard::Clock::time_point now = StatusBoard::Clock::now();
  ShownContent shown;
  shown.content = current.line->content;
  shown.reason = before_.empty() ? "start" : "next";
  shown.before = before_;
  shown.beforeLasted = std::chrono::duration_cast<std::chrono::milliseconds>(now - shownAt_);
  session_.LogShown(shown);
  before_ = current.line->content;
  shownAt_ = now;
  {
    const MutexLock lock(controlMutex_);
    on_ = current;
    onSince_ = StatusBoard::Clock::now();
    paused_ = false;
  }
  const bool completed = current.window->PlayForLFD();
  {
    const MutexLock lock(controlMutex_);
    on_.reset();
  }
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

size_t SignageRun::IndexOf(const WindowLine* line) const {
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (&lines_[i] == line) return i;
  }
  return lines_.size();
}

bool SignageRun::IsOn(const std::string& zone, std::string& error) {
  if (!FindZone({"main"}, zone, error)) return false;
  if (!on_) error = "nothing is on at the moment; expected it in a moment";
  return on_.has_value();
}

bool SignageRun::GoOn(const WindowLine* jump, const std::string& zone, std::string& error) {
  if (!IsOn(zone, error)) return false;
  jump_ = jump;
  // PlayToEnd hears of the end and returns; what is asked for here is then what comes next.
  on_->window->Terminate(qx::plexion::kStatusComplete);
  return true;
}

bool SignageRun::Next(const std::string& zone, std::string& error) {
  const MutexLock lock(controlMutex_);
  return GoOn(nullptr, zone, error);
}

bool SignageRun::Previous(const std::string& zone, std::string& error) {
  const MutexLock lock(controlMutex_);
  if (!IsOn(zone, error)) return false;
  const size_t index = IndexOf(on_->line);
  // Before the first one, and before what is not of the list, is the last.
  const size_t count = lines_.size();
  const size_t before = index == count ? count - 1 : (index + count - 1) % count;
  return GoOn(&lines_[before], zone, error);
}

bool SignageRun::Play(const std::string& what, const std::string& zone, std::string& error) {
  const MutexLock lock(controlMutex_);
  if (!IsOn(zone, error)) return false;
  if (what.empty()) {
    const bool plays = on_->window->Play();
    if (plays) paused_ = false;
    if (!plays) error = "its content cannot go on now";
    return plays;
  }
  for (const WindowLine& line : lines_) {
    const std::string file = line.content.substr(line.content.rfind('/') + 1);
    if (line.content == what || file == what) return GoOn(&line, zone, error);
  }
  std::error_code fault;
  if (what.find("://") == std::string::npos && !std::filesystem::exists(what, fault)) {
    error = "'" + PrintableWord(what) + "' is no item of the list, and there is no such file; " +
            "expected an item's content or its file name, a path, or an address";
    return false;
  }
  // One that hung is known by its line; and who asks every minute must not fill the memory.
  for (const WindowLine& line : others_) {
    if (line.content == what) return GoOn(&line, zone, error);
  }
  others_.emplace_back();
  others_.back().content = what;
  others_.back().arguments = {what};
  return GoOn(&others_.back(), zone, error);
}

bool SignageRun::Pause(const std::string& zone, std::string& error) {
  const MutexLock lock(controlMutex_);
  if (!IsOn(zone, error)) return false;
  paused_ = on_->window->Pause();
  if (!paused_) error = "its content cannot be paused now";
  return paused_;
}

bool SignageRun::Report(PlayReport& report, std::string&) {
  const MutexLock lock(controlMutex_);
  report.kind = "signage";
  PlayedZone zone;
  zone.zone = "main";
  zone.items = lines_.size();
  zone.next = next_;
  if (on_) {
    const size_t index = IndexOf(on_->line);
    zone.content = on_->line->content;
    if (index < lines_.size()) zone.item = index + 1;
    zone.paused = paused_;
    zone.shownMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(StatusBoard::Clock::now() - onSince_)
            .count();
    zone.window = session_.windows.NumberOf(on_->window);
  }
  report.zones.push_back(std::move(zone));
  return true;
}

}  // namespace plexion_host
