#ifndef HOST_PLAYER_LOTTIE_RASTER_PAINT_H_
#define HOST_PLAYER_LOTTIE_RASTER_PAINT_H_

#include <stdint.h>

#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

/// Not premultiplied, each 0 to 1; what lies outside is cut.
struct Colour {
  float red = 0;
  float green = 0;
  float blue = 0;
  float alpha = 1;
};

/// A colour along a gradient. Offsets are 0 to 1 and do not fall; one that does counts as the one
/// before it. Two at the same place make a hard edge.
struct GradientStop {
  float offset = 0;
  Colour colour;
};

/// What a shape is filled with. Gradients go on with their outermost colours beyond their ends, and
/// go from stop to stop by red, green, blue and alpha on their own (not premultiplied).
///
/// Owns     nothing; the stops are read during the call only.
struct Paint {
  enum Kind : uint8_t { kSolid, kLinear, kRadial };

  Kind kind = kSolid;
  Colour colour;      ///< of kSolid
  float opacity = 1;  ///< of all of it, 0 to 1

  Point start;       ///< kLinear: offset 0; kRadial: the circle's centre
  Point end;         ///< kLinear: offset 1
  Point focus;       ///< kRadial: offset 0; drawn in to the circle when it lies outside
  float radius = 0;  ///< kRadial: of the circle of offset 1; none: the last colour
  const GradientStop* stops = nullptr;  ///< none: nothing is drawn
  int stopCount = 0;
  Matrix matrix;  ///< from the gradient's plane to the surface
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_PAINT_H_
