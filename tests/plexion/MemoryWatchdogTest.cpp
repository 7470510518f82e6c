// A window's memory limit and its counts.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qx/core/QXMem.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/MemoryWatchdog.h"
#include "tests/core/RecordingKernel.h"
#include "tests/plexion/RecordingPlayer.h"

namespace {

using qx::plexion::IPlexionImpl;
using qx::plexion::StageWindowImpl;
using qx::plexion::StageWindowMemoryWatchdog;
using tests::RecordingKernel;
using tests::RecordingPlayer;

/// A real window with a watchdog, and a player that shows whether the window was terminated.
class MemoryWatchdog : public ::testing::Test {
 protected:
  void SetUp() override {
    kernel.Restart();
    service = std::make_unique<IPlexionImpl>();
    window = std::make_unique<StageWindowImpl>(service.get());
    window->instance = &player;
    kernel.printed.clear();
  }
  void TearDown() override {
    window->instance = nullptr;
    window.reset();
    service.reset();
    EXPECT_TRUE(kernel.live.empty()) << "the window kept memory";
    EXPECT_EQ(kernel.mutexes, 0u);
  }
  StageWindowMemoryWatchdog& Guard(unsigned long limit) {
    window->memoryWatchdog =
        new (nullptr, 0, QX_NEW_DELETE) StageWindowMemoryWatchdog(window.get(), limit);
    return *window->memoryWatchdog;
  }

  RecordingKernel& kernel = RecordingKernel::Get();
  RecordingPlayer player{&kernel};
  std::unique_ptr<IPlexionImpl> service;
  std::unique_ptr<StageWindowImpl> window;
};

TEST_F(MemoryWatchdog, LetsEverythingPassWithoutALimit) {
  StageWindowMemoryWatchdog& watchdog = Guard(0);
  EXPECT_EQ(watchdog.GetBytesAvailable(), 4294967295ul);
  void* block = watchdog.Alloc(1 << 20, nullptr, 0);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(watchdog.GetBytesUsed(), 1ul << 20);
  EXPECT_EQ(watchdog.GetBytesAvailable(), 4294967295ul);
  watchdog.Free(block, nullptr, 0);
  EXPECT_EQ(player.terminations, 0);
}

TEST_F(MemoryWatchdog, EndsTheWindowThatAsksForMoreThanItsLimit) {
  StageWindowMemoryWatchdog& watchdog = Guard(1000);
  void* block = watchdog.Alloc(1000, nullptr, 0);
  ASSERT_NE(block, nullptr) << "exactly the limit is allowed";
  EXPECT_EQ(watchdog.GetBytesAvailable(), 0ul);
  EXPECT_EQ(player.terminations, 0);
  const unsigned allocations = kernel.allocations;

  EXPECT_EQ(watchdog.Alloc(1, nullptr, 0), nullptr);
  EXPECT_EQ(watchdog.Alloc(5000, nullptr, 0), nullptr);
  EXPECT_EQ(player.terminations, 2);
  EXPECT_EQ(player.lastTermination, qx::plexion::kErrorNotEnoughMemory);
  const std::string line = "YELLOW ALERT: StageWindow exceeded memlimit of 1000 bytes\n";
  EXPECT_EQ(kernel.printed, (std::vector<std::string>{line, line}));
  EXPECT_EQ(kernel.allocations, allocations);
  EXPECT_EQ(watchdog.GetBytesUsed(), 1000ul);
  EXPECT_EQ(watchdog.allocationCount, 1u);
  watchdog.Free(block, nullptr, 0);
}

TEST_F(MemoryWatchdog, CountsWhatThirtyTwoBitsCannotHoldAsOverTheLimit) {
  StageWindowMemoryWatchdog& watchdog = Guard(1000);
  void* block = watchdog.Alloc(600, nullptr, 0);
  const unsigned allocations = kernel.allocations;
  // Alone, and together with what is in use, these are small numbers in 32 bits.
  const uint64_t kSizes[] = {0x100000000ull, 0x100000190ull, 0xFFFFFFFFull, ~0ull};
  int refused = 0;
  for (const uint64_t size : kSizes) {
    const auto asked = static_cast<unsigned long>(size);
    if (asked != size && size != ~0ull) continue;  // cannot be asked for where a long has 32 bits
    EXPECT_EQ(watchdog.Alloc(asked, nullptr, 0), nullptr) << size;
    ++refused;
  }
  EXPECT_EQ(player.terminations, refused);
  EXPECT_EQ(kernel.allocations, allocations);
  EXPECT_EQ(watchdog.GetBytesUsed(), 600ul);
  watchdog.Free(block, nullptr, 0);
}

TEST_F(MemoryWatchdog, CountsWhatIsInUseAndRemembersThePeak) {
  StageWindowMemoryWatchdog& watchdog = Guard(1000);
  void* first = watchdog.Alloc(300, nullptr, 0);
  void* second = watchdog.Alloc(400, nullptr, 0);
  watchdog.Free(first, nullptr, 0);
  EXPECT_EQ(watchdog.GetBytesUsed(), 400ul);
  EXPECT_EQ(watchdog.GetBytesAvailable(), 600ul);
  watchdog.Free(second, nullptr, 0);
  EXPECT_EQ(watchdog.GetBytesUsed(), 0ul);
  EXPECT_EQ(watchdog.peakBytesUsed, 700u);
  EXPECT_EQ(watchdog.allocationCount, 2u);
  EXPECT_EQ(watchdog.freeCount, 2u);
}

TEST_F(MemoryWatchdog, PutsTheSizeBeforeTheBlockAndSaysWhoAsked) {
  StageWindowMemoryWatchdog& watchdog = Guard(0);
  char* block = static_cast<char*>(watchdog.Alloc(100, "player.cpp", 77));
  ASSERT_EQ(block - 8, kernel.lastAllocated);
  EXPECT_EQ(reinterpret_cast<uint32_t*>(block)[-2], 100u);
  EXPECT_EQ(reinterpret_cast<uint32_t*>(block)[-1], 0xA5A5A5A5u) << "left as the kernel gave it";
  const RecordingKernel::Block& asked = kernel.live.at(block - 8);
  EXPECT_EQ(asked.bytes, 108ul);
  EXPECT_EQ(asked.file, "player.cpp");
  EXPECT_EQ(asked.line, 77);
  watchdog.Free(block, "player.cpp", 78);
  EXPECT_EQ(kernel.lastFree.line, 78);
}

TEST_F(MemoryWatchdog, StaysAsItWasWhenTheKernelHasNone) {
  StageWindowMemoryWatchdog& watchdog = Guard(1000);
  kernel.RefuseAllocationAfter(0);
  EXPECT_EQ(watchdog.Alloc(10, nullptr, 0), nullptr);
  EXPECT_EQ(watchdog.GetBytesUsed(), 0ul);
  EXPECT_EQ(watchdog.peakBytesUsed, 0u);
  EXPECT_EQ(watchdog.allocationCount, 0u);
  EXPECT_EQ(player.terminations, 0);
  EXPECT_TRUE(kernel.printed.empty());
}

TEST_F(MemoryWatchdog, ShowsTheWindowsMemoryWithAndWithoutIt) {
  unsigned long long used = 9;
  unsigned long long limit = 9;
  unsigned long long graphics = 9;
  window->parameters.memoryLimit = 5000;
  window->IncrementGraphicsMemoryUsedCount(10);  // nowhere to count it
  window->GetMemoryInfo(used, limit, graphics);
  EXPECT_EQ(used, 0u);
  EXPECT_EQ(limit, 5000u);
  EXPECT_EQ(graphics, 0u);

  StageWindowMemoryWatchdog& watchdog = Guard(5000);
  EXPECT_EQ(window->GetMemoryWatchdog(), &watchdog);
  void* block = watchdog.Alloc(64, nullptr, 0);
  window->IncrementGraphicsMemoryUsedCount(0x200000000ull);
  window->DecrementGraphicsMemoryUsedCount(0x200000001ull);  // more than there is: left alone
  window->GetMemoryInfo(used, limit, graphics);
  EXPECT_EQ(used, 64u);
  EXPECT_EQ(graphics, 0x200000000ull);
  window->DecrementGraphicsMemoryUsedCount(0x200000000ull);
  window->GetMemoryInfo(used, limit, graphics);
  EXPECT_EQ(graphics, 0u);
  watchdog.Free(block, nullptr, 0);
}

}  // namespace
