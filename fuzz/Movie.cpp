// A file as a movie: what passes the check is rendered, small.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz/FuzzInput.h"
#include "host/player/lottie/LottieEngine.h"

namespace {

using namespace plexion_host::player;  // NOLINT(google-build-using-namespace): a program of one
                                       // file

class Host final : public EngineHost {
 public:
  qx::plexion::MemoryWatchdog* Memory() override { return nullptr; }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return false; }
  void ReportProgress(unsigned percent) override { Require(percent <= 100, "progress"); }
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError&) override {}
  void Notify(qx::plexion::StageWindowStatus, const std::string&) override {}

 private:
  PlayerSettings settings_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = memfd_create("movie", 0);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) {
    return 0;
  }
  Host host;
  const std::unique_ptr<Engine> engine = MakeLottieEngine(host);
  const ContentAddress content = {"/proc/self/fd/" + std::to_string(file), "", "movie"};
  ContentFacts facts;
  EngineError error;
  if (!engine->Load(content, facts, error)) {
    Require(!error.message.empty(), "a refusal says why");
    Require(qx::plexion::IsTerminalStatus(error.status), "a refusal ends the content");
    return 0;
  }
  Require(facts.stageDims.width > 0 && facts.stageDims.height > 0, "authored size");
  Require(facts.framesPerSecond >= 1 && facts.framesPerSecond <= 240, "frame rate");
  uint32_t pixels[32 * 32];
  DrawTarget target;
  target.pixels = pixels;
  target.pitchBytes = 32 * 4;
  target.dims = {32, 32};
  target.everything = true;
  const uint64_t last = facts.frameCount - 1;
  for (const uint64_t frame : {uint64_t{0}, std::min<uint64_t>(1, last), last / 2, last}) {
    FrameStep step;
    step.frame = step.position = frame;
    step.playing = true;
    engine->Advance(step);
    engine->Draw(target);
    // From then on only what changes, over what is there.
    target.everything = false;
  }
  return 0;
}

/// What the library of fonts keeps until the end of the process is its own.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:libfontconfig.so\n";
}
