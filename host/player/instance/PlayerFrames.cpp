// What a player instance does for one frame, on the player's thread.
#include <algorithm>

#include "host/player/instance/PlayerInstance.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player {

namespace {

constexpr IQXKernel::Time kNanosecondsPerMillisecond = 1000000;
/// A sample period of 0 would keep the thread awake for nothing but samples.
constexpr IQXKernel::Time kShortestSample = 10 * kNanosecondsPerMillisecond;

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

}  // namespace

void PlayerInstance::ShowDueFrame() {
  if (engine_ == nullptr) return;
  if (timeline_.IsRunning()) {
    AdvanceWithClock();
  } else if (advanceWanted_) {
    AdvanceTo(position_);
  }
  if (finished_) return;
  DrawFrame();
  StartPlayingWhenPossible();
  if (timeline_.IsRunning() && timeline_.EndsAt(position_)) {
    Finish(qx::plexion::kStatusComplete, std::string());
    return;
  }
  TraceFrameRate();
}

void PlayerInstance::AdvanceWithClock() {
  const uint64_t end = timeline_.EndPosition();
  uint64_t due = settings_.noSpeedLimit ? std::min(std::max(position_ + 1, nextPosition_), end)
                                        : std::min(timeline_.PositionAt(clock_.Now()), end);
  if (due == kNoFrame) due = position_;
  if (due > nextPosition_) {
    statistics_.FramesSkipped(std::min(due, end - 1) - nextPosition_);
  }
  if (due < end) {
    if (due >= nextPosition_ || advanceWanted_) AdvanceTo(due);
    return;
  }
  // Over. The last frame is shown in any case, however late.
  if (nextPosition_ < end) {
    AdvanceTo(end - 1);
    DrawFrame();
  }
  position_ = end;
}

void PlayerInstance::AdvanceTo(uint64_t position) {
  advanceWanted_ = false;
  position_ = position;
  FrameStep step;
  step.frame = timeline_.FrameOf(position);
  step.pass = timeline_.PassOf(position);
  step.position = position;
  step.playing = timeline_.IsRunning();
  const StepResult result = engine_->Advance(step);
  nextPosition_ = std::max(result.nextPosition, position + 1);
  pictureChanged_ = pictureChanged_ || result.changed;
  if (!result.changed) statistics_.FrameUnchanged();
}

bool PlayerInstance::HasPlane() {
  const MutexLock planeLock(planeMutex_);
  return plane_ != nullptr;
}

void PlayerInstance::DrawFrame() {
  DrawResult result;
  bool newPlane = false;
  const Time began = clock_.Now();
  {
    const MutexLock planeLock(planeMutex_);
    if (plane_ == nullptr || (!pictureChanged_ && !drawEverything_)) return;
    LockedPixels pixels(plane_);
    if (pixels.Get() == nullptr) {
      result.failure = "the render plane's pixels cannot be had";
    } else {
      // Size and pitch are those of the locked pixels: a resize may have come just before.
      DrawTarget target;
      target.pixels = pixels.Get();
      target.pitchBytes = plane_->GetPitch();
      target.dims = plane_->GetDims();
      target.bgAlpha = settings_.bgAlpha;
      target.everything = newPlane = drawEverything_;
      result = engine_->Draw(target);
      drawEverything_ = false;
    }
    pictureChanged_ = false;
  }
  if (newPlane) WatchGraphicsMemory();
  if (!result.failure.empty()) {
    Announce(qx::plexion::kInfoContentRenderFailure,
             (content_.name + ": " + result.failure).c_str());
  }
  if (!result.drawn) {
    statistics_.FrameUnchanged();
    return;
  }
  const Time ended = clock_.Now();
  const bool late = !settings_.noSpeedLimit && timeline_.DeadlineOf(nextPosition_) < ended;
  statistics_.FrameDrawn(began, ended, late);
  qx::plexion::StageWindowStatusData data = {};
  data.rect = &result.dirty;
  notifier_->OnMorvelInstanceNotification(qx::plexion::kInfoRenderPlaneUpdated, &data);
}

void PlayerInstance::WatchGraphicsMemory() {
  const unsigned threshold = settings_.graphicsMemThresholdMegabytes;
  if (window_ == nullptr || threshold == 0) return;
  unsigned long long used = 0;
  unsigned long long limit = 0;
  unsigned long long graphics = 0;
  window_->GetMemoryInfo(used, limit, graphics);
  const bool over = graphics > uint64_t{threshold} * 1024 * 1024;
  if (over && !overThreshold_) {
    IQXKernel::GetKernel()->Printf(
        "YELLOW ALERT: %s uses %llu bytes of graphics memory; the threshold is %u MB "
        "(--graphicsmemthreshold)\n",
        content_.name.c_str(), graphics, threshold);
  }
  overThreshold_ = over;
}

void PlayerInstance::StartPlayingWhenPossible() {
  if (!playWanted_ || engine_ == nullptr || !HasPlane()) return;
  playWanted_ = false;
  // What there is to see comes first; the clock starts when everybody knows that it does.
  DrawFrame();
  SetStatusAndAnnounce(qx::plexion::kStatusPlaying);
  engine_->SetPlaying(true);
  const Time now = clock_.Now();
  timeline_.Start(now);
  statistics_.StartSample(now);
  if ((settings_.traceFlags & qx::plexion::kTraceFrameRate) != 0) {
    nextSample_ = now + SamplePeriod();
  }
}

void PlayerInstance::StopPlaying() {
  timeline_.Stop(clock_.Now());
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
  nextSample_ = std::max(nextSample_ + SamplePeriod(), now);
  qx::plexion::StageWindowStatusData data = {};
  data.framesPerSecond = statistics_.TakeSample(now);
  IQXKernel::GetKernel()->Printf("FPS: %.1f (%s)\n", data.framesPerSecond, content_.name.c_str());
  notifier_->OnMorvelInstanceNotification(qx::plexion::kInfoNotifyFPS, &data);
}

PlayerInstance::Time PlayerInstance::NextDeadline() {
  if (engine_ == nullptr || !timeline_.IsRunning()) return IQXKernel::kInfinite;
  const uint64_t next = std::min(nextPosition_, timeline_.EndPosition());
  if (settings_.noSpeedLimit && next != kNoFrame && facts_.framesPerSecond > 0) return 0;
  return std::min(timeline_.DeadlineOf(next), nextSample_);
}

}  // namespace plexion_host::player
