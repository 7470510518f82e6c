// Masks and mattes: coverage planes put together, and what they leave of a group.

#include "host/player/lottie/compositing/Mask.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {
namespace {

uint8_t OpacityByte(float unit) {
  return static_cast<uint8_t>(unit > 0 ? std::lrint(std::min(unit, 1.0f) * 255) : 0);
}

CoverSum SumOf(MaskMode mode) {
  switch (mode) {
    case MaskMode::kAdd:
      return CoverSum::kEither;
    case MaskMode::kSubtract:
      return CoverSum::kWithout;
    case MaskMode::kIntersect:
      return CoverSum::kBoth;
    case MaskMode::kLighten:
      return CoverSum::kLarger;
    case MaskMode::kDarken:
      return CoverSum::kSmaller;
    case MaskMode::kDifference:
      break;
  }
  return CoverSum::kDifference;
}

}  // namespace

uint8_t MaskStart(MaskMode first) {
  switch (first) {
    case MaskMode::kAdd:
    case MaskMode::kLighten:
    case MaskMode::kDifference:
      return 0;
    default:
      return 255;
  }
}

void AddMask(const Coverage& into, const Coverage& mask, const IntRect& rect, MaskMode mode,
             float opacity, bool inverted) {
  const IntRect area = rect.Cut(into.Bounds()).Cut(mask.Bounds());
  if (area.IsEmpty()) return;
  for (int y = area.top; y < area.bottom; ++y) {
    CombineCover(into.Row(y) + area.left, mask.Row(y) + area.left, area.Width(), SumOf(mode),
                 inverted ? 255 : 0, OpacityByte(opacity));
  }
}

void CoverExpanded(Rasterizer& raster, Stroker& stroker, Path& scratch, const Coverage& target,
                   const Coverage& spare, const Path& path, const Matrix& matrix, FillRule rule,
                   float pixels, const IntRect* clip) {
  raster.Cover(target, path, matrix, rule, clip);
  if (pixels == 0 || !std::isfinite(pixels)) return;
  StrokeStyle style;
  // Half of a stroke lies on either side of its line.
  style.width = 2 * std::abs(pixels);
  stroker.Stroke(path, style, matrix.MaxScale(), scratch);
  raster.Cover(spare, scratch, matrix, FillRule::kNonZero, clip);
  const IntRect area = clip == nullptr ? target.Bounds() : *clip;
  AddMask(target, spare, area, pixels > 0 ? MaskMode::kAdd : MaskMode::kSubtract, 1, false);
}

void ApplyMask(const Surface& target, const Coverage& mask, const IntRect& rect) {
  const IntRect area = rect.Cut(target.Bounds()).Cut(mask.Bounds());
  if (area.IsEmpty()) return;
  for (int y = area.top; y < area.bottom; ++y) {
    ScaleRow(target.Row(y) + area.left, mask.Row(y) + area.left, area.Width());
  }
}

void ApplyMatte(const Surface& target, const Surface& matte, const IntRect& rect, MatteMode mode) {
  const IntRect area = rect.Cut(target.Bounds()).Cut(matte.Bounds());
  const uint32_t flip =
      mode == MatteMode::kAlphaInverted || mode == MatteMode::kLumaInverted ? 255 : 0;
  const bool luma = mode == MatteMode::kLuma || mode == MatteMode::kLumaInverted;
  constexpr int kPart = 256;
  uint8_t cover[kPart];
  for (int y = area.top; y < area.bottom; ++y) {
    const uint32_t* const from = matte.Row(y);
    for (int left = area.left; left < area.right; left += kPart) {
      const int n = std::min(kPart, area.right - left);
      for (int i = 0; i < n; ++i) {
        const uint32_t pixel = from[left + i];
        // The weights that SVG gives to red, green and blue, of 65536.
        const uint32_t light = ((pixel >> 16 & 255) * 13926 + (pixel >> 8 & 255) * 46884 +
                                (pixel & 255) * 4726 + 32768) >>
                               16;
        cover[i] = static_cast<uint8_t>((luma ? light : pixel >> 24) ^ flip);
      }
      ScaleRow(target.Row(y) + left, cover, n);
    }
  }
}

}  // namespace plexion_host::movie
