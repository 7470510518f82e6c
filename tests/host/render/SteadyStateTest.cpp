// A movie that has been round once allocates nothing: every frame draws in the memory of those before.
// This suite counts what passes through the global operator new.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <new>

#include "host/kernel/HostKernel.h"
#include "host/player/render/OffscreenContent.h"
#include "tests/host/player/LinkedMovies.h"

namespace {
std::atomic<bool> counting{false};
std::atomic<size_t> allocations{0};

void* Allocate(size_t bytes) {
  if (counting.load(std::memory_order_relaxed)) ++allocations;
  if (void* block = malloc(bytes == 0 ? 1 : bytes)) return block;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(size_t bytes) { return Allocate(bytes); }
void* operator new[](size_t bytes) { return Allocate(bytes); }
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, size_t) noexcept { free(block); }
void operator delete[](void* block, size_t) noexcept { free(block); }

namespace plexion_host::player {
namespace {

/// What a frame may allocate: values that go into a script and come out, what animators do to each
/// letter, and the pieces of an offset path are made anew. Paths that are merged while they move go through
/// a library that lists each of their lines.
size_t MostOf(const std::string& name) {
  const auto begins = [&name](const char* with) { return name.rfind(with, 0) == 0; };
  if (begins("merge")) return 800;
  return begins("expression") || begins("text-animator") || begins("offset") ? 20 : 0;
}

TEST(SteadyStateTest, DrawsFramesWithoutAllocating) {
  static HostKernel kernel({"plexion"}, ModuleFiles{});
  LinkMovies(kernel);
  IQXModule_QXModule_PutKernel(&kernel);
  constexpr uint64_t kFrames = 30;
  constexpr int kPasses = 6;  // until what is kept of a background has settled
  const qx::plexion::Dims dims = {100, 100};
  size_t movies = 0;
  for (const auto& entry : std::filesystem::directory_iterator(PLEXION_MOVIES)) {
    if (entry.path().extension() != ".json") continue;
    const std::string name = entry.path().stem().string();
    SCOPED_TRACE(name);
    OffscreenContent content;
    EngineError error;
    ASSERT_TRUE(content.Open(entry.path().string(), "", error)) << error.message;
    std::vector<uint32_t> pixels;
    const auto pass = [&] {
      for (uint64_t frame = 0; frame < kFrames; ++frame) {
        EXPECT_TRUE(content.Draw(frame, dims, pixels, !pixels.empty(), error)) << error.message;
      }
    };
    for (int i = 0; i < kPasses; ++i) pass();
    allocations = 0;
    counting = true;
    pass();
    counting = false;
    EXPECT_LE(allocations, MostOf(name) * kFrames);
    ++movies;
  }
  EXPECT_GT(movies, 100u);
}

}  // namespace
}  // namespace plexion_host::player
