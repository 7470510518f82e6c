// Grants of a mebibyte and more.

#include "host/player/remote/MemoryGrants.h"

#include <algorithm>

namespace plexion_host::player::remote {

namespace {

/// Large enough for the system to hand out untouched pages, small enough for any limit.
constexpr uint64_t kGrant = uint64_t{1} << 20;
constexpr uint64_t kMostBlock = 0x7FFFFFFF;  // the watchdog counts in 32 bits

}  // namespace

bool MemoryGrants::SetUsed(uint64_t bytes) {
  if (watchdog_ == nullptr) return true;
  const MutexLock lock(mutex_);
  // A grant more than that stays, so that what comes and goes does not come and go here.
  while (!blocks_.empty() && granted_ - blocks_.back().bytes >= bytes + kGrant) {
    watchdog_->Free(blocks_.back().memory, __FILE__, __LINE__);
    granted_ -= blocks_.back().bytes;
    blocks_.pop_back();
  }
  if (bytes == 0) {
    for (const Block& block : blocks_) watchdog_->Free(block.memory, __FILE__, __LINE__);
    blocks_.clear();
    granted_ = 0;
  }
  while (granted_ < bytes) {
    // In steps of a mebibyte: a watchdog's block for each page that comes and goes would cost more
    // than the content's drawing.
    const uint64_t missing = (bytes - granted_ + kGrant - 1) / kGrant * kGrant;
    const uint64_t size = std::min(missing, kMostBlock);
    void* const memory = watchdog_->Alloc(static_cast<unsigned long>(size), __FILE__, __LINE__);
    if (memory == nullptr) return false;
    blocks_.push_back({memory, size});
    granted_ += size;
  }
  return true;
}

void MemoryGrants::Refuse(uint64_t bytes) {
  // The process was refused by its own count. The account here says it to the window in the words
  // that a player in the launcher would have used.
  if (watchdog_ == nullptr) return;
  void* const memory =
      watchdog_->Alloc(static_cast<unsigned long>(std::min(bytes, kMostBlock)), __FILE__, __LINE__);
  // There is room after all: the account is not as full as the process took it to be.
  if (memory != nullptr) watchdog_->Free(memory, __FILE__, __LINE__);
}

}  // namespace plexion_host::player::remote
