// Rectangles, ellipses, stars and polygons.
#include "host/player/lottie/shapes/Figures.h"

#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

constexpr int kMostCorners = 2000;

/// The same contour the other way round, from the same first corner.
void Reverse(Outline& outline) {
  if (outline.vertices.size() > 1) {
    std::reverse(outline.vertices.begin() + 1, outline.vertices.end());
  }
  for (Vertex& vertex : outline.vertices) {
    std::swap(vertex.inX, vertex.outX);
    std::swap(vertex.inY, vertex.outY);
  }
}

}  // namespace

void MakeRectangle(const RectangleFigure& figure, Outline& outline) {
  const double w = figure.width / 2;
  const double h = figure.height / 2;
  const double x = figure.x;
  const double y = figure.y;
  const double round = std::min({w, h, figure.radius});
  const double handle = round * (1 - kRoundHandle);
  outline.closed = true;
  // Four corners in place of eight: most rectangles of most movies.
  if (round == 0) {
    outline.Add(x + w, y - h);
    outline.Add(x + w, y + h);
    outline.Add(x - w, y + h);
    outline.Add(x - w, y - h);
  } else {
    outline.Add(x + w, y - h + round, x + w, y - h + handle, x + w, y - h + round);
    outline.Add(x + w, y + h - round, x + w, y + h - round, x + w, y + h - handle);
    outline.Add(x + w - round, y + h, x + w - handle, y + h, x + w - round, y + h);
    outline.Add(x - w + round, y + h, x - w + round, y + h, x - w + handle, y + h);
    outline.Add(x - w, y + h - round, x - w, y + h - handle, x - w, y + h - round);
    outline.Add(x - w, y - h + round, x - w, y - h + round, x - w, y - h + handle);
    outline.Add(x - w + round, y - h, x - w + handle, y - h, x - w + round, y - h);
    outline.Add(x + w - round, y - h, x + w - round, y - h, x + w - handle, y - h);
  }
  if (figure.reversed) Reverse(outline);
}

void MakeEllipse(const EllipseFigure& figure, Outline& outline) {
  const double w = figure.width / 2 * (figure.reversed ? -1 : 1);
  const double h = figure.height / 2;
  const double x = figure.x;
  const double y = figure.y;
  const double cw = w * kRoundHandle;
  const double ch = h * kRoundHandle;
  outline.closed = true;
  outline.Add(x, y - h, x - cw, y - h, x + cw, y - h);
  outline.Add(x + w, y, x + w, y - ch, x + w, y + ch);
  outline.Add(x, y + h, x + cw, y + h, x - cw, y + h);
  outline.Add(x - w, y, x - w, y + ch, x - w, y - ch);
}

void MakeStar(const StarFigure& figure, Outline& outline) {
  const int points = static_cast<int>(std::clamp(floor(figure.points), 0.0, kMostCorners / 2.0));
  // As many as a document may ask for: the number may be any.
  const int corners = figure.polygon ? points : 2 * points;
  if (corners == 0) return;
  const double direction = figure.reversed ? -1 : 1;
  PLEXION_CHECK(corners > 0 && corners <= kMostCorners,
                "a star has corners, and not without limit");
  const double step = 2 * kPi / corners * direction;
  double angle = -kPi / 2 + figure.angle * kPi / 180;
  outline.closed = true;
  for (int i = 0; i < corners; ++i, angle += step) {
    const bool far = figure.polygon || i % 2 == 0;
    const double radius = far ? figure.outer : figure.inner;
    const double round = far ? figure.outerRound : figure.innerRound;
    const double share = figure.polygon ? 4.0 : 2.0;
    const double handle = 2 * kPi * radius / (corners * share) * round * direction;
    double x = radius * cos(angle);
    double y = radius * sin(angle);
    const double length = sqrt(x * x + y * y);
    const double alongX = length == 0 ? 0 : y / length;
    const double alongY = length == 0 ? 0 : -x / length;
    x += figure.x;
    y += figure.y;
    outline.Add(x, y, x + alongX * handle, y + alongY * handle, x - alongX * handle,
                y - alongY * handle);
  }
}

}  // namespace plexion_host::movie
