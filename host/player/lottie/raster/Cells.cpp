// From lines to covered areas: deposits in cells, and sums over them.

#include "host/player/lottie/raster/Cells.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {
namespace {

constexpr int kGroup = kCellsInGroup;
constexpr int kCellsInBand = 1 << 15;  // 128 KiB
constexpr int64_t kOne = int64_t{1} << 32;

/// over * 2^32 / under, cut to a whole number, for |over| < 2^21 and `under` > 0. A quotient that is no
/// whole number lies at least 1 / under away from one, further than the rounding of 53 bits carries
/// it: so this is what dividing whole numbers of 64 bits gives, which takes several times as long, and
/// is a call on processors of 32 bits.
int64_t Ratio(int over, int under) {
  return static_cast<int64_t>(static_cast<double>(over) * static_cast<double>(kOne) /
                              static_cast<double>(under));
}

}  // namespace

struct Cells::Band {
  int left, top, bottom;  // in 1/256 of a pixel
};

/// Of columns there is one more for what a line at the right edge leaves there, and one behind it.
void Cells::MakeRoom(int rows, int columns) {
  stride_ = (columns + 2 + kGroup - 1) / kGroup * kGroup;
  words_ = (stride_ / kGroup + 63) / 64;
  // The alignment is that of the longest vectors, and keeps a group in one line of the cache.
  const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(stride_);
  if (cells_.size() < count + kGroup) {
    cells_.assign(count + kGroup, 0);
    alignedCells_ = cells_.data();
    while (reinterpret_cast<uintptr_t>(alignedCells_) % 64 != 0) ++alignedCells_;
  }
  const size_t words = static_cast<size_t>(rows) * static_cast<size_t>(words_);
  if (touched_.size() < words) touched_.resize(words, 0);
  if (cover_.size() < static_cast<size_t>(stride_)) cover_.resize(static_cast<size_t>(stride_));
}

void Cells::Wipe() {
  edges_.clear();
  std::fill(cells_.begin(), cells_.end(), 0u);
  std::fill(touched_.begin(), touched_.end(), uint64_t{0});
  begun_ = direct_ = false;
}

void Cells::Begin(const IntRect& box) {
  PLEXION_CHECK(!begun_ && !box.IsEmpty(), "what was begun is swept, and lines have room");
  rows_ = box.Height();
  columns_ = box.Width();
  begun_ = true;
  direct_ = int64_t{columns_ + 2 + kGroup} * rows_ <= kCellsInBand;
  if (!direct_) return;
  left_ = box.left * 256;
  top_ = box.top * 256;
  MakeRoom(rows_, columns_);
}

void Cells::Sweep(bool evenOdd, ISpans& spans) {
  if (!begun_) return;
  if (direct_) {
    for (int row = 0; row < rows_; ++row) {
      SweepRow(row, left_ >> 8, (top_ >> 8) + row, columns_, evenOdd, spans);
    }
  } else if (!edges_.empty()) {
    SweepBands(evenOdd, spans);
    edges_.clear();
  }
  begun_ = direct_ = false;
}

void Cells::SweepBands(bool evenOdd, ISpans& spans) {
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
  const int stride = (columns + 2 + kGroup - 1) / kGroup * kGroup;
  const int bandRows = std::min(rows, std::max(4, kCellsInBand / stride));
  MakeRoom(bandRows, columns);
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
  Row row = {alignedCells_ + static_cast<size_t>(y0 >> 8) * static_cast<size_t>(stride_),
             touched_.data() + static_cast<size_t>(y0 >> 8) * static_cast<size_t>(words_)};
  // Rows for each 1/256, times 2^32. Most lines are short and stay in one column, where nobody asks:
  // dividing takes longer than the rest of what such a line needs.
  const int64_t perColumn = x0 >> 8 == x1 >> 8 ? 0 : Ratio(y1 - y0, std::abs(x1 - x0));
  int left = ((y1 - 1) >> 8) - (y0 >> 8);  // rows
  if (left == 0) {
    RenderRow(row, x0, x1, y0 & 255, ((y1 - 1) & 255) + 1, direction, perColumn);
    return;
  }
  const int64_t perRow = Ratio(x1 - x0, y1 - y0);
  int64_t at = int64_t{x0} * kOne + kOne / 2 + perRow * (256 - (y0 & 255));
  int x = static_cast<int>(at >> 32);
  RenderRow(row, x0, x, y0 & 255, 256, direction, perColumn);
  for (; left > 1; --left) {
    row = {row.cells + stride_, row.touched + words_};
    at += perRow * 256;
    const int next = static_cast<int>(at >> 32);
    RenderRow(row, x, next, 0, 256, direction, perColumn);
    x = next;
  }
  row = {row.cells + stride_, row.touched + words_};
  RenderRow(row, x, x1, 0, ((y1 - 1) & 255) + 1, direction, perColumn);
}

// A line from (x0, y0) to (x1, y1) within one row, y0 <= y1. A cell that it crosses loses the area
// left of it; the next one gets that back, so that all to the right have the whole height.
inline void Cells::RenderRow(const Row& row, int x0, int x1, int y0, int y1, int direction,
                             int64_t perColumn) {
  const int column = x0 >> 8;
  if (column != x1 >> 8) {
    RenderAcross(row, x0, x1, y0, y1, direction, perColumn);
    return;
  }
  const int group = column / kGroup;
  row.touched[group >> 6] |= uint64_t{1} << (group & 63);
  if (column % kGroup == kGroup - 1) {
    row.touched[(group + 1) >> 6] |= uint64_t{1} << ((group + 1) & 63);
  }
  const int value = (y1 - y0) * direction;
  const int area = value * ((x0 & 255) + (x1 & 255));
  row.cells[column] += static_cast<uint32_t>(value * 512 - area);
  row.cells[column + 1] += static_cast<uint32_t>(area);
}

void Cells::RenderAcross(const Row& row, int x0, int x1, int y0, int y1, int direction,
                         int64_t perColumn) {
  const auto deposit = [cells = row.cells, direction](int column, int height, int left) {
    const int value = height * direction;
    cells[column] += static_cast<uint32_t>(value * (512 - left));
    cells[column + 1] += static_cast<uint32_t>(value * left);
  };
  const int from = x0 >> 8;
  const int to = x1 >> 8;
  const int lastGroup = (std::max(from, to) + 1) / kGroup;
  for (int group = std::min(from, to) / kGroup; group <= lastGroup; ++group) {
    row.touched[group >> 6] |= uint64_t{1} << (group & 63);
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
  if (spans.TakesRow(x, y, {cells, touched, words_, columns}, evenOdd)) return;
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
