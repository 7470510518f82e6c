// Rounded corners, pucker and bloat, zig-zag, twist.
#include "host/player/lottie/shapes/Modifiers.h"

#include <math.h>

#include <algorithm>

#include "host/player/lottie/shapes/Curve.h"
#include "host/player/lottie/shapes/Figures.h"
#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

bool Sharp(const Vertex& vertex) {
  return vertex.x == vertex.inX && vertex.y == vertex.inY && vertex.x == vertex.outX &&
         vertex.y == vertex.outY;
}

/// A ridge of a zig-zag: a point beside the line, with handles along it.
void AddRidge(Outline& outline, const Dot& point, double angle, double shift, double outLength,
              double inLength) {
  const double x = point.x + cos(angle) * shift;
  const double y = point.y - sin(angle) * shift;
  const double outAngle = angle - kPi / 2;
  const double inAngle = angle + kPi / 2;
  outline.Add(x, y, x + cos(inAngle) * inLength, y - sin(inAngle) * inLength,
              x + cos(outAngle) * outLength, y - sin(outAngle) * outLength);
}

struct Ridges {
  double size;
  int count;  ///< on each curve
  bool smooth;
};

void AddCorner(const Outline& from, size_t index, const Ridges& ridges, double side, Outline& to) {
  const size_t count = from.vertices.size();
  const Vertex& here = from.vertices[index % count];
  const Vertex& before = from.vertices[index == 0 ? count - 1 : index - 1];
  const Vertex& after = from.vertices[(index + 1) % count];
  // Across the line from the corner before to the one after.
  const double acrossX = double{after.y} - before.y;
  const double acrossY = double{before.x} - after.x;
  const double angle = -atan2(acrossY, acrossX);
  const double share = (ridges.count + 1) * 2.0;
  const double inLength = ridges.smooth ? hypot(here.x - before.x, here.y - before.y) / share : 0;
  const double outLength = ridges.smooth ? hypot(here.x - after.x, here.y - after.y) / share : 0;
  AddRidge(to, {here.x, here.y}, angle, side * ridges.size, outLength, inLength);
}

void ZigZagOutline(const Outline& from, const Ridges& ridges, Outline& to) {
  const size_t count = from.vertices.size();
  if (count == 0) return;
  const size_t curves = from.closed ? count : count - 1;
  to.closed = from.closed;
  if (curves == 0) return;
  constexpr double kFirstSide = -1;
  double side = kFirstSide;
  AddCorner(from, 0, ridges, side, to);
  for (size_t i = 0; i < curves; ++i) {
    Curve curve = Curve::Of(from.vertices[i], from.vertices[(i + 1) % count]);
    Dot* p = curve.points;
    if (p[0].x == p[1].x && p[0].y == p[1].y) p[1] = Between(p[0], p[3], 1 / 3.0);
    if (p[2].x == p[3].x && p[2].y == p[3].y) p[2] = Between(p[0], p[3], 2 / 3.0);
    side = -side;
    const double handle = ridges.smooth ? Distance(p[0], p[3]) / ((ridges.count + 1) * 2.0) : 0;
    for (int ridge = 0; ridge < ridges.count; ++ridge) {
      const double t = (ridge + 1) / (ridges.count + 1.0);
      const Dot slope = curve.Slope(t);
      AddRidge(to, curve.At(t), atan2(slope.x, slope.y), side * ridges.size, handle, handle);
      side = -side;
    }
    // Back at the first corner, a second one in its place would be a curve from it to itself.
    if (from.closed && i + 1 == curves && side == kFirstSide) break;
    AddCorner(from, i + 1, ridges, side, to);
  }
}

}  // namespace

void RoundCorners(const OutlineList& from, double radius, OutlineList& to) {
  for (size_t i = 0; i < from.Count(); ++i) {
    const Outline& source = from[i];
    Outline& result = to.Add();
    result.closed = source.closed;
    const size_t count = source.vertices.size();
    for (size_t j = 0; j < count; ++j) {
      const Vertex& corner = source.vertices[j];
      const bool end = !source.closed && (j == 0 || j == count - 1);
      // What bends already, and the ends of an open line, have no corner to round.
      if (end || !Sharp(corner)) {
        result.vertices.push_back(corner);
        continue;
      }
      const Dot at = {corner.x, corner.y};
      auto towards = [&](const Vertex& other) {
        const Dot there = {other.x, other.y};
        const double distance = Distance(at, there);
        return Between(at, there, distance > 0 ? std::min(distance / 2, radius) / distance : 0);
      };
      const Dot before = towards(source.vertices[j == 0 ? count - 1 : j - 1]);
      const Dot after = towards(source.vertices[(j + 1) % count]);
      const Dot out = Between(before, at, kRoundHandle);
      const Dot in = Between(after, at, kRoundHandle);
      result.Add(before.x, before.y, before.x, before.y, out.x, out.y);
      result.Add(after.x, after.y, in.x, in.y, after.x, after.y);
    }
  }
}

void Pucker(const OutlineList& from, double percent, OutlineList& to) {
  const auto share = static_cast<float>(percent / 100);
  for (size_t i = 0; i < from.Count(); ++i) {
    const Outline& source = from[i];
    Outline& result = to.Add();
    result.closed = source.closed;
    if (source.vertices.empty()) continue;
    double sumX = 0, sumY = 0;
    for (const Vertex& vertex : source.vertices) {
      sumX += vertex.x;
      sumY += vertex.y;
    }
    const auto centreX = static_cast<float>(sumX / double(source.vertices.size()));
    const auto centreY = static_cast<float>(sumY / double(source.vertices.size()));
    for (const Vertex& v : source.vertices) {
      result.vertices.push_back(
          {v.x + (centreX - v.x) * share, v.y + (centreY - v.y) * share,
           v.inX - (centreX - v.inX) * share, v.inY - (centreY - v.inY) * share,
           v.outX - (centreX - v.outX) * share, v.outY - (centreY - v.outY) * share});
    }
  }
}

void ZigZag(const OutlineList& from, double size, double ridges, bool smooth, OutlineList& to) {
  // Each ridge is a point of the path: a document could ask for any number of them.
  constexpr double kMost = 1000;
  const Ridges each = {size, static_cast<int>(std::clamp(round(ridges), 0.0, kMost)), smooth};
  for (size_t i = 0; i < from.Count(); ++i) ZigZagOutline(from[i], each, to.Add());
}

void Twist(const OutlineList& from, double degrees, double centreX, double centreY,
           OutlineList& to) {
  double farthest = 0;
  for (size_t i = 0; i < from.Count(); ++i) {
    for (const Vertex& v : from[i].vertices) {
      farthest = std::max(farthest, hypot(v.x - centreX, v.y - centreY));
    }
  }
  if (farthest <= 0) farthest = 1;
  // What is farther from the centre turns less.
  auto turned = [&](float x, float y) {
    const double dx = x - centreX, dy = y - centreY;
    const double angle = degrees * kPi / 180 * (1 - std::min(hypot(dx, dy) / farthest, 1.0));
    return Dot{centreX + dx * cos(angle) - dy * sin(angle),
               centreY + dx * sin(angle) + dy * cos(angle)};
  };
  for (size_t i = 0; i < from.Count(); ++i) {
    Outline& result = to.Add();
    result.closed = from[i].closed;
    for (const Vertex& v : from[i].vertices) {
      const Dot at = turned(v.x, v.y), in = turned(v.inX, v.inY), out = turned(v.outX, v.outY);
      result.Add(at.x, at.y, in.x, in.y, out.x, out.y);
    }
  }
}

}  // namespace plexion_host::movie
