// Effects on the pixels of a group: blur, shadow, and what changes colours.
#include "host/player/lottie/compositing/Effects.h"

#include <math.h>

#include <algorithm>

namespace plexion_host::movie {

namespace {

/// Three boxes in a row come close to a Gaussian; this is the radius of each.
int BoxRadius(float sigma) {
  if (!(sigma > 0)) return 0;
  return std::max(0, static_cast<int>(floorf(sigma * 1.8799712f + 0.5f)) / 2);
}

/// One box along a line of `count` values, `step` apart, for each of `channels` bytes.
void Box(uint8_t* line, int count, size_t step, int channels, int radius, bool repeat,
         std::vector<uint32_t>& spare) {
  spare.resize(static_cast<size_t>(count));
  const uint32_t width = 2 * static_cast<uint32_t>(radius) + 1;
  for (int channel = 0; channel < channels; ++channel) {
    auto at = [&](int i) -> uint32_t {
      if (i < 0 || i >= count) {
        if (!repeat) return 0;
        i = std::clamp(i, 0, count - 1);
      }
      return line[static_cast<size_t>(i) * step + static_cast<size_t>(channel)];
    };
    uint32_t sum = 0;
    for (int i = -radius; i <= radius; ++i) sum += at(i);
    for (int i = 0; i < count; ++i) {
      spare[static_cast<size_t>(i)] = (sum + width / 2) / width;
      sum += at(i + radius + 1) - at(i - radius);
    }
    for (int i = 0; i < count; ++i) {
      line[static_cast<size_t>(i) * step + static_cast<size_t>(channel)] =
          static_cast<uint8_t>(spare[static_cast<size_t>(i)]);
    }
  }
}

void Boxes(uint8_t* first, size_t strideBytes, const IntRect& rect, int channels, float sigmaX,
           float sigmaY, bool repeat, std::vector<uint32_t>& spare) {
  const auto bytes = static_cast<size_t>(channels);
  const int radiusX = std::min(BoxRadius(sigmaX), rect.Width());
  const int radiusY = std::min(BoxRadius(sigmaY), rect.Height());
  for (int pass = 0; pass < 3; ++pass) {
    for (int y = rect.top; radiusX > 0 && y < rect.bottom; ++y) {
      uint8_t* line =
          first + static_cast<size_t>(y) * strideBytes + static_cast<size_t>(rect.left) * bytes;
      Box(line, rect.Width(), bytes, channels, radiusX, repeat, spare);
    }
    for (int x = rect.left; radiusY > 0 && x < rect.right; ++x) {
      uint8_t* line =
          first + static_cast<size_t>(rect.top) * strideBytes + static_cast<size_t>(x) * bytes;
      Box(line, rect.Height(), strideBytes, channels, radiusY, repeat, spare);
    }
  }
}

/// Changes each pixel's colour, which the change sees not multiplied by its alpha, 0 to 1.
template <typename Change>
void EachPixel(const Surface& target, const IntRect& rect, const Change& change) {
  const IntRect cut = rect.Cut(target.Bounds());
  for (int y = cut.top; y < cut.bottom; ++y) {
    for (uint32_t* pixel = target.Row(y) + cut.left; pixel < target.Row(y) + cut.right; ++pixel) {
      const uint32_t alpha = *pixel >> 24;
      if (alpha == 0) continue;
      const float scale = 1.0f / static_cast<float>(alpha);
      Colour colour = {static_cast<float>(*pixel >> 16 & 255) * scale,
                       static_cast<float>(*pixel >> 8 & 255) * scale,
                       static_cast<float>(*pixel & 255) * scale, static_cast<float>(alpha) / 255};
      change(colour);
      const float whole = std::clamp(colour.alpha, 0.f, 1.f) * 255;
      auto channel = [whole](float value) {
        return static_cast<uint32_t>(lroundf(std::clamp(value, 0.f, 1.f) * whole));
      };
      *pixel = static_cast<uint32_t>(lroundf(whole)) << 24 | channel(colour.red) << 16 |
               channel(colour.green) << 8 | channel(colour.blue);
    }
  }
}

Colour Mixed(const Colour& from, const Colour& to, float share) {
  auto mix = [share](float a, float b) { return a + (b - a) * share; };
  return {mix(from.red, to.red), mix(from.green, to.green), mix(from.blue, to.blue), 1};
}

float Lightness(const Colour& colour) { return (colour.red + colour.green + colour.blue) / 3; }

float Levelled(const Levels& levels, float value) {
  const float low = std::min(levels.inputBlack, levels.inputWhite);
  const float high = std::max(levels.inputBlack, levels.inputWhite);
  const bool falls = levels.inputWhite < levels.inputBlack;
  if (value <= low) return falls ? levels.outputWhite : levels.outputBlack;
  if (value >= high) return falls ? levels.outputBlack : levels.outputWhite;
  const float share = (value - levels.inputBlack) / (levels.inputWhite - levels.inputBlack);
  const float gamma = levels.gamma > 0 ? 1 / levels.gamma : 1;
  return levels.outputBlack + (levels.outputWhite - levels.outputBlack) * powf(share, gamma);
}

}  // namespace

void Blur::Run(const Surface& target, const IntRect& rect, float sigmaX, float sigmaY, Edge edge) {
  const IntRect cut = rect.Cut(target.Bounds());
  if (cut.IsEmpty()) return;
  Boxes(reinterpret_cast<uint8_t*>(target.pixels), target.strideBytes, cut, 4, sigmaX, sigmaY,
        edge == Edge::kRepeat, sums_);
}

void Blur::Run(const Coverage& target, const IntRect& rect, float sigmaX, float sigmaY, Edge edge) {
  const IntRect cut = rect.Cut(target.Bounds());
  if (cut.IsEmpty()) return;
  Boxes(target.values, target.strideBytes, cut, 1, sigmaX, sigmaY, edge == Edge::kRepeat, sums_);
}

int Blur::Reach(float sigma) { return 3 * BoxRadius(std::min(sigma, 4096.f)); }

void FillEffect(const Surface& target, const IntRect& rect, const Colour& colour, float opacity) {
  EachPixel(target, rect, [&](Colour& pixel) {
    pixel = {colour.red, colour.green, colour.blue, pixel.alpha * opacity};
  });
}

void TintEffect(const Surface& target, const IntRect& rect, const Colour& black,
                const Colour& white, float amount) {
  EachPixel(target, rect, [&](Colour& pixel) {
    const float alpha = pixel.alpha;
    pixel = Mixed(pixel, Mixed(black, white, Lightness(pixel)), amount);
    pixel.alpha = alpha;
  });
}

void TritoneEffect(const Surface& target, const IntRect& rect, const Colour& shadows,
                   const Colour& midtones, const Colour& highlights) {
  EachPixel(target, rect, [&](Colour& pixel) {
    const float light = Lightness(pixel) * 2;
    const float alpha = pixel.alpha;
    pixel = light < 1 ? Mixed(shadows, midtones, light) : Mixed(midtones, highlights, light - 1);
    pixel.alpha = alpha;
  });
}

void LevelsEffect(const Surface& target, const IntRect& rect, const Levels& all, const Levels& red,
                  const Levels& green, const Levels& blue, const Levels& alpha) {
  EachPixel(target, rect, [&](Colour& pixel) {
    pixel.red = Levelled(all, Levelled(red, pixel.red));
    pixel.green = Levelled(all, Levelled(green, pixel.green));
    pixel.blue = Levelled(all, Levelled(blue, pixel.blue));
    pixel.alpha = Levelled(alpha, pixel.alpha);
  });
}

void DropShadowEffect(Blur& blur, const Surface& target, const Surface& spare, const IntRect& rect,
                      const Colour& colour, float offsetX, float offsetY, float sigma,
                      bool shadowOnly) {
  const IntRect cut = rect.Cut(target.Bounds()).Cut(spare.Bounds());
  if (cut.IsEmpty()) return;
  const int moveX = static_cast<int>(lroundf(std::clamp(offsetX, -8192.f, 8192.f)));
  const int moveY = static_cast<int>(lroundf(std::clamp(offsetY, -8192.f, 8192.f)));
  auto byte = [](float value) {
    return static_cast<uint32_t>(lroundf(std::clamp(value, 0.f, 1.f) * 255));
  };
  for (int y = cut.top; y < cut.bottom; ++y) {
    for (int x = cut.left; x < cut.right; ++x) {
      const int fromX = x - moveX;
      const int fromY = y - moveY;
      const bool inside =
          fromX >= cut.left && fromX < cut.right && fromY >= cut.top && fromY < cut.bottom;
      const float alpha =
          inside ? static_cast<float>(target.Row(fromY)[fromX] >> 24) / 255 * colour.alpha : 0;
      spare.Row(y)[x] = byte(alpha) << 24 | byte(colour.red * alpha) << 16 |
                        byte(colour.green * alpha) << 8 | byte(colour.blue * alpha);
    }
  }
  blur.Run(spare, cut, sigma, sigma);
  for (int y = cut.top; y < cut.bottom; ++y) {
    for (int x = cut.left; x < cut.right; ++x) {
      const uint32_t above = shadowOnly ? 0 : target.Row(y)[x];
      const uint32_t through = 255 - (above >> 24);
      const uint32_t below = spare.Row(y)[x];
      uint32_t sum = 0;
      for (int shift = 0; shift < 32; shift += 8) {
        sum |= ((above >> shift & 255) + ((below >> shift & 255) * through + 127) / 255) << shift;
      }
      target.Row(y)[x] = sum;
    }
  }
}

}  // namespace plexion_host::movie
