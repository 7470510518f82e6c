#ifndef QX_PLEXION_GEOMETRY_H_
#define QX_PLEXION_GEOMETRY_H_

#include <stdint.h>

namespace qx {
namespace plexion {

/// Pixels, origin at the top left of the screen or plane that the text at hand names. A negative
/// position is kept as its two's-complement pattern.
struct Dims {
  uint32_t width;
  uint32_t height;
};

struct Point {
  uint32_t x;
  uint32_t y;
};

struct Rect {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_GEOMETRY_H_
