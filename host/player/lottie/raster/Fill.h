#ifndef HOST_PLAYER_LOTTIE_RASTER_FILL_H_
#define HOST_PLAYER_LOTTIE_RASTER_FILL_H_

#include <memory>

#include "host/player/lottie/raster/Image.h"
#include "host/player/lottie/raster/KeptCover.h"
#include "host/player/lottie/raster/Paint.h"
#include "host/player/lottie/raster/Path.h"
#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

enum class FillRule : uint8_t { kNonZero, kEvenOdd };

/// Draws paths and pictures. Each pixel gets as much of the paint as the path has of its area.
///
/// Cost     linear in the pixels that are covered and in the lines that curves are made of; nothing
///          for what lies outside of the clip.
/// Life     one for each thread that draws; keeps its memory, so that drawing allocates nothing once
///          it has seen the largest target.
/// Errors   What has a number that is not finite is not drawn. Throws std::bad_alloc.
/// Thread   one at a time.
class Rasterizer {
 public:
  Rasterizer();
  Rasterizer(const Rasterizer&) = delete;
  Rasterizer& operator=(const Rasterizer&) = delete;
  ~Rasterizer();

  /// Draws over what is there. `matrix` maps the path to the surface; with `clip`, nothing outside
  /// of it changes.
  void Fill(const Surface& target, const Path& path, const Matrix& matrix, FillRule rule,
            const Paint& paint, const IntRect* clip = nullptr);

  /// Writes down what Fill would cover within `clip`, for the other Fill.
  void Record(const Path& path, const Matrix& matrix, FillRule rule, const IntRect& clip,
              CoverRecorder& recorder);
  /// Draws what was recorded, moved by (dx, dy): as Fill does with the recorded path.
  void Fill(const Surface& target, const KeptCover& cover, int dx, int dy, const Paint& paint,
            const IntRect& clip);

  /// Writes how much of each pixel is covered, 0 where nothing is, over all of `target` or `clip`.
  void Cover(const Coverage& target, const Path& path, const Matrix& matrix, FillRule rule,
             const IntRect* clip = nullptr);

  /// Draws all of `image`; `matrix` maps its pixels to the surface.
  void Draw(const Surface& target, Image& image, const Matrix& matrix, float opacity,
            const IntRect* clip = nullptr);

 private:
  class Engine;
  template <typename Source>
  void FillFrom(const Surface& target, const IntRect& area, const Paint& paint,
                const Source& source);
  std::unique_ptr<Engine> engine_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_FILL_H_
