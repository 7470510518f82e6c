// Pictures that the player decodes itself, in the media engine.
#include <algorithm>
#include <utility>

#include "host/player/content/ContentFile.h"
#include "host/player/media/MediaEngine.h"

namespace plexion_host::player {

namespace {

constexpr std::chrono::milliseconds kMostCatchingUp{200};

}  // namespace

bool MediaEngine::ReadHead(std::vector<uint8_t>& head) const {
  // What is wrong with the file is told by whoever opens it next.
  EngineError ignored;
  ContentFile file;
  if (content_.path.empty() || !file.Open(content_.path, ignored) || file.IsDirectory()) {
    return false;
  }
  head.resize(std::min<uint64_t>(kPictureHead, file.SizeBytes()));
  const long count = file.Read(head.data(), head.size(), ignored);
  head.resize(static_cast<size_t>(std::max(count, 0L)));
  return count > 0;
}

/// What comes from a server is known once the framework has looked at its first bytes.
PictureFormat MediaEngine::FormatOfRemote() const {
  if (content_.url.empty() || pipeline_ == nullptr) return PictureFormat::kNone;
  const std::string head = pipeline_->FirstBytes();
  const PictureFormat format =
      PictureFormatOf(reinterpret_cast<const uint8_t*>(head.data()), head.size());
  // The framework has most of a still PNG picture by now; it is not fetched once more.
  return format == PictureFormat::kPng ? PictureFormat::kNone : format;
}

bool MediaEngine::LoadPicture(PictureFormat format, ContentFacts& facts, EngineError& error) {
  pipeline_.reset();
  contentType_ = PictureTypeOf(format);
  auto bytes = std::make_unique<PictureBytes>(host_);
  const bool read = content_.url.empty() ? bytes->ReadFile(content_.path, error)
                                         : bytes->Download(content_.url, access_, error);
  if (!read || !compositor_.Open(format, std::move(bytes), error)) return false;
  if (!painter_.Show(compositor_.AsSample())) {
    error = {qx::plexion::kErrorFatalPlaybackError, "the picture's pixels cannot be drawn"};
    return false;
  }
  facts.stageDims = painter_.StageDims();
  ReportDamage();
  if (compositor_.Facts().frames.size() == 1) {
    DescribeStill(facts);
    return true;
  }
  kind_ = Kind::kAnimation;
  pictureNew_ = true;
  const PictureFacts& picture = compositor_.Facts();
  times_ = PictureTimes(picture.frames);
  facts.framesPerSecond = times_.TicksPerSecond();
  facts.frameCount = times_.TicksOfPass();
  // Passes that were asked for are the player's to count; otherwise the file's are one long pass.
  if (host_.Settings().loopsGiven) return true;
  facts.frameCount *=
      picture.plays > 0 ? picture.plays : times_.PassesFor(options_.durationSeconds);
  return true;
}

StepResult MediaEngine::AdvanceAnimation(const FrameStep& step) {
  StepResult result;
  const uint64_t tick = step.frame % times_.TicksOfPass();
  const size_t frame = times_.FrameAt(tick);
  const size_t before = compositor_.Shown();
  result.changed = std::exchange(pictureNew_, false);
  if (frame != before) {
    const size_t count = compositor_.Facts().frames.size();
    compositor_.Show(frame, kMostCatchingUp);
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

void MediaEngine::ReportDamage() {
  if (compositor_.Damaged() == 0 || std::exchange(damageTold_, true)) return;
  IQXKernel::GetKernel()->Printf(
      "Media: %s: frame %zu of %zu is damaged; what could be decoded of it is shown\n",
      content_.name.c_str(), compositor_.Shown() + 1, compositor_.Facts().frames.size());
}

}  // namespace plexion_host::player
