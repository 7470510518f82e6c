// From lines to covered areas: deposits in cells, and sums over them.

#include "host/player/lottie/raster/Cells.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {
namespace {

constexpr int kGroup = 16;             // cells for each bit of touched_: one line of the cache
constexpr int kCellsInBand = 1 << 15;  // 128 KiB
constexpr int64_t kOne = int64_t{1} << 32;

}  // namespace

struct Cells::Band {
  int left, top, bottom;  // in 1/256 of a pixel
};

void Cells::Sweep(bool evenOdd, ISpans& spans) {
  if (edges_.empty()) return;
  int left = edges_[0].x0;
  int right = left;
  int top = edges_[0].y0;
  int bottom = top;
  for (const Edge& edge : edges_) {
    left = std::min({left, edge.x0, edge.x1});
    right = std::max({right, edge.x0, edge.x1});
    top = std::min(top, edge.y0);
    bottom = std::max(bottom, edge.y1);
  }
  left >>= 8;
  top >>= 8;
  const int columns = ((right + 255) >> 8) - left;
  const int rows = ((bottom + 255) >> 8) - top;
  // A line at the right edge leaves something in the column there and in the next.
  stride_ = (columns + 2 + kGroup - 1) / kGroup * kGroup;
  words_ = (stride_ / kGroup + 63) / 64;
  const int bandRows = std::min(rows, std::max(4, kCellsInBand / stride_));
  // The alignment is that of the longest vectors, and keeps a group in one line of the cache.
  const size_t count = static_cast<size_t>(bandRows) * static_cast<size_t>(stride_);
  if (cells_.size() < count + kGroup) {
    cells_.assign(count + kGroup, 0);
    alignedCells_ = cells_.data();
    while (reinterpret_cast<uintptr_t>(alignedCells_) % 64 != 0) ++alignedCells_;
  }
  const size_t words = static_cast<size_t>(bandRows) * static_cast<size_t>(words_);
  if (touched_.size() < words) touched_.resize(words, 0);
  if (cover_.size() < static_cast<size_t>(stride_)) cover_.resize(static_cast<size_t>(stride_));

  if (rows <= bandRows) {
    const Band band{left << 8, top << 8, (top + rows) << 8};
    for (const Edge& edge : edges_) Render(edge, band);
    for (int row = 0; row < rows; ++row) SweepRow(row, left, top + row, columns, evenOdd, spans);
    edges_.clear();
    return;
  }

  const int bands = (rows + bandRows - 1) / bandRows;
  firstOfBand_.assign(static_cast<size_t>(bands), -1);
  for (size_t i = 0; i < edges_.size(); ++i) {
    int& first = firstOfBand_[static_cast<size_t>(((edges_[i].y0 >> 8) - top) / bandRows)];
    edges_[i].next = first;
    first = static_cast<int>(i);
  }
  active_.clear();
  for (int index = 0; index < bands; ++index) {
    const int first = top + index * bandRows;
    const int height = std::min(bandRows, rows - index * bandRows);
    const Band band{left << 8, first << 8, (first + height) << 8};
    for (int i = firstOfBand_[static_cast<size_t>(index)]; i >= 0;
         i = edges_[static_cast<size_t>(i)].next) {
      active_.push_back(i);
    }
    size_t kept = 0;
    for (const int i : active_) {
      const Edge& edge = edges_[static_cast<size_t>(i)];
      Render(edge, band);
      // What reaches into the next band stays; the rest was drawn to its end.
      if (edge.y1 > band.bottom) active_[kept++] = i;
    }
    active_.resize(kept);
    for (int row = 0; row < height; ++row) {
      SweepRow(row, left, first + row, columns, evenOdd, spans);
    }
  }
  edges_.clear();
}

void Cells::Render(const Edge& edge, const Band& band) {
  PLEXION_CHECK(edge.y0 < edge.y1 && edge.y0 < band.bottom && edge.y1 > band.top,
                "a line goes down, through the band");
  // Where it leaves one band it enters the next: both compute the same number.
  const auto at = [&edge](int y) {
    return edge.x0 +
           static_cast<int>(int64_t{edge.x1 - edge.x0} * (y - edge.y0) / (edge.y1 - edge.y0));
  };
  int x0 = edge.x0;
  int y0 = edge.y0;
  int x1 = edge.x1;
  int y1 = edge.y1;
  if (y0 < band.top) {
    x0 = at(band.top);
    y0 = band.top;
  }
  if (y1 > band.bottom) {
    x1 = at(band.bottom);
    y1 = band.bottom;
  }
  RenderLine(x0 - band.left, y0 - band.top, x1 - band.left, y1 - band.top, edge.direction);
}

void Cells::RenderLine(int x0, int y0, int x1, int y1, int direction) {
  // Rows for each 1/256, times 2^32. Most lines are short and stay in one column, where nobody asks:
  // dividing takes longer than the rest of what such a line needs.
  const int64_t perColumn = x0 >> 8 == x1 >> 8 ? 0 : int64_t{y1 - y0} * kOne / std::abs(x1 - x0);
  int row = y0 >> 8;
  const int lastRow = (y1 - 1) >> 8;
  if (row == lastRow) {
    RenderRow(row, x0, x1, y0 & 255, y1 - (row << 8), direction, perColumn);
    return;
  }
  const int64_t perRow = int64_t{x1 - x0} * kOne / (y1 - y0);
  int64_t at = int64_t{x0} * kOne + kOne / 2 + perRow * (256 - (y0 & 255));
  int x = static_cast<int>(at >> 32);
  RenderRow(row, x0, x, y0 & 255, 256, direction, perColumn);
  for (++row; row < lastRow; ++row) {
    at += perRow * 256;
    const int next = static_cast<int>(at >> 32);
    RenderRow(row, x, next, 0, 256, direction, perColumn);
    x = next;
  }
  RenderRow(row, x, x1, 0, y1 - (row << 8), direction, perColumn);
}

// A line from (x0, y0) to (x1, y1) within one row, y0 <= y1. A cell that it crosses loses the area
// left of it; the next one gets that back, so that all to the right have the whole height.
void Cells::RenderRow(int row, int x0, int x1, int y0, int y1, int direction, int64_t perColumn) {
  uint32_t* const cells = alignedCells_ + static_cast<size_t>(row) * static_cast<size_t>(stride_);
  const auto deposit = [cells, direction](int column, int height, int left) {
    const int value = height * direction;
    cells[column] += static_cast<uint32_t>(value * (512 - left));
    cells[column + 1] += static_cast<uint32_t>(value * left);
  };
  const int from = x0 >> 8;
  const int to = x1 >> 8;
  uint64_t* const touched = touched_.data() + row * words_;
  const int lastGroup = (std::max(from, to) + 1) / kGroup;
  for (int group = std::min(from, to) / kGroup; group <= lastGroup; ++group) {
    touched[group >> 6] |= uint64_t{1} << (group & 63);
  }
  if (from == to) {
    deposit(from, y1 - y0, (x0 & 255) + (x1 & 255));
    return;
  }
  int64_t at = int64_t{y0} * kOne + kOne / 2;
  const int64_t step = perColumn * 256;
  int y = y0;
  const auto next = [&] { return std::min(static_cast<int>(at >> 32), y1); };
  if (from < to) {
    // From the middle of a 1/256, so that rounding errs to neither side along a flat line.
    at += perColumn * (256 - (x0 & 255));
    int below = next();
    deposit(from, below - y, (x0 & 255) + 256);
    for (int column = from + 1; column < to; ++column) {
      y = below;
      at += step;
      below = next();
      deposit(column, below - y, 256);
    }
    deposit(to, y1 - below, x1 & 255);
  } else {
    at += perColumn * (x0 & 255);
    int below = next();
    deposit(from, below - y, x0 & 255);
    for (int column = from - 1; column > to; --column) {
      y = below;
      at += step;
      below = next();
      deposit(column, below - y, 256);
    }
    deposit(to, y1 - below, 256 + (x1 & 255));
  }
}

void Cells::SweepRow(int row, int x, int y, int columns, bool evenOdd, ISpans& spans) {
  uint32_t* const cells = alignedCells_ + static_cast<size_t>(row) * static_cast<size_t>(stride_);
  uint64_t* const touched = touched_.data() + row * words_;
  const int groups = stride_ / kGroup;
  uint32_t sum = 0;
  int done = 0;  // groups
  const auto flat = [&](int upTo) {
    const uint8_t cover = CoverOf(sum, evenOdd);
    const int n = std::min(upTo * kGroup, columns) - done * kGroup;
    if (cover != 0 && n > 0) spans.Flat(x + done * kGroup, y, n, cover);
  };
  for (int word = 0; word < words_; ++word) {
    uint64_t bits = touched[word];
    touched[word] = 0;
    while (bits != 0) {
      const int skip = __builtin_ctzll(bits);
      const int first = word * 64 + skip;
      const uint64_t shifted = ~(bits >> skip);
      const int length = shifted == 0 ? 64 : __builtin_ctzll(shifted);
      // The bits from `first` on that follow each other.
      bits = skip + length >= 64 ? 0 : bits >> (skip + length) << (skip + length);
      if (first > done) flat(first);
      sum = ResolveCells(cells + first * kGroup, length * kGroup, sum, evenOdd, cover_.data());
      done = first + length;
      const int n = std::min(done * kGroup, columns) - first * kGroup;
      if (n > 0) spans.Mixed(x + first * kGroup, y, n, cover_.data());
    }
  }
  if (sum != 0 && done < groups) flat(groups);
}

}  // namespace plexion_host::movie
