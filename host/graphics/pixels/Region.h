// Sets of pixels as rectangles that do not overlap.

#ifndef HOST_GRAPHICS_PIXELS_REGION_H_
#define HOST_GRAPHICS_PIXELS_REGION_H_

#include <pixman.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// A rectangle by its edges, right and bottom excluded; empty when they do not lie behind left and
/// top. Signed: a plane may stand partly left of or above the screen.
using Box = pixman_box32_t;

inline bool IsEmpty(const Box& box) { return box.x1 >= box.x2 || box.y1 >= box.y2; }

/// `rect` (its position may be negative in two's complement) moved by (dx, dy), and cut to a plane
/// or screen of `bounds` pixels. Never overflows.
Box ClipRect(const qx::plexion::Rect& rect, int64_t dx, int64_t dy,
             const qx::plexion::Dims& bounds);

/// A set of pixels as rectangles that do not overlap. A value type.
class Region {
 public:
  Region() { pixman_region32_init(&region_); }
  explicit Region(const Box& box);
  Region(const Region& other);
  Region(Region&& other) noexcept;
  Region& operator=(const Region& other);
  Region& operator=(Region&& other) noexcept;
  ~Region() { pixman_region32_fini(&region_); }

  bool Empty() const { return pixman_region32_not_empty(&region_) == 0; }
  void Clear();
  void Add(const Box& box);
  void Add(const Region& other);
  void Subtract(const Region& other);
  void Intersect(const Region& other);

  /// More than `limit` rectangles are replaced by the one that holds them all: beyond a few,
  /// walking a list costs more than the pixels that it saves.
  void Simplify(size_t limit);

  const Box* begin() const;
  const Box* end() const;
  size_t Count() const { return static_cast<size_t>(end() - begin()); }
  std::vector<qx::plexion::Rect> ToRects() const;

 private:
  // The library's read-only operations take the region without const.
  mutable pixman_region32_t region_;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_REGION_H_
