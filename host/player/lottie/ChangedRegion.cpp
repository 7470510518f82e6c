#include "host/player/lottie/ChangedRegion.h"

#include <string.h>

#include <algorithm>

namespace plexion_host::player {

namespace {

/// Black has no colour to add: only the alpha that shows through the content changes.
void LayBackground(uint32_t* pixels, uint32_t count, uint8_t bgAlpha) {
  if (bgAlpha == 0) return;
  if (bgAlpha == 255) {
    for (uint32_t i = 0; i < count; ++i) pixels[i] |= 0xFF000000u;
    return;
  }
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t alpha = pixels[i] >> 24;
    const uint32_t through = ((255 - alpha) * bgAlpha + 127) / 255;
    pixels[i] = (pixels[i] & 0x00FFFFFFu) | ((alpha + through) << 24);
  }
}

uint64_t Rotated(uint64_t value, unsigned bits) { return value << bits | value >> (64 - bits); }

/// Every step is a bijection of the sum so far and of the pixels, so a single change is never lost;
/// the rotation lets high bits reach the low ones. Four sums side by side keep the multiplier busy.
uint64_t SumOf(const uint32_t* pixels, uint32_t count) {
  constexpr uint64_t kFactor = 0x9E3779B97F4A7C15u;
  uint64_t lanes[4] = {1, 2, 3, 4};
  uint32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    uint64_t words[4];
    memcpy(words, pixels + i, sizeof words);
    for (int lane = 0; lane < 4; ++lane) {
      lanes[lane] = Rotated((lanes[lane] ^ words[lane]) * kFactor, 29);
    }
  }
  for (; i < count; ++i) lanes[i & 3] = Rotated((lanes[i & 3] ^ pixels[i]) * kFactor, 29);
  uint64_t sum = lanes[0];
  for (int lane = 1; lane < 4; ++lane) sum = Rotated((sum ^ lanes[lane]) * kFactor, 31);
  return sum;
}

}  // namespace

bool ChangedRegion::PrepareSums(const Picture& picture, bool& fresh) {
  const size_t runs = (size_t{picture.width} + kRunPixels - 1) / kRunPixels;
  const size_t bytes = runs * picture.height * sizeof(uint64_t);
  fresh = picture.width != width_ || picture.height != height_;
  if (!fresh) return sums_.Size() == bytes;
  width_ = picture.width;
  height_ = picture.height;
  return sums_.Resize(watchdog_, bytes);
}

bool ChangedRegion::Compare(const Picture& picture, uint8_t bgAlpha, bool everything,
                            qx::plexion::Rect& dirty) {
  bool fresh = false;
  const bool comparable = PrepareSums(picture, fresh);
  uint64_t* sum = sums_.As<uint64_t>();
  uint32_t left = picture.width;
  uint32_t right = 0;
  uint32_t top = picture.height;
  uint32_t bottom = 0;
  for (uint32_t y = 0; y < picture.height; ++y) {
    uint32_t* row = picture.pixels + size_t{y} * picture.width;
    for (uint32_t x = 0; x < picture.width; x += kRunPixels) {
      const uint32_t count = std::min(kRunPixels, picture.width - x);
      LayBackground(row + x, count, bgAlpha);
      if (!comparable) continue;
      const uint64_t before = *sum;
      *sum = SumOf(row + x, count);
      if (*sum++ == before) continue;
      left = std::min(left, x);
      right = std::max(right, x + count);
      top = std::min(top, y);
      bottom = y + 1;
    }
  }
  if (everything || fresh || !comparable) {
    dirty = {0, 0, picture.width, picture.height};
    return true;
  }
  if (bottom == 0) {
    dirty = {0, 0, 0, 0};
    return false;
  }
  dirty = {left, top, right - left, bottom - top};
  return true;
}

}  // namespace plexion_host::player
