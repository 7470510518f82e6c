// What of two display lists differs, and what of one is hidden.

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "host/player/application/paint/DisplayList.h"
#include "host/player/application/paint/Extents.h"

namespace plexion_host::player::application {

namespace {

bool SameMatrix(const cairo_matrix_t& a, const cairo_matrix_t& b) {
  return a.xx == b.xx && a.yx == b.yx && a.xy == b.xy && a.yy == b.yy && a.x0 == b.x0 &&
         a.y0 == b.y0;
}

bool LooksTheSame(const DisplayItem& a, const DisplayItem& b) {
  return a.revision == b.revision && a.seenOpacity == b.seenOpacity &&
         SameRectangle(a.clip.box, b.clip.box) && a.clip.rounding == b.clip.rounding &&
         SameMatrix(a.matrix, b.matrix);
}

bool IsOpaque(const Colour& colour) { return !colour.none && colour.alpha == 255; }

/// All of the pixels inside of it are its own colour.
bool Covers(const DisplayItem& item, const Rectangle& part) {
  const Element& element = *item.element;
  if (element.kind != ElementKind::kRectangle || element.radius > 0 || item.opacity < 1 ||
      item.seenOpacity < 1 || !IsOpaque(element.fill) ||
      (!element.fillEnd.none && !IsOpaque(element.fillEnd)) || item.matrix.xy != 0 ||
      item.matrix.yx != 0) {
    return false;
  }
  const Rectangle inside = Extents::Of({0, 0, element.width, element.height}, item.matrix).Inside();
  return SameRectangle(Intersection(inside, part), part) &&
         SameRectangle(Intersection(item.bounds, part), part);
}

}  // namespace

std::optional<size_t> FirstSeen(const DisplayList& list, const cairo_rectangle_int_t& part) {
  std::optional<size_t> first;
  // Beside the stage nothing covers the ground, however far it reaches.
  if (!SameRectangle(Intersection(list.stage, part), part)) return first;
  for (size_t i = 0; i < list.items.size(); ++i) {
    const DisplayItem& item = list.items[i];
    // What is clipped, merged or blurred covers less than it says.
    if (item.end != 0) {
      i = item.end;
    } else if (item.kind == DisplayItem::Kind::kElement && Covers(item, part)) {
      first = i;
    }
  }
  return first;
}

void AddDifference(const DisplayList& before, const DisplayList& after, cairo_region_t* region) {
  std::unordered_map<uint32_t, size_t> places;
  for (size_t i = 0; i < before.items.size(); ++i) {
    if (before.items[i].kind == DisplayItem::Kind::kElement) places[before.items[i].handle] = i;
  }
  size_t farthest = 0;
  for (const DisplayItem& now : after.items) {
    if (now.kind != DisplayItem::Kind::kElement) continue;
    const auto found = places.find(now.handle);
    if (found == places.end()) {
      cairo_region_union_rectangle(region, &now.bounds);
      continue;
    }
    const DisplayItem& then = before.items[found->second];
    // Whatever now stands behind an element that it stood before.
    const bool overtaken = found->second < farthest;
    farthest = std::max(farthest, found->second);
    places.erase(found);
    if (!overtaken && LooksTheSame(now, then)) continue;
    cairo_region_union_rectangle(region, &then.bounds);
    cairo_region_union_rectangle(region, &now.bounds);
  }
  // The picture of a group that moved is laid on whole pixels; what stands is painted where it is.
  std::unordered_set<uint32_t> kept;
  for (const DisplayItem& now : after.items) {
    if (now.effect.isKept) kept.insert(now.handle);
  }
  for (const DisplayItem& then : before.items) {
    if (!then.effect.isKept || kept.count(then.handle) != 0) continue;
    cairo_region_union_rectangle(region, &then.bounds);
  }
  for (const auto& gone : places) {
    cairo_region_union_rectangle(region, &before.items[gone.second].bounds);
  }
}

}  // namespace plexion_host::player::application
