// What a player instance does for one frame, on the player's thread.
#include <algorithm>
#include <optional>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/contracts/ContentGround.h"
#include "host/player/instance/PlayerInstance.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player {

namespace {

constexpr IQXKernel::Time kNanosecondsPerMillisecond = 1000000;
/// A sample period of 0 would keep the thread awake for nothing but samples.
constexpr IQXKernel::Time kShortestSample = 10 * kNanosecondsPerMillisecond;
/// Between two looks at what the window uses.
constexpr IQXKernel::Time kMemoryPeriod = 250 * kNanosecondsPerMillisecond;
/// Less than that is not worth losing what is kept a second time.
constexpr uint64_t kGrownAgain = 1024 * 1024;
/// Frames with nothing in between but time, after a start and after something else has happened: where
/// somebody moves a pointer, the next thing is likely to happen before the next frame, too.
constexpr unsigned kCalmAtStart = 3;
constexpr unsigned kCalm = 30;

/// The plane's pixels for as long as they are drawn into.
class LockedPixels {
 public:
  explicit LockedPixels(qx::platform::RenderPlane* plane)
      : plane_(plane), pixels_(plane->LockPixels(false)) {}
  LockedPixels(const LockedPixels&) = delete;
  LockedPixels& operator=(const LockedPixels&) = delete;
  ~LockedPixels() {
    if (pixels_ != nullptr) plane_->UnlockPixels();
  }
  uint32_t* Get() const { return static_cast<uint32_t*>(pixels_); }

 private:
  qx::platform::RenderPlane* plane_;
  void* pixels_;
};

/// The colour that a variable asks for; the last one counts.
std::optional<uint32_t> GroundOf(const PlayerSettings& settings) {
  std::optional<uint32_t> ground;
  for (const auto& [name, value] : settings.variables) {
    if (name == kGroundVariable) ground = ReadColour(value);
  }
  return ground;
}

void LayGround(const DrawTarget& target, const qx::plexion::Rect& dirty, uint32_t colour) {
  const uint32_t right = std::min(dirty.x + dirty.width, target.dims.width);
  const uint32_t bottom = std::min(dirty.y + dirty.height, target.dims.height);
  for (uint32_t y = dirty.y; y < bottom && dirty.x < right; ++y) {
    uint32_t* const row = RowAt(target.pixels, target.pitchBytes, y);
    for (uint32_t x = dirty.x; x < right; ++x) {
      if (row[x] < kOpaqueBlack) row[x] = OverOpaque(row[x], colour);
    }
  }
}

}  // namespace

void PlayerInstance::ShowDueFrame() {
  if (engine_ == nullptr) return;
  if (advanceWanted_ || HasNewPlane()) TakeCharge();
  const uint64_t before = pacer_.Position();
  if (pacer_.IsRunning()) {
    AdvanceWithClock();
  } else if (advanceWanted_) {
    AdvanceTo(pacer_.Position());
  }
  if (finished_) return;
  DrawFrame();
  StartPlayingWhenPossible();
  if (pacer_.HasFinished()) {
    Finish(qx::plexion::kStatusComplete, std::string());
    return;
  }
  TraceFrameRate();
  if (pacer_.Position() != before) WorkAhead();
}

// A frame that is drawn before it is due costs no waiting for it: the engine's process and this thread
// are woken once for each frame, and neither for the other.
void PlayerInstance::WorkAhead() {
  if (calmFrames_ > 0) {
    --calmFrames_;
  } else if (!ahead_ && pacer_.WorkAhead(*engine_, clock_.Now())) {
    ahead_ = pacer_.NextPosition();
  }
}

// Whatever happens between two frames finds the engine where the picture is: the frame that was worked
// out ahead is shown first, a part of a frame early, rather than after what comes now.
void PlayerInstance::ShowAhead() {
  if (!ahead_) return;
  const bool wanted = advanceWanted_;
  AdvanceTo(*ahead_);
  DrawFrame();
  advanceWanted_ = wanted;
}

void PlayerInstance::TakeCharge() {
  ShowAhead();
  if (pacer_.IsRunning()) calmFrames_ = kCalm;
}

void PlayerInstance::AdvanceWithClock() {
  // Positions count on over the passes of a loop, so that the end is one number however often it plays.
  const uint64_t end = pacer_.EndPosition();
  const Time now = clock_.Now();
  if (ahead_ && pacer_.DueAt(now) > *ahead_) ShowAhead();
  const uint64_t due = pacer_.DueAt(now);
  const uint64_t skipped = pacer_.SkippedBefore(due);
  if (skipped > 0) statistics_.FramesSkipped(skipped);
  if (due < end) {
    if (pacer_.IsNew(due) || advanceWanted_) AdvanceTo(due);
    return;
  }
  // Over. The last frame is shown in any case, however late.
  if (pacer_.IsNew(end - 1)) {
    AdvanceTo(end - 1);
    DrawFrame();
  }
  pacer_.Finish();
}

void PlayerInstance::AdvanceTo(uint64_t position) {
  PLEXION_CHECK(engine_ != nullptr, "there is an engine to move");
  PLEXION_CHECK(!ahead_ || *ahead_ == position, "what was worked out ahead comes next");
  ahead_.reset();
  advanceWanted_ = false;
  const StepResult result = pacer_.Step(*engine_, position);
  pictureChanged_ = pictureChanged_ || result.changed;
  if (!result.changed) statistics_.FrameUnchanged();
}

bool PlayerInstance::HasPlane() {
  const MutexLock planeLock(planeMutex_);
  return plane_ != nullptr;
}

bool PlayerInstance::HasNewPlane() {
  const MutexLock planeLock(planeMutex_);
  return plane_ != nullptr && drawEverything_;
}

void PlayerInstance::DrawFrame() {
  DrawResult result;
  bool newPlane = false;
  bool locked = true;
  const Time began = clock_.Now();
  {
    const MutexLock planeLock(planeMutex_);
    // Nothing new to see costs no lock of the pixels, no notification and no copy behind it.
    if (plane_ == nullptr || (!pictureChanged_ && !drawEverything_)) return;
    // A plane that has come this moment: what is drawn ahead is shown first, and whoever brought the
    // plane has woken this thread.
    if (ahead_) return;
    LockedPixels pixels(plane_);
    locked = pixels.Get() != nullptr;
    if (!locked) {
      result.failure = "the render plane's pixels cannot be had";
    } else {
      // Size and pitch are those of the locked pixels: a resize may have come just before.
      DrawTarget target;
      target.pixels = pixels.Get();
      target.pitchBytes = plane_->GetPitch();
      target.dims = plane_->GetDims();
      // A colour is laid below what has been drawn, so that no engine needs to know of it.
      const std::optional<uint32_t> ground = GroundOf(settings_);
      target.bgAlpha = ground ? 0 : settings_.bgAlpha;
      target.everything = newPlane = drawEverything_;
      result = engine_->Draw(target);
      if (ground && result.drawn) LayGround(target, result.dirty, *ground);
      // Also after a failure: the same frame would fail the same way; the next change is drawn anew.
      drawEverything_ = false;
    }
    pictureChanged_ = false;
  }
  // An engine may leave the moment to the drawing of it, which did not come.
  if (!locked) AdvanceTo(pacer_.Position());
  WatchMemory(newPlane);
  if (!result.failure.empty()) {
    Announce(qx::plexion::kInfoContentRenderFailure,
             (content_.name + ": " + result.failure).c_str());
  }
  if (!result.drawn) {
    statistics_.FrameUnchanged();
    return;
  }
  const Time ended = clock_.Now();
  // Outside of the plane's lock: the window copies the plane now, and locks it for that itself.
  statistics_.FrameDrawn(began, ended, pacer_.IsLate(ended));
  qx::plexion::StageWindowStatusData data = {};
  data.rect = &result.dirty;
  notifier_->OnMorvelInstanceNotification(qx::plexion::kInfoRenderPlaneUpdated, &data);
}

void PlayerInstance::WatchMemory(bool newPlane) {
  const Time now = clock_.Now();
  // Four times a second is enough to be ahead of a leak, and no frame pays for the question.
  if (window_ == nullptr || (!newPlane && now < nextMemoryLook_)) return;
  nextMemoryLook_ = now + kMemoryPeriod;
  unsigned long long used = 0;
  unsigned long long limit = 0;
  unsigned long long graphics = 0;
  window_->GetMemoryInfo(used, limit, graphics);
  const unsigned megabytes = settings_.graphicsMemThresholdMegabytes;
  const uint64_t threshold = megabytes == 0 ? UINT64_MAX : uint64_t{megabytes} * 1024 * 1024;
  const bool over = graphics > threshold;
  if (over && !overThreshold_) {
    IQXKernel::GetKernel()->Printf(
        "YELLOW ALERT: %s uses %llu bytes of graphics memory; the threshold is %u MB "
        "(--graphicsmemthreshold)\n",
        content_.name.c_str(), graphics, megabytes);
  }
  overThreshold_ = over;
  // What is kept to be faster goes before the limit ends the window.
  // Of a content in a process of its own the window's watchdog sees nothing until it has been told.
  const uint64_t content = engine_->BytesElsewhere().value_or(used);
  const bool scarce = graphics + content > threshold || (limit > 0 && used > limit / 4 * 3);
  if (!scarce || content <= savedAt_ + kGrownAgain) return;
  savedAt_ = content;
  engine_->SaveMemory();
}

void PlayerInstance::StartPlayingWhenPossible() {
  if (!playWanted_ || engine_ == nullptr || !HasPlane()) return;
  playWanted_ = false;
  // What there is to see comes first; the clock starts when everybody knows that it does.
  DrawFrame();
  SetStatusAndAnnounce(qx::plexion::kStatusPlaying);
  engine_->SetPlaying(true);
  const Time now = clock_.Now();
  pacer_.Start(now);
  calmFrames_ = kCalmAtStart;
  // On one raster with the others: windows of one rate are then due together, and the screen is composed once.
  if (clock_.IsShared()) pacer_.Align();
  statistics_.StartSample(now);
  if ((settings_.traceFlags & qx::plexion::kTraceFrameRate) != 0) {
    nextSample_ = now + SamplePeriod();
  }
}

void PlayerInstance::StopPlaying() {
  pacer_.Stop(clock_.Now());
  nextSample_ = IQXKernel::kInfinite;
  engine_->SetPlaying(false);
  SetStatusAndAnnounce(qx::plexion::kStatusPaused);
}

PlayerInstance::Time PlayerInstance::SamplePeriod() const {
  return std::max(static_cast<Time>(settings_.traceFpsMs) * kNanosecondsPerMillisecond,
                  kShortestSample);
}

void PlayerInstance::TraceFrameRate() {
  const Time now = clock_.Now();
  if (now < nextSample_) return;
  // From the last one on, so that samples do not drift; after a long halt from now, not one for each missed.
  nextSample_ = std::max(nextSample_ + SamplePeriod(), now);
  qx::plexion::StageWindowStatusData data = {};
  data.framesPerSecond = statistics_.TakeSample(now);
  IQXKernel::GetKernel()->Printf("FPS: %.1f (%s)\n", data.framesPerSecond, content_.name.c_str());
  notifier_->OnMorvelInstanceNotification(qx::plexion::kInfoNotifyFPS, &data);
}

PlayerInstance::Time PlayerInstance::NextDeadline() {
  if (engine_ == nullptr || !pacer_.IsRunning()) return IQXKernel::kInfinite;
  return std::min(pacer_.NextDeadline(), nextSample_);
}

}  // namespace plexion_host::player
