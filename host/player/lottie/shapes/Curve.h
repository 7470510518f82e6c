#ifndef HOST_PLAYER_LOTTIE_SHAPES_CURVE_H_
#define HOST_PLAYER_LOTTIE_SHAPES_CURVE_H_

#include <math.h>

#include "host/player/lottie/timeline/Outline.h"

namespace plexion_host::movie {

struct Dot {
  double x = 0, y = 0;
};

inline Dot Between(const Dot& a, const Dot& b, double share) {
  return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}
inline double Distance(const Dot& a, const Dot& b) { return hypot(a.x - b.x, a.y - b.y); }

/// One cubic curve of a contour.
struct Curve {
  Dot points[4];

  /// From a corner to the next one.
  static Curve Of(const Vertex& from, const Vertex& to) {
    return {{{from.x, from.y}, {from.outX, from.outY}, {to.inX, to.inY}, {to.x, to.y}}};
  }

  Dot At(double t) const {
    const double u = 1 - t;
    const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    return {a * points[0].x + b * points[1].x + c * points[2].x + d * points[3].x,
            a * points[0].y + b * points[1].y + c * points[2].y + d * points[3].y};
  }
  Dot Slope(double t) const {
    const double u = 1 - t;
    const double a = 3 * u * u, b = 6 * u * t, c = 3 * t * t;
    return {a * (points[1].x - points[0].x) + b * (points[2].x - points[1].x) +
                c * (points[3].x - points[2].x),
            a * (points[1].y - points[0].y) + b * (points[2].y - points[1].y) +
                c * (points[3].y - points[2].y)};
  }
  bool Straight() const {
    return points[0].x == points[1].x && points[0].y == points[1].y && points[2].x == points[3].x &&
           points[2].y == points[3].y;
  }

  double Length() const;
  /// The parameter at which a share of the length is behind.
  double ParameterAt(double share) const;
  /// What lies between two parameters.
  Curve Part(double from, double to) const;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_CURVE_H_
