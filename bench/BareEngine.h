// A movie's engine without window, planes and composing, for benchmarks that step it by hand.

#ifndef BENCH_BAREENGINE_H_
#define BENCH_BAREENGINE_H_

#include <time.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/player/ContentAddress.h"
#include "host/player/Engine.h"
#include "host/player/lottie/LottieEngine.h"

namespace plexion_host::player {

/// Processor time of this process, of all its threads. Units  seconds.
inline double ProcessorSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// An engine host that wants nothing, over a plane of its own.
class BareEngine final : public EngineHost {
 public:
  explicit BareEngine(const qx::plexion::Dims& dims)
      : pixels_(size_t{dims.width} * dims.height), engine_(MakeLottieEngine(*this)) {
    target_.pixels = pixels_.data();
    target_.pitchBytes = dims.width * 4;
    target_.dims = dims;
    target_.everything = true;
  }

  /// Returns  false with the reason on the standard error output.
  bool Load(const char* path) {
    settings_.contentUrl = path;
    ContentAddress address;
    EngineError error;
    if (!ResolveContentAddress(path, "", address, error.message) ||
        !engine_->Load(address, facts_, error)) {
      std::fprintf(stderr, "%s\n", error.message.c_str());
      return false;
    }
    engine_->SetPlaying(true);
    return true;
  }

  uint64_t FrameCount() const { return facts_.frameCount; }
  /// Frames that were drawn, as they differed from the one before.
  uint64_t Drawn() const { return drawn_; }
  /// Makes the next step draw all of the plane.
  void DrawEverything() { target_.everything = true; }

  void Step(uint64_t position) {
    FrameStep at;
    at.frame = position % facts_.frameCount;
    at.position = position;
    at.pass = position / facts_.frameCount;
    at.playing = true;
    if (engine_->Advance(at).changed || target_.everything) drawn_ += engine_->Draw(target_).drawn;
    target_.everything = false;
  }

  qx::plexion::MemoryWatchdog* Memory() override { return nullptr; }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return false; }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError& error) override {
    std::fprintf(stderr, "%s\n", error.message.c_str());
  }
  void Notify(qx::plexion::StageWindowStatus, const std::string&) override {}

 private:
  PlayerSettings settings_;
  ContentFacts facts_;
  DrawTarget target_;
  uint64_t drawn_ = 0;
  std::vector<uint32_t> pixels_;
  std::unique_ptr<Engine> engine_;
};

}  // namespace plexion_host::player

#endif  // BENCH_BAREENGINE_H_
