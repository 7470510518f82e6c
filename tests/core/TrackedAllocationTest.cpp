// The allocation operators: headers, places and refusals.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "qx/core/QXMem.h"
#include "tests/core/RecordingKernel.h"

namespace {

using tests::RecordingKernel;

uint32_t FamilyWord(const void* pointer) {
  uint32_t word;
  std::memcpy(&word, static_cast<const char*>(pointer) - 4, sizeof word);
  return word;
}

class TrackedAllocation : public ::testing::Test {
 protected:
  void SetUp() override { kernel.Restart(); }
  void TearDown() override { EXPECT_TRUE(kernel.live.empty()); }

  /// What every family has in common, for a block of `bytes`.
  void ExpectBlock(void* pointer, unsigned long bytes, uint32_t family) {
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(static_cast<char*>(pointer) - 8, kernel.lastAllocated);
    const RecordingKernel::Block& block = kernel.live.at(kernel.lastAllocated);
    EXPECT_EQ(block.bytes, bytes + 8);
    EXPECT_EQ(block.file, "here.cpp");
    EXPECT_EQ(block.line, 12);
    EXPECT_EQ(FamilyWord(pointer), family);
    // The first word stays as the kernel gave it.
    uint32_t first;
    std::memcpy(&first, static_cast<char*>(pointer) - 8, sizeof first);
    EXPECT_EQ(first, 0xA5A5A5A5u);
  }

  /// The block that the kernel handed out, 8 bytes below the caller's pointer, went back to it.
  void ExpectFreed() {
    EXPECT_EQ(kernel.frees, 1u);
    EXPECT_EQ(kernel.lastFreed, kernel.lastAllocated);
    EXPECT_EQ(kernel.lastFree.file, "there.cpp");
    EXPECT_EQ(kernel.lastFree.line, 34);
  }

  RecordingKernel& kernel = RecordingKernel::Get();
};

TEST_F(TrackedAllocation, PrecedesSingleObjectsByFamilyOne) {
  void* pointer = ::operator new(24, "here.cpp", 12, QX_NEW_DELETE);
  ExpectBlock(pointer, 24, 1);
  ::operator delete(pointer, "there.cpp", 34, QX_NEW_DELETE);
  ExpectFreed();
}

TEST_F(TrackedAllocation, PrecedesVectorsByTheirCountAndIgnoresTheCompilersSize) {
  void* pointer = ::operator new(999, 6UL, 3UL, "here.cpp", 12, QX_VECTOR_NEW_DELETE);
  ExpectBlock(pointer, 18, 6);
  ::operator delete(pointer, 0UL, 0UL, "there.cpp", 34, QX_VECTOR_NEW_DELETE);
  ExpectFreed();
}

TEST_F(TrackedAllocation, PrecedesRawBuffersByZeroAndIgnoresTheCompilersSize) {
  void* pointer = ::operator new(999, 7UL, "here.cpp", 12, QX_MALLOC_FREE);
  ExpectBlock(pointer, 7, 0);
  ::operator delete(pointer, 0UL, "there.cpp", 34, QX_MALLOC_FREE);
  ExpectFreed();
}

TEST_F(TrackedAllocation, AnswersNullForNothingWithoutAskingTheKernel) {
  EXPECT_EQ(::operator new(0, nullptr, 0, QX_NEW_DELETE), nullptr);
  EXPECT_EQ(QXMem_NewVector(0, 4), nullptr);
  EXPECT_EQ(QXMem_NewVector(4, 0), nullptr);
  EXPECT_EQ(QXMem_Malloc(0), nullptr);
  EXPECT_EQ(kernel.allocations, 0u);
}

TEST_F(TrackedAllocation, AnswersNullForSizesThatWouldWrap) {
  EXPECT_EQ(QXMem_Malloc(~0UL - 3), nullptr);
  EXPECT_EQ(QXMem_NewVector(~0UL / 2, 4), nullptr);
  EXPECT_EQ(kernel.allocations, 0u);
}

TEST_F(TrackedAllocation, ReleasesNullWithoutAskingTheKernel) {
  ::operator delete(nullptr, nullptr, 0, QX_NEW_DELETE);
  QXMem_DeleteVector(nullptr, 3, 4);
  QXMem_Free(nullptr, 12);
  EXPECT_EQ(kernel.frees, 0u);
}

TEST_F(TrackedAllocation, AnswersNullWhenTheKernelHasNone) {
  kernel.RefuseAllocationAfter(0);
  EXPECT_EQ(::operator new(8, nullptr, 0, QX_NEW_DELETE), nullptr);
  kernel.RefuseAllocationAfter(0);
  EXPECT_EQ(QXMem_NewVector(2, 4), nullptr);
  kernel.RefuseAllocationAfter(0);
  EXPECT_EQ(QXMem_Malloc(8), nullptr);
}

TEST_F(TrackedAllocation, KeepsTheArraySpellingsInert) {
  EXPECT_EQ(::operator new[](8, nullptr, 0, QX_NEW_DELETE), nullptr);
  EXPECT_EQ(::operator new[](8, 2UL, 4UL, nullptr, 0, QX_VECTOR_NEW_DELETE), nullptr);
  EXPECT_EQ(::operator new[](8, 8UL, nullptr, 0, QX_MALLOC_FREE), nullptr);
  int nothing = 0;
  int* volatile here = &nothing;  // so that the compiler does not see that it is no block
  ::operator delete[](here, nullptr, 0, QX_NEW_DELETE);
  ::operator delete[](here, 2UL, 4UL, nullptr, 0, QX_VECTOR_NEW_DELETE);
  ::operator delete[](here, 8UL, nullptr, 0, QX_MALLOC_FREE);
  EXPECT_EQ(kernel.allocations, 0u);
  EXPECT_EQ(kernel.frees, 0u);
}

struct Counted {
  explicit Counted(int* destroyed) : destroyed_(destroyed) { ++made; }
  virtual ~Counted() { ++*destroyed_; }
  int* destroyed_;
  static int made;
};
int Counted::made = 0;

struct Derived : Counted {
  using Counted::Counted;
  ~Derived() override { *destroyed_ += 10; }
};

TEST_F(TrackedAllocation, DestroysWhatTheObjectIsAndReleasesItOnce) {
  int destroyed = 0;
  Counted* object = new ("here.cpp", 12, QX_NEW_DELETE) Derived(&destroyed);
  QXTypes_ScalarDelete(object, "there.cpp", 34);
  EXPECT_EQ(destroyed, 11);
  ExpectFreed();
  QXTypes_ScalarDelete(static_cast<Counted*>(nullptr), nullptr, 0);
  EXPECT_EQ(kernel.frees, 1u);
}

TEST_F(TrackedAllocation, RunsNoConstructorWithoutMemory) {
  int destroyed = 0;
  Counted::made = 0;
  kernel.RefuseAllocationAfter(0);
  Counted* object = new (nullptr, 0, QX_NEW_DELETE) Counted(&destroyed);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Counted::made, 0);
}

}  // namespace
