// Every way of copying beside the rule, pixel by pixel.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

#include "qx/plexion/parts/StretchCopy.h"

namespace {

using qx::plexion::BestStretchKernel;
using qx::plexion::Dims;
using qx::plexion::Rect;
using qx::plexion::StretchCopy32;
using qx::plexion::StretchKernel;

/// A plane whose padding and surroundings are watched. Rows are `padding` bytes apart.
struct Surface {
  Surface(Dims size, uint32_t padding, uint32_t seed)
      : dims(size), pitch(size.width * 4 + padding), bytes(kGuard * 2 + pitch * size.height) {
    for (uint8_t& byte : bytes) {
      seed = seed * 1664525 + 1013904223;
      byte = static_cast<uint8_t>(seed >> 24);
    }
  }
  uint8_t* Base() { return bytes.data() + kGuard; }
  uint8_t* Address(uint64_t x, uint64_t y) { return Base() + y * pitch + x * 4; }
  uint32_t At(uint64_t x, uint64_t y) {
    uint32_t pixel = 0;
    memcpy(&pixel, Address(x, y), 4);
    return pixel;
  }

  static constexpr size_t kGuard = 256;
  Dims dims;
  uint32_t pitch;
  std::vector<uint8_t> bytes;
};

/// The rule, pixel by pixel, in the arithmetic that it is told in.
void CopyByTheRule(Surface& source, Rect from, Surface& destination, Rect to) {
  if (to.width == 0 || to.height == 0) return;
  const uint32_t stepX = (from.width << 16) / to.width;
  const uint32_t stepY = (from.height << 16) / to.height;
  uint32_t fixedY = from.y << 16;
  for (uint32_t row = 0; row < to.height; ++row, fixedY += stepY) {
    uint32_t fixedX = from.x << 16;
    for (uint32_t column = 0; column < to.width; ++column, fixedX += stepX) {
      const uint32_t x = to.x + column;
      const uint32_t y = to.y + row;
      const uint32_t sourceX = fixedX >> 16;
      const uint32_t sourceY = fixedY >> 16;
      if (x >= destination.dims.width || y >= destination.dims.height) continue;
      if (sourceX >= source.dims.width || sourceY >= source.dims.height) continue;
      memcpy(destination.Address(x, y), source.Address(sourceX, sourceY), 4);
    }
  }
}

std::vector<StretchKernel> Kernels() {
  std::vector<StretchKernel> kernels{StretchKernel::kPlain};
  if (BestStretchKernel() != StretchKernel::kPlain) kernels.push_back(BestStretchKernel());
  return kernels;
}

/// Copies with every kernel and by the rule; all that surrounds the pixels must stay, too.
::testing::AssertionResult SameAsTheRule(Dims sourceDims, Rect from, Dims destinationDims, Rect to,
                                         uint32_t padding, uint32_t seed) {
  Surface source(sourceDims, padding, seed);
  Surface expected(destinationDims, padding, seed + 1);
  const Surface before = expected;
  CopyByTheRule(source, from, expected, to);
  for (const StretchKernel kernel : Kernels()) {
    Surface actual = before;
    StretchCopy32(source.Base(), source.pitch, from, sourceDims, actual.Base(), actual.pitch, to,
                  destinationDims, kernel);
    for (size_t i = 0; i < actual.bytes.size(); ++i) {
      if (actual.bytes[i] == expected.bytes[i]) continue;
      return ::testing::AssertionFailure()
             << "kernel " << static_cast<int>(kernel) << ", byte " << i << ": source "
             << sourceDims.width << "x" << sourceDims.height << " from " << from.x << "," << from.y
             << " " << from.width << "x" << from.height << ", destination " << destinationDims.width
             << "x" << destinationDims.height << " to " << to.x << "," << to.y << " " << to.width
             << "x" << to.height << ", padding " << padding;
    }
  }
  return ::testing::AssertionSuccess();
}

constexpr uint32_t Minus(uint32_t value) { return 0u - value; }

TEST(StretchCopy, FollowsTheRuleForNamedGeometries) {
  struct {
    const char* what;
    Dims source;
    Rect from;
    Dims destination;
    Rect to;
  } const cases[] = {
      {"same size", {40, 30}, {0, 0, 40, 30}, {40, 30}, {0, 0, 40, 30}},
      {"part, same size", {40, 30}, {3, 4, 17, 9}, {50, 50}, {3, 4, 17, 9}},
      {"three halves", {128, 72}, {0, 0, 128, 72}, {192, 108}, {0, 0, 192, 108}},
      {"huge enlargement", {3, 2}, {0, 0, 3, 2}, {200, 150}, {0, 0, 200, 150}},
      {"reduction below two", {192, 108}, {0, 0, 192, 108}, {128, 72}, {0, 0, 128, 72}},
      {"exactly two", {192, 108}, {0, 0, 192, 108}, {96, 54}, {0, 0, 96, 54}},
      {"strong reduction", {500, 300}, {0, 0, 500, 300}, {37, 21}, {0, 0, 37, 21}},
      {"wider and lower", {100, 100}, {0, 0, 100, 100}, {150, 40}, {0, 0, 150, 40}},
      {"one pixel", {1, 1}, {0, 0, 1, 1}, {33, 9}, {0, 0, 33, 9}},
      {"source sticks out", {20, 20}, {10, 10, 20, 20}, {64, 64}, {0, 0, 64, 64}},
      {"destination sticks out", {64, 64}, {0, 0, 64, 64}, {20, 20}, {10, 10, 40, 40}},
      {"destination left of the plane",
       {30, 30},
       {0, 0, 30, 30},
       {40, 40},
       {Minus(7), Minus(5), 45, 45}},
      {"source left of the plane",
       {30, 30},
       {Minus(3), Minus(4), 20, 20},
       {40, 40},
       {0, 0, 40, 40}},
      {"empty source", {8, 8}, {2, 3, 0, 0}, {20, 20}, {0, 0, 20, 20}},
      {"empty destination", {8, 8}, {0, 0, 8, 8}, {20, 20}, {0, 0, 0, 20}},
      {"all outside", {8, 8}, {0, 0, 8, 8}, {20, 20}, {20, 0, 8, 8}},
      {"steps that wrap", {9, 9}, {0, 0, 70000, 65536}, {40, 40}, {0, 0, 40, 40}},
  };
  for (const auto& c : cases) {
    for (const uint32_t padding : {0u, 20u, 6u, 1u}) {
      EXPECT_TRUE(SameAsTheRule(c.source, c.from, c.destination, c.to, padding, 7)) << c.what;
    }
  }
}

TEST(StretchCopy, FollowsTheRuleForRandomGeometries) {
  for (uint32_t seed = 1; seed <= 4000; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    const Dims source{1 + below(90), 1 + below(40)};
    const Dims destination{1 + below(90), 1 + below(40)};
    Rect from{0, 0, source.width, source.height};
    Rect to{0, 0, destination.width, destination.height};
    if (below(2) == 0) {
      from = {below(100) - 5, below(50) - 5, below(100), below(50)};
      to = {below(110) - 20, below(60) - 20, below(120), below(60)};
    }
    if (below(40) == 0) from.width = static_cast<uint32_t>(random());
    ASSERT_TRUE(SameAsTheRule(source, from, destination, to, below(16), seed)) << "seed " << seed;
  }
}

TEST(StretchCopy, ReachesPixelsAgainWherePositionsWrap) {
  // A destination so long that it goes once around: only the pixels inside the plane are walked.
  EXPECT_NO_FATAL_FAILURE({
    Surface source({4, 1}, 0, 1);
    Surface destination({8, 1}, 0, 2);
    StretchCopy32(source.Base(), source.pitch, {0, 0, 65535, 1}, source.dims, destination.Base(),
                  destination.pitch, {3, 0, 0xFFFFFFFFu, 1}, destination.dims);
    // The step is 0: every pixel is the first one. Pixel 2 is the one that is not reached.
    for (uint32_t x = 0; x < 8; ++x) {
      EXPECT_EQ(destination.At(x, 0) == source.At(0, 0), x != 2) << x;
    }
  });
}

TEST(StretchCopy, ReadsNothingBehindTheLastPixel) {
  // The source ends where memory that cannot be read begins.
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  char* memory = static_cast<char*>(
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(memory, MAP_FAILED);
  ASSERT_EQ(mprotect(memory + page, page, PROT_NONE), 0);
  for (uint32_t width = 1; width <= 40; ++width) {
    uint32_t* source = reinterpret_cast<uint32_t*>(memory + page) - width;
    for (uint32_t i = 0; i < width; ++i) source[i] = i;
    for (uint32_t wanted = 1; wanted <= 90; ++wanted) {
      std::vector<uint32_t> out(wanted);
      for (const StretchKernel kernel : Kernels()) {
        StretchCopy32(source, width * 4, {0, 0, width, 1}, {width, 1}, out.data(), wanted * 4,
                      {0, 0, wanted, 1}, {wanted, 1}, kernel);
        ASSERT_EQ(out.back(), (width << 16) / wanted * (wanted - 1) >> 16);
      }
    }
  }
  munmap(memory, 2 * page);
}

TEST(StretchCopy, UsesWhatTheProcessorHas) {
#if defined(__x86_64__)
  EXPECT_EQ(BestStretchKernel() == StretchKernel::kAvx2, __builtin_cpu_supports("avx2") != 0);
#elif defined(__ARM_NEON)
  EXPECT_EQ(BestStretchKernel(), StretchKernel::kNeon);
#else
  EXPECT_EQ(BestStretchKernel(), StretchKernel::kPlain);
#endif
}

TEST(StretchCopy, IgnoresMissingPlanes) {
  Surface surface({8, 8}, 0, 1);
  const std::vector<uint8_t> before = surface.bytes;
  const Rect all{0, 0, 8, 8};
  StretchCopy32(nullptr, 32, all, surface.dims, surface.Base(), surface.pitch, all, surface.dims);
  StretchCopy32(surface.Base(), surface.pitch, all, surface.dims, nullptr, 32, all, surface.dims);
  EXPECT_EQ(surface.bytes, before);
}

}  // namespace
