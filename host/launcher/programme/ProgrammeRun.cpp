// The loop of a programme: what happened, what is due, and when to look again.
#include "host/launcher/programme/ProgrammeRun.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

// How often the document's stamp is looked at: a call of stat() for each, which no disk feels. A
// notification of the system would be sooner, and is not there on every file system a document may
// lie on.
constexpr int64_t kLookMs = 2000;
/// A content that does not draw for so long is not waited for by the others.
constexpr int64_t kLayoutMs = 1000;

template <typename Clock>
int64_t Milliseconds() {
  return duration_cast<milliseconds>(Clock::now().time_since_epoch()).count();
}

/// Differs whenever the document does; a folder is read anew for each item anyway.
std::string StampOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return {};
  // With nanoseconds and the inode: an editor that writes twice in a second, or puts a new file in
  // the place of the old one, is noticed as well.
  return std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) +
         "/" + std::to_string(status.st_size) + "/" + std::to_string(status.st_ino);
}

/// Zones that are alike but for what plays in them.
bool SameZones(const Programme& one, const Programme& other) {
  const auto same = [](const Length& a, const Length& b) {
    return a.value == b.value && a.percent == b.percent;
  };
  return one.zones.size() == other.zones.size() &&
         std::equal(one.zones.begin(), one.zones.end(), other.zones.begin(),
                    [&](const Zone& a, const Zone& b) {
                      return a.name == b.name && same(a.x, b.x) && same(a.y, b.y) &&
                             same(a.width, b.width) && same(a.height, b.height);
                    });
}

}  // namespace

ZoneTime ProgrammeRun::Now() const {
  const int64_t steadyMs = Milliseconds<StatusBoard::Clock>();
  return {clock_.At(steadyMs, Milliseconds<std::chrono::system_clock>()), steadyMs};
}

ProgrammeRun::ProgrammeRun(Session& session, ICalendar& calendar, std::string path,
                           std::shared_ptr<const Programme> programme)
    : session_(session),
      calendar_(calendar),
      path_(std::move(path)),
      programme_(std::move(programme)),
      reaper_(session.windows),
      requests_(session.windows.Board()),
      documentStamp_(StampOf(path_)) {
  PLEXION_CHECK(programme_ != nullptr, "a programme was read");
}

ProgrammeRun::~ProgrammeRun() { zones_.clear(); }

void ProgrammeRun::SetGround() {
  if (session_.display != nullptr) session_.display->SetGround(programme_->background.value_or(0));
}

void ProgrammeRun::MakeZones() {
  zones_.clear();
  SetGround();
  for (const Zone& zone : programme_->zones) {
    Playing playing;
    playing.zone = zone.name;
    playing.stage = std::make_unique<WindowStage>(
        session_, reaper_, [this, name = zone.name] { return PlaneAbove(name); });
    LayOut(playing);
    playing.director = std::make_unique<ZoneDirector>(
        programme_, calendar_, zone.name, *playing.stage,
        [this, name = zone.name](const ZoneNews& news) { Print(name, news); });
    zones_.push_back(std::move(playing));
  }
}

qx::platform::OutputPlane* ProgrammeRun::PlaneAbove(const std::string& zone) const {
  // In the order of the document: what stands further down lies above.
  bool above = false;
  for (const Playing& playing : zones_) {
    if (above) {
      if (qx::platform::OutputPlane* const plane = playing.stage->LowestPlane()) return plane;
    }
    above = above || playing.zone == zone;
  }
  return nullptr;
}

void ProgrammeRun::Run() {
  // Not before the display is open: zones with percentages would be laid out for a screen of no
  // size.
  if (!session_.WaitForDisplay() || !session_.WaitForStartTime()) return;
  screen_ = session_.GetScreenDims();
  StartClock();
  // The ground is set and the zones are there before the first request: an operator's "status"
  // right after the start finds them.
  MakeZones();
  requests_.Open();
  session_.play.Set(this);
  while (!session_.windows.IsQuitting()) {
    requests_.Serve();
    const ZoneTime now = Now();
    if (clock_.IsOver(now.wall)) session_.windows.RequestQuit();
    // The service's watchdog reads it: a loop that hangs in a call below stops moving it on.
    session_.turnAtMs = now.steadyMs;
    LookAtDocument(now.steadyMs);
    LookAtScreen(now.steadyMs);
    int64_t next = now.steadyMs + clock_.LongestSleepMs();
    if (layout_ != nullptr) next = std::min(next, layoutUntilMs_);
    for (const Playing& playing : zones_) {
      next = std::min(next, playing.director->Advance(now));
      next = std::min(next, playing.stage->Poll(*playing.director, now));
    }
    // Under the board's lock the conditions are looked at before the sleep begins, so that news
    // between Poll and here is not slept through.
    session_.windows.Board().WaitUntil(StatusBoard::Clock::time_point(milliseconds(next)), [this] {
      return session_.windows.IsQuitting() || requests_.HasRequestsLocked() ||
             session_.screenChanges != screenChanges_ ||
             (layout_ != nullptr && IsLaidOutLocked()) ||
             std::any_of(zones_.begin(), zones_.end(),
                         [](const Playing& playing) { return playing.stage->HasNewsLocked(); });
    });
  }
  session_.turnAtMs = -1;
  layout_.reset();
  requests_.Close();
  session_.play.Set(nullptr);
  session_.OnLastWindow();
  zones_.clear();
}

void ProgrammeRun::StartClock() {
  const std::optional<Rehearsal>& rehearsal = session_.options.rehearsal;
  if (!rehearsal) return;
  // The schedule refers to the programme that it was made from. Documents that are read later go on
  // with the clock of the first.
  rehearsedProgramme_ = programme_;
  rehearsed_ = std::make_unique<Schedule>(*programme_, calendar_);
  clock_ = ProgrammeClock(*rehearsal, rehearsed_->Clock());
  session_.Log(LogLevel::kInfo,
               "rehearses " + ShowDate(rehearsal->day) + " from " +
                   ShowTimeOfDay(rehearsal->fromMs) + " to " + ShowTimeOfDay(rehearsal->toMs) +
                   ", " + std::to_string(std::lround(rehearsal->speed)) + " times as fast");
}

void ProgrammeRun::LookAtDocument(int64_t nowMs) {
  if (nowMs < lookAtMs_) return;
  lookAtMs_ = nowMs + kLookMs;
  const std::string stamp = StampOf(path_);
  // Gone, or just being replaced: the old one counts, and whoever writes it will be done by the
  // next look.
  if (stamp.empty() || stamp == documentStamp_) return;
  std::string error;
  if (TakeDocument(path_, error)) return;
  session_.Log(LogLevel::kWarning, "the changed programme is wrong, the old one goes on: " + error);
}

bool ProgrammeRun::IsLaidOutLocked() const {
  return std::all_of(zones_.begin(), zones_.end(),
                     [](const Playing& playing) { return playing.stage->IsLaidOutLocked(); });
}

void ProgrammeRun::LookAtScreen(int64_t nowMs) {
  if (layout_ != nullptr && (nowMs >= layoutUntilMs_ ||
                             session_.windows.Board().Ask([this] { return IsLaidOutLocked(); }))) {
    layout_.reset();
  }
  const unsigned changes = session_.screenChanges;
  if (changes == screenChanges_) return;
  screenChanges_ = changes;
  const qx::plexion::Dims screen = session_.GetScreenDims();
  if (screen.width == screen_.width && screen.height == screen_.height) return;
  screen_ = screen;
  // In one frame, or for a moment neighbours would overlap or leave a gap. Each content is resized and draws
  // on its own thread, so the frame waits for the last of them.
  if (layout_ == nullptr) {
    layout_ = std::make_unique<OneFrame>(session_.display);
    // A display that changes on and on is not held any longer.
    layoutUntilMs_ = nowMs + kLayoutMs;
  }
  for (const Playing& playing : zones_) {
    LayOut(playing);
    playing.stage->Relocate();
  }
}

void ProgrammeRun::LayOut(const Playing& playing) {
  const Zone* const zone = programme_->FindZone(playing.zone);
  PLEXION_CHECK(zone != nullptr, "zones that play are those of the programme");
  playing.stage->SetZone(*zone, screen_, *programme_);
}

bool ProgrammeRun::TakeDocument(const std::string& path, std::string& error) {
  // Before it is read: what changes while it is being read is seen the next time.
  const std::string stamp = StampOf(path);
  if (path == path_) documentStamp_ = stamp;
  auto programme = std::make_shared<Programme>();
  if (!OpenProgramme(path, calendar_, *programme, error)) return false;
  path_ = path;
  documentStamp_ = stamp;
  // Contents are known to the zones' directors by numbers, and a director cannot exchange its
  // zone's geometry under contents of another one. So zones that differ begin anew.
  const bool sameZones = SameZones(*programme, *programme_);
  programme_ = std::move(programme);
  if (!sameZones) {
    session_.Log(LogLevel::kInfo, "the programme has changed its zones, and begins anew");
    MakeZones();
    return true;
  }
  session_.Log(LogLevel::kInfo, "the programme has changed; it counts from the end of what is on");
  SetGround();
  for (const Playing& playing : zones_) {
    LayOut(playing);
    playing.director->SetProgramme(programme_);
  }
  return true;
}

void ProgrammeRun::Print(const std::string& zone, const ZoneNews& news) const {
  if (news.kind == ZoneNews::Kind::kShown) {
    ShownContent shown;
    shown.zone = zone;
    if (clock_.IsRehearsal()) shown.at = ShowTimeOfDay(rehearsed_->Clock().At(Now().wall).ms);
    shown.content = news.content;
    shown.reason = news.reason;
    shown.playlist = news.playlist;
    if (news.durationMs) shown.lasts = milliseconds(*news.durationMs);
    shown.before = news.before;
    shown.beforeLasted = milliseconds(news.playedMs);
    // One that is alone in its playlist follows itself, day and night: no change that anybody sees.
    shown.again = news.content == news.before && news.reason == "next";
    session_.LogShown(shown);
    return;
  }
  const std::string where = "zone " + PrintableWord(zone) + ": ";
  // The same facts as fields: the JSON log has them without taking the sentence apart.
  std::vector<LogField> fields = {{"zone", zone}, {"reason", news.reason}};
  if (news.kind == ZoneNews::Kind::kNothing) {
    fields.push_back({"event", "nothing"});
    session_.Log(LogLevel::kError, where + PrintableWord(news.reason), fields);
    return;
  }
  fields.push_back({"event", "skipped"});
  fields.push_back({"content", news.content});
  session_.Log(LogLevel::kWarning,
               where + "skips " + PrintableWord(news.content) + ": " + PrintableWord(news.reason),
               fields);
}

}  // namespace plexion_host
