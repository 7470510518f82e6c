#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_EFFECTS_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_EFFECTS_H_

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Paint.h"
#include "host/player/lottie/raster/Surface.h"

/// Effects on the pixels of a group, each within `rect` of the surface; nothing outside is read or
/// changed. The stroke effect is no matter of pixels: the renderer strokes the layer's masks.

namespace plexion_host::movie {

/// Blurs surfaces and planes by three boxes that come near to a Gaussian: the same ones that browsers
/// take for feGaussianBlur, at all deviations; below 0.8 that leaves everything as it is.
///
/// Life     keeps its memory. Errors: throws std::bad_alloc. Thread: one.
class Blur {
 public:
  /// What lies beyond the rectangle's edge: transparent, or the edge's pixels again.
  enum class Edge : uint8_t { kTransparent, kRepeat };

  /// Standard deviations in pixels, up to 4000; 0 or less, or no number, leaves that direction as it
  /// is.
  void Run(const Surface& target, const IntRect& rect, float sigmaX, float sigmaY,
           Edge edge = Edge::kTransparent);
  /// The same for a mask's feather.
  void Run(const Coverage& target, const IntRect& rect, float sigmaX, float sigmaY,
           Edge edge = Edge::kTransparent);

  /// How far from a pixel its blur reaches.
  static int Reach(float sigma);

 private:
  void Lines(uint8_t* values, size_t stride, int bytesOfPixel, int width, int height, bool across,
             float sigma, Edge edge);
  float* Smooth(int count, float sigma);

  std::vector<float> lines_;  ///< two strips
  std::vector<uint8_t> bytes_;
};

class SurfacePool;

/// Blurs all of a surface along the direction (x, y), and not across it; transparent beyond the edge.
/// Units    `sigma` as Blur::Run has it, along the direction.
void BlurAlong(Blur& blur, SurfacePool& pool, const Surface& target, double x, double y,
               float sigma);

/// All pixels in one colour, as opaque as they were, times `opacity`.
void FillEffect(const Surface& target, const IntRect& rect, const Colour& colour, float opacity);

/// From `black` to `white` by lightness; `amount` 0 to 1 of it over what was there.
void TintEffect(const Surface& target, const IntRect& rect, const Colour& black,
                const Colour& white, float amount);

/// From `shadows` over `midtones` to `highlights` by lightness.
void TritoneEffect(const Surface& target, const IntRect& rect, const Colour& shadows,
                   const Colour& midtones, const Colour& highlights);

/// One channel's levels, all 0 to 1 but gamma.
struct Levels {
  float inputBlack = 0;
  float inputWhite = 1;
  float gamma = 1;
  float outputBlack = 0;
  float outputWhite = 1;
};
/// `all` for red, green and blue after their own.
void LevelsEffect(const Surface& target, const IntRect& rect, const Levels& all, const Levels& red,
                  const Levels& green, const Levels& blue, const Levels& alpha);

/// Puts the shadow of all that is in `rect` below it. `spare` is of the target's size and is
/// written to. Units: offset and sigma in pixels.
void DropShadowEffect(Blur& blur, const Surface& target, const Surface& spare, const IntRect& rect,
                      const Colour& colour, float offsetX, float offsetY, float sigma,
                      bool shadowOnly = false);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_EFFECTS_H_
