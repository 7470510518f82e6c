// A bare loop over the movie engine, without window, planes and composing: what the launcher's frames are
// compared with, and what a frame costs that is the one before.
//
// usage: bench_movie MOVIE WIDTH HEIGHT PASSES

#include <cstdlib>

#include "bench/BareEngine.h"

namespace plexion_host::player {
namespace {

int Run(const char* path, const qx::plexion::Dims& dims, uint64_t passes) {
  BareEngine movie(dims);
  if (!movie.Load(path)) return 1;
  const uint64_t count = movie.FrameCount();
  uint64_t position = 0;
  for (; position < count; ++position) movie.Step(position);  // caches
  const uint64_t before = movie.Drawn();
  const double begin = ProcessorSeconds();
  for (; position < (passes + 1) * count; ++position) movie.Step(position);
  const double changed = ProcessorSeconds() - begin;
  const auto frames = static_cast<double>(passes * count);

  // The same moment once more, in the middle of the movie.
  constexpr int kSame = 2000;
  const uint64_t middle = position + count / 2;
  const uint64_t drawn = movie.Drawn() - before;
  movie.Step(middle);
  const double same = ProcessorSeconds();
  for (int i = 0; i < kSame; ++i) movie.Step(middle);
  const double unchanged = ProcessorSeconds() - same;
  std::printf("frames %.0f drawn %llu frame_us %.2f unchanged_us %.3f\n", frames,
              static_cast<unsigned long long>(drawn), changed / frames * 1e6,
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
