// Sets of pixels, on pixman's regions.

#include "host/graphics/pixels/Region.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host {

Box ClipRect(const qx::plexion::Rect& rect, int64_t dx, int64_t dy,
             const qx::plexion::Dims& bounds) {
  // In 64 bits: 32 of a position and 32 of a size do not overflow.
  const int64_t left = static_cast<int32_t>(rect.x) + dx;
  const int64_t top = static_cast<int32_t>(rect.y) + dy;
  const auto cut = [](int64_t value, uint32_t limit) {
    return static_cast<int32_t>(std::clamp<int64_t>(value, 0, limit));
  };
  Box box;
  box.x1 = cut(left, bounds.width);
  box.y1 = cut(top, bounds.height);
  box.x2 = cut(left + rect.width, bounds.width);
  box.y2 = cut(top + rect.height, bounds.height);
  return box;
}

Region::Region(const Box& box) {
  pixman_region32_init(&region_);
  Add(box);
}

Region::Region(const Region& other) {
  pixman_region32_init(&region_);
  pixman_region32_copy(&region_, &other.region_);
}

Region::Region(Region&& other) noexcept : region_(other.region_) {
  pixman_region32_init(&other.region_);
}

Region& Region::operator=(const Region& other) {
  if (this != &other) pixman_region32_copy(&region_, &other.region_);
  return *this;
}

Region& Region::operator=(Region&& other) noexcept {
  std::swap(region_, other.region_);
  return *this;
}

void Region::Clear() {
  pixman_region32_fini(&region_);
  pixman_region32_init(&region_);
}

void Region::Add(const Box& box) {
  if (IsEmpty(box)) return;
  pixman_region32_union_rect(&region_, &region_, box.x1, box.y1,
                             static_cast<unsigned>(box.x2 - box.x1),
                             static_cast<unsigned>(box.y2 - box.y1));
}

void Region::Add(const Region& other) { pixman_region32_union(&region_, &region_, &other.region_); }

void Region::Subtract(const Region& other) {
  pixman_region32_subtract(&region_, &region_, &other.region_);
}

void Region::Intersect(const Region& other) {
  pixman_region32_intersect(&region_, &region_, &other.region_);
}

void Region::Simplify(size_t limit) {
  if (Count() <= limit) return;
  PLEXION_CHECK(limit > 0, "at least one rectangle can be kept");
  const Box all = *pixman_region32_extents(&region_);
  Clear();
  Add(all);
}

const Box* Region::begin() const {
  int count = 0;
  return pixman_region32_rectangles(&region_, &count);
}

const Box* Region::end() const {
  int count = 0;
  const Box* boxes = pixman_region32_rectangles(&region_, &count);
  return boxes + count;
}

std::vector<qx::plexion::Rect> Region::ToRects() const {
  std::vector<qx::plexion::Rect> rects;
  rects.reserve(Count());
  for (const Box& box : *this) {
    rects.push_back({static_cast<uint32_t>(box.x1), static_cast<uint32_t>(box.y1),
                     static_cast<uint32_t>(box.x2 - box.x1),
                     static_cast<uint32_t>(box.y2 - box.y1)});
  }
  return rects;
}

}  // namespace plexion_host
