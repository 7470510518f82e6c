// Offset paths: each curve moved sideways, the gaps joined, the crossings cut.
#include <math.h>

#include <algorithm>
#include <vector>

#include "host/base/Check.h"
#include "host/player/lottie/shapes/Curve.h"
#include "host/player/lottie/shapes/Figures.h"
#include "host/player/lottie/shapes/Modifiers.h"
#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

// Compared by their size, since paths come in pixels and in thousandths. This, and the steps below,
// follow lottie-web's reckoning, so that corners fall where authors saw them.
bool Alike(double a, double b) { return fabs(a - b) * 100000 <= std::min(fabs(a), fabs(b)); }
bool Alike(const Dot& a, const Dot& b) { return Alike(a.x, b.x) && Alike(a.y, b.y); }
bool NearZero(double value) { return fabs(value) <= 0.00001; }

// y points down, angles go counter-clockwise.
Dot Polar(const Dot& from, double angle, double length) {
  return {from.x + cos(angle) * length, from.y - sin(angle) * length};
}

// By homogeneous coordinates: a line is the cross product of two of its points, their common point
// that of two lines. Parallel ones have none.
bool Cross(const Dot& a1, const Dot& a2, const Dot& b1, const Dot& b2, Dot& at) {
  const double ax = a1.y - a2.y, ay = a2.x - a1.x, az = a1.x * a2.y - a1.y * a2.x;
  const double bx = b1.y - b2.y, by = b2.x - b1.x, bz = b1.x * b2.y - b1.y * b2.x;
  const double z = ax * by - ay * bx;
  if (NearZero(z)) return false;
  at = {(ay * bz - az * by) / z, (az * bx - ax * bz) / z};
  return true;
}

/// Handles that lie on their ends are spread, so that slopes exist everywhere.
Curve Spread(Curve curve) {
  Dot* p = curve.points;
  if (Alike(p[0], p[1])) p[1] = Between(p[0], p[3], 1 / 3.0);
  if (Alike(p[2], p[3])) p[2] = Between(p[0], p[3], 2 / 3.0);
  return curve;
}

void Split(const Curve& curve, double t, Curve& left, Curve& right) {
  const Dot* p = curve.points;
  if (t <= 0) {
    // Cut at its very end: one part is all of the curve, the other a point.
    left = {{p[0], p[0], p[0], p[0]}};
    right = curve;
  } else if (t >= 1) {
    left = curve;
    right = {{p[3], p[3], p[3], p[3]}};
  } else {
    left = Spread(curve.Part(0, t));
    right = Spread(curve.Part(t, 1));
  }
}

void ShiftLine(const Dot& from, const Dot& to, double amount, Dot& newFrom, Dot& newTo) {
  const double angle = atan2(to.x - from.x, to.y - from.y);
  newFrom = Polar(from, angle, amount);
  newTo = Polar(to, angle, amount);
}

// Tiller and Hanson: the three legs of the control polygon are moved sideways, and meet again where
// they cross. Exact for circles' arcs nearly, good enough where a curve bends little and one way.
Curve Shifted(const Curve& curve, double amount) {
  const Dot* p = curve.points;
  Dot a0, a1, b1, b2, c2, c3;
  ShiftLine(p[0], p[1], amount, a0, a1);
  ShiftLine(p[1], p[2], amount, b1, b2);
  ShiftLine(p[2], p[3], amount, c2, c3);
  Curve shifted = {{a0, a1, c2, c3}};
  Cross(a0, a1, b1, b2, shifted.points[1]);
  Cross(c2, c3, b1, b2, shifted.points[2]);
  return shifted;
}

using Pieces = std::vector<Curve>;

/// A curve is cut where it bends the other way, so that each piece bends one way only.
Pieces ShiftedPieces(const Curve& curve, double amount) {
  const Dot* p = curve.points;
  // The curve as a polynomial: a t^3 + b t^2 + c t + p0.
  const Dot a = {-p[0].x + 3 * p[1].x - 3 * p[2].x + p[3].x,
                 -p[0].y + 3 * p[1].y - 3 * p[2].y + p[3].y};
  const Dot b = {3 * p[0].x - 6 * p[1].x + 3 * p[2].x, 3 * p[0].y - 6 * p[1].y + 3 * p[2].y};
  const Dot c = {-3 * p[0].x + 3 * p[1].x, -3 * p[0].y + 3 * p[1].y};
  std::vector<double> cuts;
  // Inflections: where the cross product of the first and second derivative is nothing, which is a
  // quadratic in t.
  const double denominator = a.y * b.x - a.x * b.y;
  if (!NearZero(denominator)) {
    const double cusp = -0.5 * (a.y * c.x - a.x * c.y) / denominator;
    const double square = cusp * cusp - (b.y * c.x - b.x * c.y) / 3 / denominator;
    if (square >= 0 && !NearZero(sqrt(square))) {
      for (const double t : {cusp - sqrt(square), cusp + sqrt(square)}) {
        if (t > 0 && t < 1) cuts.push_back(t);
      }
    }
  }
  Pieces pieces;
  Curve rest = curve;
  double done = 0;
  for (const double cut : cuts) {
    if (Alike(cut, 1)) continue;
    Curve left, right;
    // A place on what is left: each cut shortens it.
    Split(rest, (cut - done) / (1 - done), left, right);
    pieces.push_back(Shifted(left, amount));
    rest = right;
    done = cut;
  }
  pieces.push_back(Shifted(rest, amount));
  return pieces;
}

// Where two curves cross, by halving both until their boxes are small.

struct Box {
  double left, top, right, bottom;
};

Box BoxOf(const Curve& curve) {
  const Dot* p = curve.points;
  Box box = {p[0].x, p[0].y, p[0].x, p[0].y};
  auto take = [&box](const Dot& at) {
    box.left = std::min(box.left, at.x);
    box.right = std::max(box.right, at.x);
    box.top = std::min(box.top, at.y);
    box.bottom = std::max(box.bottom, at.y);
  };
  take(p[3]);
  // Extremes of one coordinate lie where its derivative, a quadratic, is nothing.
  auto roots = [&](double p0, double p1, double p2, double p3) {
    const double a = 3 * (-p0 + 3 * p1 - 3 * p2 + p3);
    const double b = 2 * (3 * p0 - 6 * p1 + 3 * p2);
    const double c = 3 * (p1 - p0);
    const double square = b * b - 4 * a * c;
    if (a == 0 || square < 0) return;
    for (const double t : {(-b - sqrt(square)) / (2 * a), (-b + sqrt(square)) / (2 * a)}) {
      if (t > 0 && t < 1) take(curve.At(t));
    }
  };
  roots(p[0].x, p[1].x, p[2].x, p[3].x);
  roots(p[0].y, p[1].y, p[2].y, p[3].y);
  return box;
}

struct Crossing {
  double first, second;
};

struct Range {
  Curve curve;
  double from, to;
};

void FindCrossings(const Range& a, const Range& b, int depth, std::vector<Crossing>& found) {
  constexpr int kDeepest = 7;
  constexpr double kSmall = 2;
  constexpr size_t kEnough = 64;
  const Box first = BoxOf(a.curve), second = BoxOf(b.curve);
  // Boxes that do not touch, by their middles and sizes doubled; no division.
  const bool apart = fabs(first.left + first.right - second.left - second.right) >=
                         first.right - first.left + second.right - second.left ||
                     fabs(first.top + first.bottom - second.top - second.bottom) >=
                         first.bottom - first.top + second.bottom - second.top;
  // Curves that lie on each other cross everywhere: some of it is enough.
  if (apart || found.size() > kEnough) return;
  // Pixels: closer than that nobody sees the cut.
  auto small = [](const Box& box) {
    return box.right - box.left <= kSmall && box.bottom - box.top <= kSmall;
  };
  const double middleA = (a.from + a.to) / 2, middleB = (b.from + b.to) / 2;
  // 4^7 pairs at most, and far fewer since most boxes lie apart.
  if (depth >= kDeepest || (small(first) && small(second))) {
    found.push_back({middleA, middleB});
    return;
  }
  Range a1, a2, b1, b2;
  Split(a.curve, 0.5, a1.curve, a2.curve);
  Split(b.curve, 0.5, b1.curve, b2.curve);
  a1.from = a.from;
  a1.to = a2.from = middleA;
  a2.to = a.to;
  b1.from = b.from;
  b1.to = b2.from = middleB;
  b2.to = b.to;
  FindCrossings(a1, b1, depth + 1, found);
  FindCrossings(a1, b2, depth + 1, found);
  FindCrossings(a2, b1, depth + 1, found);
  FindCrossings(a2, b2, depth + 1, found);
}

bool FirstCrossing(const Curve& a, const Curve& b, Crossing& crossing) {
  std::vector<Crossing> found;
  FindCrossings({a, 0, 1}, {b, 0, 1}, 0, found);
  size_t first = 0;
  // Neighbours always touch where they follow each other; that is no crossing.
  if (!found.empty() && Alike(found[0].first, 1)) first = 1;
  if (first >= found.size()) return false;
  crossing = found[first];
  return true;
}

void CutCrossing(Pieces& before, Pieces& after) {
  Crossing crossing;
  Curve left, right, unused;
  PLEXION_CHECK(!before.empty() && !after.empty(), "a shifted curve has a piece at least");
  // Both tests are of the curves as they were: the first cut may have shortened what the second needs.
  const Pieces oldBefore = before, oldAfter = after;
  if (FirstCrossing(before.back(), after.front(), crossing)) {
    Split(before.back(), crossing.first, left, unused);
    Split(after.front(), crossing.second, unused, right);
    before.back() = left;
    after.front() = right;
  }
  // A curve that was cut into pieces may also cross the neighbour's far end.
  if (oldBefore.size() > 1 && oldAfter.size() > 1 &&
      FirstCrossing(oldBefore.front(), oldAfter.back(), crossing)) {
    Split(oldBefore.front(), crossing.first, left, unused);
    Split(oldAfter.back(), crossing.second, unused, right);
    before = {left};
    after = {right};
  }
}

/// Joins the end of one curve to the start of the next. Returns  where the contour then is.
Dot Join(const Curve& first, const Curve& second, const OffsetPath& offset, Outline& outline) {
  const Dot from = first.points[3];
  const Dot to = second.points[0];
  if (offset.join == 3 || Alike(from, to)) return from;
  if (offset.join == 2) {
    // A round corner: a cubic whose handles reach along both slopes, as long as for an arc around
    // where the normals meet.
    const Dot slopeOut = first.Slope(1), slopeIn = second.Slope(0);
    const double angleOut = -atan2(slopeOut.y, slopeOut.x);
    const double angleIn = -atan2(slopeIn.y, slopeIn.x) + kPi;
    Dot centre;
    const bool found = Cross(from, Polar(from, angleOut + kPi / 2, 100), to,
                             Polar(to, angleOut + kPi / 2, 100), centre);
    const double radius = found ? Distance(centre, from) : Distance(from, to) / 2;
    const Dot out = Polar(from, angleOut, 2 * radius * kRoundHandle);
    if (!outline.vertices.empty()) {
      outline.vertices.back().outX = static_cast<float>(out.x);
      outline.vertices.back().outY = static_cast<float>(out.y);
    }
    const Dot in = Polar(to, angleIn, 2 * radius * kRoundHandle);
    outline.Add(to.x, to.y, in.x, in.y, to.x, to.y);
    return to;
  }
  // A handle that lies on its end gives no direction; the one before does.
  const Dot before = Alike(from, first.points[2]) ? first.points[0] : first.points[2];
  const Dot after = Alike(to, second.points[1]) ? second.points[3] : second.points[1];
  Dot tip;
  // Longer tips than the limit allows are cut straight.
  if (Cross(before, from, to, after, tip) && Distance(tip, from) < offset.miterLimit) {
    outline.Add(tip.x, tip.y);
    return tip;
  }
  return from;
}

void OffsetOutline(const Outline& from, const OffsetPath& offset, Outline& to) {
  const size_t count = from.vertices.size();
  to.closed = from.closed;
  if (count == 0) return;
  const size_t curves = from.closed ? count : count - 1;
  std::vector<Pieces> all;
  for (size_t i = 0; i < curves; ++i) {
    const Curve curve = Spread(Curve::Of(from.vertices[i], from.vertices[(i + 1) % count]));
    all.push_back(ShiftedPieces(curve, offset.amount));
  }
  // An open line is followed back along its other side.
  for (size_t i = from.closed ? 0 : curves; i > 0; --i) {
    const Curve forth = Spread(Curve::Of(from.vertices[i - 1], from.vertices[i % count]));
    const Dot* p = forth.points;
    all.push_back(ShiftedPieces({{p[3], p[2], p[1], p[0]}}, offset.amount));
  }
  if (all.empty()) return;
  for (size_t i = 1; i < all.size(); ++i) CutCrossing(all[i - 1], all[i]);
  // Also where the contour closes.
  if (all.size() > 1) CutCrossing(all.back(), all.front());

  const Curve* last = nullptr;
  Dot at;
  bool started = false;
  for (const Pieces& pieces : all) {
    if (last != nullptr) at = Join(*last, pieces.front(), offset, to);
    for (const Curve& curve : pieces) {
      const Dot* p = curve.points;
      // It goes on where the last one ended: one vertex with two handles, not two vertices.
      if (started && Alike(p[0], at) && !to.vertices.empty()) {
        to.vertices.back().outX = static_cast<float>(p[1].x);
        to.vertices.back().outY = static_cast<float>(p[1].y);
      } else {
        to.Add(p[0].x, p[0].y, p[0].x, p[0].y, p[1].x, p[1].y);
      }
      to.Add(p[3].x, p[3].y, p[2].x, p[2].y, p[3].x, p[3].y);
      at = p[3];
      started = true;
      last = &curve;
    }
  }
  PLEXION_CHECK(last != nullptr, "a contour has a curve");
  Join(*last, all.front().front(), offset, to);
}

}  // namespace

void Offset(const OutlineList& from, const OffsetPath& offset, OutlineList& to) {
  for (size_t i = 0; i < from.Count(); ++i) OffsetOutline(from[i], offset, to.Add());
}

}  // namespace plexion_host::movie
