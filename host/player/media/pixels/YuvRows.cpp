// Rows of video, converted by vector code.

#include "host/player/media/pixels/YuvRows.h"

#include <algorithm>
#include <cmath>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace plexion_host::player {

namespace {

// Samples get 6 bits behind the point, coefficients have 13; a product keeps its upper 16 of 31
// bits, rounded, and so has 4. The largest sum, full luma and full chroma of BT.2020, is 8840.
constexpr int kSampleBits = 6;
constexpr int kSumBits = 4;

int32_t Product(int32_t sample, int32_t coefficient) {
  return ((sample * (1 << kSampleBits)) * coefficient + (1 << 14)) >> 15;
}

uint32_t Channel(int32_t sum) {
  return static_cast<uint32_t>(std::clamp((sum + (1 << (kSumBits - 1))) >> kSumBits, 0, 255));
}

#if defined(__x86_64__)

#define PLEXION_AVX2 __attribute__((target("avx2")))

PLEXION_AVX2 inline __m256i Samples(__m256i words, int16_t offset) {
  return _mm256_slli_epi16(_mm256_sub_epi16(words, _mm256_set1_epi16(offset)), kSampleBits);
}

/// Sums of 32 pixels, the lower and upper 8 of each half, as 32 bytes in order.
PLEXION_AVX2 inline __m256i Bytes(__m256i low, __m256i high) {
  const __m256i half = _mm256_set1_epi16(1 << (kSumBits - 1));
  return _mm256_packus_epi16(_mm256_srai_epi16(_mm256_add_epi16(low, half), kSumBits),
                             _mm256_srai_epi16(_mm256_add_epi16(high, half), kSumBits));
}

/// Returns  the pixels done, a multiple of 32.
PLEXION_AVX2 size_t ConvertAvx2(const uint8_t* y, const uint8_t* u, const uint8_t* v,
                                uint32_t* pixels, size_t count, const YuvMatrix& matrix) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i opaque = _mm256_set1_epi8(-1);
  const __m256i luma = _mm256_set1_epi16(matrix.luma);
  const __m256i redV = _mm256_set1_epi16(matrix.redV);
  const __m256i greenU = _mm256_set1_epi16(matrix.greenU);
  const __m256i greenV = _mm256_set1_epi16(matrix.greenV);
  const __m256i blueU = _mm256_set1_epi16(matrix.blueU);
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i ys = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i));
    const __m256i us = Samples(
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(u + i / 2))), 128);
    const __m256i vs = Samples(
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(v + i / 2))), 128);
    const __m256i low =
        _mm256_mulhrs_epi16(Samples(_mm256_unpacklo_epi8(ys, zero), matrix.lumaOffset), luma);
    const __m256i high =
        _mm256_mulhrs_epi16(Samples(_mm256_unpackhi_epi8(ys, zero), matrix.lumaOffset), luma);
    const __m256i red = _mm256_mulhrs_epi16(vs, redV);
    const __m256i green =
        _mm256_add_epi16(_mm256_mulhrs_epi16(us, greenU), _mm256_mulhrs_epi16(vs, greenV));
    const __m256i blue = _mm256_mulhrs_epi16(us, blueU);
    // Each chroma sample stands for two pixels.
    const __m256i b = Bytes(_mm256_add_epi16(low, _mm256_unpacklo_epi16(blue, blue)),
                            _mm256_add_epi16(high, _mm256_unpackhi_epi16(blue, blue)));
    const __m256i g = Bytes(_mm256_add_epi16(low, _mm256_unpacklo_epi16(green, green)),
                            _mm256_add_epi16(high, _mm256_unpackhi_epi16(green, green)));
    const __m256i r = Bytes(_mm256_add_epi16(low, _mm256_unpacklo_epi16(red, red)),
                            _mm256_add_epi16(high, _mm256_unpackhi_epi16(red, red)));
    const __m256i bgLow = _mm256_unpacklo_epi8(b, g);
    const __m256i bgHigh = _mm256_unpackhi_epi8(b, g);
    const __m256i raLow = _mm256_unpacklo_epi8(r, opaque);
    const __m256i raHigh = _mm256_unpackhi_epi8(r, opaque);
    // Pixels 0-3 and 16-19, 4-7 and 20-23, and so on.
    const __m256i first = _mm256_unpacklo_epi16(bgLow, raLow);
    const __m256i second = _mm256_unpackhi_epi16(bgLow, raLow);
    const __m256i third = _mm256_unpacklo_epi16(bgHigh, raHigh);
    const __m256i fourth = _mm256_unpackhi_epi16(bgHigh, raHigh);
    auto* const out = reinterpret_cast<__m256i*>(pixels + i);
    _mm256_storeu_si256(out, _mm256_permute2x128_si256(first, second, 0x20));
    _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(third, fourth, 0x20));
    _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(first, second, 0x31));
    _mm256_storeu_si256(out + 3, _mm256_permute2x128_si256(third, fourth, 0x31));
  }
  return i;
}

bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

#endif

int16_t Fixed(double value) { return static_cast<int16_t>(std::lround(value * (1 << 13))); }

}  // namespace

YuvMatrix YuvMatrix::Make(double redWeight, double blueWeight, bool full) {
  const double greenWeight = 1 - redWeight - blueWeight;
  const double chroma = full ? 1 : 255.0 / 224;
  YuvMatrix matrix;
  matrix.lumaOffset = full ? 0 : 16;
  matrix.luma = Fixed(full ? 1 : 255.0 / 219);
  matrix.redV = Fixed(2 * (1 - redWeight) * chroma);
  matrix.greenU = Fixed(-2 * (1 - blueWeight) * blueWeight / greenWeight * chroma);
  matrix.greenV = Fixed(-2 * (1 - redWeight) * redWeight / greenWeight * chroma);
  matrix.blueU = Fixed(2 * (1 - blueWeight) * chroma);
  return matrix;
}

void ConvertYuvRowPortable(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                           size_t count, const YuvMatrix& matrix) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t luma = Product(y[i] - matrix.lumaOffset, matrix.luma);
    const int32_t uSample = u[i / 2] - 128;
    const int32_t vSample = v[i / 2] - 128;
    const uint32_t red = Channel(luma + Product(vSample, matrix.redV));
    const uint32_t green =
        Channel(luma + Product(uSample, matrix.greenU) + Product(vSample, matrix.greenV));
    const uint32_t blue = Channel(luma + Product(uSample, matrix.blueU));
    pixels[i] = 0xFF000000u | red << 16 | green << 8 | blue;
  }
}

void ConvertYuvRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                   size_t count, const YuvMatrix& matrix) {
  size_t done = 0;
#if defined(__x86_64__)
  if (HasAvx2()) done = ConvertAvx2(y, u, v, pixels, count, matrix);
#endif
  ConvertYuvRowPortable(y + done, u + done / 2, v + done / 2, pixels + done, count - done, matrix);
}

}  // namespace plexion_host::player
