// Windows of a zone: opened from items, shown, faded and given away to be destroyed.
#include "host/launcher/programme/WindowStage.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/contracts/ContentGround.h"
#include "host/launcher/programme/document/ContentKinds.h"
#include "host/launcher/run/WindowOpener.h"
#include "host/launcher/run/WindowRun.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;

/// A content without pictures (sound alone) never draws; it is not waited for longer than this.
constexpr int64_t kFirstPictureMs = 1000;
constexpr int64_t kFrameMs = 16;
/// Which of many displays it is, where the programme does not say.
std::string HostName() {
  char name[256] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

/// Numbers of plain pictures, beyond those that a director gives.
constexpr uint64_t kReasonNumbers = uint64_t{1} << 62;

}  // namespace

WindowReaper::WindowReaper(WindowList& windows)
    : windows_(windows), thread_("PlexionReaper", [this] { Run(); }) {}

WindowReaper::~WindowReaper() {
  {
    const MutexLock lock(mutex_);
    ending_ = true;
  }
  changed_.NotifyAll();
  thread_.Join();
}

void WindowReaper::Destroy(qx::plexion::StageWindow* window, std::shared_ptr<void> keep) {
  PLEXION_CHECK(window != nullptr, "a window is destroyed once");
  // Asked at once, so that nothing of it is heard while it waits for its turn.
  window->Terminate(qx::plexion::kStatusComplete);
  {
    const MutexLock lock(mutex_);
    tasks_.push_back({window, std::move(keep)});
  }
  changed_.NotifyAll();
}

void WindowReaper::Run() {
  MutexLock lock(mutex_);
  while (true) {
    while (!ending_ && tasks_.empty()) changed_.Wait(lock);
    if (tasks_.empty()) return;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    // Destroying waits for the player's thread, perhaps for seconds. Others may hand in their
    // windows meanwhile.
    lock.Unlock();
    windows_.Destroy(task.window);
    task.keep.reset();
    lock.Lock();
  }
}

WindowStage::Texts::~Texts() {
  std::error_code ignored;
  if (!folder.empty()) fs::remove_all(folder, ignored);
}

WindowStage::WindowStage(Session& session, WindowReaper& reaper, PlaneAbove above)
    : session_(session), reaper_(reaper), above_(std::move(above)) {}

// A change that is under way ends here as well: its planes go with the windows.
WindowStage::~WindowStage() {
  for (Content& content : contents_) Destroy(content);
}

void WindowStage::SetZone(const Zone& zone, const qx::plexion::Dims& screen,
                          const Programme& programme) {
  zone_ = zone;
  const auto pixels = [](double value) { return static_cast<int32_t>(std::lround(value)); };
  // Edges are rounded, not sizes: neighbours leave no gap between them.
  const int32_t left = pixels(zone.x.Of(screen.width));
  const int32_t top = pixels(zone.y.Of(screen.height));
  const int32_t right = pixels(zone.x.Of(screen.width) + zone.width.Of(screen.width));
  const int32_t bottom = pixels(zone.y.Of(screen.height) + zone.height.Of(screen.height));
  rect_ = {static_cast<uint32_t>(left), static_cast<uint32_t>(top),
           static_cast<uint32_t>(std::max(right - left, 1)),
           static_cast<uint32_t>(std::max(bottom - top, 1))};
  defaultDurationMs_ = programme.defaultDurationMs;
  displayName_ = programme.name.empty() ? HostName() : programme.name;
  showReason_ = programme.showReason;
  ground_ = programme.background;
}

WindowStage::Content* WindowStage::Find(uint64_t number) {
  for (Content& content : contents_) {
    if (content.number == number) return &content;
  }
  return nullptr;
}

std::string WindowStage::VariablesOf(const Item& item) const {
  // The player's own names: what an item says in its variables comes last and counts.
  const Fit ofAll = session_.options.fit.value_or(Fit::kContain);
  const Fit fit = item.fit.value_or(zone_.fit.value_or(ofAll));
  std::string text = std::string(kFitVariable) + "=" + NameOf(fit);
  if (ground_) {
    char colour[8];
    std::snprintf(colour, sizeof colour, "%06x", static_cast<unsigned>(*ground_));
    text += std::string("&") + kGroundVariable + "=" + colour;
  }
  const std::string& captions = item.captions.empty() ? session_.options.captions : item.captions;
  if (!captions.empty()) text += "&captions=" + EncodePercent(captions);
  const double volume = zone_.volume * (item.volume ? *item.volume : 1);
  text += "&volume=" + std::to_string(static_cast<int>(std::lround(volume * 100)));
  // A picture lasts as long as its item, or as the programme says; its end is the director's.
  // An item with a duration gets a minute more, so that a picture never ends by itself while the
  // director still counts; when that is late, the picture stands rather than a hole is seen.
  const int64_t durationMs = item.durationMs ? *item.durationMs + 60000 : defaultDurationMs_;
  text += "&duration=" + std::to_string(durationMs / 1000) + "." +
          std::to_string(durationMs % 1000 / 100);
  if (item.passes != 1) text += "&loop=" + std::to_string(item.passes);
  if (!item.variables.empty()) text += "&" + item.variables;
  return text;
}

void WindowStage::Load(uint64_t number, const Item& item) {
  PLEXION_CHECK(rect_.width > 0 && rect_.height > 0, "the zone is known before its contents");
  PLEXION_CHECK(Find(number) == nullptr, "a number stands for one content");
  contents_.emplace_back();
  Content& content = contents_.back();
  content.number = number;
  content.texts = std::make_shared<Texts>();
  content.texts->line.content = item.content;
  content.texts->line.zone = zone_.name;
  content.texts->variables = VariablesOf(item);
  content.endless = MayBeEndless(item.content);
  Open(content);
}

void WindowStage::Open(Content& content) {
  content.window = session_.service->CreateStageWindow();
  if (content.window == nullptr) {
    // Told by the next Poll, as every failure is: the director is in the middle of a decision when
    // it calls Load.
    content.failure = "there is no memory for a window";
    return;
  }
  content.observer = &session_.windows.Add(content.window, content.texts->line);
  qx::plexion::StageWindowParameters parameters{};
  session_.service->InitParameters(parameters);
  parameters.contentPath = content.texts->line.content.c_str();
  parameters.morvelVars = content.texts->variables.c_str();
  DrawInto(rect_, *session_.service, parameters);
  content.place = rect_;
  parameters.memoryLimit = session_.options.memoryLimitBytes;
  // The platform's own folder, which nobody named: not to be missed where there is none.
  std::error_code fault;
  if (parameters.extensionsDir != nullptr && !fs::is_directory(parameters.extensionsDir, fault)) {
    parameters.extensionsDir = "";
  }
  if (content.window->Configure(parameters) && content.window->LoadMVXAsync()) {
    content.phase = Phase::kLoading;
    return;
  }
  const auto ending = content.observer->GetEnding();
  content.failure =
      ending && !ending->message.empty() ? ending->message : "the player does not accept it";
}

int64_t WindowStage::Poll(ZoneDirector& director, const ZoneTime& now) {
  // By number, not by iterator: a step may load, drop or show, and any of these changes the list.
  std::vector<uint64_t> numbers;
  for (const Content& content : contents_) numbers.push_back(content.number);
  for (const uint64_t number : numbers) {
    if (Content* const content = Find(number)) Step(director, *content, now);
    if (Content* const content = Find(number)) Relocate(*content);
  }
  int64_t next = kNever;
  for (const Content& content : contents_) {
    if (content.phase == Phase::kDrawing) {
      next = std::min(next, content.phaseBeganMs + kFirstPictureMs);
    }
  }
  if (change_.next == 0) return next;
  // Counted from the first Poll and not from Show: what lies between them would be cut off from the
  // motion's beginning.
  if (!change_.beganMs) change_.beganMs = now.steadyMs;
  const int64_t lasts = change_.transition.durationMs;
  const int64_t since = now.steadyMs - *change_.beganMs;
  if (since >= lasts) {
    EndChange();
    return next;
  }
  PLEXION_CHECK(change_.motion != nullptr, "a cut has ended when it began");
  change_.motion->Draw(static_cast<double>(since) / static_cast<double>(lasts));
  return std::min(next, now.steadyMs + kFrameMs);
}

void WindowStage::Step(ZoneDirector& director, Content& content, const ZoneTime& now) {
  const uint64_t number = content.number;
  // Plain pictures are this stage's own. The director has never heard of their numbers.
  const bool plain = number >= kReasonNumbers;
  if (content.phase == Phase::kFailed) {
    content.phase = Phase::kOver;
    if (!plain) director.OnEnded(number, content.failure, now);
    return;
  }
  if (content.phase == Phase::kOver) return;
  if (const auto ending = content.observer->GetEnding()) {
    const bool good = ending->status == qx::plexion::kStatusComplete;
    content.phase = Phase::kOver;
    std::string failure = ending->message;
    // The player begins with the content's own name, which is told already.
    const std::string prefix = fs::path(content.texts->line.content).filename().string() + ": ";
    if (failure.compare(0, prefix.size(), prefix) == 0) failure.erase(0, prefix.size());
    if (!good && failure.empty()) {
      const char* const name = session_.service->StageWindowStatusToString(ending->status);
      failure = name != nullptr ? name : "it failed";
    }
    if (!plain) director.OnEnded(number, good ? "" : failure, now);
    return;
  }
  if (content.phase == Phase::kLoading &&
      session_.windows.Board().Ask([&] { return content.observer->IsReadyLocked(); })) {
    Prepare(content, now.steadyMs);
  }
  // Sound alone never draws, and a movie may begin with nothing to see: both are ready a second
  // after they have their planes.
  const bool waited = now.steadyMs >= content.phaseBeganMs + kFirstPictureMs;
  if (content.phase != Phase::kDrawing || !(content.observer->HasDrawn() || waited)) return;
  content.phase = Phase::kReady;
  if (!plain) {
    director.OnLoaded(number, content.endless, now);
  } else if (reasonNumber_ == number) {
    // Also over the last picture of what is over.
    Show(number, shown_, {});
  }
}

void WindowStage::Relocate() {
  std::vector<uint64_t> numbers;
  for (const Content& content : contents_) numbers.push_back(content.number);
  for (const uint64_t number : numbers) {
    if (Content* const content = Find(number)) Relocate(*content);
  }
}

bool WindowStage::IsLaidOutLocked() const {
  return std::all_of(contents_.begin(), contents_.end(), [](const Content& content) {
    return !content.visible || content.phase != Phase::kShown ||
           content.observer->HasResizedLocked();
  });
}

void WindowStage::Relocate(Content& content) {
  const auto same = [](const qx::plexion::Rect& one, const qx::plexion::Rect& other) {
    return one.x == other.x && one.y == other.y && one.width == other.width &&
           one.height == other.height;
  };
  // What has not drawn yet would be resized under its first picture; it is behind that.
  const bool drawn = content.phase == Phase::kReady || content.phase == Phase::kShown;
  if (!drawn || same(content.place, rect_)) return;
  // It moves planes between places that are no more. What only waited for its end is gone with it, which
  // may be this content.
  const uint64_t number = content.number;
  EndChange();
  if (Find(number) == nullptr) return;
  content.place = rect_;
  const OneFrame frame(session_.display);
  content.observer->AwaitResize();
  content.window->MoveTo({rect_.x, rect_.y});
  content.window->Resize({rect_.width, rect_.height}, true);
}

void WindowStage::Prepare(Content& content, int64_t nowMs) {
  const OneFrame frame(session_.display);
  content.phaseBeganMs = nowMs;
  if (!session_.CreatePlanes(*content.window, content.texts->line.content)) {
    content.failure = "it gets no place on the screen";
    content.phase = Phase::kFailed;  // the next Poll tells the director
    return;
  }
  // Visible, or nothing would be drawn on it; but it must not show yet.
  content.window->SetAlpha(0);
  content.phase = Phase::kDrawing;
  // New planes come to lie on top of all. Below the zone above, at once and in the same frame, or a
  // content that gets ready would flash over its neighbour.
  qx::platform::OutputPlane* const plane = content.window->GetOutputPlane();
  qx::platform::OutputPlane* const above = above_();
  if (plane != nullptr && above != nullptr) plane->SetBelow(above);
}

void WindowStage::Show(uint64_t number, uint64_t previous, const Transition& transition) {
  // A change that is still under way is finished first: two transitions of a zone at once would
  // need three planes in an order that nobody defined.
  EndChange();
  Content* const content = Find(number);
  if (content == nullptr || content->window == nullptr) return;
  // The plain picture gives way to everything.
  Content* const plain =
      reasonNumber_ != 0 && number != reasonNumber_ ? Find(reasonNumber_) : nullptr;
  if (plain != nullptr && previous == 0) previous = reasonNumber_;
  Content* const before = Find(previous);
  // From here to the end in one frame: the new plane, the end of the old one and the first step of
  // the transition are seen together, or none of them.
  const OneFrame frame(session_.display);
  qx::platform::OutputPlane* const plane = content->window->GetOutputPlane();
  qx::platform::OutputPlane* const below =
      before != nullptr && before->window != nullptr ? before->window->GetOutputPlane() : nullptr;
  if (plane != nullptr && below != nullptr) plane->SetAbove(below);
  content->visible = true;
  content->window->SetVisible(true);
  shown_ = number;
  // What was paused, and comes back, is kShown already; Resume has let it go on.
  if (content->phase == Phase::kReady) {
    content->phase = Phase::kShown;
    session_.OnFirstPlay();
    content->window->Play();
  }
  const bool unsaid = transition.kind == Transition::Kind::kUnsaid;
  change_ = {number, previous, unsaid ? session_.options.transition : transition, std::nullopt, {}};
  if (change_.transition.IsGradual() && plane != nullptr && below != nullptr) {
    change_.motion =
        std::make_unique<PlaneTransition>(session_.display, change_.transition, *plane, *below);
    change_.motion->Draw(0);
  } else {
    EndChange();
  }
  if (plain != nullptr) {
    const uint64_t gone = std::exchange(reasonNumber_, 0);
    Drop(gone);
  }
}

void WindowStage::EndChange() {
  if (change_.next == 0) return;
  // Taken out before anything is called: Drop asks whether a change is under way, and must hear
  // that none is.
  const Change change = std::exchange(change_, Change());
  const OneFrame frame(session_.display);
  if (change.motion != nullptr) change.motion->End();
  if (Content* const next = Find(change.next)) {
    if (next->window != nullptr) next->window->SetAlpha(255);
  }
  if (Content* const previous = Find(change.previous)) {
    if (previous->window != nullptr) previous->window->SetVisible(false);
    previous->visible = false;
  }
  const std::vector<uint64_t> gone = std::exchange(dropLater_, {});
  for (const uint64_t number : gone) Drop(number);
}

void WindowStage::Pause(uint64_t number) {
  Content* const content = Find(number);
  if (content != nullptr && content->phase == Phase::kShown) content->window->Pause();
}

void WindowStage::Resume(uint64_t number) {
  Content* const content = Find(number);
  if (content == nullptr || content->phase != Phase::kShown) return;
  content->window->SetAlpha(content->visible ? 255 : 0);
  content->window->SetVisible(true);
  content->window->Play();
}

void WindowStage::Drop(uint64_t number) {
  // It is half of what is seen until the transition is over.
  if (change_.next != 0 && change_.previous == number) {
    dropLater_.push_back(number);
    return;
  }
  if (change_.next == number) EndChange();
  const auto found = std::find_if(contents_.begin(), contents_.end(),
                                  [&](const Content& content) { return content.number == number; });
  if (found == contents_.end()) return;
  // The plain picture that comes next has then nothing to lie above.
  if (shown_ == number) shown_ = 0;
  Destroy(*found);
  contents_.erase(found);
}

void WindowStage::Destroy(Content& content) {
  if (content.window == nullptr) return;
  // Hidden at once. The window itself may live on for as long as its player's thread needs.
  content.window->SetVisible(false);
  reaper_.Destroy(std::exchange(content.window, nullptr), content.texts);
}

/// The plain picture is an application of two lines, in a folder of its own.
void WindowStage::ShowReason(const std::string& reason) {
  if (!showReason_ || reasonNumber_ != 0) return;
  std::string name = (fs::temp_directory_path() / "plexion-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) return;
  const int size = static_cast<int>(std::max<uint32_t>(rect_.height / 16, 12));
  std::ofstream file(name + "/application.xml");
  file << "<application width=\"" << std::min(rect_.width, 8192u) << "\" height=\""
       << std::min(rect_.height, 8192u)
       << "\" rate=\"1\" background=\"#101418\">\n<scene id=\"main\">\n"
       << "<text x=\"" << size << "\" y=\"" << rect_.height / 2 - 2 * size << "\" size=\"" << size
       << "\" color=\"#ffffff\">" << EscapeXml(displayName_) << "</text>\n<text x=\"" << size
       << "\" y=\"" << rect_.height / 2 << "\" size=\"" << std::max(size / 2, 10) << "\" width=\""
       << std::max<int64_t>(int64_t{rect_.width} - 2 * size, 1) << "\" color=\"#9aa4ad\">"
       << EscapeXml(reason) << "</text>\n</scene>\n</application>\n";
  file.close();
  // Over all zones: windows of two stages are listed side by side, and a number must not name two
  // of them.
  static uint64_t numbers = kReasonNumbers;
  reasonNumber_ = ++numbers;
  Item item;
  item.content = name;
  item.fit = Fit::kStretch;
  Load(reasonNumber_, item);
  contents_.back().texts->folder = name;
}

bool WindowStage::HasNewsLocked() const {
  return std::any_of(contents_.begin(), contents_.end(), [](const Content& content) {
    if (content.phase == Phase::kFailed) return true;
    if (content.phase == Phase::kOver) return false;
    return content.observer->HasEndedLocked() ||
           (content.phase == Phase::kLoading && content.observer->IsReadyLocked()) ||
           (content.phase == Phase::kDrawing && content.observer->HasDrawnLocked());
  });
}

const qx::plexion::StageWindow* WindowStage::WindowOf(uint64_t number) const {
  for (const Content& content : contents_) {
    if (content.number == number) return content.window;
  }
  return nullptr;
}

qx::platform::OutputPlane* WindowStage::LowestPlane() const {
  qx::platform::OutputPlane* lowest = nullptr;
  for (const Content& content : contents_) {
    if (content.window == nullptr || content.phase == Phase::kLoading) continue;
    qx::platform::OutputPlane* const plane = content.window->GetOutputPlane();
    if (plane == nullptr) continue;
    if (lowest == nullptr || plane->GetStackingIndex() < lowest->GetStackingIndex()) lowest = plane;
  }
  return lowest;
}

}  // namespace plexion_host
