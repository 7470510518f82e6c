// Keeps the pixels of layers with styles from frame to frame.
#include "host/player/lottie/paint/StyledGroups.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

/// Frames; what rests while something else is seen is found again.
constexpr uint32_t kForgottenAfter = 60;
/// Of layers that are watched; a movie with more of them keeps the first.
constexpr size_t kMostEntries = 256;

size_t BytesOf(const StyledGroup& group) {
  size_t bytes = 0;
  for (const StyledGroup::Part& part : group.parts) {
    bytes += part.pixels.surface.strideBytes * static_cast<size_t>(part.pixels.surface.height);
  }
  return bytes;
}

}  // namespace

void StyledGroups::Free(Entry& entry) {
  bytes_ -= BytesOf(entry.group);
  entry.group = StyledGroup();
}

void StyledGroups::BeginFrame() {
  ++frame_;
  for (size_t i = entries_.size(); i-- > 0;) {
    if (frame_ - entries_[i].used <= kForgottenAfter) continue;
    Free(entries_[i]);
    if (i + 1 < entries_.size()) entries_[i] = std::move(entries_.back());
    entries_.pop_back();
  }
}

const StyledGroup* StyledGroups::Find(const DisplayList& list, size_t at, bool& rests) {
  rests = false;
  const DrawItem& group = list[at];
  PLEXION_CHECK(group.kind == DrawItem::Kind::kGroup, "styles belong to a group");
  LookSum sum;
  for (size_t i = at; i <= group.end; ++i) sum.Add(LookOf(list[i]));
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.key == group.key; });
  if (found == entries_.end()) {
    if (entries_.size() >= kMostEntries || saves_) return nullptr;
    Entry& entry = entries_.emplace_back();
    entry.key = group.key;
    entry.look = sum.Value();
    entry.since = entry.used = frame_;
    return nullptr;
  }
  found->used = frame_;
  if (found->look != sum.Value()) {
    Free(*found);
    found->look = sum.Value();
    found->since = frame_;
    return nullptr;
  }
  if (!found->group.parts.empty()) return &found->group;
  // Painted twice in one frame is not the same as resting.
  rests = found->since != frame_;
  return nullptr;
}

const StyledGroup* StyledGroups::Keep(uint64_t key, StyledGroup& group) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [key](const Entry& entry) { return entry.key == key; });
  PLEXION_CHECK(found != entries_.end() && found->group.parts.empty(), "it rests, as Find said");
  bytes_ += BytesOf(group);
  std::swap(found->group, group);
  return &found->group;
}

void StyledGroups::SaveMemory() {
  saves_ = true;
  entries_.clear();
  bytes_ = 0;
}

}  // namespace plexion_host::movie
