#ifndef HOST_PLAYER_LOTTIE_PAINT_BACKDROP_H_
#define HOST_PLAYER_LOTTIE_PAINT_BACKDROP_H_

#include <functional>
#include <vector>

#include "host/player/WatchedMemory.h"
#include "host/player/lottie/paint/Painter.h"

namespace plexion_host::movie {

/// Keeps the picture of what lies at the bottom of a movie and does not change, so that it is
/// copied from frame to frame instead of painted.
///
/// Life     its memory is the window's, and it keeps none where that is scarce. Errors: throws
///          std::bad_alloc, and holds nothing then. Thread: one.
class Backdrop {
 public:
  explicit Backdrop(qx::plexion::MemoryWatchdog* watchdog) : watchdog_(watchdog) {}

  /// Before `area` pixels of a plane are painted from `list`: lets go of what is no longer true,
  /// and may paint what has proved to last. `background`: the pixels below the list.
  /// Returns  how many items at the bottom of the list it holds.
  size_t Prepare(const DisplayList& list, int width, int height, uint32_t background, int64_t area,
                 Painter& painter, const std::function<bool()>& stopped);
  /// Copies what it holds, which must be something.
  void CopyTo(const Surface& target, const IntRect& rect);
  void Drop();
  /// Drops it, and never keeps another: it is as large as the plane.
  void SaveMemory();

 private:
  size_t Steady(const DisplayList& list);
  void Remember(const DisplayList& list);
  void Extend(const DisplayList& list, uint32_t background, Painter& painter,
              const std::function<bool()>& stopped);
  bool IsScarce(size_t spare) const;

  qx::plexion::MemoryWatchdog* watchdog_;
  player::WatchedBuffer pixels_;
  bool saves_ = false;  ///< memory, by holding nothing
  int width_ = 0;
  int height_ = 0;
  uint32_t background_ = 0;
  size_t held_ = 0;               ///< items that pixels_ shows
  std::vector<uint64_t> looks_;   ///< of a list drawn earlier
  size_t steady_ = 0;             ///< of those, how many at the bottom have been the same since
  int64_t seen_ = 0;              ///< pixels painted since
  int64_t served_ = 0;            ///< pixels painted with what is held
  int64_t patience_ = kPatience;  ///< planes that must be painted before it is worth while

  static constexpr int64_t kPatience = 4;
  static constexpr int64_t kMostPatience = 256;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_BACKDROP_H_
