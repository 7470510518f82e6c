#ifndef HOST_PLAYER_LOTTIE_SHAPES_FIGURES_H_
#define HOST_PLAYER_LOTTIE_SHAPES_FIGURES_H_

#include "host/player/lottie/timeline/Outline.h"

/// Figures as contours, with the corners in the order and the handles that designers' tools give
/// them: trimming starts at the first corner.

namespace plexion_host::movie {

/// Length of a quarter circle's handles, as a share of its radius.
constexpr double kRoundHandle = 0.5519;

struct RectangleFigure {
  double x, y, width, height, radius;
  bool reversed;
};
struct EllipseFigure {
  double x, y, width, height;
  bool reversed;
};
struct StarFigure {
  double x, y, points, angle;  ///< angle in degrees
  double outer, outerRound;    ///< roundness as a share
  double inner, innerRound;
  bool polygon, reversed;
};

void MakeRectangle(const RectangleFigure& figure, Outline& outline);
void MakeEllipse(const EllipseFigure& figure, Outline& outline);
void MakeStar(const StarFigure& figure, Outline& outline);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_FIGURES_H_
