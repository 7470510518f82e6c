// Makes, keeps and paints blurred pictures and shadows.
#include "host/player/application/paint/EffectPictures.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/base/Check.h"
#include "host/player/application/paint/Figures.h"

namespace plexion_host::player::application {

namespace {

/// Of all that are kept from one picture to the next.
constexpr size_t kMostKeptBytes = size_t{128} * 1024 * 1024;
/// Of a group that moves.
constexpr size_t kMostKeptPixels = size_t{4} * 1024 * 1024;
constexpr double kSamePlace = 1e-6;

bool SameShape(const cairo_matrix_t& a, const cairo_matrix_t& b) {
  return a.xx == b.xx && a.yx == b.yx && a.xy == b.xy && a.yy == b.yy;
}

/// Whether the items were those of then, each moved by the same way; a cut one must not have moved.
bool AreSame(const std::vector<DisplayItem>& then, const DisplayItem* now, double dx, double dy) {
  for (size_t i = 0; i < then.size(); ++i, ++now) {
    const DisplayItem& before = then[i];
    if (before.kind != now->kind || before.handle != now->handle ||
        before.revision != now->revision || before.opacity != now->opacity ||
        before.merge != now->merge || before.clip.rounding != now->clip.rounding) {
      return false;
    }
    if (now->element == nullptr) continue;
    if (!SameShape(before.matrix, now->matrix) ||
        fabs(now->matrix.x0 - before.matrix.x0 - dx) > kSamePlace ||
        fabs(now->matrix.y0 - before.matrix.y0 - dy) > kSamePlace) {
      return false;
    }
    if ((before.isCut || now->isCut) && (dx != 0 || dy != 0)) return false;
    if (before.isCut != now->isCut) return false;
  }
  return true;
}

cairo_surface_t* SurfaceOf(WatchedBuffer& pixels, cairo_format_t format, int width, int height) {
  return cairo_image_surface_create_for_data(pixels.As<unsigned char>(), format, width, height,
                                             cairo_format_stride_for_width(format, width));
}

/// A group that moves may have an effect of its own around its kept picture.
uint64_t KeyOf(const DisplayItem& push) {
  return uint64_t{push.handle} << 1 | (push.effect.isKept ? 1U : 0U);
}

size_t BytesOf(cairo_format_t format, int width, int height) {
  return static_cast<size_t>(cairo_format_stride_for_width(format, width)) *
         static_cast<size_t>(height);
}

}  // namespace

bool EffectPictures::Make(Kept& kept, const DisplayItem& push, const PaintRange& paint,
                          size_t begin) {
  const Effect& effect = push.effect;
  kept.x = push.source.x;
  kept.y = push.source.y;
  kept.width = push.source.width;
  kept.height = push.source.height;
  const size_t bytes = BytesOf(CAIRO_FORMAT_ARGB32, kept.width, kept.height);
  if (!kept.pixels.Resize(watchdog_, bytes)) return false;
  memset(kept.pixels.Data(), 0, bytes);
  cairo_surface_t* surface = SurfaceOf(kept.pixels, CAIRO_FORMAT_ARGB32, kept.width, kept.height);
  cairo_surface_set_device_offset(surface, -kept.x, -kept.y);
  cairo_t* cairo = cairo_create(surface);
  paint(cairo, begin + 1, push.end);
  cairo_destroy(cairo);
  cairo_surface_flush(surface);
  cairo_surface_destroy(surface);

  movie::Surface pixels = {kept.pixels.As<uint32_t>(), kept.width, kept.height,
                           static_cast<size_t>(kept.width) * sizeof(uint32_t)};
  if (effect.IsBlurred()) blur_.Run(pixels, pixels.Bounds(), effect.blurX, effect.blurY);
  if (effect.hasShadow) {
    const auto stride =
        static_cast<size_t>(cairo_format_stride_for_width(CAIRO_FORMAT_A8, kept.width));
    if (!kept.shadow.Resize(watchdog_, stride * static_cast<size_t>(kept.height))) return false;
    const movie::Coverage shadow = {kept.shadow.As<uint8_t>(), kept.width, kept.height, stride};
    for (int y = 0; y < kept.height; ++y) {
      const uint32_t* from = pixels.Row(y);
      std::transform(from, from + kept.width, shadow.Row(y),
                     [](uint32_t pixel) { return static_cast<uint8_t>(pixel >> 24); });
    }
    blur_.Run(shadow, shadow.Bounds(), effect.shadowBlurX, effect.shadowBlurY);
  }
  if (!effect.IsBlurred() && !effect.isKept) kept.pixels.Resize(watchdog_, 0);
  return true;
}

EffectPictures::Kept* EffectPictures::Find(const DisplayList& list, size_t begin,
                                           const PaintRange& paint) {
  const DisplayItem& push = list.items[begin];
  std::unique_ptr<Kept>& kept = kept_[KeyOf(push)];
  const size_t count = push.end - begin;
  if (kept != nullptr && kept->items.size() == count) {
    const DisplayItem& then = kept->items[0];
    const double dx = push.matrix.x0 - then.matrix.x0;
    const double dy = push.matrix.y0 - then.matrix.y0;
    if (then.effect == push.effect && AreSame(kept->items, &list.items[begin], dx, dy)) {
      return kept.get();
    }
  }
  kept = std::make_unique<Kept>();
  kept->items.assign(list.items.begin() + static_cast<ptrdiff_t>(begin),
                     list.items.begin() + static_cast<ptrdiff_t>(push.end));
  if (Make(*kept, push, paint, begin)) return kept.get();
  kept_.erase(KeyOf(push));
  return nullptr;
}

bool EffectPictures::Paint(cairo_t* cairo, const DisplayList& list, size_t begin,
                           const PaintRange& paint) {
  const DisplayItem& push = list.items[begin];
  PLEXION_CHECK(push.kind == DisplayItem::Kind::kPushEffect && push.end > begin,
                "an effect has its pop");
  // Larger ones are painted where they are seen, as all others.
  const size_t pixels =
      static_cast<size_t>(push.source.width) * static_cast<size_t>(push.source.height);
  if (push.effect.isKept && (push.isCut || pixels > Share(kMostKeptPixels))) return false;
  Kept* kept = Find(list, begin, paint);
  if (kept == nullptr) return false;
  // What moves by parts of a pixel keeps its picture: nobody sees that of something blurred, or on
  // its way.
  const double x = kept->x + round(push.matrix.x0 - kept->items[0].matrix.x0);
  const double y = kept->y + round(push.matrix.y0 - kept->items[0].matrix.y0);
  cairo_save(cairo);
  cairo_identity_matrix(cairo);
  if (push.effect.hasShadow) {
    cairo_surface_t* shadow = SurfaceOf(kept->shadow, CAIRO_FORMAT_A8, kept->width, kept->height);
    SetColour(cairo, push.effect.shadow, 1);
    cairo_mask_surface(cairo, shadow, x + round(push.effect.shadowX),
                       y + round(push.effect.shadowY));
    cairo_surface_destroy(shadow);
  }
  const bool isPicture = push.effect.IsBlurred() || push.effect.isKept;
  if (isPicture) {
    cairo_surface_t* blurred =
        SurfaceOf(kept->pixels, CAIRO_FORMAT_ARGB32, kept->width, kept->height);
    cairo_set_source_surface(cairo, blurred, x, y);
    cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_NEAREST);
    cairo_paint(cairo);
    cairo_surface_destroy(blurred);
  }
  cairo_restore(cairo);
  return isPicture;
}

void EffectPictures::KeepThoseOf(const DisplayList& list) {
  if (kept_.empty()) return;
  for (const DisplayItem& item : list.items) {
    if (item.kind != DisplayItem::Kind::kPushEffect) continue;
    const auto found = kept_.find(KeyOf(item));
    if (found != kept_.end()) found->second->isListed = true;
  }
  for (auto at = kept_.begin(); at != kept_.end();) {
    at = std::exchange(at->second->isListed, false) ? std::next(at) : kept_.erase(at);
  }
  if (Bytes() > Share(kMostKeptBytes)) kept_.clear();
}

void EffectPictures::SaveMemory() {
  savesMemory_ = true;
  kept_.clear();
}

size_t EffectPictures::Bytes() const {
  size_t bytes = 0;
  for (const auto& [key, kept] : kept_) bytes += kept->pixels.Size() + kept->shadow.Size();
  return bytes;
}

bool EffectPictures::HasBesideItsPlace(const DisplayList& list) const {
  if (kept_.empty()) return false;
  return std::any_of(list.items.begin(), list.items.end(), [this](const DisplayItem& item) {
    if (!item.effect.isKept) return false;
    const auto found = kept_.find(KeyOf(item));
    if (found == kept_.end()) return false;
    const cairo_matrix_t& then = found->second->items[0].matrix;
    const double x = item.matrix.x0 - then.x0;
    const double y = item.matrix.y0 - then.y0;
    return fabs(x - round(x)) > kSamePlace || fabs(y - round(y)) > kSamePlace;
  });
}

}  // namespace plexion_host::player::application
