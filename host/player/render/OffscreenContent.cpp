// One content without a window: opening it and drawing its frames by number.
#include "host/player/render/OffscreenContent.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/content/ContentProbe.h"

namespace plexion_host::player {

OffscreenContent::~OffscreenContent() {
  // The engine may call its host, and its library stays as long as `engines_`.
  engine_.reset();
}

bool OffscreenContent::Open(const std::string& content, const std::string& morvelVars,
                            EngineError& error) {
  PLEXION_CHECK(engine_ == nullptr, "one content is opened, once");
  error.status = qx::plexion::kErrorInvalidURL;
  if (!ResolveContentAddress(content, "", address_, error.message)) return false;
  if (address_.path.empty()) {
    error.message = "only local content is drawn by frames; expected a file or a folder";
    return false;
  }
  settings_.contentUrl = content;
  // Transparent below: the background is the caller's, who may want none.
  settings_.bgAlpha = 0;
  settings_.morvelVars = morvelVars;
  error.status = qx::plexion::kErrorStartupFailure;
  if (!ReadMorvelVars(settings_, error.message)) return false;
  engine_ = engines_.OpenEngine(address_, *this, error);
  if (engine_ == nullptr || !engine_->Load(address_, facts_, error) || !CheckKind(error)) {
    return false;
  }
  if (failed_) error = failure_;
  return !failed_;
}

bool OffscreenContent::CheckKind(EngineError& error) {
  ProbeResult probe;
  if (!ProbeContent(address_, probe, error)) return false;
  // The level picture of a sound is as long as the sound, which only the clock knows.
  const bool endless = facts_.frameCount == 0 && probe.kind != ContentKind::kApplication;
  if (facts_.framesPerSecond > 0 && !endless) {
    still_ = facts_.frameCount == 1;
    return true;
  }
  error = {qx::plexion::kErrorUnsupportedVersion,
           "it paces itself by the clock, so that its frames have no numbers; expected a movie, a "
           "picture or an application"};
  return false;
}

bool OffscreenContent::Draw(uint64_t frame, const qx::plexion::Dims& dims,
                            std::vector<uint32_t>& pixels, bool pixelsAreLast, EngineError& error) {
  PLEXION_CHECK(engine_ != nullptr, "a content is opened before it is drawn");
  PLEXION_CHECK(!pixelsAreLast || pixels.size() == size_t{dims.width} * dims.height,
                "what was drawn last has the same size");
  if (!stepped_) engine_->SetPlaying(true);
  FrameStep step;
  step.playing = true;
  if (facts_.frameCount != 0) {
    step.frame = step.position = frame;
    engine_->Advance(step);
  } else {
    // A script sees each moment that it asked for, up to the wanted one.
    for (uint64_t position = stepped_ ? std::min(nextPosition_, frame) : 0;;) {
      step.frame = step.position = position;
      const StepResult result = engine_->Advance(step);
      nextPosition_ = result.nextPosition;
      if (failed_ || position == frame) break;
      position = std::min(std::max(result.nextPosition, position + 1), frame);
    }
  }
  stepped_ = true;
  if (!failed_) {
    if (!pixelsAreLast) pixels.assign(size_t{dims.width} * dims.height, 0);
    DrawTarget target;
    target.pixels = pixels.data();
    target.pitchBytes = static_cast<uint32_t>(dims.width * sizeof(uint32_t));
    target.dims = dims;
    target.bgAlpha = 0;
    target.everything = !pixelsAreLast;
    const DrawResult result = engine_->Draw(target);
    if (!result.failure.empty()) {
      Fail({qx::plexion::kErrorFatalPlaybackError, result.failure});
    }
  }
  if (failed_) error = failure_;
  return !failed_;
}

void OffscreenContent::Fail(const EngineError& error) {
  if (!failed_) failure_ = error;
  failed_ = true;
}

void OffscreenContent::Notify(qx::plexion::StageWindowStatus event, const std::string& message) {
  if (event != qx::plexion::kInfoUnsupportedPlaceholderRendered) return;
  // Frame after frame says the same.
  if (told_.insert(message).second) notDrawn_.push_back(message);
}

}  // namespace plexion_host::player
