#ifndef HOST_PLAYER_LOTTIE_RASTER_PATH_H_
#define HOST_PLAYER_LOTTIE_RASTER_PATH_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

/// Contours of lines and cubic curves. Each begins with a move; what is drawn after a close without
/// one begins where the closed contour began. Filling closes what is open.
///
/// Life     reused from frame to frame: Clear keeps the memory.
/// Errors   growing throws std::bad_alloc.
/// Thread   one.
struct Path {
  enum Verb : uint8_t { kMove, kLine, kCubic, kClose };  ///< use 1, 1, 3 and 0 points

  std::vector<Verb> verbs;
  std::vector<Point> points;

  void Clear() {
    verbs.clear();
    points.clear();
  }
  /// What it holds on to.
  size_t Bytes() const { return verbs.capacity() + points.capacity() * sizeof(Point); }
  bool IsEmpty() const { return verbs.empty(); }
  void Move(float x, float y) { Add(kMove, {x, y}); }
  void Line(float x, float y) { Add(kLine, {x, y}); }
  void Cubic(float x1, float y1, float x2, float y2, float x, float y) {
    Add(kCubic, {x1, y1});
    points.push_back({x2, y2});
    points.push_back({x, y});
  }
  void Close() { verbs.push_back(kClose); }

  /// Clockwise on the screen.
  void AddRect(const Rect& rect);
  /// Four cubic curves, clockwise from the top.
  void AddEllipse(Point centre, float radiusX, float radiusY);
  void Append(const Path& other, const Matrix& matrix);
  void Transform(const Matrix& matrix);

  /// The box around all points, handles too: never smaller than what is filled.
  Rect Bounds() const;

 private:
  void Add(Verb verb, Point point) {
    verbs.push_back(verb);
    points.push_back(point);
  }
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_PATH_H_
