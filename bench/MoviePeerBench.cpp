// The movie engine and Debian's rlottie on the same movies, pass by pass in turn: time for a frame and memory.
// Built where librlottie-dev is installed, which nothing else of this project needs.
//
// usage: bench_movie_peer MOVIE WIDTH HEIGHT PASSES
// Prints  ours_us (what changed), whole_us (all of each frame), peer_us: medians of passes, for a frame;
//         ours_load_kb, ours_play_kb, peer_load_kb, peer_play_kb: what a process of its own has more in
//         memory after the load and after one pass.

#include <rlottie.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "bench/BareEngine.h"

namespace plexion_host::player {
namespace {

class Peer {
 public:
  explicit Peer(const qx::plexion::Dims& dims)
      : dims_(dims), pixels_(size_t{dims.width} * dims.height) {}
  bool Load(const char* path) {
    animation_ = rlottie::Animation::loadFromFile(path);
    return animation_ != nullptr;
  }
  uint64_t FrameCount() const { return animation_->totalFrame(); }
  void Step(uint64_t position) {
    animation_->renderSync(
        position % FrameCount(),
        rlottie::Surface(pixels_.data(), dims_.width, dims_.height, size_t{dims_.width} * 4));
  }

 private:
  qx::plexion::Dims dims_;
  std::vector<uint32_t> pixels_;
  std::unique_ptr<rlottie::Animation> animation_;
};

long ResidentKilobytes() {
  long pages = 0;
  if (FILE* file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
    std::fclose(file);
  }
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

/// In a process of its own, whose pages nobody has touched before.
template <class Player>
void PrintMemory(const char* name, const char* path, const qx::plexion::Dims& dims) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    const long before = ResidentKilobytes();
    Player player(dims);
    if (player.Load(path)) {
      const long loaded = ResidentKilobytes();
      for (uint64_t i = 0; i < player.FrameCount(); ++i) player.Step(i);
      std::printf(" %s_load_kb %ld %s_play_kb %ld", name, loaded - before, name,
                  ResidentKilobytes() - before);
    }
    std::fflush(stdout);
    _exit(0);
  }
  waitpid(child, nullptr, 0);
}

template <class Pass>
double SecondsOf(const Pass& pass) {
  const double begin = ProcessorSeconds();
  pass();
  return ProcessorSeconds() - begin;
}

double Median(std::vector<double>& values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int Run(const char* path, const qx::plexion::Dims& dims, int passes) {
  PrintMemory<BareEngine>("ours", path, dims);
  PrintMemory<Peer>("peer", path, dims);
  BareEngine ours(dims);
  Peer peer(dims);
  if (!ours.Load(path)) return 1;
  const bool both = peer.Load(path);
  const uint64_t count = ours.FrameCount();
  uint64_t position = 0;
  std::vector<double> changed, whole, theirs;
  for (int pass = -1; pass < passes; ++pass) {  // the first fills caches
    const double one = SecondsOf([&] {
      for (uint64_t i = 0; i < count; ++i) ours.Step(position++);
    });
    const double two = SecondsOf([&] {
      for (uint64_t i = 0; i < count; ++i) {
        ours.DrawEverything();
        ours.Step(position++);
      }
    });
    const double three = !both ? 0 : SecondsOf([&] {
      for (uint64_t i = 0; i < peer.FrameCount(); ++i) peer.Step(i);
    });
    if (pass < 0) continue;
    changed.push_back(one / static_cast<double>(count));
    whole.push_back(two / static_cast<double>(count));
    if (both) theirs.push_back(three / static_cast<double>(peer.FrameCount()));
  }
  std::printf(" ours_us %.1f whole_us %.1f", Median(changed) * 1e6, Median(whole) * 1e6);
  if (both) std::printf(" peer_us %.1f", Median(theirs) * 1e6);
  std::printf("\n");
  return 0;
}

}  // namespace
}  // namespace plexion_host::player

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: bench_movie_peer MOVIE WIDTH HEIGHT PASSES\n");
    return 2;
  }
  return plexion_host::player::Run(
      argv[1],
      {static_cast<uint32_t>(std::atoi(argv[2])), static_cast<uint32_t>(std::atoi(argv[3]))},
      std::max(1, std::atoi(argv[4])));
}
