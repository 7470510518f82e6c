// Memory, and the ledger of everything that was handed out.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qx/core/Check.h"
#include "sim/kernel/SimKernel.h"
#include "sim/schedule/Sanitizers.h"

namespace plexion_sim {

namespace {

// Before and after each block. A block starts 8 bytes behind a multiple of 16, the least that the
// contract promises.
constexpr size_t kFrontGuard = 24;
constexpr size_t kBackGuard = 16;
constexpr unsigned char kGuardByte = 0xFD;
constexpr unsigned char kFreshByte = 0xCD;
constexpr unsigned char kFreedByte = 0xDD;
constexpr size_t kKeptFreedBytes = 4096;  // larger blocks are really given back at once

bool AllAre(const void* bytes, unsigned char value, size_t count) {
  const auto* at = static_cast<const unsigned char*>(bytes);
  return std::all_of(at, at + count, [value](unsigned char byte) { return byte == value; });
}

}  // namespace

SimKernel::~SimKernel() {
  for (const auto& entry : blocks_) {
    std::free(const_cast<char*>(static_cast<const char*>(entry.first)) - kFrontGuard);
  }
  for (const auto& entry : freed_) {
    std::free(const_cast<char*>(static_cast<const char*>(entry.first)) - kFrontGuard);
  }
}

void* SimKernel::Allocate(unsigned long bytes, const char* file, int line) {
  Minor("Allocate");
  if (faults_.Fails(Fallible::kAllocate)) {
    if (journal_.IsOn()) Note("Allocate", std::to_string(bytes) + " -> null");
    return nullptr;
  }
  // More than any device has, and small enough to take the guards.
  constexpr uint64_t kMostBytes = std::min(uint64_t{1} << 40, uint64_t{~0UL / 4});
  // A size that overflowed is a fault of the caller's, which null tells it as any host would.
  if (bytes > kMostBytes) return nullptr;
  auto* memory = static_cast<char*>(std::malloc(kFrontGuard + bytes + kBackGuard));
  if (memory == nullptr) return nullptr;
  char* block = memory + kFrontGuard;
  std::memset(memory, kGuardByte, kFrontGuard);
  // Not 0: whoever relies on fresh memory being empty is found out.
  std::memset(block, kFreshByte, bytes);
  std::memset(block + bytes, kGuardByte, kBackGuard);
  std::string place = current_->name;
  if (file != nullptr) place += " at " + std::string(file) + ":" + std::to_string(line);
  // Numbered, since addresses differ from run to run and a journal must not.
  blocks_[block] = {bytes, ++blockNumber_, std::move(place)};
  liveBytes_ += bytes;
  if (journal_.IsOn()) {
    Note("Allocate", std::to_string(bytes) + " -> block" + std::to_string(blockNumber_));
  }
  return block;
}

void SimKernel::Free(void* pointer, const char* file, int line) {
  Minor("Free");
  std::string where;
  if (file != nullptr) where = " at " + std::string(file) + ":" + std::to_string(line);
  const auto found = blocks_.find(pointer);
  if (found == blocks_.end()) {
    const auto before = freed_.find(pointer);
    std::string text = "Free" + where + " of ";
    if (pointer == nullptr) {
      text += "null";
    } else if (before != freed_.end()) {
      text += "block" + std::to_string(before->second.number) + ", which is free already";
    } else {
      // The nearest block is named: a pointer into the middle of one is the usual mistake.
      text += "an address that is no block";
      for (const auto& entry : blocks_) {
        const auto* start = static_cast<const char*>(entry.first);
        const auto* address = static_cast<const char*>(pointer);
        if (address >= start - kFrontGuard && address < start + entry.second.bytes + kBackGuard) {
          text += ": " + std::to_string(address - start) + " bytes from the start of block" +
                  std::to_string(entry.second.number);
        }
      }
    }
    Report(FindingKind::kMemory, text);
    return;
  }
  auto* block = static_cast<char*>(pointer);
  ModuleWrites(block, found->second.bytes);  // nobody may be using it
  CheckGuards(block, found->second);
  if (journal_.IsOn()) Note("Free", "block" + std::to_string(found->second.number));
  QX_CHECK(liveBytes_ >= found->second.bytes, "the ledger counts every block once");
  liveBytes_ -= found->second.bytes;
  if (found->second.bytes <= kKeptFreedBytes) {
    std::memset(block, kFreedByte, found->second.bytes);
    // Kept, so that a late write into it is seen and the address is not handed out again.
    freed_[pointer] = std::move(found->second);
  } else {
    std::free(block - kFrontGuard);
  }
  blocks_.erase(found);
}

void SimKernel::CheckGuards(const char* block, const MemoryBlock& entry) {
  QX_CHECK(block != nullptr, "a block has memory");
  const char* side = nullptr;
  if (!AllAre(block - kFrontGuard, kGuardByte, kFrontGuard)) side = "before its start";
  if (!AllAre(block + entry.bytes, kGuardByte, kBackGuard)) side = "behind its end";
  if (side == nullptr) return;
  Report(FindingKind::kMemory, "block" + std::to_string(entry.number) + " of " +
                                   std::to_string(entry.bytes) + " bytes (" + entry.place +
                                   ") was written " + side);
}

void SimKernel::CheckMemory() {
  for (const auto& entry : blocks_) {
    CheckGuards(static_cast<const char*>(entry.first), entry.second);
  }
  for (const auto& entry : freed_) {
    if (!AllAre(entry.first, kFreedByte, entry.second.bytes)) {
      Report(FindingKind::kMemory, "block" + std::to_string(entry.second.number) + " of " +
                                       std::to_string(entry.second.bytes) + " bytes (" +
                                       entry.second.place + ") was written after it was freed");
    }
  }
}

void SimKernel::AllowLeak(const std::string& why, unsigned long bytes, unsigned count) {
  QX_CHECK(!why.empty() && count > 0, "a reason, and a number that there may be");
  allowedLeaks_.push_back({why, bytes, count});
}

std::vector<std::string> SimKernel::Leaks() const {
  std::vector<std::string> leaks;
  std::vector<const MemoryBlock*> blocks;
  for (const auto& entry : blocks_) blocks.push_back(&entry.second);
  std::sort(blocks.begin(), blocks.end(), [](const MemoryBlock* left, const MemoryBlock* right) {
    return left->number < right->number;
  });
  std::vector<AllowedLeak> allowed = allowedLeaks_;
  for (const MemoryBlock* block : blocks) {
    const auto rule =
        std::find_if(allowed.begin(), allowed.end(),
                     [block](const AllowedLeak& leak) { return leak.bytes == block->bytes; });
    std::string more;
    if (rule != allowed.end()) {
      // Each block that is allowed to stay uses its rule up by one.
      if (rule->count > 0) {
        --rule->count;
        continue;
      }
      more = ", more of '" + rule->why + "' than allowed";
    }
    leaks.push_back("block" + std::to_string(block->number) + " of " +
                    std::to_string(block->bytes) + " bytes, asked for by " + block->place + more);
  }
  for (const auto& mutex : mutexes_) {
    if (!mutex->destroyed_) leaks.push_back(mutex->name_ + ", made by " + mutex->creator_);
  }
  for (const auto& event : events_) {
    if (!event->destroyed_) leaks.push_back(event->name_ + ", made by " + event->creator_);
  }
  for (const auto& thread : threads_) {
    if (!thread->destroyed_) leaks.push_back(thread->name_ + ", made by " + thread->creator_);
  }
  for (const auto& module : modules_) {
    if (module.second.references > 0) {
      leaks.push_back("module " + module.first + ", acquired " +
                      std::to_string(module.second.references) + " times more than released");
    }
  }
  return leaks;
}

unsigned SimKernel::LiveMutexes() const {
  return static_cast<unsigned>(std::count_if(mutexes_.begin(), mutexes_.end(),
                                             [](const auto& mutex) { return !mutex->destroyed_; }));
}

unsigned SimKernel::LiveEvents() const {
  return static_cast<unsigned>(std::count_if(events_.begin(), events_.end(),
                                             [](const auto& event) { return !event->destroyed_; }));
}

unsigned SimKernel::LiveThreads() const {
  return static_cast<unsigned>(std::count_if(
      threads_.begin(), threads_.end(), [](const auto& thread) { return !thread->destroyed_; }));
}

}  // namespace plexion_sim
