// Inner loops over rows of pixels, shaped so that the compiler makes vector code of them.

#include "host/graphics/pixels/PixelRows.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>

#include "host/base/Pixels.h"
#endif

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

#if defined(__x86_64__)

__attribute__((target("avx2"))) inline __m256i Scale16(__m256i value, __m256i factor) {
  const __m256i t = _mm256_add_epi16(_mm256_mullo_epi16(value, factor), _mm256_set1_epi16(128));
  return _mm256_srli_epi16(_mm256_add_epi16(t, _mm256_srli_epi16(t, 8)), 8);
}

// Eight pixels at a time. Most content is opaque or empty over long stretches, so groups of eight
// that are wholly one or the other take no arithmetic.
__attribute__((target("avx2"))) void BlendRowAvx2(uint32_t* destination, const uint32_t* source,
                                                  size_t count, uint8_t planeAlpha) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i alphaMask = _mm256_set1_epi32(static_cast<int>(kOpaqueBlack));
  const __m256i full = _mm256_set1_epi16(255);
  const __m256i plane = _mm256_set1_epi16(planeAlpha);
  // Byte 3 of each pixel, widened to the four 16-bit lanes of that pixel.
  const __m256i alphaOfLow =
      _mm256_setr_epi8(3, -1, 3, -1, 3, -1, 3, -1, 7, -1, 7, -1, 7, -1, 7, -1, 3, -1, 3, -1, 3, -1,
                       3, -1, 7, -1, 7, -1, 7, -1, 7, -1);
  const __m256i alphaOfHigh = _mm256_add_epi8(
      alphaOfLow, _mm256_set1_epi16(0x0008));  // pixels 2 and 3 of each half; -1 stays negative
  size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + i));
    if (_mm256_testz_si256(s, s)) continue;
    __m256i* const out = reinterpret_cast<__m256i*>(destination + i);
    if (planeAlpha == 255) {
      if (_mm256_testc_si256(s, alphaMask)) {
        _mm256_storeu_si256(out, s);
        continue;
      }
    } else {
      s = _mm256_packus_epi16(Scale16(_mm256_unpacklo_epi8(s, zero), plane),
                              Scale16(_mm256_unpackhi_epi8(s, zero), plane));
    }
    const __m256i d = _mm256_loadu_si256(out);
    const __m256i restLow = _mm256_sub_epi16(full, _mm256_shuffle_epi8(s, alphaOfLow));
    const __m256i restHigh = _mm256_sub_epi16(full, _mm256_shuffle_epi8(s, alphaOfHigh));
    const __m256i under = _mm256_packus_epi16(Scale16(_mm256_unpacklo_epi8(d, zero), restLow),
                                              Scale16(_mm256_unpackhi_epi8(d, zero), restHigh));
    _mm256_storeu_si256(out, _mm256_or_si256(_mm256_adds_epu8(s, under), alphaMask));
  }
  for (; i < count; ++i) destination[i] = BlendPixel(destination[i], source[i], planeAlpha);
}

#endif

using BlendFunction = void (*)(uint32_t*, const uint32_t*, size_t, uint8_t);

BlendFunction ChooseBlend() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return BlendRowAvx2;
#endif
  return BlendRowPortable;
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

void BlendRow(uint32_t* destination, const uint32_t* source, size_t count, uint8_t planeAlpha) {
  static const BlendFunction blend = ChooseBlend();
  blend(destination, source, count, planeAlpha);
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
