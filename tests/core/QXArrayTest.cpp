// Arrays: growth, refusals, and random operations beside a twin.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "qx/core/QXArray.h"
#include "tests/core/RecordingKernel.h"

namespace {

using tests::RecordingKernel;

class QXArrays : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { kernel.Restart(); }
  void TearDown() override { EXPECT_TRUE(kernel.live.empty()); }
  RecordingKernel& kernel = RecordingKernel::Get();
};

INSTANTIATE_TEST_SUITE_P(BothWaysOfMoving, QXArrays, ::testing::Values(true, false),
                         [](const auto& way) { return way.param ? "bitwise" : "one_by_one"; });

TEST_P(QXArrays, GrowToTheNextMultipleOfTwiceTheCapacity) {
  struct {
    unsigned room;
    unsigned size;
    unsigned capacity;
  } const cases[] = {{8, 8, 8},   {8, 9, 16}, {8, 15, 16}, {8, 16, 32},
                     {8, 40, 48}, {2, 3, 4},  {2, 4, 8},   {0, 5, 5}};
  for (const auto& c : cases) {
    QXArray<int*> array(GetParam());
    array.Reserve(c.room);
    EXPECT_EQ(array.Count(), 0u);
    EXPECT_EQ(array.capacity, c.room);
    array.SetSize(c.size);
    EXPECT_EQ(array.Count(), c.size);
    EXPECT_EQ(array.capacity, c.capacity) << c.room << " to " << c.size;
  }
}

TEST_P(QXArrays, StretchToReachAnIndexBeyondTheEnd) {
  QXArray<uint32_t> array(GetParam());
  array.InsertAt(5, 77u);
  EXPECT_EQ(array.Count(), 6u);
  for (unsigned i = 0; i < 5; ++i) EXPECT_EQ(array[i], 0u);
  EXPECT_EQ(array[5], 77u);
}

TEST_P(QXArrays, KeepStorageAndOldSlotsWhenTheyShrink) {
  QXArray<uint32_t> array(GetParam());
  for (uint32_t i = 0; i < 4; ++i) array.Append(i + 1);
  const unsigned before = kernel.allocations;
  array.SetSize(1);
  array.SetSize(4);
  EXPECT_EQ(kernel.allocations, before);
  EXPECT_EQ(array[3], 4u) << "growth within the capacity uncovers slots as they are";
}

TEST_P(QXArrays, RemoveTheLastElementForAnIndexBeyondIt) {
  QXArray<uint32_t> array(GetParam());
  for (uint32_t i = 0; i < 3; ++i) array.Append(i + 1);
  array.RemoveAt(17);
  ASSERT_EQ(array.Count(), 2u);
  EXPECT_EQ(array[1], 2u);
  EXPECT_EQ(array.data[2], 0u) << "the slot given up is cleared";
}

TEST_P(QXArrays, TakeAnElementOfTheirOwnWhileGrowing) {
  QXArray<uint32_t> array(GetParam());
  array.Append(11u);
  array.InsertAt(0, array[0]);
  array.Append(array[1]);
  ASSERT_EQ(array.Count(), 3u);
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(array[i], 11u);
}

TEST_P(QXArrays, StayAsTheyWereWithoutMemory) {
  QXArray<uint32_t> array(GetParam());
  for (uint32_t i = 0; i < 3; ++i) array.Append(i);
  const std::vector<uint32_t> before(array.data, array.data + array.Count());
  const unsigned capacity = array.capacity;
  kernel.RefuseAllocationAfter(0);
  array.SetSize(500);
  kernel.RefuseAllocationAfter(0);
  array.InsertAt(1000, 9u);
  kernel.RefuseAllocationAfter(0);
  array.SetSize(capacity);
  EXPECT_FALSE(array.Append(9u));
  array.SetSize(3);
  EXPECT_EQ(array.capacity, capacity);
  EXPECT_EQ(std::vector<uint32_t>(array.data, array.data + array.Count()), before);
}

TEST_P(QXArrays, RefuseSizesBeyondTheirFields) {
  if (sizeof(unsigned long) == 4) GTEST_SKIP() << "no size is beyond them";
  QXArray<uint32_t> array(GetParam());
  array.Append(5u);
  kernel.Restart();
  array.SetSize(static_cast<unsigned long>(0x100000001ULL));
  EXPECT_EQ(kernel.allocations, 0u);
  EXPECT_EQ(array.Count(), 1u);
}

/// Does to a vector what the array's contract says, slots beyond the count included.
struct Twin {
  std::vector<uint32_t> slots;
  size_t count = 0;

  void SetSize(size_t size) {
    if (slots.size() < size) {
      const size_t twice = 2 * slots.size();
      const size_t room = slots.empty() ? size : twice * (1 + size / twice);
      slots.resize(count);
      slots.resize(room, 0);
    }
    count = size;
  }
  void InsertAt(size_t index, uint32_t value) {
    if (index >= count) {
      SetSize(index + 1);
    } else {
      SetSize(count + 1);
      for (size_t i = count - 1; i > index; --i) slots[i] = slots[i - 1];
    }
    slots[index] = value;
  }
  void RemoveAt(size_t index) {
    for (size_t i = index; i + 1 < count; ++i) slots[i] = slots[i + 1];
    slots[--count] = 0;
  }
};

TEST_P(QXArrays, DoWhatTheirTwinDoesOverRandomOperations) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    QXArray<uint32_t> array(GetParam());
    Twin twin;
    for (unsigned step = 0; step < 300; ++step) {
      const auto below = [&](size_t limit) { return random() % limit; };
      const unsigned choice = random() % 8;
      if (choice == 0) {
        const size_t size = below(40);
        array.SetSize(size);
        twin.SetSize(size);
      } else if (choice <= 4) {
        const size_t index = below(twin.count + 3);
        const uint32_t value = random();
        array.InsertAt(index, value);
        twin.InsertAt(index, value);
      } else if (twin.count > 0) {
        const size_t index = below(twin.count + 2);
        array.RemoveAt(index);
        twin.RemoveAt(index);
      }
      ASSERT_EQ(array.Count(), twin.count) << "seed " << seed << " step " << step;
      ASSERT_EQ(array.capacity, twin.slots.size()) << "seed " << seed << " step " << step;
      for (size_t i = 0; i < twin.slots.size(); ++i) {
        ASSERT_EQ(array.data[i], twin.slots[i])
            << "seed " << seed << " step " << step << " slot " << i;
      }
    }
  }
}

}  // namespace
