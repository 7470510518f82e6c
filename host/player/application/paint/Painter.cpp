// Paints a display list, or the parts of it that changed, with cairo.
#include "host/player/application/paint/Painter.h"

#include <math.h>
#include <pango/pangocairo.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "host/base/Check.h"
#include "host/player/application/paint/Figures.h"
#include "host/player/application/paint/PaintLayer.h"
#include "host/player/application/paint/Picture.h"

namespace plexion_host::player::application {

namespace {

/// More rectangles than this are drawn as one around them all.
constexpr int kMostRectangles = 24;
constexpr cairo_rectangle_int_t kCounterBounds = {8, 8, 300, 28};
/// A text of more bytes is painted in parts, with a look at the end of the content between them.
constexpr size_t kLongText = 2000;
/// Letters of such a part, and pixels that they may cover all together.
constexpr int kMostLettersAtOnce = 500;
constexpr double kMostPixelsAtOnce = 8e6;

void PaintPicture(cairo_t* cairo, const Element& element, const EmbeddedPixels& picture,
                  double opacity) {
  if (element.width <= 0 || element.height <= 0) return;
  double scaleX = element.width / picture.width;
  double scaleY = element.height / picture.height;
  if (element.fit == kFitContain) scaleX = scaleY = std::min(scaleX, scaleY);
  if (element.fit == kFitCover) scaleX = scaleY = std::max(scaleX, scaleY);
  const double width = picture.width * scaleX;
  const double height = picture.height * scaleY;
  const double x = (element.width - width) / 2;
  const double y = (element.height - height) / 2;
  // The corners of what is seen of the picture are round, not those of the empty box around it.
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
  // Else the edge would fade into what lies beyond the picture.
  cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);
  cairo_paint_with_alpha(cairo, opacity);
  cairo_surface_destroy(surface);
}

void PaintPlaceholder(cairo_t* cairo, const Element& element, double opacity) {
  RoundedBox(cairo, 0, 0, element.width, element.height, element.radius);
  cairo_set_source_rgba(cairo, 0.5, 0.5, 0.5, 0.25 * opacity);
  cairo_fill_preserve(cairo);
  cairo_set_source_rgba(cairo, 0.5, 0.5, 0.5, 0.6 * opacity);
  cairo_set_line_width(cairo, 2);
  cairo_clip_preserve(cairo);
  // Half transparent grey is seen on dark and on light.
  cairo_move_to(cairo, 0, 0);
  cairo_line_to(cairo, element.width, element.height);
  cairo_move_to(cairo, element.width, 0);
  cairo_line_to(cairo, 0, element.height);
  cairo_stroke(cairo);
}

bool Touches(const cairo_region_t* region, const cairo_rectangle_int_t& bounds) {
  return cairo_region_contains_rectangle(region, &bounds) != CAIRO_REGION_OVERLAP_OUT;
}

/// How many pixels long a unit of an element is on the plane, across and down.
double PixelsAcross(const cairo_matrix_t& matrix) { return hypot(matrix.xx, matrix.yx); }
double PixelsDown(const cairo_matrix_t& matrix) { return hypot(matrix.xy, matrix.yy); }

}  // namespace

bool Painter::TouchWhatIsLate() {
  bool any = false;
  for (const uint32_t handle : qrCodes_.TakeLate()) {
    Element* element = stage_.FindByHandle(handle);
    if (element != nullptr) stage_.TouchPicture(*element);
    any = any || element != nullptr;
  }
  return any;
}

bool Painter::TouchWhatIsBesideItsPlace() {
  // Whether it goes on moving or has come to rest is known at the next picture.
  const bool any = effects_.HasBesideItsPlace(drawn_);
  if (any) stage_.TouchDrawing();
  return any;
}

DrawResult Painter::Draw(const DrawTarget& target, const StageFit& fit, const DrawingNotes& notes) {
  PLEXION_CHECK(target.pixels != nullptr && target.dims.width > 0 && target.dims.height > 0,
                "there is a plane");
  PLEXION_CHECK(target.pitchBytes >= target.dims.width * sizeof(uint32_t), "rows do not overlap");
  DrawResult result;
  const bool everything = target.everything || notes.problem != drawnProblem_ ||
                          !notes.problem.empty() || drawnDims_.width != target.dims.width ||
                          drawnDims_.height != target.dims.height;
  // A picture that is drawn whole is exact: it may be kept by somebody else.
  if (everything) {
    kept_.Clear();
  } else {
    kept_.Look(stage_);
  }
  qrCodes_.BeginPicture(everything);
  DisplayList list = BuildDisplayList(stage_, texts_, fit, target.dims, kept_);
  for (const auto& [element, reason] : list.refused) host_.refuse(*element, reason);
  const cairo_rectangle_int_t plane = {0, 0, static_cast<int>(target.dims.width),
                                       static_cast<int>(target.dims.height)};
  const std::unique_ptr<cairo_region_t, void (*)(cairo_region_t*)> owned(cairo_region_create(),
                                                                         cairo_region_destroy);
  cairo_region_t* region = owned.get();
  if (everything) {
    cairo_region_union_rectangle(region, &plane);
  } else {
    AddDifference(drawn_, list, region);
    if (cairo_region_num_rectangles(region) > kMostRectangles) {
      cairo_rectangle_int_t around;
      // Each rectangle is a clip of its own in every drawing call.
      cairo_region_get_extents(region, &around);
      cairo_region_union_rectangle(region, &around);
    }
  }
  if (!cairo_region_is_empty(region)) {
    if (!notes.counter.empty()) cairo_region_union_rectangle(region, &kCounterBounds);
    cairo_region_intersect_rectangle(region, &plane);
    PaintRegion(target, fit, list, region, notes, result);
  }
  effects_.KeepThoseOf(list);
  drawn_ = std::move(list);
  drawnDims_ = target.dims;
  drawnProblem_ = notes.problem;
  return result;
}

void Painter::PaintRegion(const DrawTarget& target, const StageFit& fit, const DisplayList& list,
                          const cairo_region_t* region, const DrawingNotes& notes,
                          DrawResult& result) {
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(target.pixels), CAIRO_FORMAT_ARGB32,
      static_cast<int>(target.dims.width), static_cast<int>(target.dims.height),
      static_cast<int>(target.pitchBytes));
  cairo_t* cairo = cairo_create(surface);
  for (int i = 0; i < cairo_region_num_rectangles(region); ++i) {
    cairo_rectangle_int_t each;
    cairo_region_get_rectangle(region, i, &each);
    cairo_rectangle(cairo, each.x, each.y, each.width, each.height);
  }
  cairo_clip(cairo);
  cairo_rectangle_int_t dirty;
  cairo_region_get_extents(region, &dirty);
  const std::optional<size_t> first = FirstSeen(list, dirty);
  PaintGround(cairo, fit, target.bgAlpha, first.has_value());
  PaintItems(cairo, list, first.value_or(0), list.items.size(), region);
  if (!notes.counter.empty()) PaintCounter(cairo, notes.counter);
  if (!notes.problem.empty()) PaintProblem(cairo, target.dims, notes.problem);
  const cairo_status_t status = cairo_status(cairo);
  cairo_destroy(cairo);
  cairo_surface_flush(surface);
  cairo_surface_destroy(surface);

  result.drawn = true;
  result.dirty = {static_cast<uint32_t>(dirty.x), static_cast<uint32_t>(dirty.y),
                  static_cast<uint32_t>(dirty.width), static_cast<uint32_t>(dirty.height)};
  if (status != CAIRO_STATUS_SUCCESS) {
    result.failure = std::string("drawing failed: ") + cairo_status_to_string(status);
  }
}

void Painter::PaintGround(cairo_t* cairo, const StageFit& fit, uint8_t bgAlpha, bool hidden) {
  cairo_matrix_t still;
  cairo_matrix_init(&still, fit.scaleX, 0, 0, fit.scaleY, fit.x, fit.y);
  if (hidden) {
    // What hides it lies inside of the stage.
    cairo_set_matrix(cairo, &still);
    return;
  }
  // Clears what was there, wherever the stage is to be drawn anew: the plane keeps its last
  // picture.
  cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
  cairo_set_source_rgba(cairo, 0, 0, 0, bgAlpha / 255.0);
  cairo_paint(cairo);
  cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);

  cairo_set_matrix(cairo, &still);
  cairo_rectangle(cairo, 0, 0, stage_.width, stage_.height);
  cairo_clip(cairo);
  if (!stage_.background.none) {
    SetColour(cairo, stage_.background, 1);
    cairo_paint(cairo);
  }
}

void Painter::PaintItems(cairo_t* cairo, const DisplayList& list, size_t begin, size_t end,
                         const cairo_region_t* region) {
  const auto isSeen = [region](const DisplayItem& item) {
    return region == nullptr || Touches(region, item.bounds);
  };
  std::vector<std::unique_ptr<PaintLayer>> layers;
  for (size_t i = begin; i < end && !host_.cancelled(); ++i) {
    const DisplayItem& item = list.items[i];
    cairo_t* on = layers.empty() ? cairo : layers.back()->Cairo();
    switch (item.kind) {
      case DisplayItem::Kind::kElement:
        if (isSeen(item)) PaintElement(on, item);
        break;
      case DisplayItem::Kind::kPushClip:
        if (!isSeen(item)) {
          i = item.end;
          break;
        }
        cairo_save(on);
        cairo_set_matrix(on, &item.matrix);
        RoundedBox(on, 0, 0, item.element->width, item.element->height, item.element->radius);
        cairo_clip(on);
        break;
      case DisplayItem::Kind::kPopClip:
        cairo_restore(on);
        break;
      case DisplayItem::Kind::kPushLayer:
        if (isSeen(item)) {
          layers.push_back(std::make_unique<PaintLayer>(on, item.bounds, watchdog_));
        } else {
          i = item.end;
        }
        break;
      case DisplayItem::Kind::kPushEffect:
        if (!isSeen(item) || PaintEffect(on, list, i)) i = item.end;
        break;
      case DisplayItem::Kind::kPopEffect:
        break;
      case DisplayItem::Kind::kPopLayer:
        PLEXION_CHECK(!layers.empty(), "what is popped was pushed");
        layers.back()->Merge(item.opacity, item.merge);
        layers.pop_back();
        break;
    }
  }
  // When it was cancelled, what lies below a layer goes last.
  while (!layers.empty()) layers.pop_back();
}

bool Painter::PaintEffect(cairo_t* cairo, const DisplayList& list, size_t begin) {
  const int64_t began = costs_.Now();
  const bool done = effects_.Paint(cairo, list, begin, [&](cairo_t* on, size_t first, size_t last) {
    PaintItems(on, list, first, last, nullptr);
  });
  costs_.AddElement(*list.items[begin].element, began);
  return done;
}

void Painter::PaintElement(cairo_t* cairo, const DisplayItem& item) {
  Element& element = *item.element;
  const int64_t began = costs_.Now();
  cairo_save(cairo);
  cairo_set_matrix(cairo, &item.matrix);
  if (IsFigure(element.kind)) {
    PaintFigure(cairo, element, item.opacity);
  } else if (element.kind == ElementKind::kQr) {
    qrCodes_.Paint(cairo, element, item.opacity);
  } else if (element.kind == ElementKind::kText) {
    PaintText(cairo, item);
  } else if (element.resource == nullptr) {
    if (!element.failure.empty() && host_.marksMissing)
      PaintPlaceholder(cairo, element, item.opacity);
  } else if (element.kind == ElementKind::kImage) {
    StillPicture& picture = static_cast<Picture&>(*element.resource).still;
    PaintPicture(cairo, element, {picture.pixels.As<uint32_t>(), picture.width, picture.height},
                 item.opacity);
  } else {
    const EmbeddedPixels pixels =
        embedded_.Render(element, element.width * PixelsAcross(item.matrix),
                         element.height * PixelsDown(item.matrix));
    if (pixels.pixels != nullptr) PaintPicture(cairo, element, pixels, item.opacity);
  }
  cairo_restore(cairo);
  costs_.AddElement(element, began);
}

void Painter::PaintText(cairo_t* cairo, const DisplayItem& item) {
  const Element& element = *item.element;
  const TextLayouts::Placed& placed = texts_.LayOut(element);
  if (placed.layout == nullptr) return;
  // The library knows nothing of an opacity on top of the colours of spans.
  const bool merged = !element.spans.empty() && item.opacity < 1;
  if (merged) cairo_push_group(cairo);
  SetColour(cairo, element.color, merged ? 1 : item.opacity);
  if (!placed.shifts.empty() || (!element.spans.empty() && element.text.size() > kLongText)) {
    PaintLines(cairo, placed);
  } else if (element.text.size() > kLongText) {
    const double letter = element.size;
    PaintLongText(cairo, placed,
                  letter * letter * PixelsAcross(item.matrix) * PixelsDown(item.matrix));
  } else {
    cairo_move_to(cairo, placed.x, placed.y);
    pango_cairo_show_layout(cairo, placed.layout);
  }
  if (!merged) return;
  cairo_pop_group_to_source(cairo);
  cairo_paint_with_alpha(cairo, item.opacity);
}

void Painter::PaintLines(cairo_t* cairo, const TextLayouts::Placed& placed) {
  const std::unique_ptr<PangoLayoutIter, void (*)(PangoLayoutIter*)> iter(
      pango_layout_get_iter(placed.layout), pango_layout_iter_free);
  size_t line = 0;
  do {
    if (host_.cancelled()) return;
    PangoRectangle place;
    pango_layout_iter_get_line_extents(iter.get(), nullptr, &place);
    const double shift = line < placed.shifts.size() ? placed.shifts[line] : 0;
    const int baseline = pango_layout_iter_get_baseline(iter.get());
    cairo_move_to(cairo, placed.x + shift + static_cast<double>(place.x) / PANGO_SCALE,
                  placed.y + static_cast<double>(baseline) / PANGO_SCALE);
    pango_cairo_show_layout_line(cairo, pango_layout_iter_get_line_readonly(iter.get()));
    ++line;
  } while (pango_layout_iter_next_line(iter.get()) != FALSE);
}

void Painter::PaintLongText(cairo_t* cairo, const TextLayouts::Placed& placed,
                            double letterPixels) {
  const int most = static_cast<int>(
      std::clamp(kMostPixelsAtOnce / letterPixels, 4.0, static_cast<double>(kMostLettersAtOnce)));
  const std::unique_ptr<PangoLayoutIter, void (*)(PangoLayoutIter*)> iter(
      pango_layout_get_iter(placed.layout), pango_layout_iter_free);
  do {
    PangoGlyphItem* run = pango_layout_iter_get_run_readonly(iter.get());
    if (run == nullptr) continue;
    PangoRectangle place;
    pango_layout_iter_get_run_extents(iter.get(), nullptr, &place);
    double x = placed.x + static_cast<double>(place.x) / PANGO_SCALE;
    const double y =
        placed.y + static_cast<double>(pango_layout_iter_get_baseline(iter.get())) / PANGO_SCALE;
    for (int first = 0; first < run->glyphs->num_glyphs; first += most) {
      if (host_.cancelled()) return;
      PangoGlyphString part = *run->glyphs;
      part.glyphs += first;
      part.log_clusters += first;
      part.num_glyphs = std::min(most, run->glyphs->num_glyphs - first);
      cairo_move_to(cairo, x, y);
      pango_cairo_show_glyph_string(cairo, run->item->analysis.font, &part);
      x += static_cast<double>(pango_glyph_string_get_width(&part)) / PANGO_SCALE;
    }
  } while (pango_layout_iter_next_run(iter.get()) != FALSE);
}

void Painter::PaintCounter(cairo_t* cairo, const std::string& counter) {
  cairo_identity_matrix(cairo);
  cairo_reset_clip(cairo);
  cairo_rectangle(cairo, kCounterBounds.x, kCounterBounds.y, kCounterBounds.width,
                  kCounterBounds.height);
  cairo_clip(cairo);
  cairo_set_source_rgba(cairo, 0, 0, 0, 0.75);
  cairo_paint(cairo);
  cairo_set_source_rgba(cairo, 1, 1, 1, 1);
  cairo_move_to(cairo, kCounterBounds.x + 8, kCounterBounds.y + 4);
  pango_cairo_show_layout(cairo, texts_.LayOutLine("Monospace", 15, counter));
}

void Painter::PaintProblem(cairo_t* cairo, const qx::plexion::Dims& dims,
                           const std::string& problem) {
  constexpr double kMargin = 12;
  cairo_identity_matrix(cairo);
  cairo_reset_clip(cairo);
  const double size = std::clamp(dims.height / 36.0, 9.0, 32.0);
  PangoLayout* layout = texts_.LayOutLine("Monospace", size, problem);
  pango_layout_set_width(
      layout,
      static_cast<int>((dims.width - std::min(2 * kMargin, dims.width / 2.0)) * PANGO_SCALE));
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  int height = 0;
  pango_layout_get_pixel_size(layout, nullptr, &height);
  // The picture is what the author looks at: half of it stays free, however long the message is.
  const double top =
      std::max(static_cast<double>(dims.height) - height - 2 * kMargin, dims.height / 2.0);
  cairo_rectangle(cairo, 0, top, dims.width, dims.height - top);
  cairo_set_source_rgba(cairo, 0.5, 0.05, 0.05, 0.9);
  cairo_fill(cairo);
  cairo_set_source_rgba(cairo, 1, 1, 1, 1);
  cairo_move_to(cairo, kMargin, top + kMargin);
  pango_cairo_show_layout(cairo, layout);
  pango_layout_set_width(layout, -1);
}

}  // namespace plexion_host::player::application
