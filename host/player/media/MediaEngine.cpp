// Playing of media: messages, frames, passes.

#include "host/player/media/MediaEngine.h"

#include <algorithm>
#include <utility>

#include "host/player/media/net/HttpFaults.h"

namespace plexion_host::player {

MediaEngine::MediaEngine(EngineHost& host) : host_(host), painter_(host.Memory()) {}

MediaEngine::~MediaEngine() {
  if (host_.Settings().instrument) ReportStatistics();
}

void MediaEngine::ReportStatistics() const {
  std::string text;
  const auto count = [&text](const char* name, uint64_t number) {
    text += name + std::to_string(number);
  };
  switch (kind_) {
    case Kind::kMoving: {
      const uint64_t arrived = pipeline_->FramesArrived();
      count("video: frames taken ", framesTaken_);
      count(", replaced before that ", arrived > framesTaken_ ? arrived - framesTaken_ : 0);
      count(", dropped as too late ", pipeline_->FramesDropped());
      count(", painted late ", framesLate_);
      break;
    }
    case Kind::kStill:
      text = "still picture";
      break;
    case Kind::kSound:
      text = "sound";
      break;
    default:
      return;
  }
  IQXKernel::GetKernel()->Printf("Media: %s: %s, %s\n", content_.name.c_str(), contentType_.c_str(),
                                 text.c_str());
}

void MediaEngine::SetPlaying(bool playing) {
  playing_ = playing;
  ApplyState();
}

void MediaEngine::OnProxy(const ProxySettings& proxy) {
  access_.SetProxy(proxy);
  // The connection at hand goes on by the old one; the next pass is opened by the new.
  reopen_ = !content_.url.empty();
}

void MediaEngine::SetVolume(double factor) {
  if (pipeline_ != nullptr) pipeline_->SetVolume(request_.volume * factor);
}

bool MediaEngine::Seek(double seconds, bool relative, std::string& fault) {
  if (picture_ != nullptr) return picture_->Seek(seconds, relative, fault);
  double position = 0;
  double duration = 0;
  if (kind_ == Kind::kStill) {
    fault = "a picture has no positions to go to";
  } else if (live_ || pipeline_ == nullptr || !pipeline_->Duration(duration)) {
    fault = "what is live, or of no known length, cannot be sought in";
  } else if (relative && !pipeline_->Position(position)) {
    fault = "it does not tell where it is";
  } else if (!pipeline_->SeekTo(std::clamp(position + seconds, 0.0, duration),
                                host_.Settings().speed)) {
    fault = "its format cannot be sought in";
  }
  if (!fault.empty()) return false;
  endOfPass_ = false;
  sought_ = true;
  return true;
}

void MediaEngine::ApplyState() {
  if (pipeline_ == nullptr || failed_ || ended_) return;
  const bool plays = playing_ && !buffering_ && !opening_;
  pipeline_->SetState(plays ? GST_STATE_PLAYING : GST_STATE_PAUSED);
}

StepResult MediaEngine::Advance(const FrameStep& step) {
  if (picture_ != nullptr) return picture_->Advance(step);
  StepResult result;
  result.changed = std::exchange(pictureNew_, false);
  result.nextPosition = kNoFrame;
  if (kind_ == Kind::kStill) return result;
  TakeMessages();
  if (failed_) return result;
  const bool moved = kind_ == Kind::kSound ? playing_ && UpdateLevels() : TakeFrames();
  result.changed = moved || result.changed;
  // After the last frame was taken: going back drops what still waits.
  if (std::exchange(endOfPass_, false)) OnEndOfPass();
  if (kind_ == Kind::kSound && !ended_) result.nextPosition = step.position + 1;
  return result;
}

void MediaEngine::TakeMessages() {
  while (!failed_) {
    const GstMessagePointer message = pipeline_->TakeMessage(std::chrono::milliseconds(0));
    if (message == nullptr) return;
    switch (GST_MESSAGE_TYPE(message.get())) {
      case GST_MESSAGE_ERROR:
        failed_ = true;
        host_.Fail(FaultOf(message.get()));
        break;
      case GST_MESSAGE_EOS:
        endOfPass_ = true;
        break;
      case GST_MESSAGE_BUFFERING:
        OnBuffering(message.get());
        ApplyState();
        break;
      case GST_MESSAGE_ASYNC_DONE:
        if (!pipeline_->IsOwn(message.get()) || !std::exchange(opening_, false)) break;
        // Opened anew, the content runs at its own speed; it opens again where it is sought to.
        opening_ =
            std::exchange(seekWhenOpen_, false) && pipeline_->SeekToStart(host_.Settings().speed);
        ApplyState();
        break;
      case GST_MESSAGE_CLOCK_LOST:
        // A new clock is chosen on the way from paused to playing.
        pipeline_->SetState(GST_STATE_PAUSED);
        ApplyState();
        break;
      default:
        faults_.Take(message.get());
        break;
    }
  }
}

EngineError MediaEngine::FaultOf(GstMessage* message) {
  EngineError error = faults_.FromError(message);
  if (!content_.url.empty()) ExplainHttpFault(message, content_.url, access_, host_, error);
  return error;
}

void MediaEngine::OnBuffering(GstMessage* message) {
  gint percent = 100;
  gst_message_parse_buffering(message, &percent);
  // What is live cannot wait.
  buffering_ = percent < 100 && !live_;
  // The way to the first hundred percent is a part of opening.
  if (!buffering_) filled_ = true;
  if (!filled_ || stalled_ == buffering_) return;
  stalled_ = buffering_;
  IQXKernel::GetKernel()->Printf("Media: %s: %s\n", content_.name.c_str(),
                                 stalled_ ? "waits for the network" : "goes on");
}

void MediaEngine::OnEndOfPass() {
  ++passes_;
  const uint64_t loops = host_.Settings().loops;
  if (loops != 0 && passes_ >= loops) {
    ended_ = true;
    host_.Complete();
    return;
  }
  if (!Restart() && !failed_) {
    failed_ = true;
    host_.Fail({qx::plexion::kErrorFatalPlaybackError,
                "the content cannot be started again for its next pass"});
  }
}

bool MediaEngine::Restart() {
  // The frame that is shown stays with the painter until the first one of the next pass is there.
  filled_ = false;
  stalled_ = false;
  if (!reopen_ && pipeline_->SeekToStart(host_.Settings().speed)) return true;
  reopen_ = false;
  seekWhenOpen_ = host_.Settings().speed != 1;
  pipeline_->SetState(GST_STATE_READY);
  if (captions_ != nullptr) captions_->ForgetStream();
  buffering_ = false;
  // Told to play while it opens, and to wait for the network a moment later, it may stand still for good.
  opening_ = pipeline_->SetState(GST_STATE_PAUSED) == GST_STATE_CHANGE_ASYNC;
  ApplyState();
  return true;
}

bool MediaEngine::TakeFrames() {
  GstSamplePointer frame = pipeline_->TakeFrame();
  // While it stands still, the picture of another moment comes another way.
  if (frame == nullptr && sought_) frame = pipeline_->TakePreroll();
  if (frame == nullptr) return false;
  sought_ = false;
  ++framesTaken_;
  // The first frame of playing is the one that is shown already.
  if (gst_sample_get_buffer(frame.get()) == painter_.Frame()) return false;
  return painter_.Show(std::move(frame));
}

bool MediaEngine::UpdateLevels() {
  const GstClockTime now = pipeline_->RunningTime();
  SoundLevel level;
  if (ended_ || !GST_CLOCK_TIME_IS_VALID(now)) return false;
  // Without a speed limit what was measured last is what is "heard".
  pipeline_->Meter().At(request_.noSpeedLimit ? GST_CLOCK_TIME_NONE - 1 : now, level);
  double position = 0;
  double duration = 0;
  const bool known = pipeline_->Position(position) && pipeline_->Duration(duration);
  return levels_.Update(level, known ? position / duration : -1);
}

DrawResult MediaEngine::Draw(const DrawTarget& target) {
  if (picture_ != nullptr) return picture_->Draw(target);
  if (kind_ == Kind::kSound) return levels_.Draw(target);
  DrawResult result = painter_.Draw(target);
  if (kind_ != Kind::kMoving) return result;
  const GstClockTime moment = painter_.StreamTime();
  if (captions_ != nullptr && result.drawn && GST_CLOCK_TIME_IS_VALID(moment)) {
    const StageFit& place = painter_.Place();
    captions_->Draw(target, place, place.Visible(target.dims), painter_.FrameDims(),
                    static_cast<int64_t>(moment / GST_MSECOND));
  }
  CountLateness();
  return result;
}

void MediaEngine::SaveMemory() {
  // Of video there is only what its decoder needs.
  if (picture_ != nullptr) picture_->SaveMemory();
}

void MediaEngine::CountLateness() {
  const GstClockTime now = pipeline_->RunningTime();
  const GstBuffer* buffer = painter_.Frame();
  if (!GST_CLOCK_TIME_IS_VALID(now) || buffer == nullptr || host_.Settings().noSpeedLimit) return;
  const GstClockTime due = painter_.RunningTime();
  const GstClockTime lasts =
      GST_BUFFER_DURATION_IS_VALID(buffer) ? GST_BUFFER_DURATION(buffer) : 40 * GST_MSECOND;
  // Painted while the next one was due already: somebody may have seen it, and saw it too late.
  if (GST_CLOCK_TIME_IS_VALID(due) && now > due + lasts) ++framesLate_;
}

}  // namespace plexion_host::player
