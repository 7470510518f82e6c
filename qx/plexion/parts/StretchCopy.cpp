// Copies and stretches pixels where the driver cannot: by a rule that every processor keeps to the
// bit, and that no rectangle, however wild, leads outside of its plane.

#include "qx/plexion/parts/StretchCopy.h"

#include <string.h>

#include <atomic>

#include "qx/core/Check.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qx {
namespace plexion {

namespace {

constexpr uint32_t kOne = 0x10000;
constexpr uint64_t kWrap = 0x100000000;

/// One axis of a copy: which source position each destination pixel takes.
struct Axis {
  Axis(uint32_t sourceOffset, uint32_t sourceSize, uint32_t destinationSize)
      : first(sourceOffset << 16), step((sourceSize << 16) / destinationSize) {}
  uint32_t FixedAt(uint64_t i) const { return first + static_cast<uint32_t>(i) * step; }

  uint32_t first;
  uint32_t step;
};

/// Neighbouring destination pixels [begin, end), counted from the rectangle's edge.
struct Span {
  uint64_t begin;
  uint64_t end;
};

uint64_t Least(uint64_t a, uint64_t b) { return a < b ? a : b; }

/// Walks the runs of neighbouring destination pixels, along one axis, that lie inside their plane
/// and whose sources lie inside theirs. One run is the rule; positions that wrap make more.
class Runs {
 public:
  Runs(const Axis& axis, uint32_t offset, uint32_t size, uint32_t planeSize, uint32_t sourceSize)
      : axis_(axis), sourceEnd_(Least(static_cast<uint64_t>(sourceSize) << 16, kWrap)) {
    if (offset < planeSize) Add({0, Least(size, planeSize - offset)});
    // So long a rectangle that it goes once around and reaches the plane again.
    if (offset > 0) Add({kWrap - offset, Least(size, kWrap - offset + planeSize)});
  }

  /// Returns  false when there is no further run.
  bool Next(Span* run) {
    while (current_ < count_) {
      Span& rest = inside_[current_];
      while (rest.begin < rest.end) {
        const uint64_t fixed = axis_.FixedAt(rest.begin);
        const bool valid = fixed < sourceEnd_;
        const uint64_t edge = valid ? sourceEnd_ : kWrap;
        // Pixels from here that stay on this side of the edge.
        const uint64_t stay =
            axis_.step == 0 ? kWrap : (edge - fixed + axis_.step - 1) / axis_.step;
        const uint64_t begin = rest.begin;
        rest.begin = Least(rest.end, begin + stay);
        if (!valid) continue;
        *run = {begin, rest.begin};
        return true;
      }
      ++current_;
    }
    return false;
  }

 private:
  void Add(Span span) {
    if (span.begin >= span.end) return;
    QX_CHECK(count_ < 2, "one run before positions wrap, and one after");
    inside_[count_++] = span;
  }

  const Axis& axis_;
  const uint64_t sourceEnd_;
  Span inside_[2] = {};
  unsigned count_ = 0;
  unsigned current_ = 0;
};

// Pixels are addressed as bytes, since a driver's rows may begin anywhere: where a pitch is no
// multiple of four, every other row lies across the machine's words.

constexpr size_t kPixelBytes = sizeof(uint32_t);

uint32_t LoadPixel(const unsigned char* row, uint32_t column) {
  uint32_t pixel;
  memcpy(&pixel, row + column * kPixelBytes, kPixelBytes);
  return pixel;
}

void StorePixel(unsigned char* row, size_t column, uint32_t pixel) {
  memcpy(row + column * kPixelBytes, &pixel, kPixelBytes);
}

/// What every row of a copy has in common, and one row's addresses.
struct Row {
  const unsigned char* source;
  uint32_t sourcePixels;       ///< that may be read
  unsigned char* destination;  ///< of the run's first pixel
};

void CopyRunPlain(const Row& row, uint32_t fixed, uint32_t step, size_t count) {
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
__attribute__((target("avx2"))) void CopyRunAvx2(const Row& row, uint32_t fixed, uint32_t step,
                                                 size_t count) {
  const bool wide = step > kOne;
  const uint32_t window = wide ? 16 : 8;
  if (step > 2 * kOne || row.sourcePixels < window) {
    CopyRunPlain(row, fixed, step, count);
    return;
  }
  // Near the right edge the window stays inside the row and the indices grow instead.
  const uint32_t lastWindow = row.sourcePixels - window;
  const __m256i lanes = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                           _mm256_set1_epi32(static_cast<int>(step)));
  unsigned char* out = row.destination;
  for (; count >= 8; count -= 8, out += 8 * kPixelBytes, fixed += 8 * step) {
    const uint32_t at = fixed >> 16;
    const uint32_t base = at < lastWindow ? at : lastWindow;
    const __m256i position =
        _mm256_add_epi32(lanes, _mm256_set1_epi32(static_cast<int>(fixed - (base << 16))));
    const __m256i index = _mm256_srli_epi32(position, 16);
    const __m256i_u* from = reinterpret_cast<const __m256i_u*>(row.source + base * kPixelBytes);
    __m256i pixels = _mm256_permutevar8x32_epi32(_mm256_loadu_si256(from), index);
    if (wide) {
      const __m256i upper = _mm256_permutevar8x32_epi32(_mm256_loadu_si256(from + 1), index);
      // Bit 3 of the index says which half; the blend looks at the sign.
      const __m256i half = _mm256_slli_epi32(index, 28);
      pixels = _mm256_castps_si256(_mm256_blendv_ps(
          _mm256_castsi256_ps(pixels), _mm256_castsi256_ps(upper), _mm256_castsi256_ps(half)));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(out), pixels);
  }
  CopyRunPlain({row.source, row.sourcePixels, out}, fixed, step, count);
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

#endif

void CopyRun(StretchKernel kernel, const Row& row, const Axis& x, Span run) {
  const uint32_t fixed = x.FixedAt(run.begin);
  const auto count = static_cast<size_t>(run.end - run.begin);
  if (x.step == kOne) {
    memcpy(row.destination, row.source + (fixed >> 16) * kPixelBytes, count * kPixelBytes);
    return;
  }
#if defined(__x86_64__)
  if (kernel == StretchKernel::kAvx2) {
    CopyRunAvx2(row, fixed, x.step, count);
    return;
  }
#endif
  (void)kernel;
  CopyRunPlain(row, fixed, x.step, count);
}

struct Pixels {
  const unsigned char* Row(uint32_t y) const { return base + static_cast<size_t>(y) * pitch; }
  const unsigned char* base;
  size_t pitch;  ///< bytes from row to row
  uint32_t width;
};

/// Copies a rectangle of which every source and destination pixel lies inside its plane: the
/// columns of `columns` in the rows of `rows`. `top` and `left` are the destination's first row and
/// column.
void CopyInside(StretchKernel kernel, const Pixels& source, unsigned char* destination,
                size_t pitch, const Axis& x, Span columns, const Axis& y, Span rows, uint32_t left,
                uint32_t top) {
  QX_CHECK(columns.begin < columns.end && rows.begin < rows.end, "pixels to copy");
  const size_t rowBytes = static_cast<size_t>(columns.end - columns.begin) * kPixelBytes;
  unsigned char* out = destination + top * pitch + left * kPixelBytes;
  if (x.step == kOne && y.step == kOne && rowBytes == pitch && rowBytes == source.pitch) {
    // Whole planes, row upon row without a gap.
    const unsigned char* from = source.Row(y.FixedAt(rows.begin) >> 16);
    memcpy(out, from + (x.FixedAt(columns.begin) >> 16) * kPixelBytes,
           rowBytes * static_cast<size_t>(rows.end - rows.begin));
    return;
  }
  uint32_t previousY = 0;
  for (uint64_t j = rows.begin; j < rows.end; ++j, out += pitch) {
    const uint32_t sourceY = y.FixedAt(j) >> 16;
    if (j > rows.begin && sourceY == previousY) {
      memcpy(out, out - pitch, rowBytes);
    } else {
      CopyRun(kernel, {source.Row(sourceY), source.width, out}, x, columns);
    }
    previousY = sourceY;
  }
}

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
#else
  return StretchKernel::kPlain;
#endif
}

void StretchCopy32(const void* source, uint32_t sourcePitchBytes, Rect sourceRect, Dims sourceDims,
                   void* destination, uint32_t destinationPitchBytes, Rect destinationRect,
                   Dims destinationDims, StretchKernel kernel) {
  if (source == nullptr || destination == nullptr) return;
  QX_CHECK(source != destination, "planes that do not overlap");
  if (destinationRect.width == 0 || destinationRect.height == 0) return;
  const Axis x(sourceRect.x, sourceRect.width, destinationRect.width);
  const Axis y(sourceRect.y, sourceRect.height, destinationRect.height);
  const Pixels from{static_cast<const unsigned char*>(source), sourcePitchBytes, sourceDims.width};
  auto* const to = static_cast<unsigned char*>(destination);

  Runs rows(y, destinationRect.y, destinationRect.height, destinationDims.height,
            sourceDims.height);
  for (Span rowRun; rows.Next(&rowRun);) {
    Runs columns(x, destinationRect.x, destinationRect.width, destinationDims.width,
                 sourceDims.width);
    for (Span columnRun; columns.Next(&columnRun);) {
      CopyInside(kernel, from, to, destinationPitchBytes, x, columnRun, y, rowRun,
                 destinationRect.x + static_cast<uint32_t>(columnRun.begin),
                 destinationRect.y + static_cast<uint32_t>(rowRun.begin));
    }
  }
}

}  // namespace plexion
}  // namespace qx
