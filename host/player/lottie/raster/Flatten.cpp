// From paths to the lines that are filled: curves divided, all cut to the clip.

#include "host/player/lottie/raster/Flatten.h"

#include <string.h>

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"

namespace plexion_host::movie {
namespace {

// Lines lie inside of a curve that bends outwards, by two thirds of this on average: below 1/60 of a
// pixel the loss at an edge stays within what eight bits show.
constexpr double kTolerance = 0.02;
// Past this a coordinate says nothing but which side it is on, and products of two stay finite.
constexpr double kFurthest = 1e12;
constexpr double kFurthestPixel = 16777216;  // further than any clip reaches

struct Place {
  double x, y;
};

class Writer {
 public:
  Writer(const IntRect& clip, Cells& cells)
      : left_(clip.left), top_(clip.top), right_(clip.right), bottom_(clip.bottom), cells_(cells) {}

  void SetInside(bool inside) { inside_ = inside; }

  void SetStart(Place at) {
    start_ = at_ = at;
    if (inside_) fixed_ = Fix(at);
  }
  void Move(Place to) {
    Close();
    SetStart(to);
  }
  void Line(Place to) {
    if (inside_) {
      const Spot end = Fix(to);
      cells_.Line(fixed_.x, fixed_.y, end.x, end.y);
      fixed_ = end;
    } else {
      Cut(at_, to);
    }
    at_ = to;
  }
  void Close() { Line(start_); }

  void Cubic(Place p1, Place p2, Place p3) {
    const double x[4] = {at_.x, p1.x, p2.x, p3.x};
    const double y[4] = {at_.y, p1.y, p2.y, p3.y};
    if (!inside_ && IsBeside(x, y)) {
      Line(p3);
      return;
    }
    const int lines = LinesOfCubic(x, y, kTolerance);
    const double step = 1.0 / lines;
    const double cx = 3 * (x[1] - x[0]);
    const double bx = 3 * (x[2] - x[1]) - cx;
    const double ax = x[3] - x[0] - cx - bx;
    const double cy = 3 * (y[1] - y[0]);
    const double by = 3 * (y[2] - y[1]) - cy;
    const double ay = y[3] - y[0] - cy - by;
    for (int i = 1; i < lines; ++i) {
      const double t = i * step;
      Line({((ax * t + bx) * t + cx) * t + x[0], ((ay * t + by) * t + cy) * t + y[0]});
    }
    Line(p3);
  }

 private:
  // On one side of the clip all curves are as good as their chords.
  bool IsBeside(const double x[4], const double y[4]) const {
    const auto all = [](const double v[4], auto test) {
      return test(v[0]) && test(v[1]) && test(v[2]) && test(v[3]);
    };
    return all(y, [&](double v) { return v <= top_; }) ||
           all(y, [&](double v) { return v >= bottom_; }) ||
           all(x, [&](double v) { return v <= left_; }) ||
           all(x, [&](double v) { return v >= right_; });
  }

  /// In 1/256 of a pixel.
  struct Spot {
    int x, y;
  };
  // 1.5 * 2^52: behind it a double has no room for fractions, so adding it rounds to the nearest whole
  // number, which its lower bits then are. lrint() is a call of the library.
  static int Fixed(double v) {
    const double rounded = v * 256 + 6755399441055744.0;
    int64_t bits = 0;
    memcpy(&bits, &rounded, sizeof bits);
    return static_cast<int>(static_cast<uint32_t>(bits));
  }
  static Spot Fix(Place at) { return {Fixed(at.x), Fixed(at.y)}; }

  void Add(Place a, Place b) { cells_.Line(Fixed(a.x), Fixed(a.y), Fixed(b.x), Fixed(b.y)); }

  void Cut(Place a, Place b) {
    const bool down = a.y < b.y;
    Place high = down ? a : b;
    Place low = down ? b : a;
    if (!(high.y < bottom_ && low.y > top_)) return;
    const double slope = (low.x - high.x) / (low.y - high.y);
    if (high.y < top_) high = {high.x + (top_ - high.y) * slope, top_};
    if (low.y > bottom_) low = {low.x + (bottom_ - low.y) * slope, bottom_};
    // In y the pieces meet where they are rounded alike.
    Place rest = high;
    const auto piece = [&](Place to) {
      const Place from{std::clamp(rest.x, left_, right_), rest.y};
      const Place end{std::clamp(to.x, left_, right_), to.y};
      down ? Add(from, end) : Add(end, from);
      rest = to;
    };
    double cuts[2] = {left_, right_};
    if (slope < 0) std::swap(cuts[0], cuts[1]);
    for (const double x : cuts) {
      if ((rest.x < x && x < low.x) || (low.x < x && x < rest.x)) {
        const double y = high.y + (x - high.x) / slope;
        piece({x, std::clamp(y, rest.y, low.y)});
      }
    }
    piece(low);
  }

  const double left_, top_, right_, bottom_;
  Cells& cells_;
  bool inside_ = false;
  Place start_{0, 0};
  Place at_{0, 0};
  Spot fixed_{0, 0};  ///< at_, when all is inside
};

}  // namespace

int LinesOfCubic(const double x[4], const double y[4], double tolerance) {
  PLEXION_CHECK(tolerance > 0, "no number of lines follows a curve exactly");
  // The second differences bound how far a curve is from its chord.
  const auto square = [](double dx, double dy) { return dx * dx + dy * dy; };
  const double bend = std::max(square(x[0] - 2 * x[1] + x[2], y[0] - 2 * y[1] + y[2]),
                               square(x[1] - 2 * x[2] + x[3], y[1] - 2 * y[2] + y[3]));
  const double lines = std::ceil(std::sqrt(0.75 / tolerance * std::sqrt(bend)));
  return lines < kMostLinesOfCurve ? std::max(1, static_cast<int>(lines)) : kMostLinesOfCurve;
}

void Flatten(const Path& path, const Matrix& matrix, const IntRect& clip, Cells& cells) {
  if (clip.IsEmpty() || path.points.empty()) return;
  const auto map = [&matrix](Point p) -> Place {
    return {std::clamp(matrix.a * p.x + matrix.c * p.y + matrix.e, -kFurthest, kFurthest),
            std::clamp(matrix.b * p.x + matrix.d * p.y + matrix.f, -kFurthest, kFurthest)};
  };
  Place low = map(path.points[0]);
  Place high = low;
  double finite = 0;  // becomes NaN with the first number that is none
  for (const Point& point : path.points) {
    const Place at = map(point);
    finite += (at.x + at.y + point.x + point.y) * 0;
    low = {std::min(low.x, at.x), std::min(low.y, at.y)};
    high = {std::max(high.x, at.x), std::max(high.y, at.y)};
  }
  // NaN is not 0 either: a path with such a number has no inside.
  if (finite != 0) return;
  if (low.x >= clip.right || high.x <= clip.left || low.y >= clip.bottom || high.y <= clip.top) {
    return;
  }
  const IntRect box = clip.Cut({static_cast<int>(std::floor(std::max(low.x, -kFurthestPixel))),
                                static_cast<int>(std::floor(std::max(low.y, -kFurthestPixel))),
                                static_cast<int>(std::ceil(std::min(high.x, kFurthestPixel))),
                                static_cast<int>(std::ceil(std::min(high.y, kFurthestPixel)))});
  if (box.IsEmpty()) return;
  cells.Begin(box);
  // Cut by the box, not by the clip: whatever rounding does to lines from far away, they end in it.
  Writer writer(box, cells);
  writer.SetInside(low.x >= clip.left && high.x <= clip.right && low.y >= clip.top &&
                   high.y <= clip.bottom);
  const Point* point = path.points.data();
  const Point* const end = point + path.points.size();
  bool begun = false;
  for (const Path::Verb verb : path.verbs) {
    const int count = verb == Path::kCubic ? 3 : verb == Path::kClose ? 0 : 1;
    if (end - point < count) break;
    if (verb == Path::kClose) {
      writer.Close();
    } else if (verb == Path::kMove || !begun) {
      // A line without a move before it begins where it ends.
      if (!begun) {
        writer.SetStart(map(point[count - 1]));
      } else {
        writer.Move(map(*point));
      }
      begun = true;
    } else if (verb == Path::kLine) {
      writer.Line(map(*point));
    } else {
      writer.Cubic(map(point[0]), map(point[1]), map(point[2]));
    }
    point += count;
  }
  writer.Close();
}

}  // namespace plexion_host::movie
