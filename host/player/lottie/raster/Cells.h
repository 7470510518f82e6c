#ifndef HOST_PLAYER_LOTTIE_RASTER_CELLS_H_
#define HOST_PLAYER_LOTTIE_RASTER_CELLS_H_

#include <stdint.h>

#include <vector>

namespace plexion_host::movie {

/// Takes what the sweep finds, row by row from the top, in each row from the left.
class ISpans {
 public:
  virtual ~ISpans() = default;
  /// `n` pixels that are all covered alike; `cover` is not 0.
  virtual void Flat(int x, int y, int n, uint8_t cover) = 0;
  virtual void Mixed(int x, int y, int n, const uint8_t* cover) = 0;
};

/// Finds how much of each pixel lies inside of closed contours.
///
/// Lines are gathered first. Then a band of rows at a time, small enough for the processor's cache,
/// each line leaves in the cells that it crosses by how much the covered area changes there; the sum
/// of these from the left is each pixel's area. A bit for each sixteen cells says where lines went:
/// between them a row is the same all along, and is not looked at.
///
/// Units    lines in 1/256 of a pixel; contours must be closed.
/// Life     keeps its memory; cells and bits are all 0 between two sweeps.
/// Thread   one.
class Cells {
 public:
  void Clear() { edges_.clear(); }
  bool IsEmpty() const { return edges_.empty(); }

  void Line(int x0, int y0, int x1, int y1) {
    if (y0 == y1) return;
    if (y0 < y1) {
      edges_.push_back({x0, y0, x1, y1, 1, -1});
    } else {
      edges_.push_back({x1, y1, x0, y0, -1, -1});
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

  void Render(const Edge& edge, const Band& band);
  void RenderLine(int x0, int y0, int x1, int y1, int direction);
  void RenderRow(int row, int x0, int x1, int y0, int y1, int direction, int64_t perColumn);
  void SweepRow(int row, int x, int y, int columns, bool evenOdd, ISpans& spans);

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
