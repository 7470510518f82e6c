// Measures paths that text runs along.
#include "host/player/lottie/text/PathRuler.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

constexpr int kPieces = 150;  ///< of a curve
constexpr size_t kMostVertices = 2000;

}  // namespace

void PathRuler::Add(double x, double y) {
  if (!std::isfinite(x) || !std::isfinite(y)) return;
  double distance = 0;
  if (!marks_.empty()) {
    const Point& last = marks_.back();
    const double step = std::hypot(x - last.x, y - last.y);
    // Directions are those between two marks: they must not be the same place.
    if (step == 0) return;
    distance = last.distance + step;
  }
  marks_.push_back({x, y, distance});
}

void PathRuler::Measure(const TextPath& path) {
  marks_.clear();
  closed_ = path.closed;
  const size_t count = std::min(path.points.size() / 6, kMostVertices);
  if (count < 2) return;
  const auto vertex = [&](size_t i) {
    // Backwards, what came in goes out.
    const size_t at = i % count;
    return path.points.data() + 6 * (path.reversed ? count - 1 - at : at);
  };
  const size_t out = path.reversed ? 2 : 4;
  const size_t in = path.reversed ? 4 : 2;
  Add(vertex(0)[0], vertex(0)[1]);
  for (size_t i = 0; i < (path.closed ? count : count - 1); ++i) {
    const double* from = vertex(i);
    const double* to = vertex(i + 1);
    const bool straight =
        from[out] == from[0] && from[out + 1] == from[1] && to[in] == to[0] && to[in + 1] == to[1];
    const int pieces = straight ? 1 : kPieces;
    for (int piece = 1; piece <= pieces; ++piece) {
      const double t = static_cast<double>(piece) / pieces;
      const double s = 1 - t;
      const double w[4] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
      Add(w[0] * from[0] + w[1] * from[out] + w[2] * to[in] + w[3] * to[0],
          w[0] * from[1] + w[1] * from[out + 1] + w[2] * to[in + 1] + w[3] * to[1]);
    }
  }
}

PathRuler::Mark PathRuler::At(double distance) const {
  PLEXION_CHECK(marks_.size() > 1, "a path that text runs along has a length");
  const double length = Length();
  if (closed_) distance -= std::floor(distance / length) * length;
  size_t next = static_cast<size_t>(
      std::lower_bound(marks_.begin(), marks_.end(), distance,
                       [](const Point& mark, double at) { return mark.distance < at; }) -
      marks_.begin());
  next = std::clamp<size_t>(next, 1, marks_.size() - 1);
  const Point& from = marks_[next - 1];
  const Point& to = marks_[next];
  const double step = to.distance - from.distance;
  const double x = (to.x - from.x) / step;
  const double y = (to.y - from.y) / step;
  const double along = distance - from.distance;
  return {from.x + x * along, from.y + y * along, x, y};
}

}  // namespace plexion_host::movie
