// Which parts of the plane are to be drawn anew.
#include <math.h>
#include <string.h>

#include <algorithm>

#include "host/player/application/paint/Painter.h"

namespace plexion_host::player::application {

namespace {

/// Edges are smoothed over the pixels beside them.
constexpr double kMargin = 1.5;

cairo_rectangle_int_t Intersection(const cairo_rectangle_int_t& a, const cairo_rectangle_int_t& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  if (right <= left || bottom <= top) return {0, 0, 0, 0};
  return {left, top, right - left, bottom - top};
}

cairo_rectangle_int_t Bounds(const Box& box, const cairo_matrix_t& matrix) {
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;
  for (int corner = 0; corner < 4; ++corner) {
    double x = box.x + ((corner & 1) != 0 ? box.width : 0);
    double y = box.y + ((corner & 2) != 0 ? box.height : 0);
    cairo_matrix_transform_point(&matrix, &x, &y);
    left = std::min(left, x);
    right = std::max(right, x);
    top = std::min(top, y);
    bottom = std::max(bottom, y);
  }
  // What is far outside of any plane must not leave the range of whole numbers.
  constexpr double kFar = 1e6;
  left = std::clamp(floor(left - kMargin), -kFar, kFar);
  top = std::clamp(floor(top - kMargin), -kFar, kFar);
  right = std::clamp(ceil(right + kMargin), -kFar, kFar);
  bottom = std::clamp(ceil(bottom + kMargin), -kFar, kFar);
  return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
          static_cast<int>(bottom - top)};
}

bool SameMatrix(const cairo_matrix_t& a, const cairo_matrix_t& b) {
  return a.xx == b.xx && a.yx == b.yx && a.xy == b.xy && a.yy == b.yy && a.x0 == b.x0 &&
         a.y0 == b.y0;
}

bool SameRectangle(const cairo_rectangle_int_t& a, const cairo_rectangle_int_t& b) {
  return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

}  // namespace

Box Painter::ContentBox(Element& element) {
  if (element.kind == ElementKind::kText) return texts_.Set(element).ink;
  Box box = {0, 0, element.width, element.height};
  if (element.kind == ElementKind::kRectangle && !element.stroke.none) {
    const double half = element.strokeWidth / 2;
    box = {-half, -half, box.width + element.strokeWidth, box.height + element.strokeWidth};
  }
  return box;
}

void Painter::Collect(Element& element, cairo_matrix_t matrix, double opacity, Clip clip,
                      List& list) {
  if (!element.visible || element.opacity <= 0 || element.scale <= 0) return;
  matrix = PlacementOf(element, matrix);
  opacity *= element.opacity;
  if (element.kind == ElementKind::kGroup) {
    if (element.clip) {
      clip.box = Intersection(clip.box, Bounds({0, 0, element.width, element.height}, matrix));
      clip.rounding = clip.rounding * 31 + element.radius;
    }
    CollectScene(element, matrix, opacity, clip, list);
    return;
  }
  const cairo_rectangle_int_t bounds = Intersection(clip.box, Bounds(ContentBox(element), matrix));
  if (bounds.width <= 0) return;
  list.push_back({element.handle, element.revision, matrix, opacity, clip, bounds});
}

void Painter::CollectScene(Element& root, const cairo_matrix_t& base, double opacity,
                           const Clip& clip, List& list) {
  for (Element* child : InOrder(root)) Collect(*child, base, opacity, clip, list);
}

Painter::List Painter::CollectAll(const StageFit& fit, qx::plexion::Dims dims) {
  List list;
  const cairo_rectangle_int_t plane = {0, 0, static_cast<int>(dims.width),
                                       static_cast<int>(dims.height)};
  cairo_matrix_t still;
  cairo_matrix_init(&still, fit.scaleX, 0, 0, fit.scaleY, fit.offsetX, fit.offsetY);
  const Box whole = {0, 0, static_cast<double>(stage_.width), static_cast<double>(stage_.height)};
  const Clip clip = {Intersection(plane, Bounds(whole, still)), 0};
  CollectScene(stage_.Backdrop(), still, 1, clip, list);
  double arriving = 1;
  if (Element* leaving = stage_.LeavingScene()) {
    const bool fades = stage_.CurrentTransition().kind == TransitionKind::kFade;
    if (fades) arriving = stage_.TransitionProgress();
    CollectScene(*leaving, SceneMatrixOf(stage_, fit, true), fades ? 1 - arriving : 1, clip, list);
  }
  CollectScene(*stage_.CurrentScene(), SceneMatrixOf(stage_, fit, false), arriving, clip, list);
  CollectScene(stage_.Overlay(), still, 1, clip, list);
  return list;
}

void Painter::AddDifference(const List& before, const List& after, cairo_region_t* region) {
  std::unordered_map<uint32_t, size_t> places;
  for (size_t i = 0; i < before.size(); ++i) places[before[i].handle] = i;
  size_t farthest = 0;
  for (const Placed& now : after) {
    const auto found = places.find(now.handle);
    if (found == places.end()) {
      cairo_region_union_rectangle(region, &now.bounds);
      continue;
    }
    const Placed& then = before[found->second];
    // Whatever now stands behind an element that it stood before.
    const bool overtaken = found->second < farthest;
    farthest = std::max(farthest, found->second);
    places.erase(found);
    if (!overtaken && now.revision == then.revision && now.opacity == then.opacity &&
        SameRectangle(now.clip.box, then.clip.box) && now.clip.rounding == then.clip.rounding &&
        SameMatrix(now.matrix, then.matrix)) {
      continue;
    }
    cairo_region_union_rectangle(region, &then.bounds);
    cairo_region_union_rectangle(region, &now.bounds);
  }
  for (const auto& gone : places) cairo_region_union_rectangle(region, &before[gone.second].bounds);
}

}  // namespace plexion_host::player::application
