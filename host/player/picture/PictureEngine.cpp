// Pictures as content: how long they last, and which frame of them is seen.

#include "host/player/picture/PictureEngine.h"

#include <utility>

#include "host/player/MediaOptions.h"

namespace plexion_host::player {

namespace {

constexpr std::chrono::milliseconds kMostCatchingUp{200};

}  // namespace

PictureEngine::PictureEngine(EngineHost& host)
    : host_(host),
      compositor_(host.Memory(), [&host] { return host.Cancelled(); }),
      painter_(host.Memory()) {}

PictureEngine::~PictureEngine() {
  if (type_ != nullptr && host_.Settings().instrument) ReportStatistics();
}

void PictureEngine::ReportStatistics() const {
  std::string text = "still picture";
  if (IsMoving()) {
    text = "animation: frames " + std::to_string(compositor_.Facts().frames.size()) +
           ", left out " + std::to_string(framesLeftOut_) + ", damaged " +
           std::to_string(compositor_.Damaged());
  }
  IQXKernel::GetKernel()->Printf("Media: %s: %s, %s\n", name_.c_str(), type_, text.c_str());
}

bool PictureEngine::Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) {
  auto bytes = std::make_unique<PictureBytes>(host_);
  return bytes->ReadFile(content.path, error) &&
         LoadBytes(content.name, std::move(bytes), facts, error);
}

bool PictureEngine::LoadBytes(const std::string& name, std::unique_ptr<PictureBytes> bytes,
                              ContentFacts& facts, EngineError& error) {
  name_ = name;
  MediaOptions options;
  error.status = qx::plexion::kErrorStartupFailure;
  if (!ReadMediaOptions(host_.Settings(), options, error.message)) return false;
  painter_.SetFit(FitOf(host_.Settings()));
  const PictureFormat format = PictureFormatOf(bytes->Data(), bytes->Size());
  direct_ =
      DirectPicture::Open(format, bytes, host_.Memory(), [this] { return host_.Cancelled(); });
  if (direct_ == nullptr && !compositor_.Open(format, std::move(bytes), error)) return false;
  type_ = PictureTypeOf(format);
  const PictureFacts& picture = compositor_.Facts();
  facts.stageDims = stage_ = StageDimsOf(direct_ != nullptr ? direct_->Dims() : picture.dims);
  pictureNew_ = true;
  ReportDamage();
  if (!IsMoving()) {
    // One frame that lasts as long as the picture is shown: the player wakes once, at its end.
    facts.framesPerSecond = 1 / options.durationSeconds;
    facts.frameCount = 1;
    return true;
  }
  times_ = PictureTimes(picture.frames);
  facts.framesPerSecond = times_.TicksPerSecond();
  facts.frameCount = times_.TicksOfPass();
  // Passes that were asked for are the player's to count; otherwise the file's are one long pass.
  if (host_.Settings().loopsGiven) return true;
  facts.frameCount *= picture.plays > 0 ? picture.plays : times_.PassesFor(options.durationSeconds);
  return true;
}

bool PictureEngine::Seek(double /*seconds*/, bool /*relative*/, std::string& fault) {
  fault = "a picture has no positions to go to";
  return false;
}

StepResult PictureEngine::Advance(const FrameStep& step) {
  StepResult result;
  result.changed = std::exchange(pictureNew_, false);
  result.nextPosition = kNoFrame;
  if (!IsMoving()) return result;
  const uint64_t tick = step.frame % times_.TicksOfPass();
  const size_t frame = times_.FrameAt(tick);
  const size_t before = compositor_.Shown();
  if (frame != before) {
    const size_t count = compositor_.Facts().frames.size();
    compositor_.Show(frame, kMostCatchingUp);
    // Over the end of a pass, too: from the last frame to the first is one step.
    framesLeftOut_ += (compositor_.Shown() + count - before) % count - 1;
    result.changed = true;
    ReportDamage();
    // What takes longer to put together than it is shown falls behind, and holds up nothing else.
    if (compositor_.Shown() != frame) {
      result.nextPosition = step.position + 1;
      return result;
    }
  }
  result.nextPosition = step.position + (times_.EndOf(frame) - tick);
  return result;
}

DrawResult PictureEngine::Draw(const DrawTarget& target) {
  // A picture that stands still is drawn once, as a rule: the plane has its pixels then, and nobody
  // needs them a second time. When the plane is another, they are decoded again.
  if (direct_ != nullptr) return DrawDirect(target);
  if (!compositor_.Restore()) {
    DrawResult result;
    result.failure = "no memory for the picture's pixels";
    Retry();
    return result;
  }
  const PicturePixels picture = {compositor_.Pixels(), compositor_.Facts().dims,
                                 compositor_.IsOpaque()};
  DrawResult result = painter_.Draw(picture, stage_, target);
  compositor_.Release();
  if (!IsMoving() || savesMemory_) painter_.Forget();
  return result;
}

DrawResult PictureEngine::DrawDirect(const DrawTarget& target) {
  DrawResult result = direct_->Draw(stage_, FitOf(host_.Settings()), target);
  if (!result.drawn) Retry();
  // What the window's end cut short is not damaged.
  if (direct_->IsDamaged() && !host_.Cancelled() && !std::exchange(damageTold_, true)) {
    IQXKernel::GetKernel()->Printf(
        "Media: %s: the picture is damaged; what could be decoded of it is shown\n", name_.c_str());
  }
  return result;
}

void PictureEngine::Retry() {
  pictureNew_ = true;
  host_.RequestFrame();
}

void PictureEngine::SaveMemory() {
  savesMemory_ = true;
  painter_.Forget();
}

void PictureEngine::ReportDamage() {
  if (compositor_.Damaged() == 0 || std::exchange(damageTold_, true)) return;
  IQXKernel::GetKernel()->Printf(
      "Media: %s: frame %zu of %zu is damaged; what could be decoded of it is shown\n",
      name_.c_str(), compositor_.Shown() + 1, compositor_.Facts().frames.size());
}

}  // namespace plexion_host::player
