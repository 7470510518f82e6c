#include "host/player/application/paint/Painter.h"

#include <math.h>
#include <pango/pangocairo.h>
#include <string.h>

#include <algorithm>

#include "host/player/application/paint/PaintLayer.h"
#include "host/player/application/paint/Picture.h"

namespace plexion_host::player::application {

namespace {

constexpr double kPi = 3.14159265358979323846;
/// More rectangles than this are drawn as one around them all.
constexpr int kMostRectangles = 24;

void SetColour(cairo_t* cairo, const Colour& colour, double opacity) {
  cairo_set_source_rgba(cairo, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0,
                        colour.alpha / 255.0 * opacity);
}

void RoundedBox(cairo_t* cairo, double x, double y, double width, double height, double radius) {
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

void SetFill(cairo_t* cairo, const Element& element, double opacity) {
  if (element.fillEnd.none) {
    SetColour(cairo, element.fill, opacity);
    return;
  }
  // The line of the gradient goes through the middle and ends where its normal meets the corners.
  const double angle = element.gradientAngle * kPi / 180;
  const double x = cos(angle);
  const double y = sin(angle);
  const double half = (fabs(x) * element.width + fabs(y) * element.height) / 2;
  const double middleX = element.width / 2;
  const double middleY = element.height / 2;
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

}  // namespace

Painter::~Painter() {
  if (region_ != nullptr) cairo_region_destroy(region_);
}

DrawResult Painter::Draw(const DrawTarget& target, const std::string& counter) {
  DrawResult result;
  const StageFit fit = StageFit::Of(stage_, target.dims);
  const bool everything = target.everything || drawnDims_.width != target.dims.width ||
                          drawnDims_.height != target.dims.height;
  List list = CollectAll(fit, target.dims);
  const cairo_rectangle_int_t plane = {0, 0, static_cast<int>(target.dims.width),
                                       static_cast<int>(target.dims.height)};
  cairo_region_t* region = cairo_region_create();
  if (everything) {
    cairo_region_union_rectangle(region, &plane);
  } else {
    AddDifference(drawn_, list, region);
    if (cairo_region_num_rectangles(region) > kMostRectangles) {
      cairo_rectangle_int_t around;
      cairo_region_get_extents(region, &around);
      cairo_region_union_rectangle(region, &around);
    }
  }
  drawn_ = std::move(list);
  drawnDims_ = target.dims;
  if (cairo_region_is_empty(region)) {
    cairo_region_destroy(region);
    return result;
  }
  if (!counter.empty()) {
    counterBounds_ = {8, 8, 300, 28};
    cairo_region_union_rectangle(region, &counterBounds_);
  }
  cairo_region_intersect_rectangle(region, &plane);
  region_ = region;

  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(target.pixels), CAIRO_FORMAT_ARGB32, plane.width,
      plane.height, static_cast<int>(target.pitchBytes));
  cairo_t* cairo = cairo_create(surface);
  for (int i = 0; i < cairo_region_num_rectangles(region); ++i) {
    cairo_rectangle_int_t each;
    cairo_region_get_rectangle(region, i, &each);
    cairo_rectangle(cairo, each.x, each.y, each.width, each.height);
  }
  cairo_clip(cairo);
  PaintAll(cairo, fit, target.bgAlpha);
  if (!counter.empty()) PaintCounter(cairo, counter);
  const cairo_status_t status = cairo_status(cairo);
  cairo_destroy(cairo);
  cairo_surface_flush(surface);
  cairo_surface_destroy(surface);

  cairo_rectangle_int_t dirty;
  cairo_region_get_extents(region, &dirty);
  cairo_region_destroy(region);
  region_ = nullptr;
  result.drawn = true;
  result.dirty = {static_cast<uint32_t>(dirty.x), static_cast<uint32_t>(dirty.y),
                  static_cast<uint32_t>(dirty.width), static_cast<uint32_t>(dirty.height)};
  if (status != CAIRO_STATUS_SUCCESS) {
    result.failure = std::string("drawing failed: ") + cairo_status_to_string(status);
  }
  return result;
}

void Painter::PaintAll(cairo_t* cairo, const StageFit& fit, uint8_t bgAlpha) {
  cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
  cairo_set_source_rgba(cairo, 0, 0, 0, bgAlpha / 255.0);
  cairo_paint(cairo);
  cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);

  cairo_matrix_t still;
  cairo_matrix_init(&still, fit.scaleX, 0, 0, fit.scaleY, fit.offsetX, fit.offsetY);
  cairo_set_matrix(cairo, &still);
  cairo_rectangle(cairo, 0, 0, stage_.width, stage_.height);
  cairo_clip(cairo);
  if (!stage_.background.none) {
    SetColour(cairo, stage_.background, 1);
    cairo_paint(cairo);
  }
  PaintRoot(cairo, stage_.Backdrop(), still);
  Element* leaving = stage_.LeavingScene();
  if (leaving != nullptr && stage_.CurrentTransition().kind == TransitionKind::kFade) {
    PaintDissolve(cairo, still);
  } else {
    if (leaving != nullptr) PaintRoot(cairo, *leaving, SceneMatrixOf(stage_, fit, true));
    PaintRoot(cairo, *stage_.CurrentScene(), SceneMatrixOf(stage_, fit, false));
  }
  PaintRoot(cairo, stage_.Overlay(), still);
}

void Painter::PaintRoot(cairo_t* cairo, Element& root, const cairo_matrix_t& matrix) {
  cairo_save(cairo);
  cairo_set_matrix(cairo, &matrix);
  PaintChildren(cairo, root, 1);
  cairo_restore(cairo);
}

void Painter::PaintDissolve(cairo_t* cairo, const cairo_matrix_t& matrix) {
  // Both shares are added: painted one over the other, what lies beneath would shine through.
  const double progress = stage_.TransitionProgress();
  PaintLayer both(cairo, watchdog_);
  {
    PaintLayer leaving(both.Cairo(), watchdog_);
    PaintRoot(leaving.Cairo(), *stage_.LeavingScene(), matrix);
    leaving.Merge(1 - progress);
  }
  {
    PaintLayer arriving(both.Cairo(), watchdog_);
    PaintRoot(arriving.Cairo(), *stage_.CurrentScene(), matrix);
    arriving.Merge(progress, CAIRO_OPERATOR_ADD);
  }
  both.Merge(1);
}

void Painter::PaintChildren(cairo_t* cairo, Element& element, double opacity) {
  const std::vector<Element*> ordered = InOrder(element);
  // Several that overlap fade as one picture, not one through the other.
  if (opacity < 1 && ordered.size() > 1) {
    PaintLayer layer(cairo, watchdog_);
    for (Element* child : ordered) Paint(layer.Cairo(), *child, 1);
    layer.Merge(opacity);
    return;
  }
  for (Element* child : ordered) Paint(cairo, *child, opacity);
}

bool Painter::IsSeen(cairo_t* cairo, Element& element) {
  const Box box = ContentBox(element);
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;
  cairo_matrix_t matrix;
  cairo_get_matrix(cairo, &matrix);
  for (int corner = 0; corner < 4; ++corner) {
    double x = box.x + ((corner & 1) != 0 ? box.width : 0);
    double y = box.y + ((corner & 2) != 0 ? box.height : 0);
    cairo_matrix_transform_point(&matrix, &x, &y);
    left = std::min(left, x);
    right = std::max(right, x);
    top = std::min(top, y);
    bottom = std::max(bottom, y);
  }
  constexpr double kFar = 1e6;
  const int x = static_cast<int>(std::clamp(floor(left - 2), -kFar, kFar));
  const int y = static_cast<int>(std::clamp(floor(top - 2), -kFar, kFar));
  const cairo_rectangle_int_t bounds = {
      x, y, static_cast<int>(std::clamp(ceil(right + 2), -kFar, kFar)) - x,
      static_cast<int>(std::clamp(ceil(bottom + 2), -kFar, kFar)) - y};
  return cairo_region_contains_rectangle(region_, &bounds) != CAIRO_REGION_OVERLAP_OUT;
}

void Painter::Paint(cairo_t* cairo, Element& element, double opacity) {
  if (!element.visible || element.opacity <= 0 || element.scale <= 0) return;
  opacity *= element.opacity;
  cairo_save(cairo);
  cairo_matrix_t outer;
  cairo_get_matrix(cairo, &outer);
  const cairo_matrix_t matrix = PlacementOf(element, outer);
  cairo_set_matrix(cairo, &matrix);
  if (element.kind == ElementKind::kGroup) {
    if (element.clip) {
      RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
      cairo_clip(cairo);
    }
    PaintChildren(cairo, element, opacity);
    cairo_restore(cairo);
    return;
  }
  if (IsSeen(cairo, element)) {
    switch (element.kind) {
      case ElementKind::kRectangle:
        PaintRectangle(cairo, element, opacity);
        break;
      case ElementKind::kText:
        PaintText(cairo, element, opacity);
        break;
      case ElementKind::kImage: {
        if (element.resource == nullptr) {
          if (!element.failure.empty()) PaintPlaceholder(cairo, element, opacity);
          break;
        }
        auto& picture = static_cast<Picture&>(*element.resource);
        PaintPicture(cairo, element, {picture.pixels.As<uint32_t>(), picture.width, picture.height},
                     element.fit, opacity);
        break;
      }
      default: {
        if (element.resource == nullptr) {
          if (!element.failure.empty()) PaintPlaceholder(cairo, element, opacity);
          break;
        }
        const PlayedPixels pixels =
            played_.Render(element, element.width * hypot(matrix.xx, matrix.yx),
                           element.height * hypot(matrix.xy, matrix.yy));
        if (pixels.pixels != nullptr) PaintPicture(cairo, element, pixels, element.fit, opacity);
        break;
      }
    }
  }
  cairo_restore(cairo);
}

void Painter::PaintRectangle(cairo_t* cairo, const Element& element, double opacity) {
  if (!element.fill.none) {
    RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
    SetFill(cairo, element, opacity);
    cairo_fill(cairo);
  }
  if (!element.stroke.none && element.strokeWidth > 0) {
    RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
    SetColour(cairo, element.stroke, opacity);
    cairo_set_line_width(cairo, element.strokeWidth);
    cairo_stroke(cairo);
  }
}

void Painter::PaintText(cairo_t* cairo, const Element& element, double opacity) {
  const TextSetter::Setting& setting = texts_.Set(element);
  SetColour(cairo, element.color, opacity);
  cairo_move_to(cairo, setting.x, setting.y);
  pango_cairo_show_layout(cairo, setting.layout);
}

void Painter::PaintPicture(cairo_t* cairo, const Element& element, const PlayedPixels& picture,
                           int fit, double opacity) {
  if (element.width <= 0 || element.height <= 0) return;
  double scaleX = element.width / picture.width;
  double scaleY = element.height / picture.height;
  if (fit == kFitContain) scaleX = scaleY = std::min(scaleX, scaleY);
  if (fit == kFitCover) scaleX = scaleY = std::max(scaleX, scaleY);
  const double width = picture.width * scaleX;
  const double height = picture.height * scaleY;
  const double x = (element.width - width) / 2;
  const double y = (element.height - height) / 2;
  RoundedBox(cairo, std::max(x, 0.0), std::max(y, 0.0), std::min(width, element.width),
             std::min(height, element.height), element.radius);
  cairo_clip(cairo);
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(picture.pixels)),
      CAIRO_FORMAT_ARGB32, static_cast<int>(picture.width), static_cast<int>(picture.height),
      static_cast<int>(picture.width * sizeof(uint32_t)));
  cairo_translate(cairo, x, y);
  cairo_scale(cairo, scaleX, scaleY);
  cairo_set_source_surface(cairo, surface, 0, 0);
  cairo_matrix_t matrix;
  cairo_get_matrix(cairo, &matrix);
  // Averaging is worth its time where pixels would else be left out.
  const double shrink = hypot(matrix.xx, matrix.yx);
  cairo_pattern_set_filter(cairo_get_source(cairo),
                           shrink < 0.7 ? CAIRO_FILTER_GOOD : CAIRO_FILTER_BILINEAR);
  cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);
  cairo_paint_with_alpha(cairo, opacity);
  cairo_surface_destroy(surface);
}

void Painter::PaintPlaceholder(cairo_t* cairo, const Element& element, double opacity) {
  RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
  cairo_set_source_rgba(cairo, 0.5, 0.5, 0.5, 0.25 * opacity);
  cairo_fill_preserve(cairo);
  cairo_set_source_rgba(cairo, 0.5, 0.5, 0.5, 0.6 * opacity);
  cairo_set_line_width(cairo, 2);
  cairo_clip_preserve(cairo);
  cairo_move_to(cairo, 0, 0);
  cairo_line_to(cairo, element.width, element.height);
  cairo_move_to(cairo, element.width, 0);
  cairo_line_to(cairo, 0, element.height);
  cairo_stroke(cairo);
}

void Painter::PaintCounter(cairo_t* cairo, const std::string& counter) {
  cairo_identity_matrix(cairo);
  cairo_reset_clip(cairo);
  cairo_rectangle(cairo, counterBounds_.x, counterBounds_.y, counterBounds_.width,
                  counterBounds_.height);
  cairo_clip(cairo);
  cairo_set_source_rgba(cairo, 0, 0, 0, 0.75);
  cairo_paint(cairo);
  cairo_set_source_rgba(cairo, 1, 1, 1, 1);
  cairo_move_to(cairo, counterBounds_.x + 8, counterBounds_.y + 4);
  pango_cairo_show_layout(cairo, texts_.SetLine("Monospace", 15, counter));
}

}  // namespace plexion_host::player::application
