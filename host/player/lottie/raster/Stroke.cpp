// From a path to the outline of its stroke: both sides of each contour with joins, caps and dashes.

#include "host/player/lottie/raster/Stroke.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/raster/Flatten.h"

namespace plexion_host::movie {
namespace {

constexpr double kOutlineTolerance = 0.02;  // pixels
constexpr double kMostDashes = 100000;
// Half a width that covers whatever can be seen, and whose square is finite.
constexpr float kWidest = 1e9f;

Point operator+(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
Point operator*(Point a, float factor) { return {a.x * factor, a.y * factor}; }
float Dot(Point a, Point b) { return a.x * b.x + a.y * b.y; }
float Cross(Point a, Point b) { return a.x * b.y - a.y * b.x; }
// Coordinates are bounded so that squares are finite.
float Length(Point a) { return std::sqrt(Dot(a, a)); }
/// Towards the side that is walked first: the left one on the screen.
Point Normal(Point direction) { return {direction.y, -direction.x}; }
/// Of length 1, or `other` where there is no direction.
Point Direction(Point a, Point other) {
  const float length = Length(a);
  return length > 0 && std::isfinite(1 / length) ? a * (1 / length) : other;
}

}  // namespace

/// One stroke: its style, and where it goes.
class Stroker::Run {
 public:
  using Line = std::vector<Vertex>;

  Run(Stroker& stroker, const StrokeStyle& style, double scale, Path& outline)
      : stroker_(stroker),
        style_(style),
        radius_(std::min(style.width / 2, kWidest)),
        outline_(outline) {
    const double tolerance = kOutlineTolerance / std::clamp(scale, 1e-6, 1e6);
    curveTolerance_ = tolerance;
    const double angle = 2 * std::acos(1 - std::min(tolerance / radius_, 1.0));
    mostTurn_ = static_cast<float>(std::cos(std::clamp(angle, 0.02, 0.6)));
    double sum = 0;
    for (int i = 0; i < style.dashCount; ++i) {
      const float dash = style.dashes[i];
      if (!(dash >= 0) || !std::isfinite(dash)) return;
      sum += dash;
    }
    if (!(sum > 0) || !std::isfinite(style.dashOffset)) return;
    patternCount_ = style.dashCount % 2 == 0 ? style.dashCount : 2 * style.dashCount;
    patternLength_ = style.dashCount % 2 == 0 ? sum : 2 * sum;
  }

  void Begin(Point at) {
    Points().clear();
    Points().push_back({at, {}, {}, false, false});
    dot_ = false;
  }

  void LineTo(Point to) {
    dot_ = true;
    const Point from = Points().back().at;
    const Point along = Direction(to - from, {});
    if (along.x == 0 && along.y == 0) return;
    Points().back().out = along;
    Points().push_back({to, along, {}, false, false});
  }

  void CubicTo(Point p1, Point p2, Point p3) {
    dot_ = true;
    const Point p0 = Points().back().at;
    const double x[4] = {p0.x, p1.x, p2.x, p3.x};
    const double y[4] = {p0.y, p1.y, p2.y, p3.y};
    const Point controls[4] = {p0, p1, p2, p3};
    const int lines = LinesOfCubic(x, y, curveTolerance_);
    Point direction = Tangent(controls, 0);
    if (direction.x == 0 && direction.y == 0) return;
    Points().back().out = direction;
    float t = 0;
    for (int i = 1; i <= lines; ++i) {
      const float next = i == lines ? 1 : static_cast<float>(i) / static_cast<float>(lines);
      Divide(controls, t, next, 0);
      t = next;
    }
    Points().back().smooth = false;
  }

  void End(bool closed) {
    Line& line = Points();
    if (line.size() > 1 && closed) {
      // The first vertex is the last one as well, whether or not a line leads back to it.
      if (Length(line.back().at - line.front().at) > 0) LineTo(line.front().at);
      line.front().in = line.back().in;
      line.pop_back();
      if (line.size() == 1) closed = false;
    }
    if (line.size() < 2) {
      if (dot_) PlaceDot(line.empty() ? Point() : line.front().at, {1, 0});
      return;
    }
    if (patternCount_ == 0 || !Dashes(closed)) Emit(line, closed);
  }

 private:
  Line& Points() { return stroker_.line_; }

  static Point At(const Point c[4], float t) {
    const float s = 1 - t;
    return c[0] * (s * s * s) + c[1] * (3 * s * s * t) + c[2] * (3 * s * t * t) +
           c[3] * (t * t * t);
  }
  static Point Tangent(const Point c[4], float t) {
    const float s = 1 - t;
    const Point d = (c[1] - c[0]) * (s * s) + (c[2] - c[1]) * (2 * s * t) + (c[3] - c[2]) * (t * t);
    const auto square = [](Point p) { return Dot(p, p); };
    const float size = std::max({square(c[1] - c[0]), square(c[2] - c[1]), square(c[3] - c[2])});
    if (square(d) > size * 1e-8f) return Direction(d, {});
    // A handle of no length: the curve leaves towards the next point that is another.
    const Point towards = t < 0.5f ? At(c, t + 1e-3f) - At(c, t) : At(c, t) - At(c, t - 1e-3f);
    return Direction(towards, {});
  }

  // One line from t0 to t1, or several where the curve turns much between.
  void Divide(const Point c[4], float t0, float t1, int depth) {
    const Point direction = Tangent(c, t1);
    const Point before = Points().back().out;
    const float turn = Dot(before, direction);
    if (turn < mostTurn_ && depth < 7) {
      const float middle = (t0 + t1) / 2;
      Divide(c, t0, middle, depth + 1);
      Divide(c, middle, t1, depth + 1);
      return;
    }
    const Point at = At(c, t1);
    if (direction.x == 0 && direction.y == 0) return;
    if (turn < 0) {
      // The curve's point: it turns back at once, with a round join.
      Vertex& point = Points().back();
      point.out = direction;
      point.smooth = false;
      point.round = true;
      if (Length(at - point.at) == 0) return;
    } else if (Length(at - Points().back().at) == 0) {
      return;
    }
    Points().push_back({at, direction, direction, true, false});
  }

  // ---- one contour's outline -------------------------------------------------------------------

  void Emit(const Line& line, bool closed) {
    Side(line, closed, true);
    if (closed) outline_.Close();
    Line& back = stroker_.back_;
    back.clear();
    for (size_t i = line.size(); i-- > 0;) {
      const Vertex& vertex = line[i];
      back.push_back({vertex.at, vertex.out * -1, vertex.in * -1, vertex.smooth, vertex.round});
    }
    if (!closed) Cap(line.back().at, line.back().in);
    Side(back, closed, closed);
    if (!closed) Cap(line.front().at, line.front().out * -1);
    outline_.Close();
    // Where the inner side turned back, on their own.
    for (size_t i = 0; i + 2 < extra_.size(); i += 3) {
      const bool flip = Cross(extra_[i + 1] - extra_[i], extra_[i + 2] - extra_[i]) < 0;
      outline_.Move(extra_[i].x, extra_[i].y);
      To(extra_[flip ? i + 2 : i + 1]);
      To(extra_[flip ? i + 1 : i + 2]);
      outline_.Close();
    }
    extra_.clear();
  }

  void To(Point p) {
    if (move_) {
      outline_.Move(p.x, p.y);
    } else {
      outline_.Line(p.x, p.y);
    }
    move_ = false;
  }

  void Side(const Line& line, bool closed, bool move) {
    move_ = move;
    const size_t count = line.size();
    for (size_t i = 0; i < count; ++i) {
      const Vertex& vertex = line[i];
      const bool first = i == 0 && !closed;
      const bool last = i + 1 == count && !closed;
      if (first) {
        To(vertex.at + Normal(vertex.out) * radius_);
      } else if (last) {
        To(vertex.at + Normal(vertex.in) * radius_);
        return;
      } else {
        Join(vertex, Length(vertex.at - line[i == 0 ? count - 1 : i - 1].at),
             Length(vertex.at - line[i + 1 == count ? 0 : i + 1].at));
      }
      Along(vertex, line[i + 1 == count ? 0 : i + 1]);
    }
  }

  // From one vertex's side to the next one's. On the inner side of a bend that is tighter than the
  // stroke is wide it leads backwards: what lies there is drawn by triangles of its own.
  void Along(const Vertex& a, const Vertex& b) {
    const Point from = a.at + Normal(a.out) * radius_;
    const Point to = b.at + Normal(b.in) * radius_;
    if (Dot(to - from, b.at - a.at) >= 0) return;
    const Point u = from - a.at;
    const Point v = to - b.at;
    const float cross = Cross(u, v);
    if (std::abs(cross) > 0) {
      const Point meet = a.at + u * (Cross(b.at - a.at, v) / cross);
      extra_.insert(extra_.end(), {a.at, b.at, meet, meet, from, to});
    }
    To(a.at);
    To(b.at);
    To(to);
  }

  void Join(const Vertex& vertex, float lengthBefore, float lengthAfter) {
    const Point in = Normal(vertex.in) * radius_;
    const Point out = Normal(vertex.out) * radius_;
    const float cosine = Dot(vertex.in, vertex.out);
    const float sine = Cross(vertex.in, vertex.out);
    if (vertex.smooth || (cosine > 0 && std::abs(sine) < 1e-4f)) {
      To(vertex.at + out);
      return;
    }
    // To the right, the left side is the outer one.
    const bool outer = sine > 0 || (sine == 0 && cosine < 0);
    const Point corner = (in + out) * (1 / (1 + cosine));
    if (!outer) {
      const float reach = radius_ * -sine / (1 + cosine);
      if (cosine > -0.99f && reach <= lengthBefore && reach <= lengthAfter) {
        To(vertex.at + corner);
      } else {
        To(vertex.at + in);
        To(vertex.at);
        To(vertex.at + out);
      }
      return;
    }
    To(vertex.at + in);
    if (vertex.round || style_.join == LineJoin::kRound) {
      Arc(vertex.at, in, out);
    } else if (style_.join == LineJoin::kMiter && cosine > -0.9999f &&
               (1 + cosine) / 2 * style_.miterLimit * style_.miterLimit >= 1) {
      To(vertex.at + corner);
      To(vertex.at + out);
    } else {
      To(vertex.at + out);
    }
  }

  // Clockwise on the screen, from one radius to another.
  void Arc(Point centre, Point from, Point to) {
    float angle = std::atan2(Cross(from, to), Dot(from, to));
    if (angle < 0) angle += 6.28318531f;
    const int parts = std::max(1, static_cast<int>(std::ceil(angle / 1.5708f - 1e-4f)));
    const float step = angle / static_cast<float>(parts);
    const float handle = 4.0f / 3 * std::tan(step / 4);
    Point radius = from;
    for (int i = 1; i <= parts; ++i) {
      const float turned = step * static_cast<float>(i);
      const Point next = i == parts ? to
                                    : Point{from.x * std::cos(turned) - from.y * std::sin(turned),
                                            from.x * std::sin(turned) + from.y * std::cos(turned)};
      const Point c1 = centre + radius + Point{-radius.y, radius.x} * handle;
      const Point c2 = centre + next + Point{next.y, -next.x} * handle;
      const Point end = centre + next;
      outline_.Cubic(c1.x, c1.y, c2.x, c2.y, end.x, end.y);
      radius = next;
    }
  }

  // From the left side to the right one of an end that points along `direction`.
  void Cap(Point at, Point direction) {
    const Point side = Normal(direction) * radius_;
    const Point ahead = direction * radius_;
    if (style_.cap == LineCap::kRound) {
      Arc(at, side, ahead);
      Arc(at, ahead, side * -1);
    } else if (style_.cap == LineCap::kSquare) {
      To(at + side + ahead);
      To(at - side + ahead);
    }
    To(at - side);
  }

  // A dash or a contour of no length is its two caps.
  void PlaceDot(Point at, Point direction) {
    if (style_.cap == LineCap::kButt) return;
    const Point side = Normal(direction) * radius_;
    move_ = true;
    To(at + side);
    Cap(at, direction);
    Cap(at, direction * -1);
    outline_.Close();
  }

  // ---- dashes ----------------------------------------------------------------------------------

  float DashLength(int index) const { return style_.dashes[index % style_.dashCount]; }

  void EmitDash(const Line& dash) {
    if (dash.size() >= 2) {
      Emit(dash, false);
    } else if (!dash.empty()) {
      PlaceDot(dash.front().at, dash.front().out);
    }
  }

  /// Returns  false when the line has too many, or none that ends.
  bool Dashes(bool closed) {
    const Line& line = Points();
    const size_t segments = closed ? line.size() : line.size() - 1;
    double length = 0;
    for (size_t i = 0; i < segments; ++i) {
      length += Length(line[(i + 1) % line.size()].at - line[i].at);
    }
    if (!(length / patternLength_ * patternCount_ < kMostDashes)) return false;

    int index = 0;
    double phase = std::fmod(style_.dashOffset, patternLength_);
    if (phase < 0) phase += patternLength_;
    while (phase >= DashLength(index) && phase > 0) {
      phase -= DashLength(index);
      index = (index + 1) % patternCount_;
    }
    double left = DashLength(index) - phase;
    const bool startsOn = index % 2 == 0;
    if (startsOn && closed && left >= length) return false;
    Line& dash = stroker_.dash_;
    Line& first = stroker_.first_;
    dash.clear();
    first.clear();
    bool keepFirst = closed && startsOn;
    bool on = startsOn;
    if (on) dash.push_back(line[0]);
    for (size_t i = 0; i < segments; ++i) {
      const Vertex& a = line[i];
      const Vertex& b = line[(i + 1) % line.size()];
      const float size = Length(b.at - a.at);
      double done = 0;
      while (size - done > left) {
        done += left;
        const float part = static_cast<float>(done / size);
        const Point direction =
            Direction(a.out * (1 - part) + b.in * part, Direction(b.at - a.at, {1, 0}));
        const Vertex cut{a.at + (b.at - a.at) * part, direction, direction, true, false};
        if (on) {
          if (Length(cut.at - dash.back().at) > 0) {
            dash.push_back(cut);
          }
          if (keepFirst) {
            first = dash;
            keepFirst = false;
          } else {
            EmitDash(dash);
          }
          dash.clear();
        } else {
          dash.clear();
          dash.push_back(cut);
        }
        on = !on;
        index = (index + 1) % patternCount_;
        left = DashLength(index);
      }
      left -= size - done;
      if (on) dash.push_back(b);
    }
    // A contour's last dash goes on into its first one.
    if (on && !first.empty()) dash.insert(dash.end(), first.begin() + 1, first.end());
    if (on) {
      EmitDash(dash);
    } else if (!first.empty()) {
      EmitDash(first);
    }
    return true;
  }

  Stroker& stroker_;
  const StrokeStyle& style_;
  const float radius_;
  Path& outline_;
  std::vector<Point>& extra_ = stroker_.extra_;
  double curveTolerance_ = kOutlineTolerance;
  float mostTurn_ = 1;
  int patternCount_ = 0;
  double patternLength_ = 0;
  bool dot_ = false;
  bool move_ = false;
};

void Stroker::Stroke(const Path& path, const StrokeStyle& style, double scale, Path& outline) {
  outline.Clear();
  if (!(style.width > 0) || !std::isfinite(style.width) || !std::isfinite(style.miterLimit)) return;
  // Of a matrix that has one, which nothing can be seen through.
  if (std::isnan(scale)) return;
  Run run(*this, style, scale, outline);
  const Point* point = path.points.data();
  const Point* const end = point + path.points.size();
  Point start;
  bool begun = false;
  bool sound = true;
  const auto finish = [&](bool closed) {
    if (begun && sound) run.End(closed);
    begun = false;
    sound = true;
  };
  for (const Path::Verb verb : path.verbs) {
    const int count = verb == Path::kCubic ? 3 : verb == Path::kClose ? 0 : 1;
    if (end - point < count) break;
    if (verb == Path::kMove) finish(false);
    // Past 1e15 the squares of differences are not finite any more.
    for (int i = 0; i < count; ++i) {
      sound = sound && std::abs(point[i].x) < 1e15f && std::abs(point[i].y) < 1e15f;
    }
    if (verb == Path::kClose) {
      finish(true);
    } else if (verb == Path::kMove) {
      start = *point;
      run.Begin(start);
      begun = true;
    } else {
      if (!begun) run.Begin(start);
      begun = true;
      if (sound && verb == Path::kLine) run.LineTo(point[0]);
      if (sound && verb == Path::kCubic) run.CubicTo(point[0], point[1], point[2]);
    }
    point += count;
  }
  finish(false);
}

}  // namespace plexion_host::movie
