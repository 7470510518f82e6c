#ifndef HOST_PLAYER_LOTTIE_RASTER_IMAGE_H_
#define HOST_PLAYER_LOTTIE_RASTER_IMAGE_H_

#include <vector>

#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// A picture that is drawn through matrices: enlarged between its four nearest pixels, made smaller
/// from a version of half the size, a quarter, and so on, made when it is first needed and kept.
///
/// Life     as long as the picture's pixels, which it borrows.
/// Errors   Smaller versions throw std::bad_alloc.
/// Thread   one.
class Image {
 public:
  explicit Image(const Surface& pixels) : pixels_(pixels) {}
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  const Surface& Pixels() const { return pixels_; }

  /// After the pixels have changed: smaller versions are made again.
  void Changed() { levels_.clear(); }

  /// The picture at 1/2^`level` of its size; levels end at one pixel.
  Surface Level(int level);

 private:
  struct Smaller {
    std::vector<uint32_t> pixels;
    Surface surface;
  };
  Surface pixels_;
  std::vector<Smaller> levels_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_IMAGE_H_
