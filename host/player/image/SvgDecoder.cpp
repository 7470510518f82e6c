// SVG pictures: drawn once, at a size that we choose, on a thread that need not be waited for.

#include <string.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/player/LeavableTask.h"
#include "host/player/image/PictureDecoder.h"
#include "host/player/image/PictureSize.h"
#include "host/player/image/SvgCost.h"
#include "host/player/image/SvgLibrary.h"

namespace plexion_host::player {

namespace {

constexpr double kMostSide = 4096;
constexpr uint64_t kMostFileBytes = uint64_t{32} * 1024 * 1024;
/// For all that is drawn at the same time; a picture that needs more is drawn smaller.
constexpr uint64_t kMostSurfaceBytes = uint64_t{512} * 1024 * 1024;
constexpr uint64_t kMostEmbeddedPixels = kMostPixels / 2;
constexpr std::chrono::seconds kMostTime{10};
constexpr double kPixelsPerInch = 96;  // of style sheets

using qx::plexion::Dims;

/// All that the drawing touches: it may go on when nobody waits for it any more.
struct Drawing {
  std::string text;
  uint64_t mostPixels = 0;
  Dims dims = {0, 0};
  std::vector<uint32_t> pixels;  // alpha premultiplied
  std::string reason;
};

/// The size that the document has by itself.
bool OwnSize(const SvgLibrary& svg, RsvgHandle* handle, double& width, double& height) {
  if (svg.rsvg_handle_get_intrinsic_size_in_pixels(handle, &width, &height) != FALSE) return true;
  gboolean hasBox = FALSE;
  RsvgRectangle box;
  svg.rsvg_handle_get_intrinsic_dimensions(handle, nullptr, nullptr, nullptr, nullptr, &hasBox,
                                           &box);
  // Neither a size nor a view box: as large as what it draws.
  if (hasBox == FALSE) {
    RsvgRectangle logical;
    if (svg.rsvg_handle_get_geometry_for_element(handle, nullptr, &box, &logical, nullptr) ==
        FALSE) {
      return false;
    }
  }
  width = box.width;
  height = box.height;
  return true;
}

Dims FitTo(double width, double height, uint64_t mostPixels) {
  double scale = std::min(1.0, kMostSide / std::max(width, height));
  scale = std::min(scale, std::sqrt(static_cast<double>(mostPixels) / (width * height)));
  const auto side = [scale](double length) {
    return static_cast<uint32_t>(std::clamp(std::round(length * scale), 1.0, kMostSide));
  };
  return {side(width), side(height)};
}

bool Paint(const SvgLibrary& svg, RsvgHandle* handle, Drawing& drawing) {
  const auto width = static_cast<int>(drawing.dims.width);
  const auto height = static_cast<int>(drawing.dims.height);
  drawing.pixels.assign(size_t{drawing.dims.width} * drawing.dims.height, 0);
  cairo_surface_t* surface = svg.cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(drawing.pixels.data()), CAIRO_FORMAT_ARGB32, width, height,
      width * static_cast<int>(sizeof(uint32_t)));
  cairo_t* cairo = svg.cairo_create(surface);
  const RsvgRectangle viewport = {0, 0, static_cast<double>(width), static_cast<double>(height)};
  GError* fault = nullptr;
  const bool painted = svg.rsvg_handle_render_document(handle, cairo, &viewport, &fault) != FALSE &&
                       svg.cairo_status(cairo) == CAIRO_STATUS_SUCCESS;
  if (!painted) {
    drawing.reason = fault == nullptr ? "it cannot be drawn" : fault->message;
    drawing.pixels.clear();
  }
  svg.g_clear_error(&fault);
  svg.cairo_destroy(cairo);
  svg.cairo_surface_destroy(surface);
  return painted;
}

void Draw(Drawing& drawing) {
  const SvgLibrary* const found = SvgLibrary::Get(drawing.reason);
  if (found == nullptr) return;
  const SvgLibrary& svg = *found;
  GError* fault = nullptr;
  RsvgHandle* handle = svg.rsvg_handle_new_from_data(
      reinterpret_cast<const guint8*>(drawing.text.data()), drawing.text.size(), &fault);
  if (handle == nullptr) {
    drawing.reason = fault == nullptr ? "it cannot be read" : fault->message;
    svg.g_clear_error(&fault);
    return;
  }
  svg.rsvg_handle_set_dpi(handle, kPixelsPerInch);
  double width = 0;
  double height = 0;
  if (!OwnSize(svg, handle, width, height) || !(width > 0 && height > 0)) {
    drawing.reason = "the SVG picture is 0 pixels wide or high";
  } else {
    drawing.dims = FitTo(width, height, drawing.mostPixels);
    Paint(svg, handle, drawing);
  }
  svg.g_object_unref(handle);
}

class SvgDecoder final : public PictureDecoder {
 public:
  explicit SvgDecoder(std::shared_ptr<Drawing> drawing) : drawing_(std::move(drawing)) {
    facts_.dims = drawing_->dims;
    facts_.frames.emplace_back();
    facts_.frames[0].area = {0, 0, facts_.dims.width, facts_.dims.height};
  }

  Decoded Decode(size_t, uint32_t* pixels) override {
    std::transform(drawing_->pixels.begin(), drawing_->pixels.end(), pixels, Unpremultiplied);
    return Decoded::kAll;
  }

 private:
  const std::shared_ptr<Drawing> drawing_;
};

}  // namespace

std::unique_ptr<PictureDecoder> OpenSvg(const PictureSource& source, std::string& reason) {
  if (source.size > kMostFileBytes) {
    reason = "the SVG picture has " + std::to_string(source.size) +
             " bytes; the most that it may have is " + std::to_string(kMostFileBytes);
    return nullptr;
  }
  SvgCost cost;
  if (!ReckonSvg(source.bytes, source.size, cost, reason)) return nullptr;
  if (cost.embeddedPixels > kMostEmbeddedPixels) {
    reason =
        "the pictures inside of it: " + TooManyPixels(cost.embeddedPixels, kMostEmbeddedPixels);
    return nullptr;
  }
  auto drawing = std::make_shared<Drawing>();
  // A copy: the thread may go on with it when the caller has given the bytes back.
  drawing->text.assign(reinterpret_cast<const char*>(source.bytes), source.size);
  PLEXION_CHECK(cost.surfaces > 0, "a picture is drawn on a surface at least");
  drawing->mostPixels = kMostSurfaceBytes / sizeof(uint32_t) / cost.surfaces;
  const auto end = std::chrono::steady_clock::now() + kMostTime;
  const auto givesUp = [&] {
    return source.IsCancelled() || std::chrono::steady_clock::now() > end;
  };
  switch (RunLeavable(
      "PlexionSvg", [drawing] { Draw(*drawing); }, givesUp)) {
    case TaskEnd::kDone:
      break;
    case TaskEnd::kLeft:
      reason = source.IsCancelled() ? "loading was stopped"
                                    : "drawing it takes longer than " +
                                          std::to_string(kMostTime.count()) + " seconds";
      return nullptr;
    case TaskEnd::kNotStarted:
      reason = "other pictures that take too long are still being drawn";
      return nullptr;
  }
  reason = drawing->reason;
  if (drawing->pixels.empty()) return nullptr;
  return std::make_unique<SvgDecoder>(std::move(drawing));
}

}  // namespace plexion_host::player
