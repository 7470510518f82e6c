#include "host/player/lottie/LottieEngine.h"

#include <rlottie.h>
#include <string.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "host/player/content/ContentFile.h"
#include "host/player/lottie/ChangedRegion.h"
#include "host/player/lottie/MovieCheck.h"
#include "host/player/lottie/MovieDocument.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kLargestFile = 32 * 1024 * 1024;
constexpr size_t kReadAtOnce = 1024 * 1024;

// Shares of the work of a load, in percent.
constexpr unsigned kReadShare = 30;
constexpr unsigned kParsedAt = 60;
constexpr unsigned kCheckedAt = 70;

class LottieEngine final : public Engine {
 public:
  explicit LottieEngine(EngineHost& host) : host_(host), changed_(host.Memory()) {}

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override {
    std::string movie;
    MovieHeader header;
    if (!ReadMovie(content.path, movie, header, error)) return false;
    // No cache: every window has its own copy, gone with the window.
    static std::once_flag cacheOff;
    std::call_once(cacheOff, [] { rlottie::configureModelCacheSize(0); });
    animation_ =
        rlottie::Animation::loadFromData(std::move(movie), std::string(), std::string(), false);
    if (animation_ == nullptr || animation_->totalFrame() == 0) {
      error = {qx::plexion::kErrorCorruptMovie, "the renderer cannot make sense of the document"};
      return false;
    }
    facts.stageDims = stageDims_ = header.stageDims;
    facts.framesPerSecond = header.framesPerSecond;
    facts.frameCount = animation_->totalFrame();
    return true;
  }

  StepResult Advance(const FrameStep& step) override {
    frame_ = step.frame;
    return {frame_ != drawnFrame_, step.position + 1};
  }

  DrawResult Draw(const DrawTarget& target) override {
    DrawResult result;
    if (!target.everything && frame_ == drawnFrame_) return result;
    if (target.dims.width > kLargestStage || target.dims.height > kLargestStage) {
      result.failure = "the render plane is " + std::to_string(target.dims.width) + " x " +
                       std::to_string(target.dims.height) + " pixels; at most " +
                       std::to_string(kLargestStage) + " either way can be drawn";
      return result;
    }
    const size_t rowBytes = size_t{target.dims.width} * sizeof(uint32_t);
    // The renderer clears whole rows, what lies between two rows included; where that is not ours
    // to clear it draws beside the plane.
    const bool direct = target.pitchBytes == rowBytes;
    uint32_t* pixels = target.pixels;
    if (!direct) {
      const size_t bytes = rowBytes * target.dims.height;
      if (scratch_.Size() != bytes && !scratch_.Resize(host_.Memory(), bytes)) {
        result.failure = "no memory for " + std::to_string(bytes) + " bytes of pixels";
        return result;
      }
      pixels = scratch_.As<uint32_t>();
    }
    rlottie::Surface surface(pixels, target.dims.width, target.dims.height, rowBytes);
    animation_->renderSync(frame_, surface, KeepsShape(target.dims));
    drawnFrame_ = frame_;

    ChangedRegion::Picture picture = {pixels, target.dims.width, target.dims.height};
    result.drawn = changed_.Compare(picture, target.bgAlpha, target.everything, result.dirty);
    if (!direct) CopyRows(target, pixels, rowBytes);
    return result;
  }

 private:
  bool ReadMovie(const std::string& path, std::string& movie, MovieHeader& header,
                 EngineError& error) {
    WatchedBuffer text;
    if (!ReadFile(path, text, error)) return false;
    MovieDocument document(host_);
    if (!document.Parse(SkipByteOrderMark(text.As<char>()), error)) return false;
    host_.ReportProgress(kParsedAt);
    error.status = qx::plexion::kErrorCorruptMovie;
    if (!CheckMovie(document.Tree(), header, error.message)) return false;
    host_.ReportProgress(kCheckedAt);
    if (Stopped(error)) return false;
    movie.reserve(text.Size() + text.Size() / 8);
    document.Write(movie);
    return true;
  }

  bool ReadFile(const std::string& path, WatchedBuffer& text, EngineError& error) {
    ContentFile file;
    if (!file.Open(path, error)) return false;
    const uint64_t size = file.SizeBytes();
    error.status = qx::plexion::kErrorCorruptMovie;
    if (size > kLargestFile) {
      error.message = "the file has " + std::to_string(size) + " bytes; a movie has at most " +
                      std::to_string(kLargestFile);
      return false;
    }
    if (!text.Resize(host_.Memory(), static_cast<size_t>(size) + 1)) {
      error = {qx::plexion::kErrorNotEnoughMemory,
               "no memory for the file's " + std::to_string(size) + " bytes"};
      return false;
    }
    char* bytes = text.As<char>();
    size_t done = 0;
    while (done < size) {
      if (Stopped(error)) return false;
      const size_t wanted = std::min(kReadAtOnce, static_cast<size_t>(size) - done);
      const long got = file.Read(bytes + done, wanted, error);
      if (got < 0) return false;
      done += static_cast<size_t>(got);
      host_.ReportProgress(static_cast<unsigned>(done * kReadShare / size));
      if (static_cast<size_t>(got) < wanted) break;  // it has become shorter meanwhile
    }
    bytes[done] = '\0';
    const void* zero = memchr(bytes, '\0', done);
    if (zero != nullptr) {
      error = {qx::plexion::kErrorCorruptMovie,
               "a zero byte at byte " + std::to_string(static_cast<const char*>(zero) - bytes) +
                   "; a movie is text"};
      return false;
    }
    return true;
  }

  static char* SkipByteOrderMark(char* text) {
    return strncmp(text, "\xef\xbb\xbf", 3) == 0 ? text + 3 : text;
  }

  bool Stopped(EngineError& error) {
    if (!host_.Cancelled()) return false;
    error.message = "loading was stopped";
    return true;
  }

  /// The stage fills the plane; only where that would distort it by more than a pixel's rounding it
  /// keeps its shape, centred on the background.
  bool KeepsShape(const qx::plexion::Dims& plane) const {
    const int64_t across = int64_t{plane.width} * stageDims_.height;
    const int64_t down = int64_t{plane.height} * stageDims_.width;
    const int64_t rounding = std::max(stageDims_.width, stageDims_.height);
    return std::abs(across - down) > rounding;
  }

  static void CopyRows(const DrawTarget& target, const uint32_t* pixels, size_t rowBytes) {
    char* row = reinterpret_cast<char*>(target.pixels);
    for (uint32_t y = 0; y < target.dims.height; ++y) {
      memcpy(row, pixels + size_t{y} * target.dims.width, rowBytes);
      row += target.pitchBytes;
    }
  }

  EngineHost& host_;
  std::unique_ptr<rlottie::Animation> animation_;
  qx::plexion::Dims stageDims_ = {0, 0};
  uint64_t frame_ = 0;
  uint64_t drawnFrame_ = kNoFrame;
  ChangedRegion changed_;
  WatchedBuffer scratch_;
};

}  // namespace

std::unique_ptr<Engine> MakeLottieEngine(EngineHost& host) {
  return std::make_unique<LottieEngine>(host);
}

}  // namespace plexion_host::player
