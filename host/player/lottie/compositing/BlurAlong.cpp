// A blur along any direction: rows or columns are shifted until it lies straight, and back.

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"
#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/SurfacePool.h"

namespace plexion_host::movie {
namespace {

/// Pixels as lines beside each other: rows, or columns.
struct Lines {
  uint32_t* first;
  ptrdiff_t line, step;  ///< from a line to the next, and along a line
  int count, length;
};

Lines LinesOf(const Surface& surface, bool columns) {
  const auto stride = static_cast<ptrdiff_t>(surface.strideBytes / sizeof(uint32_t));
  if (columns) return {surface.Row(0), 1, stride, surface.width, surface.height};
  return {surface.Row(0), stride, 1, surface.height, surface.width};
}

/// `share` of 256 of `other`, the rest of `one`.
uint32_t Mixed(uint32_t one, uint32_t other, uint32_t share) {
  const uint32_t rest = 256 - share;
  const uint32_t odd = ((one & 0xFF00FF) * rest + (other & 0xFF00FF) * share) >> 8 & 0xFF00FF;
  const uint32_t even = (one >> 8 & 0xFF00FF) * rest + (other >> 8 & 0xFF00FF) * share;
  return odd | (even & 0xFF00FF00);
}

/// How far a line is shifted: whole pixels, and 256ths.
struct Shift {
  Shift(double slope, int line, int count) {
    const double shift = slope > 0 ? slope * (count - 1 - line) : -slope * line;
    whole = static_cast<int>(shift);
    part = static_cast<uint32_t>((shift - whole) * 256);
  }
  int whole;
  uint32_t part;
};

void ShiftLines(const Lines& from, const Lines& to, double slope) {
  PLEXION_CHECK(to.length > from.length + std::abs(slope) * (from.count - 1),
                "what is shifted has room");
  for (int line = 0; line < from.count; ++line) {
    const Shift shift(slope, line, from.count);
    const uint32_t* in = from.first + line * from.line;
    uint32_t* out = to.first + line * to.line + shift.whole * to.step;
    uint32_t before = 0;
    for (int i = 0; i < from.length; ++i, in += from.step, out += to.step) {
      *out = Mixed(*in, before, shift.part);
      before = *in;
    }
    *out = Mixed(0, before, shift.part);
  }
}

void ShiftBack(const Lines& from, const Lines& to, double slope) {
  for (int line = 0; line < to.count; ++line) {
    const Shift shift(slope, line, to.count);
    const uint32_t* in = from.first + line * from.line + shift.whole * from.step;
    uint32_t* out = to.first + line * to.line;
    for (int i = 0; i < to.length; ++i, in += from.step, out += to.step) {
      *out = Mixed(in[0], in[from.step], shift.part);
    }
  }
}

}  // namespace

void BlurAlong(Blur& blur, SurfacePool& pool, const Surface& target, double x, double y,
               float sigma) {
  const double length = std::hypot(x, y);
  if (target.width <= 0 || target.height <= 0 || !(length > 0) || !std::isfinite(length) ||
      Blur::Reach(sigma) == 0) {
    return;
  }
  x /= length;
  y /= length;
  // A steep direction is made upright by rows that are shifted, a flat one level by columns.
  const bool columns = std::abs(x) > std::abs(y);
  const double slope = columns ? y / x : x / y;
  const double along = std::max(std::abs(x), std::abs(y));  // lines for each pixel of the way
  const int lines = columns ? target.width : target.height;
  const int room = 2 + static_cast<int>(std::ceil(std::abs(slope) * (lines - 1)));
  const SurfacePool::Lease lease =
      pool.TakeSurface(target.width + (columns ? 0 : room), target.height + (columns ? room : 0));
  const Lines straight = LinesOf(lease.surface, columns);
  ShiftLines(LinesOf(target, columns), straight, slope);
  const auto across = static_cast<float>(sigma * along);
  blur.Run(lease.surface, lease.surface.Bounds(), columns ? across : 0, columns ? 0 : across);
  ShiftBack(straight, LinesOf(target, columns), slope);
}

}  // namespace plexion_host::movie
