#ifndef HOST_PLAYER_LOTTIE_RASTER_STROKE_H_
#define HOST_PLAYER_LOTTIE_RASTER_STROKE_H_

#include <vector>

#include "host/player/lottie/raster/Path.h"

namespace plexion_host::movie {

enum class LineCap : uint8_t { kButt, kRound, kSquare };
enum class LineJoin : uint8_t { kMiter, kRound, kBevel };

/// Units    those of the path, before its matrix.
struct StrokeStyle {
  float width = 1;
  LineCap cap = LineCap::kButt;
  LineJoin join = LineJoin::kMiter;
  float miterLimit = 4;           ///< a longer miter, in line widths, becomes a bevel
  const float* dashes = nullptr;  ///< dash, gap, dash, ...; an odd number counts twice
  int dashCount = 0;              ///< none, a negative one, or all 0: no dashes
  float dashOffset = 0;
};

/// Makes the outline of a path's stroke, to be filled by the non-zero rule.
///
/// Life     keeps its memory from stroke to stroke.
/// Errors   Contours with a number that is not finite are left out, all of them when the scale is NaN. A
///          path that would have too many dashes (100,000) is stroked without. Throws std::bad_alloc.
/// Thread   one.
class Stroker {
 public:
  /// Into `outline`, which is cleared. `scale`: by how much the outline will be enlarged
  /// (Matrix::MaxScale), which says how finely curves are divided. `outline` is not `path`.
  void Stroke(const Path& path, const StrokeStyle& style, double scale, Path& outline);

 private:
  struct Vertex {
    Point at;
    Point in;             ///< direction of arrival, length 1
    Point out;            ///< direction of leaving
    bool smooth = false;  ///< inside of a curve: no join
    bool round = false;   ///< a curve's own point: always a round join
  };
  class Run;
  std::vector<Vertex> line_;
  std::vector<Vertex> dash_;
  std::vector<Vertex> first_;
  std::vector<Vertex> back_;
  std::vector<Point> extra_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_STROKE_H_
