// Masks and mattes: coverage planes put together, and what they leave of a group.

#include "host/player/lottie/compositing/Mask.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {
namespace {

uint8_t Byte(float unit) {
  return static_cast<uint8_t>(unit > 0 ? std::lrint(std::min(unit, 1.0f) * 255) : 0);
}

/// Calls `combine(into, mask)` for each pixel of the rectangle.
template <class Combine>
void ForEach(const Coverage& into, const Coverage& mask, const IntRect& rect, Combine combine) {
  const IntRect area = rect.Cut(into.Bounds()).Cut(mask.Bounds());
  for (int y = area.top; y < area.bottom; ++y) {
    uint8_t* const to = into.Row(y);
    const uint8_t* const from = mask.Row(y);
    for (int x = area.left; x < area.right; ++x) {
      to[x] = static_cast<uint8_t>(combine(uint32_t{to[x]}, uint32_t{from[x]}));
    }
  }
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
  const uint32_t flip = inverted ? 255 : 0;
  const uint32_t alpha = Byte(opacity);
  const auto run = [&](auto combine) {
    ForEach(into, mask, rect, [flip, alpha, combine](uint32_t a, uint32_t m) {
      return combine(a, TimesByte(m ^ flip, alpha));
    });
  };
  switch (mode) {
    case MaskMode::kAdd:
      return run([](uint32_t a, uint32_t m) { return a + m - TimesByte(a, m); });
    case MaskMode::kSubtract:
      return run([](uint32_t a, uint32_t m) { return TimesByte(a, 255 - m); });
    case MaskMode::kIntersect:
      return run([](uint32_t a, uint32_t m) { return TimesByte(a, m); });
    case MaskMode::kLighten:
      return run([](uint32_t a, uint32_t m) { return std::max(a, m); });
    case MaskMode::kDarken:
      return run([](uint32_t a, uint32_t m) { return std::min(a, m); });
    case MaskMode::kDifference:
      return run([](uint32_t a, uint32_t m) { return a > m ? a - m : m - a; });
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
