// How a content's stage lies in the plane that it is drawn into: the one place for that arithmetic.

#ifndef HOST_PLAYER_STAGEFIT_H_
#define HOST_PLAYER_STAGEFIT_H_

#include <stdint.h>

#include "host/contracts/ContentFit.h"
#include "host/player/PlayerSettings.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// The stage's rectangle in a plane, in whole pixels, so that its edges are sharp and all engines
/// agree about them. It may reach out of the plane (cover, none).
///
/// A plane that is off the stage's shape by no more than a pixel is filled: sizes in proportion are
/// rounded, and a bar of one pixel is worse than a stretch of one.
struct StageFit {
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = 1;
  int32_t height = 1;
  // From the stage's units to pixels: plane = scale * stage + (x, y).
  double scaleX = 1;
  double scaleY = 1;

  /// Units    `stageWidth` and `stageHeight` the stage's own; they and `plane` are not 0.
  static StageFit Of(double stageWidth, double stageHeight, const qx::plexion::Dims& plane,
                     Fit fit);

  /// What of the rectangle lies in the plane.
  qx::plexion::Rect Visible(const qx::plexion::Dims& plane) const;
};

/// What the content's variables say; contain without them. ReadMorvelVars has checked them.
Fit FitOf(const PlayerSettings& settings);

/// `settings` for a content inside of another, which places it: without what the variables say of
/// the window's own place.
void ForgetFit(PlayerSettings& settings);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_STAGEFIT_H_
