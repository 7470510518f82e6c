// The box around what a layer shows, as expressions ask for it.
#include <math.h>

#include <algorithm>

#include "host/player/lottie/scene/Scene.h"

namespace plexion_host::movie {

namespace {

/// The smallest box around curves, which seldom reach their handles.
class PointBox {
 public:
  void Add(double x, double y) {
    left_ = std::min(left_, x);
    top_ = std::min(top_, y);
    right_ = std::max(right_, x);
    bottom_ = std::max(bottom_, y);
  }

  void AddCurve(const Point points[4]) {
    double turns[4];
    size_t count = 0;
    for (const bool across : {true, false}) {
      double p[4];
      for (int i = 0; i < 4; ++i) p[i] = across ? points[i].x : points[i].y;
      count += Turns(p, turns + count);
    }
    Add(points[3].x, points[3].y);
    for (size_t i = 0; i < count; ++i) {
      const double t = turns[i], u = 1 - t;
      const double w[4] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
      double x = 0, y = 0;
      for (int j = 0; j < 4; ++j) {
        x += w[j] * points[j].x;
        y += w[j] * points[j].y;
      }
      Add(x, y);
    }
  }

  void Grow(double around) {
    left_ -= around;
    top_ -= around;
    right_ += around;
    bottom_ += around;
  }
  void Join(const PointBox& other) {
    if (other.left_ > other.right_) return;
    Add(other.left_, other.top_);
    Add(other.right_, other.bottom_);
  }
  /// Returns  false when nothing is in it.
  bool Take(double box[4]) const {
    if (!(left_ <= right_ && top_ <= bottom_)) return false;
    box[0] = left_;
    box[1] = top_;
    box[2] = right_ - left_;
    box[3] = bottom_ - top_;
    return true;
  }

 private:
  /// Where a curve of one dimension goes neither up nor down, between its ends.
  static size_t Turns(const double p[4], double* turns) {
    const double a = p[3] - p[0] + 3 * (p[1] - p[2]);
    const double b = 2 * (p[0] - 2 * p[1] + p[2]);
    const double c = p[1] - p[0];
    size_t count = 0;
    const auto keep = [&](double t) {
      if (t > 0 && t < 1) turns[count++] = t;
    };
    if (fabs(a) < 1e-9) {
      if (b != 0) keep(-c / b);
      return count;
    }
    const double inside = b * b - 4 * a * c;
    if (inside < 0) return 0;
    keep((-b + sqrt(inside)) / (2 * a));
    keep((-b - sqrt(inside)) / (2 * a));
    return count;
  }

  double left_ = HUGE_VAL, top_ = HUGE_VAL, right_ = -HUGE_VAL, bottom_ = -HUGE_VAL;
};

void AddOp(const ShapeOp& op, PointBox& all) {
  PointBox box;
  Point last[4];
  const Point* points = op.path.points.data();
  for (const Path::Verb verb : op.path.verbs) {
    if (verb == Path::kClose) continue;
    if (verb == Path::kCubic) {
      for (int i = 1; i < 4; ++i) last[i] = op.matrix.Map(points[i - 1]);
      box.AddCurve(last);
      last[0] = last[3];
      points += 3;
    } else {
      last[0] = op.matrix.Map(*points++);
      box.Add(last[0].x, last[0].y);
    }
  }
  if (op.kind == ShapeOp::Kind::kStroke) box.Grow(double{op.width} / 2 * op.matrix.MaxScale());
  all.Join(box);
}

}  // namespace

bool Scene::SourceRect(const LayerUse& layer, double time, double rect[4], double& cost) {
  // Whoever is asked for belongs to this scene: scripts only hold it as a constant.
  auto& use = const_cast<LayerUse&>(layer);
  if ((use.shapes_ == nullptr && use.text_ == nullptr) || use.contentBusy_) return false;
  const double now = use.owner_->time;
  // Seconds and back are not quite the same frame.
  if (fabs(time - now) < 1e-6) time = now;
  Constancy ignored;
  EvaluateContent(use, time, ignored);
  const std::vector<ShapeOp>& ops = use.shapes_ != nullptr ? use.shapes_->Ops() : use.text_->Ops();
  const size_t count = use.shapes_ != nullptr ? use.shapes_->OpCount() : use.text_->OpCount();
  PointBox box;
  for (size_t i = 0; i < count; ++i) {
    const bool drawn = ops[i].kind == ShapeOp::Kind::kFill || ops[i].kind == ShapeOp::Kind::kStroke;
    if (drawn) AddOp(ops[i], box);
    cost += double(ops[i].path.points.size());
  }
  // What is drawn is the moment of the frame.
  if (time != now) EvaluateContent(use, now, ignored);
  return box.Take(rect);
}

}  // namespace plexion_host::movie
