// Draws what is merged as a whole into a picture of its own.
#include "host/player/application/paint/PaintLayer.h"

#include <math.h>
#include <string.h>

#include <algorithm>

namespace plexion_host::player::application {

PaintLayer::PaintLayer(cairo_t* below, const cairo_rectangle_int_t& bounds,
                       qx::plexion::MemoryWatchdog* watchdog)
    : below_(below) {
  cairo_matrix_t matrix;
  cairo_get_matrix(below, &matrix);
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;
  cairo_identity_matrix(below);
  cairo_clip_extents(below, &left, &top, &right, &bottom);
  cairo_set_matrix(below, &matrix);
  // Its corner stays the clip's, wherever its elements are: scaled pictures are sampled from there,
  // and would else be rounded differently from picture to picture.
  left = floor(left);
  top = floor(top);
  right = std::min(ceil(right), static_cast<double>(bounds.x) + bounds.width);
  bottom = std::min(ceil(bottom), static_cast<double>(bounds.y) + bounds.height);
  const int width = static_cast<int>(right - left);
  const int height = static_cast<int>(bottom - top);
  if (width <= 0 || height <= 0) return;
  const size_t pitch = static_cast<size_t>(width) * sizeof(uint32_t);
  if (!pixels_.Resize(watchdog, pitch * static_cast<size_t>(height))) return;
  memset(pixels_.Data(), 0, pixels_.Size());
  surface_ = cairo_image_surface_create_for_data(pixels_.As<unsigned char>(), CAIRO_FORMAT_ARGB32,
                                                 width, height, static_cast<int>(pitch));
  cairo_surface_set_device_offset(surface_, -left, -top);
  cairo_ = cairo_create(surface_);
  cairo_set_matrix(cairo_, &matrix);
}

PaintLayer::~PaintLayer() {
  if (cairo_ != nullptr) cairo_destroy(cairo_);
  if (surface_ != nullptr) cairo_surface_destroy(surface_);
}

void PaintLayer::Merge(double opacity, cairo_operator_t how) {
  if (cairo_ == nullptr) return;
  cairo_surface_flush(surface_);
  cairo_save(below_);
  cairo_identity_matrix(below_);
  cairo_set_source_surface(below_, surface_, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(below_), CAIRO_FILTER_NEAREST);
  cairo_set_operator(below_, how);
  cairo_paint_with_alpha(below_, opacity);
  cairo_restore(below_);
}

}  // namespace plexion_host::player::application
