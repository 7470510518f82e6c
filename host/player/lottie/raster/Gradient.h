#ifndef HOST_PLAYER_LOTTIE_RASTER_GRADIENT_H_
#define HOST_PLAYER_LOTTIE_RASTER_GRADIENT_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Paint.h"

namespace plexion_host::movie {

/// The colour of a paint where it is the same everywhere, premultiplied; `opacity` is in it.
uint32_t PixelOf(const Colour& colour, float opacity);

/// t along a row of pixels: where = start + step * i in the unit plane.
struct RowOfT {
  float x, xStep, y, yStep;
  float focusX, focusY, spread;
  float first, last;
  bool tame;    ///< no channel of a piece leaves 0 to 255 by as much as its rounding
  bool oneHue;  ///< blue, green and red are those of the first piece all along
};

/// A gradient made ready to be asked for rows of pixels.
///
/// Life     keeps its memory from paint to paint.
/// Thread   one.
class Gradient {
 public:
  enum class Result { kNothing, kOneColour, kRows };
  /// kOneColour: all of it is colour(). kNothing: nothing is to be drawn.
  Result Prepare(const Paint& paint);
  uint32_t OneColour() const { return oneColour_; }
  /// No pixel of it is translucent.
  bool IsOpaque() const { return opaque_; }

  /// Writes `n` pixels and may write kSlack more.
  void Row(int x, int y, int n, uint32_t* pixels) const;
  static constexpr int kSlack = 64;

  /// From `offset` on each channel (blue, green, red, alpha; 0 to 255) is base + slope * t.
  struct Piece {
    float offset;
    float base[4];
    float slope[4];
  };
  static constexpr int kMostPieces = 1024;

 private:
  std::vector<Piece> pieces_;
  uint32_t oneColour_ = 0;
  bool opaque_ = false;
  bool radial_ = false;
  bool tame_ = false;
  bool oneHue_ = false;
  float first_ = 0, last_ = 1;
  // Where t comes from: linear t = x of the unit plane; radial as described at Prepare.
  double xx_ = 0, xy_ = 0, x0_ = 0;  // the unit plane's x = xx * x + xy * y + x0
  double yx_ = 0, yy_ = 0, y0_ = 0;
  float focusX_ = 0, focusY_ = 0, spread_ = 1;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_GRADIENT_H_
