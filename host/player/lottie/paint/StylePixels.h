#ifndef HOST_PLAYER_LOTTIE_PAINT_STYLEPIXELS_H_
#define HOST_PLAYER_LOTTIE_PAINT_STYLEPIXELS_H_

#include <vector>

#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/Grow.h"
#include "host/player/lottie/compositing/Styles.h"
#include "host/player/lottie/compositing/SurfacePool.h"
#include "host/player/lottie/paint/LayerStyles.h"

namespace plexion_host::movie {

/// How far styles reach beyond their layer, in pixels. `matrix`: from the composition to pixels.
int ReachOf(const std::vector<StyleState>& styles, const Matrix& matrix);

/// Makes the pixels of styles.
///
/// Life     keeps its memory; the two are borrowed. Errors: throws std::bad_alloc. Thread: one.
class StylePixels {
 public:
  StylePixels(Blur& blur, SurfacePool& pool) : blur_(blur), pool_(pool) {}

  /// `target` gets what style `state` shows below a layer that covers `shape`, and `inside` of it
  /// (see InsideOf). `blends`: the layer does so with what is below.
  void Below(const StyleState& state, const Matrix& matrix, const Coverage& shape,
             const Coverage& inside, bool blends, const Surface& target);
  /// Puts what style `state` shows on a layer over `target`, which is the layer made opaque.
  /// `left`, `top`: of the target's first pixel in the plane.
  void On(const StyleState& state, const Matrix& matrix, const Coverage& shape, int left, int top,
          const Surface& target);

 private:
  void Soften(const Coverage& plane, float size, float spread);
  void Overlay(const Surface& target, const Coverage& cover, const Colour& colour, BlendMode mode);
  void Satin(const StyleState& state, const Matrix& matrix, const Coverage& shape,
             const Surface& target);
  void Bevel(const StyleState& state, const Matrix& matrix, const Coverage& shape,
             const Surface& target);

  Blur& blur_;
  SurfacePool& pool_;
  Grow grow_;
  ColourSpread spread_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_STYLEPIXELS_H_
