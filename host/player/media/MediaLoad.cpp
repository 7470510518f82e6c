// Loading of media: from an address to the first frame, and what kind of content it is.
#include <utility>

#include "host/player/content/CaptionAddress.h"
#include "host/player/content/ContentProbe.h"
#include "host/player/image/PictureSize.h"
#include "host/player/media/MediaEngine.h"

namespace plexion_host::player {

namespace {

/// How often a wait looks up whether the content is to end.
constexpr std::chrono::milliseconds kGlance{20};
/// So many glances without any movement, and nothing will come any more.
constexpr int kStill = 50;
constexpr double kLevelPicturesPerSecond = 25;

// Shares of the work of a load, in percent.
constexpr unsigned kBuilt = 5;
constexpr unsigned kOpened = 20;
constexpr unsigned kDecoding = 40;
constexpr unsigned kPrerolled = 95;

/// The framework's address of a file.
bool AddressOf(const std::string& path, std::string& uri, std::string& reason) {
  GError* rawFault = nullptr;
  const GTextPointer text(gst_filename_to_uri(path.c_str(), &rawFault));
  const GErrorPointer fault(rawFault);
  if (text == nullptr) {
    reason = fault == nullptr ? "no address" : fault->message;
    return false;
  }
  uri = text.get();
  return true;
}

}  // namespace

bool MediaEngine::Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) {
  content_ = content;
  if (!ReadSettings(content, error)) return false;
  std::vector<uint8_t> head;
  if (ReadHead(head)) {
    const PictureFormat ofFile = PictureFormatOf(head.data(), head.size());
    if (ofFile != PictureFormat::kNone) return LoadPicture(facts, error);
    const uint64_t pixels = DeclaredPixels(head.data(), head.size());
    if (pixels > kMostPixels) {
      error = {qx::plexion::kErrorNotEnoughMemory, TooManyPixels(pixels, kMostPixels)};
      return false;
    }
  }

  const bool opened = OpenPipeline(error);
  if (FormatOfRemote() != PictureFormat::kNone) return LoadPicture(facts, error);
  if (!opened || !FindKind(error)) {
    ExplainUnknown(error);
    return false;
  }
  return Describe(facts, error);
}

bool MediaEngine::ReadSettings(const ContentAddress& content, EngineError& error) {
  const PlayerSettings& settings = host_.Settings();
  error.status = qx::plexion::kErrorStartupFailure;
  if (!ReadMediaOptions(settings, options_, error.message)) return false;
  access_.SetProxy(
      {settings.proxy, settings.proxyPort, settings.proxyUser, settings.proxyPassword});
  // An http server may send one on to an https server.
  const bool network = content.url.compare(0, 4, "http") == 0;
  if (network &&
      !access_.UseCertificates(settings.sslCertsDir, settings.sslClientCertTable, error)) {
    return false;
  }
  painter_.SetFit(FitOf(settings));
  request_.volume = options_.volume;
  request_.muted = options_.muted;
  request_.noSpeedLimit = settings.noSpeedLimit;
  if (options_.captions) {
    captions_ = std::make_unique<Captions>(host_);
    captions_->Open(CaptionAddress(content.path, settings));
    if (captions_->WantStream()) request_.captions = captions_.get();
  }
  error.status = qx::plexion::kErrorInvalidURL;
  if (content.url.empty()) return AddressOf(content.path, request_.uri, error.message);
  request_.uri = content.url;
  return true;
}

bool MediaEngine::OpenPipeline(EngineError& error) {
  pipeline_.reset();
  faults_ = MediaFaults();
  auto pipeline = std::make_unique<MediaPipeline>(host_, access_);
  if (!pipeline->Build(request_, error)) return false;
  pipeline_ = std::move(pipeline);
  host_.ReportProgress(kBuilt);
  const GstStateChangeReturn change = pipeline_->SetState(GST_STATE_PAUSED);
  live_ = change == GST_STATE_CHANGE_NO_PREROLL;
  if (live_) return OpenLive(error);
  if (WaitForPreroll(error) == Wait::kFailed) return false;
  // Only now is it known that the picture has to be turned; the filter for it must be there from
  // the start.
  if (!pipeline_->WantsTurning() || request_.turned) return true;
  request_.turned = true;
  return OpenPipeline(error);
}

MediaEngine::Wait MediaEngine::WaitForPreroll(EngineError& error) {
  int still = 0;
  for (;;) {
    if (host_.Cancelled()) {
      error.message = "loading was stopped";
      return Wait::kFailed;
    }
    const GstMessagePointer message = pipeline_->TakeMessage(kGlance);
    ReportStage();
    if (FormatOfRemote() != PictureFormat::kNone) return Wait::kEnded;
    if (message == nullptr) {
      still = pipeline_->IsWorking() ? 0 : still + 1;
      if (still < kStill) continue;
      error = {qx::plexion::kErrorCorruptMovie, "there is nothing in it that can be played"};
      return Wait::kFailed;
    }
    switch (GST_MESSAGE_TYPE(message.get())) {
      case GST_MESSAGE_ERROR:
        error = FaultOf(message.get());
        return Wait::kFailed;
      case GST_MESSAGE_ASYNC_DONE:
        if (pipeline_->IsOwn(message.get())) return Wait::kReady;
        break;
      case GST_MESSAGE_EOS:
        return Wait::kEnded;
      case GST_MESSAGE_BUFFERING:
        OnBuffering(message.get());
        break;
      default:
        faults_.Take(message.get());
        break;
    }
  }
}

bool MediaEngine::OpenLive(EngineError& error) {
  // A camera gives its first frame to a running pipeline only.
  pipeline_->SetState(GST_STATE_PLAYING);
  return WaitForLiveFrame(error);
}

bool MediaEngine::WaitForLiveFrame(EngineError& error) {
  while (!host_.Cancelled()) {
    if (GstSamplePointer frame = pipeline_->TakeFrame()) return painter_.Show(std::move(frame));
    if (pipeline_->HasSound() && !pipeline_->HasPicture() &&
        GST_CLOCK_TIME_IS_VALID(pipeline_->RunningTime())) {
      return true;
    }
    const GstMessagePointer message = pipeline_->TakeMessage(kGlance);
    ReportStage();
    if (message == nullptr || faults_.Take(message.get())) continue;
    if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
      error = FaultOf(message.get());
      return false;
    }
  }
  error.message = "loading was stopped";
  return false;
}

void MediaEngine::ReportStage() {
  const int stage = pipeline_->Stage();
  if (stage >= 1) host_.ReportProgress(stage >= 2 ? kDecoding : kOpened);
}

bool MediaEngine::FindKind(EngineError& error) {
  if (!painter_.HasFrame()) {
    GstSamplePointer first = pipeline_->TakePreroll();
    if (first != nullptr && !painter_.Show(std::move(first))) {
      error = {qx::plexion::kErrorUnsupportedVersion, "the decoded frames have no known format"};
      return false;
    }
  }
  host_.ReportProgress(kPrerolled);
  contentType_ = pipeline_->ContentType();
  const MissingPart* missing = faults_.Picture();
  if (!painter_.HasFrame() && missing != nullptr) {
    error = MediaFaults::Unsupported(*missing);
    return false;
  }
  if (painter_.HasFrame()) {
    kind_ = Kind::kMoving;
    if (const MissingPart* sound = faults_.Sound()) {
      IQXKernel::GetKernel()->Printf("Media: %s: plays without its sound: %s\n",
                                     content_.name.c_str(),
                                     MediaFaults::Unsupported(*sound).message.c_str());
    }
    const bool picture = contentType_.compare(0, 6, "image/") == 0;
    if (picture && !pipeline_->HasSound()) {
      // The frame is all there is; nothing has to run while it is shown.
      kind_ = Kind::kStill;
      pipeline_.reset();
    }
    return true;
  }
  if (pipeline_->HasSound()) {
    kind_ = Kind::kSound;
    return true;
  }
  error = {qx::plexion::kErrorCorruptMovie, "there is neither a picture nor sound in it"};
  return false;
}

void MediaEngine::DescribeStill(ContentFacts& facts) {
  kind_ = Kind::kStill;
  facts.framesPerSecond = 1 / options_.durationSeconds;
  facts.frameCount = 1;
  pictureNew_ = true;
}

bool MediaEngine::Describe(ContentFacts& facts, EngineError& error) {
  const PlayerSettings& settings = host_.Settings();
  switch (kind_) {
    case Kind::kStill:
      facts.stageDims = painter_.StageDims();
      DescribeStill(facts);
      return true;
    case Kind::kSound:
      facts.stageDims = LevelPicture::kStage;
      if (settings.contentWidth > 0 && settings.contentHeight > 0) {
        facts.stageDims = {settings.contentWidth, settings.contentHeight};
      }
      // Without a speed limit the player would draw as fast as it can; the sound's end decides.
      facts.framesPerSecond = settings.noSpeedLimit ? 0 : kLevelPicturesPerSecond;
      pipeline_->MeasureSound();
      levels_.Update(SoundLevel(), -1);
      break;
    default:
      facts.stageDims = painter_.StageDims();
      break;
  }
  pictureNew_ = true;
  if (settings.speed == 1 || live_) return true;
  // Content that cannot be sought in keeps its own speed.
  if (!pipeline_->SeekToStart(settings.speed)) return true;
  if (WaitForPreroll(error) == Wait::kFailed) return false;
  if (GstSamplePointer first = pipeline_->TakePreroll()) painter_.Show(std::move(first));
  return true;
}

void MediaEngine::ExplainUnknown(EngineError& error) const {
  const std::string refusal = SourceRules::TakeRefusal();
  if (!refusal.empty()) {
    error.message = refusal;
    return;
  }
  ProbeResult probe;
  EngineError ignored;
  if (error.status != qx::plexion::kErrorCorruptMovie || content_.path.empty()) return;
  // The framework only says that it does not know the type; what stands there says more.
  if (ProbeContent(content_, probe, ignored) && probe.kind == ContentKind::kUnknown) {
    error.message += "; " + probe.description;
  }
}

}  // namespace plexion_host::player
