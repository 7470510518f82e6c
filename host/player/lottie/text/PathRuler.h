// Places along a path by their distance from its beginning.

#ifndef HOST_PLAYER_LOTTIE_TEXT_PATHRULER_H_
#define HOST_PLAYER_LOTTIE_TEXT_PATHRULER_H_

#include <vector>

#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {

class PathRuler {
 public:
  struct Mark {
    double x = 0, y = 0;
    double directionX = 1, directionY = 0;  ///< of length 1
  };

  void Measure(const TextPath& path);
  double Length() const { return marks_.empty() ? 0 : marks_.back().distance; }
  /// Outside of an open path it goes straight on; a closed one is gone around again. Length is not 0.
  Mark At(double distance) const;

 private:
  struct Point {
    double x, y, distance;
  };
  void Add(double x, double y);

  std::vector<Point> marks_;
  bool closed_ = false;
};

/// Calls `use(x, y)` with points all along an outline, close enough together for a box around it.
template <typename Use>
void ForEachPoint(const GlyphOutline& outline, const Use& use) {
  constexpr int kPieces = 12;
  const double* at = outline.points.data();
  const double* from = at;
  for (const GlyphOutline::Verb verb : outline.verbs) {
    if (verb == GlyphOutline::kClose) continue;
    const bool curve = verb == GlyphOutline::kCubic;
    for (int i = 1; curve && i < kPieces; ++i) {
      const double t = static_cast<double>(i) / kPieces;
      const double s = 1 - t;
      const double w[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
      use(w[0] * from[0] + w[1] * at[0] + w[2] * at[2] + w[3] * at[4],
          w[0] * from[1] + w[1] * at[1] + w[2] * at[3] + w[3] * at[5]);
    }
    if (curve) at += 4;
    use(at[0], at[1]);
    from = at;
    at += 2;
  }
}

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TEXT_PATHRULER_H_
