// Inner loops of the conversion.

#ifndef HOST_PLAYER_MEDIA_PIXELS_YUVROWS_H_
#define HOST_PLAYER_MEDIA_PIXELS_YUVROWS_H_

#include <cstddef>
#include <cstdint>

namespace plexion_host::player {

/// The equations from luma and chroma to red, green and blue, in fixed point: 13 bits behind the
/// point. With y less its offset and chroma less 128:
///   red = luma y + redV v    green = luma y + greenU u + greenV v    blue = luma y + blueU u
struct YuvMatrix {
  int16_t lumaOffset = 0;
  int16_t luma = 0;
  int16_t redV = 0;
  int16_t greenU = 0;
  int16_t greenV = 0;
  int16_t blueU = 0;

  /// By the weights of red and blue in luma (ITU-R BT.601, BT.709, BT.2020), for samples of 8 bits
  /// from 0 to 255 (`full`) or from 16 to 235 and 240.
  static YuvMatrix Make(double redWeight, double blueWeight, bool full);
};

/// One row of `count` pixels 0xFFrrggbb from as many samples of y and half as many (rounded up) of
/// u and v; right to within one level of each channel. Needs no alignment.
void ConvertYuvRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                   size_t count, const YuvMatrix& matrix);

/// The same, bit by bit, without particular instructions.
void ConvertYuvRowPortable(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                           size_t count, const YuvMatrix& matrix);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIXELS_YUVROWS_H_
