// Tells what a content holds, what a frame of it costs, and what of it is not drawn.
#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <new>

#include "host/base/ThreadTime.h"
#include "host/player/content/ContentProbe.h"
#include "host/player/render/ContentRenderer.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

namespace {

/// Frames that are drawn to find out what one costs, spread over the content.
constexpr uint64_t kSamples = 60;
/// Enough to know: content that is slow is not drawn sixty times.
constexpr int64_t kLongestNs = int64_t{10} * 1000 * 1000 * 1000;
/// An application has no end: its first seconds are looked at.
constexpr double kApplicationSeconds = 3;

struct Cost {
  std::vector<int64_t> drawNs;
  uint64_t slowest = 0;  ///< its frame
  int64_t slowestNs = 0;
};

bool Measure(OffscreenContent& content, const qx::plexion::Dims& dims, Cost& cost,
             EngineError& error) {
  const ContentFacts& facts = content.Facts();
  const uint64_t count = facts.frameCount != 0
                             ? facts.frameCount
                             : static_cast<uint64_t>(facts.framesPerSecond * kApplicationSeconds);
  const uint64_t step = std::max<uint64_t>(1, count / kSamples);
  std::vector<uint32_t> pixels;
  // The first one also makes what later ones keep.
  if (!content.Draw(0, dims, pixels, false, error)) return false;
  // By this thread's own time: what else the machine does is not what the content costs.
  const int64_t begun = ThreadTimeNs();
  for (uint64_t frame = step; frame < count && ThreadTimeNs() - begun < kLongestNs; frame += step) {
    const int64_t before = ThreadTimeNs();
    if (!content.Draw(frame, dims, pixels, true, error)) return false;
    const int64_t spent = ThreadTimeNs() - before;
    cost.drawNs.push_back(spent);
    if (spent <= cost.slowestNs) continue;
    cost.slowestNs = spent;
    cost.slowest = frame;
  }
  return true;
}

double Ms(int64_t ns) { return static_cast<double>(ns) / 1e6; }

std::string Fixed(double value, int digits) {
  char text[64];
  snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

void PrintFacts(const OffscreenContent& content) {
  IQXKernel* const kernel = IQXKernel::GetKernel();
  const ContentFacts& facts = content.Facts();
  kernel->Printf("%s: %ux%u pixels", content.Name().c_str(),
                 static_cast<unsigned>(facts.stageDims.width),
                 static_cast<unsigned>(facts.stageDims.height));
  if (content.IsStill()) {
    kernel->Printf(", a still picture\n");
  } else if (facts.frameCount == 0) {
    kernel->Printf(", %s frames a second, no end of its own\n",
                   Fixed(facts.framesPerSecond, 2).c_str());
  } else {
    kernel->Printf(", %llu frames, %s frames a second, %s s\n",
                   static_cast<unsigned long long>(facts.frameCount),
                   Fixed(facts.framesPerSecond, 2).c_str(),
                   Fixed(static_cast<double>(facts.frameCount) / facts.framesPerSecond, 2).c_str());
  }
}

}  // namespace

RenderOutcome ContentRenderer::Check(const RenderRequest& request, std::string& error) try {
  OffscreenContent content;
  EngineError fault;
  const int64_t before = ThreadTimeNs();
  if (!content.Open(request.content, request.morvelVars, fault)) {
    error = request.content + ": " + fault.message;
    return RenderOutcome::kContentError;
  }
  const int64_t loaded = ThreadTimeNs() - before;
  PrintFacts(content);
  qx::plexion::Dims dims = content.Facts().stageDims;
  if (request.width != 0) dims = {request.width, request.height};
  Cost cost;
  // Before it plays: what its script then makes of it is no part of its files.
  const std::vector<std::string> findings = content.Findings();
  if (!Measure(content, dims, cost, fault)) {
    error = request.content + ": " + fault.message;
    return RenderOutcome::kContentError;
  }
  IQXKernel* const kernel = IQXKernel::GetKernel();
  kernel->Printf("load: %s ms\n", Fixed(Ms(loaded), 1).c_str());
  if (!cost.drawNs.empty()) {
    std::sort(cost.drawNs.begin(), cost.drawNs.end());
    // The median tells what play costs, the slowest frame whether it will stumble: a mean says neither.
    const int64_t median = cost.drawNs[cost.drawNs.size() / 2];
    // Milliseconds of each second, in hundredths of it.
    const double share = Ms(median) * content.Facts().framesPerSecond / 10;
    kernel->Printf(
        "a frame at %ux%u: %s ms (median of %u), slowest frame %llu with %s ms; "
        "%s %% of one processor\n",
        static_cast<unsigned>(dims.width), static_cast<unsigned>(dims.height),
        Fixed(Ms(median), 2).c_str(), static_cast<unsigned>(cost.drawNs.size()),
        static_cast<unsigned long long>(cost.slowest), Fixed(Ms(cost.slowestNs), 2).c_str(),
        Fixed(share, 1).c_str());
  }
  for (const std::string& feature : content.NotDrawn()) {
    kernel->Printf("not drawn: %s\n", feature.c_str());
  }
  if (content.NotDrawn().empty()) kernel->Printf("everything in it is drawn\n");
  for (const std::string& finding : findings) kernel->Printf("%s\n", finding.c_str());
  return RenderOutcome::kDone;
} catch (const std::bad_alloc&) {
  error = request.content + ": there is not enough memory for it";
  return RenderOutcome::kContentError;
}

}  // namespace plexion_host::player
