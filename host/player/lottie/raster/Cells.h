#ifndef HOST_PLAYER_LOTTIE_RASTER_CELLS_H_
#define HOST_PLAYER_LOTTIE_RASTER_CELLS_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Geometry.h"
#include "host/player/lottie/raster/Rows.h"

namespace plexion_host::movie {

/// Takes what the sweep finds, row by row from the top, in each row from the left.
class ISpans {
 public:
  virtual ~ISpans() = default;
  /// `n` pixels that are all covered alike; `cover` is not 0.
  virtual void Flat(int x, int y, int n, uint8_t cover) = 0;
  virtual void Mixed(int x, int y, int n, const uint8_t* cover) = 0;
  /// Asked for each row first. Returns  false to be told its spans; else the row has been taken, and
  /// its cells are cleared.
  virtual bool TakesRow(int /*x*/, int /*y*/, const CellRow& /*row*/, bool /*evenOdd*/) {
    return false;
  }
};

/// Finds how much of each pixel lies inside of closed contours.
///
/// Each line leaves in the cells that it crosses by how much the covered area changes there; the sum
/// of these from the left is each pixel's area. A bit for each sixteen cells says where lines went:
/// between them a row is the same all along, and is not looked at. What needs more cells than the
/// processor's cache holds is done a band of rows at a time, for which its lines are gathered first.
///
/// Units    lines in 1/256 of a pixel; contours must be closed.
/// Order    Clear, then Begin and the lines if there are any, then Sweep.
/// Life     keeps its memory; cells and bits are all 0 between two sweeps.
/// Errors   throws std::bad_alloc; Clear makes it good again.
/// Thread   one.
class Cells {
 public:
  /// Forgets what was not swept.
  void Clear() {
    if (begun_) Wipe();
  }
  /// All lines that follow lie within `box`, which has less than 2^22 pixels either way.
  void Begin(const IntRect& box);

  void Line(int x0, int y0, int x1, int y1) {
    if (y0 == y1) return;
    if (!direct_) {
      Gather(x0, y0, x1, y1);
    } else if (y0 < y1) {
      RenderLine(x0 - left_, y0 - top_, x1 - left_, y1 - top_, 1);
    } else {
      RenderLine(x1 - left_, y1 - top_, x0 - left_, y0 - top_, -1);
    }
  }

  /// Empties itself.
  void Sweep(bool evenOdd, ISpans& spans);

 private:
  struct Edge {
    int x0, y0, x1, y1;  ///< y0 < y1
    int direction;       ///< 1 down, -1 up
    int next;            ///< of those that begin in the same band
  };
  struct Band;

  void Gather(int x0, int y0, int x1, int y1) {
    if (y0 < y1) {
      edges_.push_back({x0, y0, x1, y1, 1, -1});
    } else {
      edges_.push_back({x1, y1, x0, y0, -1, -1});
    }
  }
  void Wipe();
  void MakeRoom(int rows, int columns);
  void SweepBands(bool evenOdd, ISpans& spans);
  void Render(const Edge& edge, const Band& band);
  void RenderLine(int x0, int y0, int x1, int y1, int direction);
  /// Of one row of pixels: its cells and the bits that say which of them are not 0.
  struct Row {
    uint32_t* cells;
    uint64_t* touched;
  };
  void RenderRow(const Row& row, int x0, int x1, int y0, int y1, int direction, int64_t perColumn);
  void RenderAcross(const Row& row, int x0, int x1, int y0, int y1, int direction,
                    int64_t perColumn);
  void SweepRow(int row, int x, int y, int columns, bool evenOdd, ISpans& spans);

  bool begun_ = false;
  bool direct_ = false;     ///< all fits in one band: lines go to the cells at once
  int left_ = 0, top_ = 0;  ///< of the box that is drawn directly, in 1/256 of a pixel
  int rows_ = 0;            ///< of it
  int columns_ = 0;
  std::vector<Edge> edges_;
  std::vector<int> firstOfBand_;
  std::vector<int> active_;
  std::vector<uint32_t> cells_;
  std::vector<uint64_t> touched_;
  std::vector<uint8_t> cover_;
  uint32_t* alignedCells_ = nullptr;
  int stride_ = 0;  ///< cells in a row
  int words_ = 0;   ///< of touched_ in a row
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_CELLS_H_
