// Length and parts of a cubic curve.
#include "host/player/lottie/shapes/Curve.h"

namespace plexion_host::movie {

namespace {

// Gauss-Legendre, eight points.
constexpr double kNodes[] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267,
                             0.9602898564975363};
constexpr double kWeights[] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                               0.1012285362903763};

double LengthBetween(const Curve& curve, double from, double to) {
  const double half = (to - from) / 2;
  const double middle = (to + from) / 2;
  double sum = 0;
  for (int i = 0; i < 4; ++i) {
    const Dot before = curve.Slope(middle - half * kNodes[i]);
    const Dot after = curve.Slope(middle + half * kNodes[i]);
    sum += kWeights[i] * (hypot(before.x, before.y) + hypot(after.x, after.y));
  }
  return sum * half;
}

}  // namespace

double Curve::Length() const {
  if (Straight()) return Distance(points[0], points[3]);
  // Each quarter by itself: one rule over a sharp bend would be wrong by percents.
  double length = 0;
  for (int i = 0; i < 4; ++i) length += LengthBetween(*this, i / 4.0, (i + 1) / 4.0);
  return length;
}

double Curve::ParameterAt(double share) const {
  if (share <= 0) return 0;
  if (share >= 1) return 1;
  // A table of lengths: speed along a curve varies too much for one step.
  constexpr int kSteps = 32;
  double lengths[kSteps + 1] = {};
  Dot last = points[0];
  for (int i = 1; i <= kSteps; ++i) {
    const double from = double(i - 1) / kSteps;
    const double to = double(i) / kSteps;
    const Dot at = At(to);
    lengths[i] =
        lengths[i - 1] + (Straight() ? Distance(last, at) : LengthBetween(*this, from, to));
    last = at;
  }
  const double wanted = share * lengths[kSteps];
  int step = 0;
  while (step < kSteps - 1 && lengths[step + 1] <= wanted) ++step;
  const double length = lengths[step + 1] - lengths[step];
  double part = length > 0 ? (wanted - lengths[step]) / length : 0;
  double t = (step + part) / kSteps;
  // One step of Newton's, since speed varies inside of a piece as well.
  const Dot slope = Slope(t);
  const double speed = hypot(slope.x, slope.y);
  if (speed > 1e-9) {
    const double here = lengths[step] + LengthBetween(*this, double(step) / kSteps, t);
    const double better = t + (wanted - here) / speed;
    if (better > 0 && better < 1) t = better;
  }
  return t;
}

Curve Curve::Part(double from, double to) const {
  auto split = [](const Curve& curve, double t, Curve& left, Curve& right) {
    const Dot* p = curve.points;
    const Dot a = Between(p[0], p[1], t), b = Between(p[1], p[2], t), c = Between(p[2], p[3], t);
    const Dot d = Between(a, b, t), e = Between(b, c, t);
    const Dot middle = Between(d, e, t);
    left = {{p[0], a, d, middle}};
    right = {{middle, e, c, p[3]}};
  };
  Curve left, right, part = *this;
  if (to < 1) {
    split(part, to, left, right);
    part = left;
  }
  if (from > 0) {
    split(part, to > 0 ? from / to : 0, left, right);
    part = right;
  }
  return part;
}

}  // namespace plexion_host::movie
