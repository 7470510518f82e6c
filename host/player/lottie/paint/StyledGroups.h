#ifndef HOST_PLAYER_LOTTIE_PAINT_STYLEDGROUPS_H_
#define HOST_PLAYER_LOTTIE_PAINT_STYLEDGROUPS_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/compositing/BlendMode.h"
#include "host/player/lottie/compositing/SurfacePool.h"
#include "host/player/lottie/paint/DisplayList.h"

namespace plexion_host::movie {

/// The pixels of a layer with styles: from bottom to top what lies below it, and itself.
struct StyledGroup {
  struct Part {
    SurfacePool::Lease pixels;
    BlendMode blend = BlendMode::kNormal;
  };
  std::vector<Part> parts;  ///< all of one size
  int left = 0;             ///< of the plane, where their first pixels are
  int top = 0;
};

/// Keeps layers with styles while they rest: blurs and distances cost far more than copying.
///
/// Order    BeginFrame for each frame, Find for each group in it, Keep where Find says that it rests.
/// Life     before the pool that the pixels are from. What no frame has asked for in a while goes.
/// Errors   throws std::bad_alloc. Thread: one.
class StyledGroups {
 public:
  /// Of all that is kept.
  static constexpr size_t kMostBytes = 32u << 20;

  void BeginFrame();
  /// What is kept of the group at `at`; null when that is nothing. `rests`: it was the same in a
  /// frame before, and nothing is kept yet.
  const StyledGroup* Find(const DisplayList& list, size_t at, bool& rests);
  /// Keeps all of a group of which Find has just said that it rests, and leaves `group` empty. There
  /// must be room.
  const StyledGroup* Keep(uint64_t key, StyledGroup& group);
  /// Whether `bytes` more may be kept.
  bool HasRoom(size_t bytes) const { return !saves_ && bytes_ + bytes <= kMostBytes; }

  /// Gives back what is kept, and keeps nothing from now on. Between two frames.
  void SaveMemory();
  size_t Bytes() const { return bytes_; }

 private:
  struct Entry {
    uint64_t key = 0;
    uint64_t look = 0;
    uint32_t since = 0;  ///< the frame in which it was first seen as it is
    uint32_t used = 0;   ///< the last frame that asked for it
    StyledGroup group;   ///< without parts: not kept
  };
  void Free(Entry& entry);

  std::vector<Entry> entries_;
  size_t bytes_ = 0;
  uint32_t frame_ = 0;
  bool saves_ = false;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_STYLEDGROUPS_H_
