// Effects on the pixels of a group: colours by tables, and shadows.

#include "host/player/lottie/compositing/Effects.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {
namespace {

using Bytes = std::array<uint8_t, 256>;

float Unit(float v) { return v > 0 ? std::min(v, 1.0f) : 0; }
uint8_t Byte(float unit) { return static_cast<uint8_t>(std::lrint(Unit(unit) * 255)); }

/// A straight pixel, taken apart.
struct Parts {
  uint32_t red, green, blue, alpha;
};

Parts PartsOf(uint32_t pixel) {
  const uint32_t straight = Unpremultiplied(pixel);
  return {straight >> 16 & 255, straight >> 8 & 255, straight & 255, straight >> 24};
}

uint32_t PixelOf(const Parts& parts) {
  return Premultiplied(parts.alpha << 24 | parts.red << 16 | parts.green << 8 | parts.blue);
}

/// Calls `change(pixel)` for all that is not transparent.
template <class Change>
void ForEach(const Surface& target, const IntRect& rect, Change change) {
  const IntRect area = rect.Cut(target.Bounds());
  for (int y = area.top; y < area.bottom; ++y) {
    uint32_t* const row = target.Row(y);
    // Neighbours are often alike, and dividing takes long.
    uint32_t from = 0;
    uint32_t to = 0;
    for (int x = area.left; x < area.right; ++x) {
      if (row[x] == 0) continue;
      if (row[x] != from) {
        from = row[x];
        to = from >> 24 == 0 ? from : change(from);
      }
      row[x] = to;
    }
  }
}

/// How light a colour is: the mean of its channels by light, as the eye's scale has it.
class Lightness {
 public:
  Lightness() {
    for (size_t i = 0; i < 256; ++i) {
      const double v = static_cast<double>(i) / 255;
      light_[i] = static_cast<uint16_t>(
          std::lrint((v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4)) * 4095 / 3));
    }
    for (size_t i = 0; i < eye_.size(); ++i) {
      const double v = std::min(static_cast<double>(i) / 4095, 1.0);
      eye_[i] = static_cast<uint8_t>(
          std::lrint((v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055) * 255));
    }
  }
  uint8_t Of(const Parts& parts) const {
    return eye_[static_cast<size_t>(light_[parts.red]) + light_[parts.green] + light_[parts.blue]];
  }

 private:
  std::array<uint16_t, 256> light_{};
  std::array<uint8_t, 4100> eye_{};
};

const Lightness& TheLightness() {
  static const Lightness lightness;
  return lightness;
}

/// Three colours along the lightness, or two where the middle one is between them.
Bytes Ramp(float low, float middle, float high) {
  Bytes bytes{};
  for (size_t i = 0; i < 256; ++i) {
    const float t = static_cast<float>(i) / 255 * 2;
    bytes[i] = Byte(t < 1 ? low + (middle - low) * t : middle + (high - middle) * (t - 1));
  }
  return bytes;
}

Bytes TableOf(const Levels& levels) {
  const float low = std::min(levels.inputBlack, levels.inputWhite);
  const float high = std::max(levels.inputBlack, levels.inputWhite);
  const float range = levels.inputWhite - levels.inputBlack;
  // Documents have 0 and less; the limit of such curves is a step.
  const float gamma = levels.gamma > 0 ? levels.gamma : 1e-6f;
  Bytes bytes{};
  for (size_t i = 0; i < 256; ++i) {
    const float v = static_cast<float>(i) / 255;
    float out = 0;
    if (v <= low) {
      out = range < 0 ? levels.outputWhite : levels.outputBlack;
    } else if (v >= high) {
      out = range < 0 ? levels.outputBlack : levels.outputWhite;
    } else {
      out = levels.outputBlack + (levels.outputWhite - levels.outputBlack) *
                                     std::pow((v - levels.inputBlack) / range, 1 / gamma);
    }
    bytes[i] = Byte(out);
  }
  return bytes;
}

}  // namespace

void FillEffect(const Surface& target, const IntRect& rect, const Colour& colour, float opacity) {
  const uint32_t full = 255u << 24 | uint32_t{Byte(colour.red)} << 16 |
                        uint32_t{Byte(colour.green)} << 8 | Byte(colour.blue);
  const uint32_t alpha = Byte(Unit(colour.alpha) * Unit(opacity));
  ForEach(target, rect,
          [=](uint32_t pixel) { return PixelTimes(full, TimesByte(pixel >> 24, alpha)); });
}

void TintEffect(const Surface& target, const IntRect& rect, const Colour& black,
                const Colour& white, float amount) {
  const auto middle = [](float a, float b) { return (Unit(a) + Unit(b)) / 2; };
  const Bytes red = Ramp(Unit(black.red), middle(black.red, white.red), Unit(white.red));
  const Bytes green = Ramp(Unit(black.green), middle(black.green, white.green), Unit(white.green));
  const Bytes blue = Ramp(Unit(black.blue), middle(black.blue, white.blue), Unit(white.blue));
  const Lightness& lightness = TheLightness();
  const uint32_t part = Byte(amount);
  const auto mix = [part](uint32_t from, uint32_t to) {
    return TimesByte(to, part) + TimesByte(from, 255 - part);
  };
  ForEach(target, rect, [&](uint32_t pixel) {
    const Parts parts = PartsOf(pixel);
    const uint8_t light = lightness.Of(parts);
    return PixelOf({std::min(mix(parts.red, red[light]), 255u),
                    std::min(mix(parts.green, green[light]), 255u),
                    std::min(mix(parts.blue, blue[light]), 255u), parts.alpha});
  });
}

void TritoneEffect(const Surface& target, const IntRect& rect, const Colour& shadows,
                   const Colour& midtones, const Colour& highlights) {
  const Bytes red = Ramp(shadows.red, midtones.red, highlights.red);
  const Bytes green = Ramp(shadows.green, midtones.green, highlights.green);
  const Bytes blue = Ramp(shadows.blue, midtones.blue, highlights.blue);
  const Lightness& lightness = TheLightness();
  ForEach(target, rect, [&](uint32_t pixel) {
    const Parts parts = PartsOf(pixel);
    const uint8_t light = lightness.Of(parts);
    return PixelOf({red[light], green[light], blue[light], parts.alpha});
  });
}

void LevelsEffect(const Surface& target, const IntRect& rect, const Levels& all, const Levels& red,
                  const Levels& green, const Levels& blue, const Levels& alpha) {
  const Bytes common = TableOf(all);
  Bytes tables[3] = {TableOf(red), TableOf(green), TableOf(blue)};
  for (Bytes& table : tables) {
    for (uint8_t& value : table) value = common[value];
  }
  const Bytes opacity = TableOf(alpha);
  ForEach(target, rect, [&](uint32_t pixel) {
    const Parts parts = PartsOf(pixel);
    return PixelOf({tables[0][parts.red], tables[1][parts.green], tables[2][parts.blue],
                    opacity[parts.alpha]});
  });
}

void DropShadowEffect(Blur& blur, const Surface& target, const Surface& spare, const IntRect& rect,
                      const Colour& colour, float offsetX, float offsetY, float sigma,
                      bool shadowOnly) {
  const IntRect area = rect.Cut(target.Bounds()).Cut(spare.Bounds());
  if (area.IsEmpty() || !std::isfinite(offsetX) || !std::isfinite(offsetY)) return;
  // Whole pixels: what is blurred shows no more.
  const auto whole = [](float v) {
    return static_cast<int>(std::lrint(std::clamp(v, -1e6f, 1e6f)));
  };
  const int dx = whole(offsetX);
  const int dy = whole(offsetY);
  // The shadow of what lies so far outside of the moved rectangle still reaches into it: so it is
  // blurred in its place and moved then.
  for (int y = area.top; y < area.bottom; ++y) {
    std::copy(target.Row(y) + area.left, target.Row(y) + area.right, spare.Row(y) + area.left);
  }
  FillEffect(spare, area, colour, 1);
  blur.Run(spare, area, sigma, sigma);
  Surface shadow{spare.Row(area.top) + area.left, area.Width(), area.Height(), spare.strideBytes};
  if (!shadowOnly) {
    // Below: the shadow first, then the picture over it. Without a second spare surface that is the
    // shadow under each pixel.
    for (int y = area.top; y < area.bottom; ++y) {
      const int from = y - dy - area.top;
      if (from < 0 || from >= shadow.height) continue;
      uint32_t* const row = target.Row(y);
      const uint32_t* const below = shadow.Row(from);
      for (int x = std::max(area.left, area.left + dx); x < std::min(area.right, area.right + dx);
           ++x) {
        const uint32_t alpha = row[x] >> 24;
        if (alpha != 255) row[x] += PixelTimes(below[x - dx - area.left], 255 - alpha);
      }
    }
    return;
  }
  target.Clear(area);
  Composite(target, shadow, area.left + dx, area.top + dy, area, 1, BlendMode::kNormal);
}

}  // namespace plexion_host::movie
