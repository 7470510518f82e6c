// A bare loop over the movie engine, without window, planes and composing: what the launcher's frames are
// compared with, and what a frame costs that is the one before.
//
// usage: bench_movie MOVIE WIDTH HEIGHT PASSES

#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/player/ContentAddress.h"
#include "host/player/Engine.h"
#include "host/player/lottie/LottieEngine.h"

namespace plexion_host::player {
namespace {

class BareHost final : public EngineHost {
 public:
  qx::plexion::MemoryWatchdog* Memory() override { return nullptr; }
  const PlayerSettings& Settings() override { return settings; }
  bool Cancelled() override { return false; }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError& error) override {
    std::fprintf(stderr, "%s\n", error.message.c_str());
  }
  void Notify(qx::plexion::StageWindowStatus, const std::string&) override {}

  PlayerSettings settings;
};

double ProcessorSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

int Run(const char* path, const qx::plexion::Dims& dims, uint64_t passes) {
  BareHost host;
  host.settings.contentUrl = path;
  ContentAddress address;
  EngineError error;
  ContentFacts facts;
  std::string reason;
  if (!ResolveContentAddress(path, "", address, reason)) {
    std::fprintf(stderr, "bench_movie: %s\n", reason.c_str());
    return 1;
  }
  const auto engine = MakeLottieEngine(host);
  if (!engine->Load(address, facts, error)) {
    std::fprintf(stderr, "bench_movie: %s\n", error.message.c_str());
    return 1;
  }
  engine->SetPlaying(true);
  std::vector<uint32_t> pixels(size_t{dims.width} * dims.height);
  DrawTarget target;
  target.pixels = pixels.data();
  target.pitchBytes = dims.width * 4;
  target.dims = dims;
  target.everything = true;
  uint64_t position = 0;
  uint64_t drawn = 0;
  const auto step = [&](uint64_t frame) {
    FrameStep at;
    at.frame = frame;
    at.position = position;
    at.pass = position / facts.frameCount;
    at.playing = true;
    if (engine->Advance(at).changed || target.everything) drawn += engine->Draw(target).drawn;
    target.everything = false;
  };
  for (; position < facts.frameCount; ++position) step(position);  // caches
  const uint64_t before = drawn;
  const double begin = ProcessorSeconds();
  for (; position < (passes + 1) * facts.frameCount; ++position) step(position % facts.frameCount);
  const double changed = ProcessorSeconds() - begin;
  const auto frames = static_cast<double>(passes * facts.frameCount);

  // The same moment once more, in the middle of the movie.
  constexpr int kSame = 2000;
  const uint64_t middle = facts.frameCount / 2;
  step(middle);
  const double same = ProcessorSeconds();
  for (int i = 0; i < kSame; ++i) step(middle);
  const double unchanged = ProcessorSeconds() - same;
  std::printf("frames %.0f drawn %llu frame_us %.2f unchanged_us %.3f\n", frames,
              static_cast<unsigned long long>(drawn - before), changed / frames * 1e6,
              unchanged / kSame * 1e6);
  return 0;
}

}  // namespace
}  // namespace plexion_host::player

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: bench_movie MOVIE WIDTH HEIGHT PASSES\n");
    return 2;
  }
  return plexion_host::player::Run(
      argv[1],
      {static_cast<uint32_t>(std::atoi(argv[2])), static_cast<uint32_t>(std::atoi(argv[3]))},
      static_cast<uint64_t>(std::atoi(argv[4])));
}
