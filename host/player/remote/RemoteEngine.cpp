// Orders and answers of one content: loading, moving on, drawing.

#include "host/player/remote/RemoteEngine.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/player/remote/SettingsText.h"

namespace plexion_host::player::remote {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// Between the end of a process and the thread that collects it.
constexpr milliseconds kCollecting{2000};
/// So many frames after each other, and the next one will probably differ as well.
constexpr unsigned kSteadyFrames = 3;

std::string Seconds(milliseconds time) { return std::to_string(time.count() / 1000) + " s"; }

}  // namespace

RemoteEngine::RemoteEngine(ContentProcesses& processes, EngineHost& host, const ContentOrder& order,
                           const Patience& patience)
    : processes_(processes),
      host_(host),
      order_(order),
      patience_(patience),
      grants_(host.Memory()) {}

RemoteEngine::~RemoteEngine() {
  if (taken_.process == nullptr) return;
  // What an instrumented run counts is told when the engine goes; otherwise nobody waits for that.
  processes_.Release(taken_, host_.Settings().instrument && !IsGone());
  FreeOwnMemory();
}

// Loading.

bool RemoteEngine::Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) {
  // A refusal before there is a process has no status of its own; ReadError below replaces it.
  error.status = qx::plexion::kErrorStartupFailure;
  PLEXION_CHECK(taken_.process == nullptr, "an engine loads one content");
  taken_ = processes_.Take(order_, *this, error.message);
  if (taken_.process == nullptr) return false;
  Record answer;
  std::string fault;
  // Rights are given up between the settings and the content: from then on whatever is in the
  // content's bytes works behind the sandbox.
  CallEnd end = SendLoad(content) ? CallProtect(answer, fault) : CallEnd::kNotTaken;
  if (end == CallEnd::kAnswered && fault.empty()) end = CallLoad(Kind::kLoad, answer);
  if (end == CallEnd::kAnswered && ReadLoaded(answer, facts, fault)) {
    // Both flags change under one lock: an end that comes now is either told by the error here, or
    // to the host by OnEnd, and never by both or none.
    selfPaced_ = facts.framesPerSecond == 0;
    const MutexLock lock(mutex_);
    loaded_ = !ended_;
    if (!loaded_) error = end_;
    return loaded_;
  }
  if (end == CallEnd::kAnswered && !ReadError(answer, error, fault)) end = CallEnd::kLied;
  if (end != CallEnd::kAnswered) error = ErrorOf(end, fault, patience_.loading);
  const MutexLock lock(mutex_);
  gone_ = true;
  return false;
}

bool RemoteEngine::SendLoad(const ContentAddress& content) {
  const std::string settings = WriteSettings(host_.Settings());
  const std::string address = WriteAddress(content);
  return settings.size() <= kMostSettingsText && address.size() <= kMostSettingsText &&
         taken_.process->SendText(MakeRecord(Kind::kSettings), settings) &&
         taken_.process->SendText(MakeRecord(Kind::kAddress), address);
}

CallEnd RemoteEngine::CallProtect(Record& answer, std::string& fault) {
  const CallEnd end = CallLoad(Kind::kProtect, answer);
  std::string protection;
  if (end == CallEnd::kAnswered && ReadProtected(answer, protection, fault)) {
    taken_.events->BeginContent(protection);
  }
  return end;
}

CallEnd RemoteEngine::CallLoad(Kind kind, Record& answer) {
  ContentOrder order = order_;
  // What the window's limit still allows now; the process refuses to itself what goes beyond, long
  // before the launcher's look at its memory would.
  if (host_.Memory() != nullptr) order.memoryBytes = host_.Memory()->GetBytesAvailable();
  // A slow network is no dead process: whatever loads asks now and then whether it is cancelled,
  // which moves the count of signs on, and the patience begins anew.
  uint32_t signs = taken_.process->LifeSigns();
  auto seen = Clock::now();
  const CallEnd end = taken_.process->Call(ContentRecord(kind, order), answer, [&] {
    ReportProgress();
    taken_.events->TellMemory();
    if (host_.Cancelled()) return false;
    if (std::exchange(signs, taken_.process->LifeSigns()) != taken_.process->LifeSigns())
      seen = Clock::now();
    return Clock::now() - seen < patience_.loading;
  });
  // What it said while it loaded comes before the outcome: progress before "loaded", a failure's
  // notices before its error.
  taken_.events->ReadAll();
  ReportProgress();
  return end;
}

void RemoteEngine::ReportProgress() {
  std::vector<unsigned> percents;
  // Handed out without the lock: the host's answer may come back into this object.
  {
    const MutexLock lock(mutex_);
    percents.assign(percents_.begin() + static_cast<ptrdiff_t>(reported_), percents_.end());
    reported_ = percents_.size();
  }
  for (const unsigned percent : percents) host_.ReportProgress(percent);
}

// Playing.

void RemoteEngine::SendOrGiveUp(bool sent) {
  if (!sent && !IsGone()) GiveUp(ErrorOf(CallEnd::kNotTaken, "", {}));
}

void RemoteEngine::SetPlaying(bool playing) {
  SendOrGiveUp(taken_.process->Send(FlagRecord(Kind::kPlaying, playing)));
}

void RemoteEngine::OnInput(const InputEvent& event) {
  // Checked here by the reader of the other side, so that one device's odd button does not end a
  // content.
  const Record record = InputRecord(event);
  InputEvent known;
  std::string fault;
  // A button that no mouse has is a device's own business; content knows none.
  if (ReadInput(record, known, fault)) SendOrGiveUp(taken_.process->Send(record));
}

void RemoteEngine::OnProxy(const ProxySettings& proxy) {
  SendOrGiveUp(taken_.process->SendText(MakeRecord(Kind::kProxy), WriteProxy(proxy)));
}

void RemoteEngine::SetVolume(double factor) {
  // A factor from who knows where must be one that VolumeRecord's reader takes.
  SendOrGiveUp(taken_.process->Send(VolumeRecord(std::clamp(factor, 0.0, 1.0))));
}

void RemoteEngine::SaveMemory() {
  SendOrGiveUp(taken_.process->Send(MakeRecord(Kind::kSaveMemory)));
}

std::optional<uint64_t> RemoteEngine::BytesElsewhere() const {
  return taken_.process->CountedBytes();
}

bool RemoteEngine::Seek(double seconds, bool relative, std::string& fault) {
  Record answer;
  std::string lie;
  fault = "its process is gone";
  if (!Call(SeekRecord({seconds, relative}), answer)) return false;
  if (ReadSought(answer, fault, lie)) return fault.empty();
  fault = lie;
  GiveUp(ErrorOf(CallEnd::kLied, lie, {}));
  return false;
}

bool RemoteEngine::IsSteady(const FrameStep& step) const {
  // Whoever wants the plane waits for a Draw: only content whose moments take no time to speak of.
  const bool quick =
      order_.kind == ContentKind::kMovie || (order_.kind == ContentKind::kMedia && selfPaced_);
  return quick && step.playing && steadyFrames_ >= kSteadyFrames && !pending_;
}

// Without a word to the screen before its time: the plane is the launcher's to copy from when it is told
// of a Draw, and it is told of this one by the Draw that comes when the moment is due.
bool RemoteEngine::WorkAhead(const FrameStep& next) {
  PLEXION_CHECK(!ahead_, "one moment at a time");
  // Not while the last moment waits for a Draw, which may have found no memory.
  if (planesGiven_ == 0 || pending_ || drawWhole_ || drawnAhead_ || IsGone()) return false;
  taken_.process->Order(DrawRecord({bgAlpha_, false, next}));
  ahead_ = next;
  return true;
}

StepResult RemoteEngine::TakeAhead() {
  const FrameStep step = *std::exchange(ahead_, std::nullopt);
  Record answer;
  std::string fault;
  uint64_t next = kNoFrame;
  DrawResult drawn;
  steadyFrames_ = 0;
  if (!Await(answer)) return {false, kNoFrame};
  if (!ReadDrawn(answer, plane_.dims, drawn, next, fault)) {
    GiveUp(ErrorOf(CallEnd::kLied, fault, {}));
    return {false, kNoFrame};
  }
  const bool changed = drawn.drawn || !drawn.failure.empty();
  if (changed) drawnAhead_ = std::move(drawn);
  if (changed && next == NextOf(step)) steadyFrames_ = kSteadyFrames;
  return {changed, next};
}

StepResult RemoteEngine::Advance(const FrameStep& step) {
  if (ahead_) {
    PLEXION_CHECK(ahead_->position == step.position && ahead_->playing == step.playing,
                  "what was worked out ahead is asked for next");
    return TakeAhead();
  }
  // Its Draw did not come: nobody knows which part of the plane is another.
  if (std::exchange(drawnAhead_, std::nullopt)) drawWhole_ = true;
  // A movie that changed in each of the last frames will do so in the next: saying so without
  // asking, and asking with the drawing, saves one of the two round trips of each frame.
  if (IsSteady(step)) {
    pending_ = step;
    return {true, NextOf(step)};
  }
  // The Draw did not come.
  if (std::exchange(pending_, std::nullopt)) steadyFrames_ = 0;
  StepResult result;
  result.nextPosition = kNoFrame;
  Record answer;
  std::string fault;
  if (!Call(StepRecord(step), answer)) return result;
  if (ReadAdvanced(answer, result, fault)) {
    // "Steady" ends with the first frame that stays as it is or leaves one out; such movies are
    // asked again.
    const bool steady = result.changed && result.nextPosition == NextOf(step);
    steadyFrames_ = steady ? steadyFrames_ + 1 : 0;
    result.changed = result.changed || drawWhole_;
    return result;
  }
  GiveUp(ErrorOf(CallEnd::kLied, fault, {}));
  return {false, kNoFrame};
}

DrawResult RemoteEngine::Draw(const DrawTarget& target) {
  PLEXION_CHECK(target.pixels != nullptr && target.dims.height > 0 &&
                    target.pitchBytes >= uint64_t{target.dims.width} * 4,
                "a plane's rows are as long as they have to be");
  DrawResult result;
  PLEXION_CHECK(!ahead_, "the moment is asked for before it is drawn");
  if (IsGone()) return result;
  const uint64_t drawnInto = planesGiven_;
  if (!ShareMemory(target)) {
    if (!IsGone()) result.failure = "no memory that its process could draw into";
    return result;
  }
  Record answer;
  std::string fault;
  if (drawnAhead_) {
    result = *std::exchange(drawnAhead_, std::nullopt);
    const bool same = !target.everything && planesGiven_ == drawnInto && target.bgAlpha == bgAlpha_;
    if (same && own_ != nullptr && result.drawn) CopyOwn(target, result.dirty);
    if (same) return result;
    // The window has another plane meanwhile.
    drawWhole_ = true;
    result = DrawResult();
  }
  bgAlpha_ = target.bgAlpha;
  const bool everything = std::exchange(drawWhole_, false) || target.everything;
  const std::optional<FrameStep> step = std::exchange(pending_, std::nullopt);
  if (!Call(DrawRecord({target.bgAlpha, everything, step}), answer)) return result;
  uint64_t next = kNoFrame;
  if (!ReadDrawn(answer, target.dims, result, next, fault)) {
    GiveUp(ErrorOf(CallEnd::kLied, fault, {}));
    return DrawResult();
  }
  // The guess was wrong: this moment looked like the one before, or the movie sleeps now. Ask again
  // from here on.
  if (step && (!result.drawn || next != NextOf(*step))) steadyFrames_ = 0;
  if (own_ != nullptr && result.drawn) CopyOwn(target, result.dirty);
  return result;
}

bool RemoteEngine::Call(const Record& order, Record& answer) {
  PLEXION_CHECK(taken_.process != nullptr && !ahead_, "content is loaded before it is asked");
  if (IsGone()) return false;
  taken_.process->Order(order);
  return Await(answer);
}

bool RemoteEngine::Await(Record& answer) {
  // Counted from here, also when it was asked before: nobody has waited for it until now.
  const auto asked = Clock::now();
  int64_t worked = -1;
  const CallEnd end = taken_.process->Await(answer, [&] {
    // What takes memory takes its time, and is to be ended at the window's limit, not far beyond it.
    taken_.events->TellMemory();
    if (host_.Cancelled()) return false;
    // Not before the first glance: hardly any order takes that long.
    if (worked < 0) worked = taken_.process->WorkedNanoseconds();
    return MayGoOn(asked, worked);
  });
  // What the content said while it worked belongs to the frame that it worked on.
  // Events before the answer in time are heard before it.
  if (end == CallEnd::kAnswered) taken_.events->ReadBefore(answer.events);
  EngineError error;
  std::string ignored;
  if (end == CallEnd::kAnswered) {
    // Orders of all kinds may be answered by a failure; it is the last that the content does.
    if (!ReadError(answer, error, ignored)) return true;
    GiveUp(error);
  } else if (end == CallEnd::kGaveUp && host_.Cancelled()) {
    // The window is ending anyway, and knows why.
    const MutexLock lock(mutex_);
    gone_ = true;
  } else {
    GiveUp(ErrorOf(end, "", patience_.still));
  }
  // It may be in the middle of a loop that never ends; nothing that it still does is of use to
  // anybody.
  taken_.process->Kill();
  return false;
}

bool RemoteEngine::MayGoOn(Clock::time_point asked, int64_t worked) const {
  // Three clocks: short patience for one that sleeps, longer for one that computes, and the longest
  // for one that a loaded machine gives no processor.
  const auto waited = Clock::now() - asked;
  if (waited < patience_.still) return true;
  if (waited >= patience_.most || !taken_.process->IsWorking()) return false;
  return nanoseconds(taken_.process->WorkedNanoseconds() - worked) < patience_.working;
}

// Ends.

EngineError RemoteEngine::ErrorOf(CallEnd end, const std::string& fault, milliseconds patience) {
  switch (end) {
    case CallEnd::kEnded:
      return TakeEndOfProcess();
    case CallEnd::kLied:
      return {qx::plexion::kErrorFatalPlaybackError,
              "the content's process was ended: it answered with " +
                  (fault.empty() ? "what was not asked for" : fault)};
    case CallEnd::kNotTaken:
      return {qx::plexion::kErrorFatalPlaybackError,
              "the content's process was ended: it does not take its orders"};
    default:
      return {qx::plexion::kErrorFatalPlaybackError,
              "the content's process was ended: no answer for " + Seconds(patience)};
  }
}

EngineError RemoteEngine::TakeEndOfProcess() {
  // The bell rings sooner than the thread that collects has asked the system for the cause.
  MutexLock lock(mutex_);
  changed_.WaitFor(lock, kCollecting, [this]() REQUIRES(mutex_) { return ended_; });
  if (ended_) return end_;
  return {qx::plexion::kErrorFatalPlaybackError, "the content's process is gone"};
}

void RemoteEngine::GiveUp(const EngineError& error) {
  {
    const MutexLock lock(mutex_);
    // Whoever comes first names the cause: a process that is killed for a lie ends a moment later,
    // and "killed" is not what its window should read.
    if (std::exchange(gone_, true)) return;
  }
  host_.Fail(error);
}

bool RemoteEngine::IsGone() {
  const MutexLock lock(mutex_);
  return gone_;
}

void RemoteEngine::OnEnd(const EngineError& error) {
  {
    const MutexLock lock(mutex_);
    ended_ = true;
    end_ = error;
    changed_.NotifyAll();
    // Load returns it; telling the host as well would end a window that has not begun.
    // While it loads, the load itself says so.
    if (!loaded_) return;
  }
  GiveUp(error);
}

void RemoteEngine::OnMemory(const ProcessMemory& memory) {
  // What is shared beyond the plane is the process's own doing, and as good as its own memory.
  const uint64_t bytes =
      memory.ownBytes + memory.sharedBytes - std::min(memory.sharedBytes, planeBytes_.load());
  // What it used before it took the content is not the content's doing.
  if (memoryBefore_ == kNotTaken) memoryBefore_ = bytes;
  // A refusal ends the window; the process goes with it.
  grants_.SetUsed(bytes > memoryBefore_ ? bytes - memoryBefore_ : 0);
}

void RemoteEngine::OnEvent(const Event& event) {
  switch (event.kind) {
    case Kind::kProgress: {
      const MutexLock lock(mutex_);
      if (percents_.empty() || event.percent > percents_.back()) percents_.push_back(event.percent);
      break;
    }
    case Kind::kFrameWanted:
      host_.RequestFrame();
      break;
    case Kind::kComplete:
      host_.Complete();
      break;
    case Kind::kGaveUp:
      host_.Fail(event.error);
      break;
    case Kind::kNotice:
      host_.Notify(event.error.status, event.error.message);
      break;
    case Kind::kNoMemory:
      grants_.Refuse(event.bytes);
      break;
    default:
      break;
  }
}

}  // namespace plexion_host::player::remote
