// Promises of the kernel's memory.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

struct Block {
  unsigned char* bytes;
  unsigned long size;
  unsigned char filling;
};

/// Allocates `size` bytes and fills them; a kernel that has none for so little is of no use.
Block Take(Case& c, unsigned long size, unsigned char filling) {
  auto* const bytes = static_cast<unsigned char*>(c.Kernel().Allocate(size, __FILE__, __LINE__));
  CERTIFY_REQUIRE(c, bytes != nullptr, Text("a block of %lu bytes", size), "null");
  memset(bytes, filling, size);
  return {bytes, size, filling};
}

void CheckFilling(Case& c, const Block& block) {
  const unsigned char* const end = block.bytes + block.size;
  const unsigned char* const other =
      std::find_if(block.bytes, block.bytes + block.size,
                   [&block](unsigned char byte) { return byte != block.filling; });
  if (other == end) return;
  c.Fail(Text("byte %ld of a block of %lu as it was written (%02x)",
              static_cast<long>(other - block.bytes), block.size, block.filling),
         Text("%02x, after other blocks were taken and written", *other));
}

/// The module keeps numbers of eight bytes at the start of its blocks; some processors fault at other addresses.
void Alignment(Case& c) {
  c.Step("taking blocks of 1 to 200 bytes");
  for (unsigned long size = 1; size <= 200; ++size) {
    void* const block = c.Kernel().Allocate(size, __FILE__, __LINE__);
    CERTIFY_REQUIRE(c, block != nullptr, Text("a block of %lu bytes", size), "null");
    CERTIFY_REQUIRE(c, reinterpret_cast<uintptr_t>(block) % 8 == 0,
                    Text("an address that 8 divides, for %lu bytes", size), Text("%p", block));
  }
}

/// Allocators of devices' own are broken at the seams: blocks of neighbouring sizes, given back in no order.
void KeepsBytes(Case& c) {
  c.Step("taking and giving back blocks of random sizes");
  std::vector<Block> blocks;
  for (int i = 0; i < 2000; ++i) {
    if (blocks.size() < 40 || c.random() % 3 != 0) {
      blocks.push_back(Take(c, 1 + c.random() % 600, static_cast<unsigned char>(1 + i % 250)));
    } else {
      const size_t which = c.random() % blocks.size();
      CheckFilling(c, blocks[which]);
      c.Kernel().Free(blocks[which].bytes, __FILE__, __LINE__);
      blocks.erase(blocks.begin() + static_cast<long>(which));
    }
  }
  for (const Block& block : blocks) CheckFilling(c, block);
}

/// Ledgers of debug builds like to copy the name.
void NullFile(Case& c) {
  c.Step("Allocate and Free with a null file name");
  void* const block = c.Kernel().Allocate(24, nullptr, 0);
  CERTIFY_REQUIRE(c, block != nullptr, "a block of 24 bytes", "null");
  c.Kernel().Free(block, nullptr, 0);
}

/// An empty text asks for nothing. Either answer is right, and what is taken afterwards is sound.
void ZeroBytes(Case& c) {
  c.Step("taking blocks of no bytes, and giving them back");
  for (int i = 0; i < 100; ++i) {
    void* const block = c.Kernel().Allocate(0, __FILE__, __LINE__);
    if (block != nullptr) c.Kernel().Free(block, __FILE__, __LINE__);
  }
  const Block after = Take(c, 32, 0x5A);
  CheckFilling(c, after);
}

/// Sizes that wrap when a header is added: the block would be tiny, and the module writes all that it asked for.
void TooMuch(Case& c) {
  c.Step("asking for more than there can be");
  // Half of a 32-bit processor's memory may be there.
  const unsigned long half = sizeof(long) > 4 ? ~0UL / 2 : ~0UL - 65536;
  for (const unsigned long size : {~0UL, half, ~0UL - 64}) {
    void* const block = c.Kernel().Allocate(size, __FILE__, __LINE__);
    CERTIFY_REQUIRE(c, block == nullptr, Text("null for %lu bytes", size), Text("%p", block));
  }
}

/// Written to its end: memory that is only promised fails here, and not in the middle of a frame.
void Large(Case& c) {
  c.Step("writing all of 16 MiB");
  const Block block = Take(c, 16UL << 20, 0xA7);
  CheckFilling(c, block);
  c.Kernel().Free(block.bytes, __FILE__, __LINE__);
}

/// Freed on another thread than taken, as the texts of windows are: a cache for each thread may give them back wrongly.
void Threads(Case& c) {
  c.Step("four threads take, write and hand on blocks");
  std::vector<Block> handed;
  std::mutex mutex;
  const auto work = [&](unsigned char filling) {
    for (int i = 0; i < 500; ++i) {
      const Block block = Take(c, 1 + static_cast<unsigned long>(i * 37 % 900), filling);
      CheckFilling(c, block);
      Block other{nullptr, 0, 0};
      {
        const std::lock_guard<std::mutex> lock(mutex);
        handed.push_back(block);
        if (handed.size() > 20) {
          other = handed.front();
          handed.erase(handed.begin());
        }
      }
      if (other.bytes == nullptr) continue;
      CheckFilling(c, other);
      c.Kernel().Free(other.bytes, __FILE__, __LINE__);
    }
  };
  CaseThread one(c, [&] { work(1); }), two(c, [&] { work(2); });
  CaseThread three(c, [&] { work(3); }), four(c, [&] { work(4); });
}

/// Six hundred megabytes in all, of which a tenth may stay.
void GivesBack(Case& c) {
  c.Step("taking and giving back 64 KiB, ten thousand times");
  const long before = ResidentBytes();
  for (int i = 0; i < 10000; ++i) {
    const Block block = Take(c, 64UL << 10, 0x11);
    c.Kernel().Free(block.bytes, __FILE__, __LINE__);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (64L << 20), "memory that Free gives back is used again",
                  Text("the process grew by %ld MiB", grown >> 20));
}

constexpr Promise kPromises[] = {
    {"kernel.memory.alignment", "Blocks are aligned to 8 bytes at least.", Level::kBasic, "",
     Alignment},
    {"kernel.memory.keeps",
     "A block keeps what was written until it is freed; blocks do not overlap.", Level::kBasic, "",
     KeepsBytes},
    {"kernel.memory.null-file", "The file name of whoever asks may be null.", Level::kContract, "",
     NullFile},
    {"kernel.memory.zero", "A block of no bytes is null, or can be freed.", Level::kContract, "",
     ZeroBytes},
    {"kernel.memory.too-much", "What cannot be had is answered with null; nothing is thrown.",
     Level::kContract, "", TooMuch},
    {"kernel.memory.large", "A block is as large as was asked for.", Level::kContract, "", Large},
    {"kernel.memory.threads", "Any thread may allocate, and free what another has allocated.",
     Level::kContract, "kernel.memory.keeps kernel.thread.runs", Threads},
    {"kernel.memory.gives-back", "What is freed can be had again.", Level::kFull, "", GivesBack},
};

}  // namespace

PromiseGroup KernelMemoryPromises() {
  return MakeGroup("Kernel: memory", "qx/core/IQXKernel.h",
                   "All memory of the module comes from here, with eight bytes of its own before "
                   "each block. An\n"
                   "allocator that aligns to less makes it read numbers at odd addresses.",
                   kPromises);
}

}  // namespace plexion_certify
