// What differs between two moments.
#include "host/player/lottie/paint/DisplayList.h"

#include <math.h>

#include "host/base/Check.h"

namespace plexion_host::movie {

IntRect CoverOf(float left, float top, float right, float bottom, const Matrix& m, double margin) {
  const double xs[4] = {m.a * left + m.c * top, m.a * right + m.c * top, m.a * left + m.c * bottom,
                        m.a * right + m.c * bottom};
  const double ys[4] = {m.b * left + m.d * top, m.b * right + m.d * top, m.b * left + m.d * bottom,
                        m.b * right + m.d * bottom};
  const double x0 = *std::min_element(xs, xs + 4) + m.e - margin;
  const double x1 = *std::max_element(xs, xs + 4) + m.e + margin;
  const double y0 = *std::min_element(ys, ys + 4) + m.f - margin;
  const double y1 = *std::max_element(ys, ys + 4) + m.f + margin;
  if (!(std::isfinite(x0) && std::isfinite(x1) && std::isfinite(y0) && std::isfinite(y1))) {
    return {};
  }
  auto whole = [](double value) { return static_cast<int>(std::clamp(value, -1e8, 1e8)); };
  return {whole(floor(x0)), whole(floor(y0)), whole(ceil(x1)), whole(ceil(y1))};
}

uint64_t LookOf(const DrawItem& item) {
  LookSum sum;
  sum.Add(item.kind);
  sum.Add(item.key);
  sum.Add(item.look);
  sum.Add(item.bounds);
  sum.Add(item.end);
  sum.Add(item.matteAt);
  return sum.Value();
}

void Damage::Add(const IntRect& rect) {
  if (rect.IsEmpty()) return;
  IntRect grown = rect;
  // Joins what lies close together: two small pictures cost more than one that is little larger.
  for (int i = 0; i < count_;) {
    const IntRect joined = grown.Join(rects_[i]);
    if (AreaOf(joined) * 4 <= (AreaOf(grown) + AreaOf(rects_[i])) * 5) {
      grown = joined;
      rects_[i] = rects_[--count_];
      i = 0;
    } else {
      ++i;
    }
  }
  PLEXION_CHECK(count_ <= kMostRects, "there is room for one more");
  rects_[count_++] = grown;
  if (count_ <= kMostRects) return;
  int first = 0;
  int second = 1;
  int64_t least = INT64_MAX;
  for (int i = 0; i < count_; ++i) {
    for (int j = i + 1; j < count_; ++j) {
      const int64_t more =
          AreaOf(rects_[i].Join(rects_[j])) - AreaOf(rects_[i]) - AreaOf(rects_[j]);
      if (more >= least) continue;
      least = more;
      first = i;
      second = j;
    }
  }
  const IntRect joined = rects_[first].Join(rects_[second]);
  rects_[second] = rects_[--count_];
  rects_[first] = rects_[--count_];
  Add(joined);
}

IntRect Damage::All() const {
  IntRect all;
  for (int i = 0; i < count_; ++i) all = all.Join(rects_[i]);
  return all;
}

void ListComparison::Index(const DisplayList& list) {
  size_t size = 64;
  // Half empty at least, so that looking for what is not there ends soon.
  while (size < list.size() * 2) size *= 2;
  table_.assign(size, Entry{});
  for (const DrawItem& item : list) {
    if (item.kind == DrawItem::Kind::kEnd) continue;
    size_t at = item.key & (size - 1);
    while (table_[at].used) at = (at + 1) & (size - 1);
    table_[at] = {item.key, item.look, item.bounds, true};
  }
}

const ListComparison::Entry* ListComparison::Find(uint64_t key) const {
  PLEXION_CHECK(!table_.empty() && (table_.size() & (table_.size() - 1)) == 0,
                "the table is indexed, its size a power of two");
  size_t at = key & (table_.size() - 1);
  for (; table_[at].used; at = (at + 1) & (table_.size() - 1)) {
    if (table_[at].key == key) return &table_[at];
  }
  return nullptr;
}

/// Damages what `list` shows and the indexed list shows otherwise or not at all.
void ListComparison::AddMissing(const DisplayList& list, Damage& damage) {
  groups_.clear();
  for (uint32_t i = 0; i < list.size(); ++i) {
    const DrawItem& item = list[i];
    while (!groups_.empty() && list[groups_.back()].end < i) groups_.pop_back();
    if (item.kind == DrawItem::Kind::kEnd) continue;
    const Entry* other = Find(item.key);
    // A group grows and shrinks with what is in it, which speaks for itself.
    const bool group = item.kind == DrawItem::Kind::kGroup || item.kind == DrawItem::Kind::kMatte;
    if (other == nullptr || other->look != item.look ||
        !(group || Same(other->bounds, item.bounds))) {
      IntRect rect = item.bounds;
      for (size_t j = groups_.size(); j-- > 0;) {
        const DrawItem& around = list[groups_[j]];
        rect = around.spreads ? around.bounds : rect.Cut(around.bounds);
      }
      damage.Add(rect);
    }
    if (item.kind == DrawItem::Kind::kGroup) groups_.push_back(i);
  }
}

void ListComparison::Compare(const DisplayList& before, const DisplayList& after, Damage& damage) {
  Index(before);
  AddMissing(after, damage);
  Index(after);
  AddMissing(before, damage);
}

}  // namespace plexion_host::movie
