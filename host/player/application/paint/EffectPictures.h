// Blurs and shadows of elements, and what they were made of.
#ifndef HOST_PLAYER_APPLICATION_PAINT_EFFECTPICTURES_H_
#define HOST_PLAYER_APPLICATION_PAINT_EFFECTPICTURES_H_

#include <cairo.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "host/player/WatchedMemory.h"
#include "host/player/application/paint/DisplayList.h"
#include "host/player/lottie/compositing/Effects.h"

namespace plexion_host::player::application {

/// Keeps the blurred pictures of elements, and those of groups that move, for as long as these look the
/// same, wherever they move to.
///
/// Thread   the application's.
class EffectPictures {
 public:
  explicit EffectPictures(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Draws the items of a list between a push and its pop, without looking where.
  using PaintRange = std::function<void(cairo_t* cairo, size_t begin, size_t end)>;

  /// Paints the shadow of what is between the push at `begin` and its pop, and the blurred or kept
  /// picture of it when there is one. Returns  true when that is all; false: it is still to be painted
  /// itself.
  bool Paint(cairo_t* cairo, const DisplayList& list, size_t begin, const PaintRange& paint);
  /// Forgets those of elements that are not in the list, and all when they are too large together.
  void KeepThoseOf(const DisplayList& list);
  /// Forgets all of them, and keeps a quarter as much from now on. Between two pictures.
  void SaveMemory();
  size_t Bytes() const;
  /// Whether the picture of a group that moves lies less than a pixel beside its place.
  bool HasBesideItsPlace(const DisplayList& list) const;

 private:
  struct Kept {
    std::vector<DisplayItem> items;  ///< what it was made of, the push first
    int x = 0;                       ///< of the upper left pixel, on the plane of then
    int y = 0;
    int width = 0;
    int height = 0;
    WatchedBuffer pixels;  ///< of what is blurred; none when only the shadow is
    WatchedBuffer shadow;  ///< how dense it is, a byte for each pixel
    bool isListed = true;
  };

  /// Null when there is no memory for it.
  Kept* Find(const DisplayList& list, size_t begin, const PaintRange& paint);
  size_t Share(size_t most) const { return savesMemory_ ? most / 4 : most; }
  bool Make(Kept& kept, const DisplayItem& push, const PaintRange& paint, size_t begin);

  qx::plexion::MemoryWatchdog* watchdog_;
  bool savesMemory_ = false;
  /// By handle and kind: what is kept must outlive the making of another one inside of it.
  std::unordered_map<uint64_t, std::unique_ptr<Kept>> kept_;
  movie::Blur blur_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_EFFECTPICTURES_H_
