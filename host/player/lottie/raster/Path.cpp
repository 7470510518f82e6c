// What paths are made of, and the box around one.

#include "host/player/lottie/raster/Path.h"

#include <algorithm>

namespace plexion_host::movie {

void Path::AddRect(const Rect& rect) {
  Move(rect.left, rect.top);
  Line(rect.right, rect.top);
  Line(rect.right, rect.bottom);
  Line(rect.left, rect.bottom);
  Close();
}

void Path::AddEllipse(Point centre, float radiusX, float radiusY) {
  // The handle's length with which a cubic is nearest to a quarter of a circle.
  constexpr float kHandle = 0.5522847498f;
  const float x = radiusX * kHandle;
  const float y = radiusY * kHandle;
  Move(centre.x, centre.y - radiusY);
  Cubic(centre.x + x, centre.y - radiusY, centre.x + radiusX, centre.y - y, centre.x + radiusX,
        centre.y);
  Cubic(centre.x + radiusX, centre.y + y, centre.x + x, centre.y + radiusY, centre.x,
        centre.y + radiusY);
  Cubic(centre.x - x, centre.y + radiusY, centre.x - radiusX, centre.y + y, centre.x - radiusX,
        centre.y);
  Cubic(centre.x - radiusX, centre.y - y, centre.x - x, centre.y - radiusY, centre.x,
        centre.y - radiusY);
  Close();
}

void Path::Append(const Path& other, const Matrix& matrix) {
  // By index: `other` may be this path.
  const size_t verbCount = other.verbs.size();
  const size_t pointCount = other.points.size();
  verbs.reserve(verbs.size() + verbCount);
  points.reserve(points.size() + pointCount);
  for (size_t i = 0; i < verbCount; ++i) verbs.push_back(other.verbs[i]);
  for (size_t i = 0; i < pointCount; ++i) points.push_back(matrix.Map(other.points[i]));
}

void Path::Transform(const Matrix& matrix) {
  for (Point& point : points) point = matrix.Map(point);
}

Rect Path::Bounds() const {
  // Of the handles: curves stay inside of them, and finding out how far they reach costs more.
  if (points.empty()) return {};
  Rect box{points[0].x, points[0].y, points[0].x, points[0].y};
  for (const Point& point : points) {
    box.left = std::min(box.left, point.x);
    box.top = std::min(box.top, point.y);
    box.right = std::max(box.right, point.x);
    box.bottom = std::max(box.bottom, point.y);
  }
  return box;
}

}  // namespace plexion_host::movie
