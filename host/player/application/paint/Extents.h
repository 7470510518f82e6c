// Boxes on the plane, and the whole pixels that they touch, cover or hold.

#ifndef HOST_PLAYER_APPLICATION_PAINT_EXTENTS_H_
#define HOST_PLAYER_APPLICATION_PAINT_EXTENTS_H_

#include <cairo.h>
#include <math.h>

#include <algorithm>

#include "host/player/application/paint/DisplayList.h"

namespace plexion_host::player::application {

using Rectangle = cairo_rectangle_int_t;

/// Without pixels in common all of it is zero.
inline Rectangle Intersection(const Rectangle& a, const Rectangle& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  if (right <= left || bottom <= top) return {0, 0, 0, 0};
  return {left, top, right - left, bottom - top};
}

/// The smallest around both; one without a width counts for nothing.
inline Rectangle Union(const Rectangle& a, const Rectangle& b) {
  if (a.width == 0) return b;
  if (b.width == 0) return a;
  const int left = std::min(a.x, b.x);
  const int top = std::min(a.y, b.y);
  return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
          std::max(a.y + a.height, b.y + b.height) - top};
}

/// A box on the plane, before it is cut to whole pixels of the plane.
struct Extents {
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;

  static Extents Of(const Box& box, const cairo_matrix_t& matrix) {
    Extents extents;
    for (int corner = 0; corner < 4; ++corner) {
      double x = box.x + ((corner & 1) != 0 ? box.width : 0);
      double y = box.y + ((corner & 2) != 0 ? box.height : 0);
      cairo_matrix_transform_point(&matrix, &x, &y);
      extents.left = std::min(extents.left, x);
      extents.right = std::max(extents.right, x);
      extents.top = std::min(extents.top, y);
      extents.bottom = std::max(extents.bottom, y);
    }
    return extents;
  }

  double Side() const { return std::max(right - left, bottom - top); }

  /// Those that it may touch.
  Rectangle Pixels() const { return Grown(kMargin); }
  /// Of a clip, which has no stroke: no pixel beyond these. What a matrix adds by rounding is none.
  Rectangle Covered() const { return Grown(-kRounding); }

  /// Those that lie wholly in it.
  Rectangle Inside() const {
    const int x = Pixel(ceil(left - kRounding));
    const int y = Pixel(ceil(top - kRounding));
    const int width = Pixel(floor(right + kRounding)) - x;
    const int height = Pixel(floor(bottom + kRounding)) - y;
    if (width <= 0 || height <= 0) return {0, 0, 0, 0};
    return {x, y, width, height};
  }

 private:
  /// Edges are smoothed over the pixels beside them.
  static constexpr double kMargin = 1.5;
  static constexpr double kRounding = 1e-6;

  /// What is far outside of any plane must not leave the range of whole numbers.
  static int Pixel(double value) {
    return static_cast<int>(std::clamp(value, -kLargestSeen, kLargestSeen));
  }
  Rectangle Grown(double by) const {
    const int x = Pixel(floor(left - by));
    const int y = Pixel(floor(top - by));
    return {x, y, Pixel(ceil(right + by)) - x, Pixel(ceil(bottom + by)) - y};
  }
};

inline bool SameRectangle(const Rectangle& a, const Rectangle& b) {
  return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_EXTENTS_H_
