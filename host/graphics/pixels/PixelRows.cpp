// Inner loops over rows of pixels, shaped so that the compiler makes vector code of them.

#include "host/graphics/pixels/PixelRows.h"

#include <algorithm>
#include <cstring>

#include "host/base/Pixels.h"

namespace plexion_host {
namespace {

constexpr uint32_t kPairMask = 0x00ff00ffu;

// Two channels at a time, each in the low byte of a 16-bit half: x * a / 255 rounded.
inline uint32_t ScalePair(uint32_t pair, uint32_t a) {
  const uint32_t t = pair * a + 0x00800080u;
  return ((t + ((t >> 8) & kPairMask)) >> 8) & kPairMask;
}

// Adds pairs; a sum beyond 255 stays 255, so that pixels that break the premultiplied form (a
// channel above its alpha) get too bright instead of changing their hue.
inline uint32_t AddPair(uint32_t left, uint32_t right) {
  const uint32_t sum = left + right;
  const uint32_t carry = (sum >> 8) & 0x00010001u;
  return (sum | (carry * 255u)) & kPairMask;
}

inline uint32_t BlendPixel(uint32_t destination, uint32_t source, uint32_t planeAlpha) {
  uint32_t redBlue = source & kPairMask;
  uint32_t alphaGreen = (source >> 8) & kPairMask;
  if (planeAlpha != 255) {
    redBlue = ScalePair(redBlue, planeAlpha);
    alphaGreen = ScalePair(alphaGreen, planeAlpha);
  }
  const uint32_t rest = 255u - (alphaGreen >> 16);
  redBlue = AddPair(redBlue, ScalePair(destination & kPairMask, rest));
  alphaGreen = AddPair(alphaGreen, ScalePair((destination >> 8) & kPairMask, rest));
  return kOpaqueBlack | (alphaGreen << 8) | redBlue;
}

}  // namespace

void BlendRowPortable(uint32_t* destination, const uint32_t* source, size_t count,
                      uint8_t planeAlpha) {
  for (size_t i = 0; i < count; ++i) {
    const uint32_t s = source[i];
    if (s == 0) continue;
    destination[i] =
        planeAlpha == 255 && s >= kOpaqueBlack ? s : BlendPixel(destination[i], s, planeAlpha);
  }
}

bool RowIsOpaque(const uint32_t* pixels, size_t count) {
  // In blocks: long enough for vector code, short enough to stop early at the first hole.
  for (size_t start = 0; start < count; start += 256) {
    const size_t stop = std::min(count, start + 256);
    uint32_t all = kOpaqueBlack;
    for (size_t i = start; i < stop; ++i) all &= pixels[i];
    if (all != kOpaqueBlack) return false;
  }
  return true;
}

void CopyRow(uint32_t* destination, const uint32_t* source, size_t count) {
  std::memmove(destination, source, count * sizeof(uint32_t));
}

bool CopyRowIsOpaque(uint32_t* __restrict destination, const uint32_t* __restrict source,
                     size_t count) {
  uint32_t all = kOpaqueBlack;
  for (size_t i = 0; i < count; ++i) {
    all &= source[i];
    destination[i] = source[i];
  }
  return all == kOpaqueBlack;
}

uint64_t HashRow(const uint32_t* pixels, size_t count, uint64_t hash) {
  constexpr uint64_t kOdd =
      0x9E3779B97F4A7C15U;  // of the golden ratio: spreads each bit over the word
  for (size_t i = 0; i < count; ++i) {
    hash = (hash ^ pixels[i]) * kOdd;
    hash ^= hash >> 32U;
  }
  return hash;
}

void FillRow(uint32_t* destination, uint32_t pixel, size_t count) {
  std::fill_n(destination, count, pixel);
}

}  // namespace plexion_host
