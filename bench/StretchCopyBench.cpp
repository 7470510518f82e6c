// The software stretch copy against three yardsticks of the same run: a plain copy of as many bytes
// as the destination has, the rule written as two loops, and libyuv's scaling without a filter. Ends with a table of ratios, which say
// more than times on a machine that others use as well.

#include <benchmark/benchmark.h>
#include <libyuv/scale_argb.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "qx/plexion/parts/StretchCopy.h"

namespace {

using qx::plexion::BestStretchKernel;
using qx::plexion::Dims;
using qx::plexion::Rect;
using qx::plexion::StretchCopy32;
using qx::plexion::StretchKernel;

struct Geometry {
  const char* name;
  Dims source;
  Dims destination;
};

const Geometry kGeometries[] = {
    {"1280x720 to 1920x1080", {1280, 720}, {1920, 1080}},
    {"1920x1080 to 1280x720", {1920, 1080}, {1280, 720}},
    {"640x360 to 3840x2160", {640, 360}, {3840, 2160}},
    {"3840x2160 to 1920x1080", {3840, 2160}, {1920, 1080}},
    {"1920x1080 to 1920x1080", {1920, 1080}, {1920, 1080}},
    {"960x540 to 1920x1080", {960, 540}, {1920, 1080}},
    {"1920x1080 to 720x480", {1920, 1080}, {720, 480}},
};

struct Planes {
  explicit Planes(const Geometry& geometry)
      : source(geometry.source.width * geometry.source.height, 0x80402010u),
        destination(geometry.destination.width * geometry.destination.height) {}
  std::vector<uint32_t> source;
  std::vector<uint32_t> destination;
};

void CopyDestination(benchmark::State& state, const Geometry& geometry) {
  Planes planes(geometry);
  const std::vector<uint32_t> other(planes.destination.size(), 1);
  for (auto _ : state) {
    std::memcpy(planes.destination.data(), other.data(), other.size() * 4);
    benchmark::ClobberMemory();
  }
}

/// On its own and without shared state, so that the compiler may do with it what it can.
__attribute__((noinline)) void CopyByTheRule(const uint32_t* source, Dims from,
                                             uint32_t* destination, Dims to) {
  const uint32_t stepX = (from.width << 16) / to.width;
  const uint32_t stepY = (from.height << 16) / to.height;
  uint32_t fixedY = 0;
  for (uint32_t y = 0; y < to.height; ++y, fixedY += stepY) {
    const uint32_t* row = source + (fixedY >> 16) * from.width;
    uint32_t* out = destination + y * to.width;
    uint32_t fixedX = 0;
    for (uint32_t x = 0; x < to.width; ++x, fixedX += stepX) out[x] = row[fixedX >> 16];
  }
}

void Naive(benchmark::State& state, const Geometry& geometry) {
  Planes planes(geometry);
  for (auto _ : state) {
    CopyByTheRule(planes.source.data(), geometry.source, planes.destination.data(),
                  geometry.destination);
    benchmark::ClobberMemory();
  }
}

void Stretch(benchmark::State& state, const Geometry& geometry, StretchKernel kernel) {
  Planes planes(geometry);
  const Dims& from = geometry.source;
  const Dims& to = geometry.destination;
  for (auto _ : state) {
    StretchCopy32(planes.source.data(), from.width * 4, {0, 0, from.width, from.height}, from,
                  planes.destination.data(), to.width * 4, {0, 0, to.width, to.height}, to, kernel);
    benchmark::ClobberMemory();
  }
}

void Yuv(benchmark::State& state, const Geometry& geometry) {
  Planes planes(geometry);
  const Dims& from = geometry.source;
  const Dims& to = geometry.destination;
  for (auto _ : state) {
    libyuv::ARGBScale(
        reinterpret_cast<const uint8_t*>(planes.source.data()), static_cast<int>(from.width * 4),
        static_cast<int>(from.width), static_cast<int>(from.height),
        reinterpret_cast<uint8_t*>(planes.destination.data()), static_cast<int>(to.width * 4),
        static_cast<int>(to.width), static_cast<int>(to.height), libyuv::kFilterNone);
    benchmark::ClobberMemory();
  }
}

/// Keeps the best time of each benchmark's repetitions: what disturbs a run only adds to it.
class BestTimes : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      double& best = best_[run.run_name.function_name];
      const double time = run.GetAdjustedRealTime();
      if (best == 0 || time < best) best = time;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintRatios() const {
    std::printf("\n%-24s %10s %12s %12s %12s %12s\n", "best of all repetitions", "copy, us",
                "naive/copy", "plain/copy", "best/copy", "best/libyuv");
    for (const Geometry& geometry : kGeometries) {
      const std::string name = geometry.name;
      const auto time = [&](const char* what) {
        const auto found = best_.find(what + (": " + name));
        return found != best_.end() ? found->second : 0;
      };
      const double copy = time("copy");
      if (copy == 0) continue;  // filtered out
      std::printf("%-24s %10.0f %12.2f %12.2f %12.2f %12.2f\n", geometry.name, copy,
                  time("naive") / copy, time("plain") / copy, time("best") / copy,
                  time("best") / time("libyuv"));
    }
  }

 private:
  std::map<std::string, double> best_;
};

void Register(const char* what, const Geometry& geometry,
              void (*body)(benchmark::State&, const Geometry&)) {
  benchmark::RegisterBenchmark((what + (std::string(": ") + geometry.name)).c_str(), body, geometry)
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
  // Repetitions in mixed order, so that a busy moment does not fall on one of them alone.
  std::vector<char*> arguments(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  char repetitions[] = "--benchmark_repetitions=9";
  char shortRuns[] = "--benchmark_min_time=0.05";
  arguments.insert(arguments.begin() + 1, {interleave, repetitions, shortRuns});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  for (const Geometry& geometry : kGeometries) {
    Register("copy", geometry, CopyDestination);
    Register("naive", geometry, Naive);
    Register("libyuv", geometry, Yuv);
    Register("plain", geometry, [](benchmark::State& state, const Geometry& g) {
      Stretch(state, g, StretchKernel::kPlain);
    });
    Register("best", geometry, [](benchmark::State& state, const Geometry& g) {
      Stretch(state, g, BestStretchKernel());
    });
  }
  BestTimes reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  return 0;
}
