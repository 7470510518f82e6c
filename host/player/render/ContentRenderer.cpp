// Draws chosen frames of a content to files.
#include "host/player/render/ContentRenderer.h"

#include <errno.h>
#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <new>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/render/PictureFiles.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kMostFrames = 1000000;
constexpr uint32_t kLargestSide = 16384;
/// Where an animation tells of its progress, in frames.
constexpr size_t kProgressFrames = 25;

bool MakeFolder(const std::string& path, std::string& error) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0777);  // the last one tells what is wrong
  }
  struct stat status = {};
  if (mkdir(path.c_str(), 0777) == 0 ||
      (errno == EEXIST && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))) {
    return true;
  }
  error = "cannot make the folder '" + path + "': " + strerror(errno);
  return false;
}

RenderOutcome ContentFault(const std::string& name, const EngineError& fault, std::string& error) {
  error = name + ": " + fault.message;
  return RenderOutcome::kContentError;
}

/// Frames that are on their way to files.
class Output {
 public:
  Output(const RenderRequest& request, const ContentFacts& facts, size_t count)
      : request_(request),
        facts_(facts),
        count_(count),
        animated_(EndsWith(request.out, ".webp")),
        single_(EndsWith(request.out, ".png")) {}

  bool Begin(const qx::plexion::Dims& dims, std::string& error) {
    dims_ = dims;
    if (animated_) return animation_.Begin(dims, error);
    if (!single_) return MakeFolder(request_.out, error);
    if (count_ == 1) return true;
    error = "'" + request_.out + "' is one picture, and " + std::to_string(count_) +
            " frames are asked for; expected a folder, or a name that ends in .webp";
    return false;
  }

  bool Add(uint64_t frame, std::vector<uint32_t>& pixels, std::string& error) {
    // Engines draw premultiplied pixels; the formats of files want them apart from their alpha.
    PreparePixels(pixels, request_.hasBackground, request_.background);
    ++written_;
    IQXKernel* const kernel = IQXKernel::GetKernel();
    if (!animated_) {
      const std::string path =
          single_ ? request_.out : request_.out + "/frame-" + std::to_string(frame) + ".png";
      if (!WritePngFile(path, dims_, pixels, error)) return false;
      kernel->Printf("%s\n", path.c_str());
      return true;
    }
    if (written_ % kProgressFrames == 0) {
      kernel->Printf("%u of %u frames\n", static_cast<unsigned>(written_),
                     static_cast<unsigned>(count_));
    }
    // An animation begins at its first frame, not at the content's.
    if (written_ == 1) first_ = frame;
    last_ = frame;
    return animation_.Add(At(frame), pixels, error);
  }

  bool Finish(std::string& error) {
    if (!animated_) return true;
    PLEXION_CHECK(written_ > 0, "an animation has a frame");
    // The format wants to know how long the last frame stays: as long as those before it, on average.
    const uint64_t step = written_ > 1 ? (last_ - first_) / (written_ - 1) : 1;
    if (!animation_.Finish(At(last_ + std::max<uint64_t>(step, 1)), request_.out, error)) {
      return false;
    }
    IQXKernel::GetKernel()->Printf("%s\n", request_.out.c_str());
    return true;
  }

 private:
  int At(uint64_t frame) const {
    // From the first frame each time: milliseconds that are rounded one by one would add up.
    const double ms = static_cast<double>(frame - first_) * 1000 / facts_.framesPerSecond;
    return static_cast<int>(std::min(lround(ms), 2000000000L));
  }

  const RenderRequest& request_;
  const ContentFacts& facts_;
  const size_t count_;
  const bool animated_;
  const bool single_;
  qx::plexion::Dims dims_ = {0, 0};
  AnimationFile animation_;
  size_t written_ = 0;
  uint64_t first_ = 0;
  uint64_t last_ = 0;
};

}  // namespace

bool ChooseFrames(const RenderRequest& request, const ContentFacts& facts,
                  std::vector<uint64_t>& frames, std::string& error) {
  std::vector<std::pair<uint64_t, uint64_t>> ranges = request.frames;
  const uint64_t step = std::max<uint64_t>(request.every, 1);
  if (request.every > 0) {
    if (facts.frameCount == 0) {
      error = "it has no end of its own; expected --frames with the frames that are wanted";
      return false;
    }
    ranges = {{0, facts.frameCount - 1}};
  }
  if (ranges.empty()) ranges = {{0, 0}};
  for (const auto& [first, last] : ranges) {
    if (facts.frameCount != 0 && last >= facts.frameCount) {
      error = "it has no frame " + std::to_string(last) + "; expected 0 to " +
              std::to_string(facts.frameCount - 1);
      return false;
    }
    // Counted before it is listed: "0-18446744073709551614" must not take memory first.
    if ((last - first) / step >= kMostFrames - std::min<uint64_t>(frames.size(), kMostFrames)) {
      error = "more than " + std::to_string(kMostFrames) + " frames are asked for";
      return false;
    }
    for (uint64_t frame = first; frame <= last; frame += step) frames.push_back(frame);
  }
  // An application cannot go back, and nobody needs a file twice.
  std::sort(frames.begin(), frames.end());
  frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
  return true;
}

RenderOutcome ContentRenderer::Render(const RenderRequest& request, std::string& error) try {
  OffscreenContent content;
  EngineError fault;
  if (!content.Open(request.content, request.morvelVars, fault)) {
    return ContentFault(request.content, fault, error);
  }
  std::vector<uint64_t> frames;
  if (!ChooseFrames(request, content.Facts(), frames, error)) {
    error = request.content + ": " + error;
    return RenderOutcome::kWrongRequest;
  }
  qx::plexion::Dims dims = content.Facts().stageDims;
  if (request.width != 0) dims = {request.width, request.height};
  // A content may say any size of itself, and a picture of it is held whole.
  if (std::max(dims.width, dims.height) > kLargestSide) {
    error = request.content + ": it is " + std::to_string(dims.width) + "x" +
            std::to_string(dims.height) + " pixels large; expected --size with at most " +
            std::to_string(kLargestSide) + " either way";
    return RenderOutcome::kWrongRequest;
  }
  Output output(request, content.Facts(), frames.size());
  if (!output.Begin(dims, error)) return RenderOutcome::kCannotWrite;
  std::vector<uint32_t> pixels;
  for (const uint64_t frame : frames) {
    if (!content.Draw(frame, dims, pixels, false, fault)) {
      return ContentFault(request.content, fault, error);
    }
    if (!output.Add(frame, pixels, error)) return RenderOutcome::kCannotWrite;
  }
  if (!output.Finish(error)) return RenderOutcome::kCannotWrite;
  for (const std::string& feature : content.NotDrawn()) {
    IQXKernel::GetKernel()->Printf("not drawn: %s\n", feature.c_str());
  }
  return RenderOutcome::kDone;
} catch (const std::bad_alloc&) {
  error = request.content + ": there is not enough memory for its pictures";
  return RenderOutcome::kContentError;
}

}  // namespace plexion_host::player
