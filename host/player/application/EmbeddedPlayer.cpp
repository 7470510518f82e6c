#include "host/player/application/EmbeddedPlayer.h"

#include <math.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "host/player/ContentProbe.h"

namespace plexion_host::player::application {

namespace {

constexpr double kNanoseconds = 1e9;

}  // namespace

EmbeddedPlayer::~EmbeddedPlayer() { engine_.reset(); }

bool EmbeddedPlayer::Load(OpenFile file, const std::string& name, double loops, double speed,
                          std::string& error) {
  file_ = std::move(file);
  settings_ = host_.Settings();
  settings_.loops = static_cast<uint64_t>(loops);
  settings_.speed = speed;
  ContentAddress address;
  address.path = file_.Path();
  address.name = name;
  EngineError reason;
  ProbeResult probe;
  if (!ProbeContent(address, probe, reason)) {
    error = reason.message;
    return false;
  }
  if (probe.kind == ContentKind::kApplication) {
    error = "it is an application; expected a movie or a medium";
    return false;
  }
  std::unique_ptr<Engine> engine = engines_.OpenEngine(address, *this, reason);
  if (engine == nullptr || !engine->Load(address, facts_, reason)) {
    error = reason.message;
    return false;
  }
  if (facts_.stageDims.width == 0 || facts_.stageDims.height == 0) {
    error = "it has no size";
    return false;
  }
  engine_ = std::move(engine);
  timeline_ = Timeline(facts_.framesPerSecond, facts_.frameCount, settings_.loops, speed);
  return true;
}

bool EmbeddedPlayer::Advance(double seconds, bool playing) {
  if (engine_ == nullptr) return false;
  if (playing != playing_) {
    playing_ = playing;
    engine_->SetPlaying(playing);
    if (playing && !timeline_.IsRunning()) timeline_.Start(0);
  }
  const bool requested = frameRequested_.exchange(false);
  if (completeRequested_.exchange(false)) ended_ = true;
  uint64_t due = position_;
  if (facts_.framesPerSecond > 0 && !ended_ && timeline_.IsRunning()) {
    due = timeline_.PositionAt(llround(seconds * kNanoseconds));
    if (due >= timeline_.EndPosition()) {
      due = timeline_.EndPosition() - 1;
      ended_ = true;
    }
  }
  if (due < nextPosition_ && !requested) return false;
  FrameStep step;
  step.frame = timeline_.FrameOf(due);
  step.pass = timeline_.PassOf(due);
  step.position = position_ = due;
  step.playing = playing;
  const StepResult result = engine_->Advance(step);
  nextPosition_ = ended_ ? kNoFrame : std::max(result.nextPosition, due + 1);
  changed_ = changed_ || result.changed;
  return result.changed;
}

double EmbeddedPlayer::NextMoment() const {
  if (engine_ == nullptr || ended_ || facts_.framesPerSecond <= 0 || nextPosition_ == kNoFrame) {
    return std::numeric_limits<double>::infinity();
  }
  const uint64_t next = std::min(nextPosition_, timeline_.EndPosition());
  return static_cast<double>(timeline_.DeadlineOf(next)) / kNanoseconds;
}

bool EmbeddedPlayer::TakeEnded() {
  if (!ended_ || endTaken_) return false;
  endTaken_ = true;
  return true;
}

std::string EmbeddedPlayer::Failure() {
  std::lock_guard<std::mutex> lock(mutex_);
  return failure_;
}

PlayedPixels EmbeddedPlayer::Render(uint32_t width, uint32_t height) {
  if (engine_ == nullptr) return {};
  const bool resized = pixelDims_.width != width || pixelDims_.height != height;
  const size_t bytes = size_t{width} * height * sizeof(uint32_t);
  if (resized && !pixels_.Resize(host_.Memory(), bytes)) {
    pixelDims_ = {0, 0};
    return {};
  }
  pixelDims_ = {width, height};
  if (resized || changed_) {
    DrawTarget target;
    target.pixels = pixels_.As<uint32_t>();
    target.pitchBytes = width * static_cast<uint32_t>(sizeof(uint32_t));
    target.dims = pixelDims_;
    target.bgAlpha = 0;
    target.everything = resized;
    engine_->Draw(target);
    changed_ = false;
  }
  return {pixels_.As<uint32_t>(), width, height};
}

void EmbeddedPlayer::RequestFrame() {
  frameRequested_ = true;
  host_.RequestFrame();
}

void EmbeddedPlayer::Complete() {
  completeRequested_ = true;
  RequestFrame();
}

void EmbeddedPlayer::Fail(const EngineError& error) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    failure_ = error.message;
  }
  Complete();
}

void EmbeddedPlayer::Notify(qx::plexion::StageWindowStatus event, const std::string& message) {
  host_.Notify(event, message);
}

}  // namespace plexion_host::player::application
