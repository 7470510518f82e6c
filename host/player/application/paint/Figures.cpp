// Draws rectangles, lines, polygons and arcs, and says where they are hit.
#include "host/player/application/paint/Figures.h"

#include <math.h>

#include <algorithm>
#include <memory>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

/// Sharper corners of a stroke are cut off.
constexpr double kMiterLimit = 4;

void SetFill(cairo_t* cairo, const Element& element, const Box& box, double opacity) {
  if (element.fillEnd.none) {
    SetColour(cairo, element.fill, opacity);
    return;
  }
  // The line of the gradient goes through the middle and ends where its normal meets the corners.
  const double angle = element.gradientAngle * kPi / 180;
  const double x = cos(angle);
  const double y = sin(angle);
  const double half = (fabs(x) * box.width + fabs(y) * box.height) / 2;
  const double middleX = box.x + box.width / 2;
  const double middleY = box.y + box.height / 2;
  cairo_pattern_t* pattern = cairo_pattern_create_linear(middleX - x * half, middleY - y * half,
                                                         middleX + x * half, middleY + y * half);
  double offset = 0;
  for (const Colour* colour : {&element.fill, &element.fillEnd}) {
    cairo_pattern_add_color_stop_rgba(pattern, offset, colour->red / 255.0, colour->green / 255.0,
                                      colour->blue / 255.0, colour->alpha / 255.0 * opacity);
    offset = 1;
  }
  cairo_set_source(cairo, pattern);
  cairo_pattern_destroy(pattern);
}

Box BoxOfPoints(const std::vector<double>& points) {
  if (points.empty()) return {};
  double ends[4] = {points[0], points[1], points[0], points[1]};
  for (size_t i = 2; i + 1 < points.size(); i += 2) {
    ends[0] = std::min(ends[0], points[i]);
    ends[1] = std::min(ends[1], points[i + 1]);
    ends[2] = std::max(ends[2], points[i]);
    ends[3] = std::max(ends[3], points[i + 1]);
  }
  return {ends[0], ends[1], ends[2] - ends[0], ends[3] - ends[1]};
}

void PathOfPoints(cairo_t* cairo, const Element& element) {
  const std::vector<double>& points = element.points;
  // A text before it leaves a point behind, from which a line would else begin.
  cairo_new_path(cairo);
  for (size_t i = 0; i + 1 < points.size(); i += 2) cairo_line_to(cairo, points[i], points[i + 1]);
  if (element.kind == ElementKind::kPolygon && !points.empty()) cairo_close_path(cairo);
}

/// Half of an ellipse's box, and how far it goes around; from the top, clockwise, as clocks do.
struct ArcShape {
  double radiusX;
  double radiusY;
  double hole;  ///< inner radius as a part of the outer
  double begin;
  double end;
  bool whole;

  explicit ArcShape(const Element& element)
      : radiusX(element.width / 2), radiusY(element.height / 2), hole(0) {
    const double least = std::min(radiusX, radiusY);
    if (element.thickness > 0 && least > 0) hole = std::max(0.0, 1 - element.thickness / least);
    const double from = std::min(element.from, element.to);
    const double sweep = std::min(fabs(element.to - element.from), 360.0);
    begin = (fmod(from, 360) - 90) * kPi / 180;
    end = begin + sweep * kPi / 180;
    whole = sweep >= 360;
  }
};

void PathOfArc(cairo_t* cairo, const Element& element) {
  const ArcShape arc(element);
  if (arc.radiusX <= 0 || arc.radiusY <= 0 || arc.end <= arc.begin) return;
  cairo_matrix_t before;
  cairo_get_matrix(cairo, &before);
  cairo_translate(cairo, arc.radiusX, arc.radiusY);
  cairo_scale(cairo, arc.radiusX, arc.radiusY);
  cairo_new_sub_path(cairo);
  cairo_arc(cairo, 0, 0, 1, arc.begin, arc.end);
  if (arc.whole) {
    cairo_close_path(cairo);
    if (arc.hole > 0) cairo_new_sub_path(cairo);
  }
  if (arc.hole > 0) {
    cairo_arc_negative(cairo, 0, 0, arc.hole, arc.end, arc.begin);
  } else if (!arc.whole) {
    cairo_line_to(cairo, 0, 0);
  }
  cairo_close_path(cairo);
  // The line around it is as wide everywhere, whatever shape the ellipse has.
  cairo_set_matrix(cairo, &before);
}

void PathOf(cairo_t* cairo, const Element& element) {
  switch (element.kind) {
    case ElementKind::kRectangle:
      RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
      break;
    case ElementKind::kArc:
      PathOfArc(cairo, element);
      break;
    default:
      PathOfPoints(cairo, element);
      break;
  }
}

bool IsFilled(const Element& element) {
  return element.kind != ElementKind::kLine && !element.fill.none;
}

bool IsStroked(const Element& element) { return !element.stroke.none && element.strokeWidth > 0; }

void SetStroke(cairo_t* cairo, const Element& element) {
  cairo_set_line_width(cairo, element.strokeWidth);
  cairo_set_miter_limit(cairo, kMiterLimit);
  cairo_set_line_cap(cairo, element.cap == kCapRound    ? CAIRO_LINE_CAP_ROUND
                            : element.cap == kCapSquare ? CAIRO_LINE_CAP_SQUARE
                                                        : CAIRO_LINE_CAP_BUTT);
  cairo_set_line_join(cairo, element.join == kJoinRound   ? CAIRO_LINE_JOIN_ROUND
                             : element.join == kJoinBevel ? CAIRO_LINE_JOIN_BEVEL
                                                          : CAIRO_LINE_JOIN_MITER);
}

Box BoxOf(const Element& element) {
  return element.kind == ElementKind::kLine || element.kind == ElementKind::kPolygon
             ? BoxOfPoints(element.points)
             : Box{0, 0, element.width, element.height};
}

bool IsRectangleHit(const Element& element, double x, double y) {
  const bool inside = IsInRoundedBox(x, y, element.width, element.height, element.radius);
  if (inside && IsFilled(element)) return true;
  if (!IsStroked(element)) return false;
  const double half = element.strokeWidth / 2;
  const double innerRadius = std::max(element.radius - half, 0.0);
  return IsInRoundedBox(x + half, y + half, element.width + element.strokeWidth,
                        element.height + element.strokeWidth,
                        element.radius > 0 ? element.radius + half : 0) &&
         !IsInRoundedBox(x - half, y - half, element.width - element.strokeWidth,
                         element.height - element.strokeWidth, innerRadius);
}

}  // namespace

bool IsFigure(ElementKind kind) {
  return kind == ElementKind::kRectangle || kind == ElementKind::kLine ||
         kind == ElementKind::kPolygon || kind == ElementKind::kArc;
}

void SetColour(cairo_t* cairo, const Colour& colour, double opacity) {
  cairo_set_source_rgba(cairo, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0,
                        colour.alpha / 255.0 * opacity);
}

void RoundedBox(cairo_t* cairo, double x, double y, double width, double height, double radius) {
  // Corners that would meet become half circles.
  radius = std::min(radius, std::min(width, height) / 2);
  if (radius <= 0) {
    cairo_rectangle(cairo, x, y, width, height);
    return;
  }
  cairo_new_sub_path(cairo);
  cairo_arc(cairo, x + width - radius, y + radius, radius, -kPi / 2, 0);
  cairo_arc(cairo, x + width - radius, y + height - radius, radius, 0, kPi / 2);
  cairo_arc(cairo, x + radius, y + height - radius, radius, kPi / 2, kPi);
  cairo_arc(cairo, x + radius, y + radius, radius, kPi, kPi * 3 / 2);
  cairo_close_path(cairo);
}

bool IsInRoundedBox(double x, double y, double width, double height, double radius) {
  if (!(x >= 0 && y >= 0 && x < width && y < height)) return false;
  radius = std::min(radius, std::min(width, height) / 2);
  // Only at the corners can a point be in the box and not in the shape.
  const double outX = std::max({radius - x, x - (width - radius), 0.0});
  const double outY = std::max({radius - y, y - (height - radius), 0.0});
  return hypot(outX, outY) <= radius || outX == 0 || outY == 0;
}

void PaintFigure(cairo_t* cairo, const Element& element, double opacity) {
  PLEXION_CHECK(IsFigure(element.kind), "only figures have paths");
  if (IsFilled(element)) {
    PathOf(cairo, element);
    SetFill(cairo, element, BoxOf(element), opacity);
    cairo_fill(cairo);
  }
  if (IsStroked(element)) {
    PathOf(cairo, element);
    SetColour(cairo, element.stroke, opacity);
    SetStroke(cairo, element);
    cairo_stroke(cairo);
  }
}

Box FigureBox(const Element& element) {
  Box box = BoxOf(element);
  if (!IsStroked(element)) return box;
  double beyond = element.strokeWidth / 2;
  // Corners of a stroke, and its square ends.
  if (element.kind != ElementKind::kRectangle) beyond *= kMiterLimit;
  return {box.x - beyond, box.y - beyond, box.width + 2 * beyond, box.height + 2 * beyond};
}

bool IsFigureHit(const Element& element, double x, double y) {
  if (element.kind == ElementKind::kRectangle) return IsRectangleHit(element, x, y);
  const Box box = FigureBox(element);
  if (x < box.x || y < box.y || x > box.x + box.width || y > box.y + box.height) return false;
  // The drawing library knows best what it draws; it needs no pixels for that.
  const std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)> surface(
      cairo_image_surface_create(CAIRO_FORMAT_A8, 0, 0), cairo_surface_destroy);
  const std::unique_ptr<cairo_t, void (*)(cairo_t*)> cairo(cairo_create(surface.get()),
                                                           cairo_destroy);
  PathOf(cairo.get(), element);
  if (IsFilled(element) && cairo_in_fill(cairo.get(), x, y) != 0) return true;
  if (!IsStroked(element)) return false;
  SetStroke(cairo.get(), element);
  return cairo_in_stroke(cairo.get(), x, y) != 0;
}

}  // namespace plexion_host::player::application
