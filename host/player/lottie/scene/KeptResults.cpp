// Keeps what expressions gave, for those that read them again.
#include "host/player/lottie/scene/KeptResults.h"

#include <string.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

bool Same(const Outline& one, const Outline& other) {
  return one.closed == other.closed && one.vertices.size() == other.vertices.size() &&
         (one.vertices.empty() || memcmp(one.vertices.data(), other.vertices.data(),
                                         one.vertices.size() * sizeof(Vertex)) == 0);
}

}  // namespace

size_t KeptResults::Bytes() const {
  size_t bytes = numbers_.size() * sizeof(Numbers) + paths_.size() * sizeof(Path);
  for (const Path& path : paths_) {
    bytes += (path.keyed.vertices.capacity() + path.outline.vertices.capacity()) * sizeof(Vertex);
  }
  return bytes;
}

size_t KeptResults::PlaceOf(const Key& key) {
  // Addresses differ in their middle bits.
  const uint64_t mixed = (reinterpret_cast<uintptr_t>(key.property) >> 3) * 0x9E3779B97F4A7C15u ^
                         (reinterpret_cast<uintptr_t>(key.owner) >> 3) * 0xC2B2AE3D27D4EB4Fu;
  return static_cast<size_t>(mixed >> 40);
}

bool KeptResults::Serves(const Entry& entry, const Key& key) const {
  if (entry.key.property != key.property || entry.key.owner != key.owner) return false;
  if (entry.frame == frame_ && entry.key.time == key.time && entry.key.now == key.now) return true;
  // How long something holds is told around the composition's own time.
  return key.time == key.now && entry.key.time == entry.key.now &&
         entry.holds.Holds(entry.key.time) && entry.holds.Holds(key.time);
}

bool KeptResults::Find(const Key& key, float* values, uint32_t count, Constancy& holds) const {
  if (count > kMostNumbers) return false;
  const Numbers& entry = numbers_[PlaceOf(key) % kNumbers];
  if (!Serves(entry, key) || !std::equal(values, values + count, entry.keyed.begin())) return false;
  std::copy_n(entry.values.begin(), count, values);
  holds = entry.holds;
  return true;
}

void KeptResults::Keep(const Key& key, const float* keyed, const float* values, uint32_t count,
                       const Constancy& holds) {
  PLEXION_CHECK(key.property != nullptr, "a result is some property's");
  if (count > kMostNumbers) return;
  Numbers& entry = numbers_[PlaceOf(key) % kNumbers];
  static_cast<Entry&>(entry) = Made(key, holds);
  std::copy_n(keyed, count, entry.keyed.begin());
  std::copy_n(values, count, entry.values.begin());
}

bool KeptResults::Find(const Key& key, Outline& outline, Constancy& holds) const {
  const Path& entry = paths_[PlaceOf(key) % kPaths];
  if (!Serves(entry, key) || !Same(outline, entry.keyed)) return false;
  outline = entry.outline;
  holds = entry.holds;
  return true;
}

void KeptResults::Keep(const Key& key, const Outline& keyed, const Outline& outline,
                       const Constancy& holds) {
  PLEXION_CHECK(key.property != nullptr, "a result is some property's");
  if (std::max(keyed.vertices.size(), outline.vertices.size()) > kMostVertices) return;
  Path& entry = paths_[PlaceOf(key) % kPaths];
  static_cast<Entry&>(entry) = Entry();  // should memory fail, there is nothing half done
  entry.keyed = keyed;
  entry.outline = outline;
  static_cast<Entry&>(entry) = Made(key, holds);
}

}  // namespace plexion_host::movie
