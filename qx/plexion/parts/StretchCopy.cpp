// Copies and stretches pixels where the driver cannot: by a rule that every processor keeps to the
// bit, and that no rectangle, however wild, leads outside of its plane.

#include "qx/plexion/parts/StretchCopy.h"

#include <string.h>

#include "qx/core/Check.h"
#include "qx/plexion/parts/StretchRow.h"

namespace qx {
namespace plexion {

namespace {

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

void CopyRun(StretchKernel kernel, const StretchRow& row, const Axis& x, Span run) {
  const uint32_t fixed = x.FixedAt(run.begin);
  const auto count = static_cast<size_t>(run.end - run.begin);
  if (x.step == kOne) {
    memcpy(row.destination, row.source + (fixed >> 16) * kPixelBytes, count * kPixelBytes);
  } else {
    StretchRowPixels(kernel, row, fixed, x.step, count);
  }
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
      const uint32_t nextY = y.FixedAt(j + 1 < rows.end ? j + 1 : j) >> 16;
      CopyRun(kernel, {source.Row(sourceY), source.Row(nextY), source.width, out}, x, columns);
    }
    previousY = sourceY;
  }
}

}  // namespace

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
