// What shapes at rest cover, from frame to frame.
#include "host/player/lottie/paint/CoverCache.h"

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

constexpr size_t kSmallest = 64;
/// What of the window's memory is left alone.
constexpr size_t kSpare = 8u << 20;

}  // namespace

CoverCache::~CoverCache() {
  for (Entry& entry : table_) Free(entry);
}

void CoverCache::Free(Entry& entry) {
  player::FreeWatched(entry.memory);
  bytes_ -= entry.bytes;
  entry.memory = nullptr;
  entry.bytes = 0;
  entry.cover = {};
}

CoverCache::Entry& CoverCache::Place(std::vector<Entry>& table, uint64_t key) {
  PLEXION_CHECK(!table.empty() && (table.size() & (table.size() - 1)) == 0,
                "the table's size is a power of two");
  size_t at = key & (table.size() - 1);
  while (table[at].taken && table[at].key != key) at = (at + 1) & (table.size() - 1);
  return table[at];
}

/// Leaves out what has not been asked for in a while.
void CoverCache::Rebuild(size_t size) {
  spare_.assign(size, Entry());
  size_t taken = 0;
  for (Entry& entry : table_) {
    if (!entry.taken) continue;
    if (frame_ - entry.used > kForgottenAfter) {
      Free(entry);
    } else {
      Place(spare_, entry.key) = entry;
      ++taken;
    }
  }
  table_.swap(spare_);
  spare_.assign(size, Entry());  // the next one of this size allocates nothing
  taken_ = taken;
}

void CoverCache::BeginFrame() {
  ++frame_;
  if (frame_ % kForgottenAfter == 0 && !table_.empty()) Rebuild(table_.size());
}

const KeptCover* CoverCache::Find(uint64_t key, uint64_t look, bool& rests) {
  rests = false;
  // Room for one more, so that looking for what is not there ends soon.
  if (table_.size() < (taken_ + 1) * 2) Rebuild(table_.empty() ? kSmallest : table_.size() * 2);
  Entry& entry = Place(table_, key);
  if (!entry.taken || entry.look != look) {
    taken_ += entry.taken ? 0 : 1;
    Free(entry);
    entry = Entry();
    entry.taken = true;
    entry.key = key;
    entry.look = look;
    entry.since = frame_;
  }
  entry.used = frame_;
  if (entry.memory != nullptr) return &entry.cover;
  rests = entry.since != frame_ && !entry.tried;
  return nullptr;
}

const KeptCover* CoverCache::Keep(uint64_t key, const CoverRecorder& recorder) {
  Entry& entry = Place(table_, key);
  PLEXION_CHECK(entry.taken && entry.memory == nullptr && !entry.tried, "Find asked for it");
  entry.tried = true;
  const size_t bytes = recorder.Bytes();
  if (!recorder.Whole() || bytes == 0 || bytes_ + bytes > most_) return nullptr;
  if (watchdog_ != nullptr && watchdog_->GetBytesAvailable() < kSpare + bytes) return nullptr;
  entry.memory = player::AllocateWatched(watchdog_, bytes);
  if (entry.memory == nullptr) return nullptr;
  entry.bytes = bytes;
  bytes_ += bytes;
  entry.cover = recorder.CopyTo(entry.memory);
  return &entry.cover;
}

void CoverCache::SaveMemory() {
  most_ = kMostBytes / 4;
  for (Entry& entry : table_) {
    Free(entry);
    // What rests and is small enough comes back.
    entry.tried = false;
  }
}

}  // namespace plexion_host::movie
