// One row of a stretched picture, a few pixels a step: plain, with AVX2 and with NEON.

#include "qx/plexion/parts/StretchRow.h"

#include <string.h>

#include <atomic>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace qx {
namespace plexion {

namespace {

// Pixels are addressed as bytes, since a driver's rows may begin anywhere: where a pitch is no
// multiple of four, every other row lies across the machine's words.

uint32_t LoadPixel(const unsigned char* row, uint32_t column) {
  uint32_t pixel;
  memcpy(&pixel, row + column * kPixelBytes, kPixelBytes);
  return pixel;
}

void StorePixel(unsigned char* row, size_t column, uint32_t pixel) {
  memcpy(row + column * kPixelBytes, &pixel, kPixelBytes);
}

void CopyPlain(const StretchRow& row, uint32_t fixed, uint32_t step, size_t count) {
  const unsigned char* source = row.source;
  unsigned char* out = row.destination;
  for (; count >= 8; count -= 8, out += 8 * kPixelBytes) {
    // Eight independent loads: no index waits for the one before.
    const uint32_t p0 = LoadPixel(source, fixed >> 16);
    const uint32_t p1 = LoadPixel(source, (fixed + step) >> 16);
    const uint32_t p2 = LoadPixel(source, (fixed + 2 * step) >> 16);
    const uint32_t p3 = LoadPixel(source, (fixed + 3 * step) >> 16);
    const uint32_t p4 = LoadPixel(source, (fixed + 4 * step) >> 16);
    const uint32_t p5 = LoadPixel(source, (fixed + 5 * step) >> 16);
    const uint32_t p6 = LoadPixel(source, (fixed + 6 * step) >> 16);
    const uint32_t p7 = LoadPixel(source, (fixed + 7 * step) >> 16);
    StorePixel(out, 0, p0);
    StorePixel(out, 1, p1);
    StorePixel(out, 2, p2);
    StorePixel(out, 3, p3);
    StorePixel(out, 4, p4);
    StorePixel(out, 5, p5);
    StorePixel(out, 6, p6);
    StorePixel(out, 7, p7);
    fixed += 8 * step;
  }
  for (; count > 0; --count, fixed += step, out += kPixelBytes) {
    StorePixel(out, 0, LoadPixel(source, fixed >> 16));
  }
}

#if defined(__x86_64__)

/// Loads the neighbourhood that eight pixels come from and permutes it: for steps of up to two
/// pixels it is one or two vectors wide. Gathers would be slower than single loads here.
__attribute__((target("avx2"))) void CopyAvx2(const StretchRow& row, uint32_t fixed, uint32_t step,
                                              size_t count) {
  const bool wide = step > kOne;
  const uint32_t window = wide ? 16 : 8;
  if (step > 2 * kOne || row.sourcePixels < window) {
    CopyPlain(row, fixed, step, count);
    return;
  }
  // Near the right edge the window stays inside the row and the indices grow instead.
  const uint32_t lastWindow = row.sourcePixels - window;
  const __m256i lanes = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                           _mm256_set1_epi32(static_cast<int>(step)));
  unsigned char* out = row.destination;
  if (step == 2 * kOne) {
    // Every other pixel, from vectors that always lie alike.
    const unsigned char* from = row.source + (fixed >> 16) * kPixelBytes;
    const unsigned char* next = row.next + (fixed >> 16) * kPixelBytes;
    uint32_t left = row.sourcePixels - (fixed >> 16);
    for (; count >= 8 && left >= 16; count -= 8, left -= 16, out += 8 * kPixelBytes) {
      __builtin_prefetch(next);
      const __m256 low = _mm256_loadu_ps(reinterpret_cast<const float*>(from));
      const __m256 high = _mm256_loadu_ps(reinterpret_cast<const float*>(from + 8 * kPixelBytes));
      const __m256i even = _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0x88));
      _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(out), _mm256_permute4x64_epi64(even, 0xD8));
      from += 16 * kPixelBytes;
      next += 16 * kPixelBytes;
      fixed += 8 * step;
    }
  }
  for (; count >= 8; count -= 8, out += 8 * kPixelBytes, fixed += 8 * step) {
    const uint32_t at = fixed >> 16;
    const uint32_t base = at < lastWindow ? at : lastWindow;
    const __m256i position =
        _mm256_add_epi32(lanes, _mm256_set1_epi32(static_cast<int>(fixed - (base << 16))));
    const __m256i index = _mm256_srli_epi32(position, 16);
    const __m256i_u* from = reinterpret_cast<const __m256i_u*>(row.source + base * kPixelBytes);
    __m256i pixels = _mm256_permutevar8x32_epi32(_mm256_loadu_si256(from), index);
    if (wide) {
      // Rows are left out, so the processor does not see by itself which one comes next.
      __builtin_prefetch(row.next + base * kPixelBytes);
      const __m256i upper = _mm256_permutevar8x32_epi32(_mm256_loadu_si256(from + 1), index);
      // Bit 3 of the index says which half; the blend looks at the sign.
      const __m256i half = _mm256_slli_epi32(index, 28);
      pixels = _mm256_castps_si256(_mm256_blendv_ps(
          _mm256_castsi256_ps(pixels), _mm256_castsi256_ps(upper), _mm256_castsi256_ps(half)));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(out), pixels);
  }
  CopyPlain({row.source, row.next, row.sourcePixels, out}, fixed, step, count);
}

/// Asked of the processor directly: the compiler's own test would add an import.
bool CpuHasAvx2() {
  uint32_t a = 0;
  uint32_t b = 0;
  uint32_t c = 0;
  uint32_t d = 0;
  const auto cpuid = [&](uint32_t leaf) {
    __asm__ volatile("cpuid" : "=a"(a), "=b"(b), "=c"(c), "=d"(d) : "a"(leaf), "c"(0));
  };
  cpuid(0);
  if (a < 7) return false;
  cpuid(1);
  constexpr uint32_t kOsxsave = 1u << 27;
  constexpr uint32_t kAvx = 1u << 28;
  if ((c & kOsxsave) == 0 || (c & kAvx) == 0) return false;
  // The operating system must save the wide registers, too.
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  constexpr uint32_t kXmmAndYmm = 6;
  if ((low & kXmmAndYmm) != kXmmAndYmm) return false;
  cpuid(7);
  constexpr uint32_t kAvx2 = 1u << 5;
  return (b & kAvx2) != 0;
}

#elif defined(__ARM_NEON)

/// The bytes of four pixels out of the 16 bytes at `from`.
inline uint8x16_t PickFrom4(const unsigned char* from, uint8x16_t index) {
#if defined(__aarch64__)
  return vqtbl1q_u8(vld1q_u8(from), index);
#else
  const uint8x8x2_t table = {{vld1_u8(from), vld1_u8(from + 8)}};
  return vcombine_u8(vtbl2_u8(table, vget_low_u8(index)), vtbl2_u8(table, vget_high_u8(index)));
#endif
}

/// The same out of 32 bytes.
inline uint8x16_t PickFrom8(const unsigned char* from, uint8x16_t index) {
#if defined(__aarch64__)
  const uint8x16x2_t table = {{vld1q_u8(from), vld1q_u8(from + 16)}};
  return vqtbl2q_u8(table, index);
#else
  const uint8x8x4_t table = {
      {vld1_u8(from), vld1_u8(from + 8), vld1_u8(from + 16), vld1_u8(from + 24)}};
  return vcombine_u8(vtbl4_u8(table, vget_low_u8(index)), vtbl4_u8(table, vget_high_u8(index)));
#endif
}

/// As with AVX2, four pixels a step: the neighbourhood is one or two vectors wide, and a table look-up
/// takes them out of it.
void CopyNeon(const StretchRow& row, uint32_t fixed, uint32_t step, size_t count) {
  const bool wide = step > kOne;
  const uint32_t window = wide ? 8 : 4;
  if (step > 2 * kOne || row.sourcePixels < window) {
    CopyPlain(row, fixed, step, count);
    return;
  }
  unsigned char* out = row.destination;
  if (step == 2 * kOne) {
    // Every other pixel: the even ones of two vectors.
    const unsigned char* from = row.source + (fixed >> 16) * kPixelBytes;
    const unsigned char* next = row.next + (fixed >> 16) * kPixelBytes;
    uint32_t left = row.sourcePixels - (fixed >> 16);
    for (; count >= 4 && left >= 8; count -= 4, left -= 8, out += 4 * kPixelBytes) {
      __builtin_prefetch(next);
      const uint32x4_t low = vreinterpretq_u32_u8(vld1q_u8(from));
      const uint32x4_t high = vreinterpretq_u32_u8(vld1q_u8(from + 16));
      vst1q_u8(out, vreinterpretq_u8_u32(vuzpq_u32(low, high).val[0]));
      from += 8 * kPixelBytes;
      next += 8 * kPixelBytes;
      fixed += 4 * step;
    }
  }
  const uint32_t lastWindow = row.sourcePixels - window;
  const uint32_t first[4] = {0, step, 2 * step, 3 * step};
  const uint32x4_t lanes = vld1q_u32(first);
  for (; count >= 4; count -= 4, out += 4 * kPixelBytes, fixed += 4 * step) {
    const uint32_t at = fixed >> 16;
    const uint32_t base = at < lastWindow ? at : lastWindow;
    const uint32x4_t position = vaddq_u32(lanes, vdupq_n_u32(fixed - (base << 16)));
    // Four times the pixel's place, and the four bytes from there.
    const uint32x4_t bytes =
        vmlaq_n_u32(vdupq_n_u32(0x03020100), vshrq_n_u32(position, 16), 0x04040404);
    const uint8x16_t index = vreinterpretq_u8_u32(bytes);
    const unsigned char* from = row.source + base * kPixelBytes;
    if (wide) __builtin_prefetch(row.next + base * kPixelBytes);
    vst1q_u8(out, wide ? PickFrom8(from, index) : PickFrom4(from, index));
  }
  CopyPlain({row.source, row.next, row.sourcePixels, out}, fixed, step, count);
}

#endif

}  // namespace

StretchKernel BestStretchKernel() {
#if defined(__x86_64__)
  // Remembered: under a hypervisor the question alone costs as much as a few rows.
  static std::atomic<int> known(-1);
  int best = known.load(std::memory_order_relaxed);
  if (best < 0) {
    best = static_cast<int>(CpuHasAvx2() ? StretchKernel::kAvx2 : StretchKernel::kPlain);
    known.store(best, std::memory_order_relaxed);
  }
  return static_cast<StretchKernel>(best);
#elif defined(__ARM_NEON)
  return StretchKernel::kNeon;
#else
  return StretchKernel::kPlain;
#endif
}

void StretchRowPixels(StretchKernel kernel, const StretchRow& row, uint32_t fixed, uint32_t step,
                      size_t count) {
#if defined(__x86_64__)
  if (kernel == StretchKernel::kAvx2) {
    CopyAvx2(row, fixed, step, count);
    return;
  }
#elif defined(__ARM_NEON)
  if (kernel == StretchKernel::kNeon) {
    CopyNeon(row, fixed, step, count);
    return;
  }
#endif
  (void)kernel;
  CopyPlain(row, fixed, step, count);
}

}  // namespace plexion
}  // namespace qx
