// Paths that add to, cut and exclude each other, by polygons of whole numbers.
#include "host/player/lottie/shapes/MergePaths.h"

#include <math.h>

#include <algorithm>
#include <polyclipping/clipper.hpp>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

using Polygon = ClipperLib::Path;
using Polygons = ClipperLib::Paths;

/// Steps along the longer side of the box: fine enough for any plane, and small enough for the
/// library's quick arithmetic.
constexpr double kSteps = 1 << 24;
constexpr double kTolerance = 1.0 / 5000;  ///< of the longer side
/// Each may cross each other one, and every crossing costs time and memory.
constexpr size_t kMostMergedLines = 4096;

/// From the merge's plane to whole numbers and back.
class Grid {
 public:
  explicit Grid(const std::vector<MergeOperand>& operands) {
    double box[4] = {0, 0, 0, 0};
    bool any = false;
    for (const MergeOperand& operand : operands) {
      for (size_t i = 0; i < operand.outlines->Count(); ++i) {
        for (const Vertex& v : (*operand.outlines)[i].vertices) {
          for (const Point& handle :
               {Point{v.x, v.y}, Point{v.inX, v.inY}, Point{v.outX, v.outY}}) {
            const DoublePoint at = Mapped(operand.matrix, handle);
            if (!isfinite(at.x) || !isfinite(at.y)) continue;
            box[0] = any ? std::min(box[0], at.x) : at.x;
            box[1] = any ? std::min(box[1], at.y) : at.y;
            box[2] = any ? std::max(box[2], at.x) : at.x;
            box[3] = any ? std::max(box[3], at.y) : at.y;
            any = true;
          }
        }
      }
    }
    left_ = box[0];
    top_ = box[1];
    side_ = std::max({box[2] - box[0], box[3] - box[1], 1e-6});
  }

  struct DoublePoint {
    double x, y;
  };
  static DoublePoint Mapped(const Matrix& m, const Point& p) {
    return {m.a * p.x + m.c * p.y + m.e, m.b * p.x + m.d * p.y + m.f};
  }
  double Tolerance() const { return side_ * kTolerance; }
  /// What is no number lies at the corner.
  ClipperLib::IntPoint ToGrid(const DoublePoint& at) const {
    return {Step(at.x - left_), Step(at.y - top_)};
  }
  void FromGrid(const ClipperLib::IntPoint& at, Outline& outline) const {
    outline.Add(left_ + static_cast<double>(at.X) * side_ / kSteps,
                top_ + static_cast<double>(at.Y) * side_ / kSteps);
  }

 private:
  ClipperLib::cInt Step(double length) const {
    const double steps = length / side_ * kSteps;
    return steps > 0 && steps <= 2 * kSteps ? llrint(steps) : 0;
  }

  double left_ = 0, top_ = 0, side_ = 1;
};

/// Without its first point.
void AddCurve(const Grid& grid, const Grid::DoublePoint p[4], Polygon& polygon) {
  // How far the curve bends from its chord is bounded by its second differences.
  double bend = 0;
  for (int i = 0; i < 2; ++i) {
    bend = std::max(
        bend, hypot(p[i].x - 2 * p[i + 1].x + p[i + 2].x, p[i].y - 2 * p[i + 1].y + p[i + 2].y));
  }
  const double wanted = ceil(sqrt(0.75 * bend / grid.Tolerance()));
  const int lines = wanted >= 1 && wanted < kMostLinesOfMergedCurve ? static_cast<int>(wanted)
                    : wanted >= kMostLinesOfMergedCurve             ? kMostLinesOfMergedCurve
                                                                    : 1;
  for (int line = 1; line <= lines; ++line) {
    const double t = static_cast<double>(line) / lines;
    const double u = 1 - t;
    const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    polygon.push_back(grid.ToGrid({a * p[0].x + b * p[1].x + c * p[2].x + d * p[3].x,
                                   a * p[0].y + b * p[1].y + c * p[2].y + d * p[3].y}));
  }
}

Polygons PolygonsOf(const Grid& grid, const MergeOperand& operand) {
  Polygons polygons;
  for (size_t i = 0; i < operand.outlines->Count(); ++i) {
    const std::vector<Vertex>& vertices = (*operand.outlines)[i].vertices;
    if (vertices.size() < 2) continue;
    Polygon polygon;
    for (size_t j = 0; j < vertices.size(); ++j) {
      const Vertex& from = vertices[j];
      const Vertex& to = vertices[j + 1 < vertices.size() ? j + 1 : 0];
      // An open contour is closed by a straight line.
      const bool closing = j + 1 == vertices.size() && !(*operand.outlines)[i].closed;
      const Point out = closing ? Point{from.x, from.y} : Point{from.outX, from.outY};
      const Point in = closing ? Point{to.x, to.y} : Point{to.inX, to.inY};
      const Grid::DoublePoint curve[4] = {
          Grid::Mapped(operand.matrix, {from.x, from.y}), Grid::Mapped(operand.matrix, out),
          Grid::Mapped(operand.matrix, in), Grid::Mapped(operand.matrix, {to.x, to.y})};
      AddCurve(grid, curve, polygon);
    }
    polygons.push_back(std::move(polygon));
  }
  return polygons;
}

Polygons Merged(const Polygons& one, const Polygons& other, ClipperLib::ClipType how) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(one, ClipperLib::ptSubject, true);
  clipper.AddPaths(other, ClipperLib::ptClip, true);
  Polygons result;
  clipper.Execute(how, result, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
  return result;
}

/// In pairs, and these in pairs: what is large is gone through a few times only.
Polygons MergedAll(std::vector<Polygons> all, ClipperLib::ClipType how) {
  PLEXION_CHECK(!all.empty(), "there is something to merge");
  while (all.size() > 1) {
    const size_t pairs = all.size() / 2;
    for (size_t i = 0; i < pairs; ++i) all[i] = Merged(all[2 * i], all[2 * i + 1], how);
    if (all.size() % 2 == 1) std::swap(all[pairs], all.back());
    all.resize(pairs + all.size() % 2);
  }
  return std::move(all[0]);
}

Polygons Result(std::vector<Polygons> all, MergeMode mode) {
  if (all.size() == 1) return Merged(all[0], {}, ClipperLib::ctUnion);
  switch (mode) {
    case MergeMode::kUnion:
      return MergedAll(std::move(all), ClipperLib::ctUnion);
    case MergeMode::kIntersect:
      return MergedAll(std::move(all), ClipperLib::ctIntersection);
    case MergeMode::kExclude:
      return MergedAll(std::move(all), ClipperLib::ctXor);
    case MergeMode::kSubtract:
      break;
  }
  const Polygons first = std::move(all[0]);
  all.erase(all.begin());
  return Merged(first, MergedAll(std::move(all), ClipperLib::ctUnion), ClipperLib::ctDifference);
}

}  // namespace

void MergePaths(const std::vector<MergeOperand>& operands, MergeMode mode, OutlineList& to) {
  if (operands.empty()) return;
  const Grid grid(operands);
  std::vector<Polygons> all;
  all.reserve(operands.size());
  for (const MergeOperand& operand : operands) all.push_back(PolygonsOf(grid, operand));
  size_t lines = 0;
  for (const Polygons& polygons : all) {
    for (const Polygon& polygon : polygons) lines += polygon.size();
  }
  Polygons result;
  bool cut = lines <= kMostMergedLines;
  try {
    if (cut) result = Result(std::move(all), mode);
  } catch (const ClipperLib::clipperException&) {
    cut = false;  // the library gives up on some tangles of lines
  }
  if (!cut) {
    // All of them, uncut, are nearest to what is meant.
    result.clear();
    for (const MergeOperand& operand : operands) {
      for (Polygon& polygon : PolygonsOf(grid, operand)) result.push_back(std::move(polygon));
    }
  }
  for (const Polygon& polygon : result) {
    Outline& outline = to.Add();
    outline.closed = true;
    for (const ClipperLib::IntPoint& point : polygon) grid.FromGrid(point, outline);
  }
}

}  // namespace plexion_host::movie
