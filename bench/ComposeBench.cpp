// What composing costs, against the least that it could cost (a copy of the pixels) and against the
// general-purpose library for it. Each measurement's "pixels" counter is screen pixels a second.

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstring>
#include <memory>
#include <vector>

#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/Screen.h"
#include "host/graphics/pixels/PixelRows.h"

namespace plexion_host {
namespace {

constexpr qx::plexion::Dims kScreen{1920, 1080};
constexpr size_t kPixels = size_t{1920} * 1080;

enum Content { kOpaque, kTranslucent, kSprite };

/// A full screen of pixels: opaque, evenly translucent, or a sprite's mixture (long empty and
/// opaque stretches with soft edges between them).
std::vector<uint32_t> MakeContent(Content content) {
  std::vector<uint32_t> pixels(kPixels);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const size_t phase = i % 240;
    const uint32_t alpha = content == kOpaque        ? 255
                           : content == kTranslucent ? 128
                           : phase < 112             ? 0
                           : phase < 120             ? static_cast<uint32_t>(phase - 111) * 28
                           : phase < 232             ? 255
                                                     : static_cast<uint32_t>(240 - phase) * 28;
    pixels[i] = alpha << 24 | (alpha / 2) << 16 | (alpha / 3) << 8 | alpha;
  }
  return pixels;
}

void Report(benchmark::State& state) {
  state.counters["pixels"] = benchmark::Counter(static_cast<double>(kPixels),
                                                benchmark::Counter::kIsIterationInvariantRate);
}

/// `planes` full-screen planes of one content over an opaque one; the whole screen is composed.
void ComposeFullScreen(benchmark::State& state) {
  const auto screen = std::make_shared<Screen>(kScreen);
  GraphicsDriver driver(screen);
  const auto content = static_cast<Content>(state.range(0));
  std::vector<qx::platform::OutputPlane*> planes;
  for (int64_t i = 0; i < state.range(1); ++i) {
    // Through a copy, as content draws: the driver then knows where a plane is opaque.
    const std::vector<uint32_t> pixels = MakeContent(i == 0 ? kOpaque : content);
    auto* const render = driver.CreateRenderPlane(kScreen, 1, nullptr);
    std::memcpy(render->LockPixels(false), pixels.data(), kPixels * 4);
    render->UnlockPixels();
    auto* const plane = driver.CreateOutputPlane({0, 0, kScreen.width, kScreen.height}, false,
                                                 render, nullptr, "bench");
    plane->GetDrawingContext()->StretchCopy(render, plane->GetRect(), plane->GetRect());
    driver.DestroyRenderPlane(render);
    planes.push_back(plane);
  }
  for (auto _ : state) {
    planes.front()->ShowRegion({0, 0, kScreen.width, kScreen.height});
    screen->Present([](const PixelStore& picture, const Region&) {
      benchmark::DoNotOptimize(picture.Pixels());
    });
  }
  for (auto* plane : planes) driver.DestroyOutputPlane(plane);
  Report(state);
}
BENCHMARK(ComposeFullScreen)
    ->ArgNames({"content", "planes"})
    ->Args({kOpaque, 1})
    ->Args({kOpaque, 4})
    ->Args({kTranslucent, 2})
    ->Args({kSprite, 2})
    ->Unit(benchmark::kMicrosecond);

/// A ticker of 1920x60 over a full-screen plane: only its pixels may cost anything.
void ComposeTicker(benchmark::State& state) {
  const auto screen = std::make_shared<Screen>(kScreen);
  GraphicsDriver driver(screen);
  auto* const below = driver.CreateOutputPlane({0, 0, kScreen.width, kScreen.height}, false,
                                               nullptr, nullptr, "below");
  auto* const ticker =
      driver.CreateOutputPlane({0, 1020, kScreen.width, 60}, false, nullptr, nullptr, "ticker");
  const std::vector<uint32_t> pixels = MakeContent(kSprite);
  for (auto* plane : {below, ticker}) {
    std::memcpy(plane->LockPixels(false), pixels.data(), size_t{plane->GetPitch()} * 60);
    plane->UnlockPixels();
  }
  for (auto _ : state) {
    ticker->ShowRegion({0, 0, kScreen.width, 60});
    screen->Present([](const PixelStore&, const Region&) {});
  }
  driver.DestroyOutputPlane(below);
  driver.DestroyOutputPlane(ticker);
}
BENCHMARK(ComposeTicker)->Unit(benchmark::kMicrosecond);

void Blend(benchmark::State& state, void (*blend)(uint32_t*, const uint32_t*, size_t, uint8_t)) {
  const std::vector<uint32_t> source = MakeContent(static_cast<Content>(state.range(0)));
  std::vector<uint32_t> destination(kPixels, 0xff336699u);
  for (auto _ : state) {
    blend(destination.data(), source.data(), kPixels, 255);
    benchmark::ClobberMemory();
  }
  Report(state);
}

void BlendFastest(benchmark::State& state) { Blend(state, BlendRow); }
BENCHMARK(BlendFastest)->DenseRange(kOpaque, kSprite)->Unit(benchmark::kMicrosecond);

void BlendPortable(benchmark::State& state) { Blend(state, BlendRowPortable); }
BENCHMARK(BlendPortable)->DenseRange(kOpaque, kSprite)->Unit(benchmark::kMicrosecond);

void BlendByPixman(benchmark::State& state) {
  Blend(state, [](uint32_t* destination, const uint32_t* source, size_t, uint8_t) {
    const int width = static_cast<int>(kScreen.width);
    const int height = static_cast<int>(kScreen.height);
    pixman_image_t* const from = pixman_image_create_bits(PIXMAN_a8r8g8b8, width, height,
                                                          const_cast<uint32_t*>(source), width * 4);
    pixman_image_t* const to =
        pixman_image_create_bits(PIXMAN_x8r8g8b8, width, height, destination, width * 4);
    pixman_image_composite32(PIXMAN_OP_OVER, from, nullptr, to, 0, 0, 0, 0, 0, 0, width, height);
    pixman_image_unref(from);
    pixman_image_unref(to);
  });
}
BENCHMARK(BlendByPixman)->DenseRange(kOpaque, kSprite)->Unit(benchmark::kMicrosecond);

void CopyPixels(benchmark::State& state) {
  const std::vector<uint32_t> source = MakeContent(kOpaque);
  std::vector<uint32_t> destination(kPixels);
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), kPixels * 4);
    benchmark::ClobberMemory();
  }
  Report(state);
}
BENCHMARK(CopyPixels)->Unit(benchmark::kMicrosecond);

/// A render plane of the given height (16:9) copied to a full-screen output plane.
void StretchToFullScreen(benchmark::State& state) {
  const auto height = static_cast<uint32_t>(state.range(0));
  const qx::plexion::Dims from{height * 16 / 9, height};
  GraphicsDriver driver(std::make_shared<Screen>(kScreen));
  auto* const render = driver.CreateRenderPlane(from, 1, nullptr);
  // Written first: pages that nobody has written are one page of zeros, which lies in the cache.
  std::memset(render->LockPixels(false), 0x55, size_t{render->GetPitch()} * from.height);
  render->UnlockPixels();
  auto* const plane = driver.CreateOutputPlane({0, 0, kScreen.width, kScreen.height}, false, render,
                                               nullptr, "bench");
  for (auto _ : state) {
    plane->GetDrawingContext()->StretchCopy(render, {0, 0, from.width, from.height},
                                            {0, 0, kScreen.width, kScreen.height});
  }
  driver.DestroyOutputPlane(plane);
  driver.DestroyRenderPlane(render);
  Report(state);
}
BENCHMARK(StretchToFullScreen)
    ->ArgName("height")
    ->Arg(540)
    ->Arg(720)
    ->Arg(1080)
    ->Arg(2160)
    ->Arg(4320)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace plexion_host

BENCHMARK_MAIN();
