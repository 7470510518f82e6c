// Finds where elements lie, and which lies in front at a point.
#include "host/player/application/paint/Placement.h"

#include <math.h>

#include <algorithm>
#include <vector>

#include "host/player/application/paint/Figures.h"

namespace plexion_host::player::application {

namespace {

/// `x` and `y` are the element's own.
bool IsHit(const Element& element, TextLayouts& texts, double x, double y) {
  const bool inside = IsInRoundedBox(x, y, element.width, element.height, element.radius);
  switch (element.kind) {
    case ElementKind::kRectangle:
    case ElementKind::kLine:
    case ElementKind::kPolygon:
    case ElementKind::kArc:
      return IsFigureHit(element, x, y);
    case ElementKind::kQr:
      return inside;
    case ElementKind::kText: {
      const Box& box = texts.LayOut(element).logical;
      return IsInRoundedBox(x - box.x, y - box.y, box.width, box.height, 0);
    }
    case ElementKind::kGroup:
      return false;
    default:
      // Whether or not it is loaded: a button does not wait for its picture.
      return inside && !element.src.empty();
  }
}

Element* FindAt(Element& element, TextLayouts& texts, const cairo_matrix_t& matrix, double x,
                double y);

Element* FindAmongChildren(Element& element, TextLayouts& texts, const cairo_matrix_t& matrix,
                           double x, double y) {
  const std::vector<Element*> ordered = InOrder(element);
  // From front to back, the first that is hit.
  for (auto at = ordered.rbegin(); at != ordered.rend(); ++at) {
    if (Element* found = FindAt(**at, texts, matrix, x, y)) return found;
  }
  return nullptr;
}

Element* FindAt(Element& element, TextLayouts& texts, const cairo_matrix_t& outer, double x,
                double y) {
  if (!element.visible || element.opacity <= 0 || element.scale <= 0) return nullptr;
  const cairo_matrix_t matrix = PlacementOf(element, outer);
  cairo_matrix_t inverse = matrix;
  // A scale of next to nothing leaves no point to hit.
  if (cairo_matrix_invert(&inverse) != CAIRO_STATUS_SUCCESS) return nullptr;
  double ownX = x;
  double ownY = y;
  cairo_matrix_transform_point(&inverse, &ownX, &ownY);
  if (element.kind != ElementKind::kGroup) {
    return IsHit(element, texts, ownX, ownY) ? &element : nullptr;
  }
  if (element.clip && !IsInRoundedBox(ownX, ownY, element.width, element.height, element.radius)) {
    return nullptr;
  }
  return FindAmongChildren(element, texts, matrix, x, y);
}

}  // namespace

cairo_matrix_t PlacementOf(const Element& element, const cairo_matrix_t& outer) {
  cairo_matrix_t matrix = outer;
  cairo_matrix_translate(&matrix, element.x, element.y);
  if (element.rotation != 0 || element.scale != 1) {
    const double pivotX = element.pivotX * element.width;
    const double pivotY = element.pivotY * element.height;
    cairo_matrix_translate(&matrix, pivotX, pivotY);
    cairo_matrix_rotate(&matrix, element.rotation * kPi / 180);
    // A scale of nothing cannot be undone, which the drawing library takes for an error.
    const double scale = std::max(element.scale, 1e-6);
    cairo_matrix_scale(&matrix, scale, scale);
    cairo_matrix_translate(&matrix, -pivotX, -pivotY);
  }
  return matrix;
}

cairo_matrix_t SceneMatrixOf(const Stage& stage, const StageFit& fit, bool leaving) {
  cairo_matrix_t matrix;
  cairo_matrix_init(&matrix, fit.scaleX, 0, 0, fit.scaleY, fit.x, fit.y);
  const Transition& transition = stage.CurrentTransition();
  if (stage.LeavingScene() != nullptr && transition.kind == TransitionKind::kSlide) {
    // Both move together: one leaves as far as the other still has to come.
    const double way = leaving ? stage.TransitionProgress() : stage.TransitionProgress() - 1;
    cairo_matrix_translate(&matrix, transition.directionX * way * stage.width,
                           transition.directionY * way * stage.height);
  }
  return matrix;
}

std::vector<Element*> InOrder(const Element& group) {
  std::vector<Element*> ordered;
  ordered.reserve(group.children.size());
  for (const auto& child : group.children) ordered.push_back(child.get());
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const Element* a, const Element* b) { return a->order < b->order; });
  return ordered;
}

Element* ElementAt(Stage& stage, TextLayouts& texts, double x, double y) {
  if (!(x >= 0 && y >= 0 && x < stage.width && y < stage.height)) return nullptr;
  cairo_matrix_t still;
  cairo_matrix_init_identity(&still);
  const cairo_matrix_t scene = SceneMatrixOf(stage, StageFit(), false);
  if (Element* found = FindAmongChildren(stage.Overlay(), texts, still, x, y)) return found;
  if (Element* found = FindAmongChildren(*stage.CurrentScene(), texts, scene, x, y)) return found;
  return FindAmongChildren(stage.Backdrop(), texts, still, x, y);
}

}  // namespace plexion_host::player::application
