#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_STYLES_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_STYLES_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Gradient.h"
#include "host/player/lottie/raster/Paint.h"
#include "host/player/lottie/raster/Surface.h"

/// What shadows, glows and overlays of layers are made from: planes of cover, coloured. Each works
/// on all of what it is given, and all that it is given is of one size.

namespace plexion_host::movie {

/// How opaque each pixel is.
void OpacityOf(const Surface& from, const Coverage& plane);

/// `target` gets `source` moved by (dx, dy) pixels, which need not be whole; `beyond` comes in from
/// the edges. Numbers that are not finite move nothing. The two do not share bytes.
void MovePlane(const Coverage& target, const Coverage& source, float dx, float dy, uint8_t beyond);

void InvertPlane(const Coverage& plane);
/// Each value times `factor`, cut at 255.
void StretchPlane(const Coverage& plane, float factor);
/// `inside` gets `shape` without the pixels that smooth its edges: what lies below these is whole.
/// A pixel that is as opaque as any around it smooths nothing.
void InsideOf(const Coverage& inside, const Coverage& shape);
/// `plane` without what `other` covers.
void CutPlane(const Coverage& plane, const Coverage& other);
/// Clears `plane` where `other` covers anything.
void ClearPlane(const Coverage& plane, const Coverage& other);
/// What differs between the two.
void DifferPlane(const Coverage& plane, const Coverage& other);
/// Writes pixels of `colour`, as opaque as `plane` is, times the colour's alpha.
void ColourPlane(const Surface& target, const Coverage& plane, const Colour& colour);

/// Every pixel that is not transparent becomes opaque in its own colour: what is blended with it is
/// then cut by its old opacity again.
void MakeOpaque(const Surface& target);

/// How colours follow each other over a box.
struct Spread {
  enum class Kind : uint8_t { kLinear, kRadial, kAngle, kReflected, kDiamond };
  Kind kind = Kind::kLinear;
  /// From pixels to a plane in which the colours go from (0, 0) to (1, 0): linear and reflected
  /// along x, radial with the distance, diamond with |x| + |y|, angle once around.
  Matrix toUnit;
};

/// Life     keeps its memory. Errors: throws std::bad_alloc. Thread: one.
class ColourSpread {
 public:
  /// Writes pixels of the colours along `stops` (as in Paint), times `opacity`. Nothing without stops.
  /// `left`, `top`: where the surface's first pixel lies in the plane that `toUnit` maps from.
  void Run(const Surface& target, int left, int top, const Spread& spread,
           const std::vector<GradientStop>& stops, float opacity);

 private:
  Gradient gradient_;
};

/// Light from the side on the edges of a shape: a relief.
struct Relief {
  float lightX = 0, lightY = 0, lightZ = 1;  ///< to where the light comes from; length 1
  float depth = 1;                           ///< how steep the edges are
};
/// `height` is how high each pixel lies, 0 to 255. Writes how much each pixel is lit and shaded,
/// compared with the flat top.
void LightRelief(const Coverage& lit, const Coverage& shaded, const Coverage& height,
                 const Relief& relief);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_STYLES_H_
