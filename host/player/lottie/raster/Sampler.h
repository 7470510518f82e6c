#ifndef HOST_PLAYER_LOTTIE_RASTER_SAMPLER_H_
#define HOST_PLAYER_LOTTIE_RASTER_SAMPLER_H_

#include <stdint.h>

#include "host/player/lottie/raster/Image.h"

namespace plexion_host::movie {

/// Rows of a picture seen through a matrix. Beyond its sides a picture goes on with its outermost
/// pixels: its edges are those of the path that is filled with it.
class Sampler {
 public:
  /// `matrix` maps the picture's pixels to the surface.
  /// Returns  false when nothing is to be drawn.
  bool Prepare(Image& image, const Matrix& matrix);

  /// `n` pixels from (`x`, `y`) of the surface on: the picture's own where they need no work, else
  /// `room`, which has kSlack more.
  const uint32_t* Row(int x, int y, int n, uint32_t* room) const;
  static constexpr int kSlack = 64;

  /// The surface's pixels are the picture's, moved by whole pixels: it covers `Box` and no more.
  bool IsPlain() const { return plain_; }
  IntRect Box() const { return {left_, top_, left_ + source_.width, top_ + source_.height}; }

 private:
  Surface source_;
  Matrix inverse_;
  bool plain_ = false;
  int left_ = 0, top_ = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_SAMPLER_H_
