// The curve by which selectors and expressions ease.

#ifndef HOST_PLAYER_LOTTIE_TIMELINE_CUBICEASE_H_
#define HOST_PLAYER_LOTTIE_TIMELINE_CUBICEASE_H_

namespace plexion_host::movie {

/// y of the cubic curve from (0, 0) over the handles (x1, y1) and (x2, y2) to (1, 1), where it has
/// this x; 0 and 1 outside. The handles' x lie from 0 to 1, so that there is one such place.
/// Found by halving: forty steps leave less than a double can tell, and it cannot run away. Eased in
/// Values.h is the quicker one, for the keys of every frame.
inline double CubicEase(double x, double x1, double y1, double x2, double y2) {
  if (x <= 0) return 0;
  if (x >= 1) return 1;
  double low = 0;
  double high = 1;
  double t = x;
  for (int i = 0; i < 40; ++i) {
    const double s = 1 - t;
    (3 * s * s * t * x1 + 3 * s * t * t * x2 + t * t * t < x ? low : high) = t;
    t = (low + high) / 2;
  }
  const double s = 1 - t;
  return 3 * s * s * t * y1 + 3 * s * t * t * y2 + t * t * t;
}

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TIMELINE_CUBICEASE_H_
