#ifndef HOST_PLAYER_LOTTIE_SCENE_KEPTRESULTS_H_
#define HOST_PLAYER_LOTTIE_SCENE_KEPTRESULTS_H_

#include <stdint.h>

#include <array>
#include <vector>

#include "host/player/lottie/timeline/Values.h"

namespace plexion_host::movie {

/// What expressions gave last. Where one layer follows another, and is followed itself, each reading
/// of a property would evaluate its expression again, and all that it reads.
///
/// A result depends on the keyed value, the time, the time of its composition, and what it read;
/// results that depend on more (who reads, times of other compositions) must not be kept.
///
/// Life     a fixed number of results; newer ones take the place of older ones.
/// Thread   one.
class KeptResults {
 public:
  static constexpr uint32_t kMostNumbers = 4;
  static constexpr size_t kMostVertices = 256;

  /// For whom, and when.
  struct Key {
    const void* property = nullptr;
    const void* owner = nullptr;
    double time = 0;  ///< that it is asked for
    double now = 0;   ///< of the composition
  };

  KeptResults() : numbers_(kNumbers), paths_(kPaths) {}

  /// Results hold for the rest of a frame; longer only for as long as what they read does.
  void BeginFrame() { ++frame_; }

  /// `values`, `count` keyed numbers, gets the result; `holds` how long that was to stay.
  /// Returns  false when it has to be evaluated.
  bool Find(const Key& key, float* values, uint32_t count, Constancy& holds) const;
  bool Find(const Key& key, Outline& outline, Constancy& holds) const;
  void Keep(const Key& key, const float* keyed, const float* values, uint32_t count,
            const Constancy& holds);
  void Keep(const Key& key, const Outline& keyed, const Outline& outline, const Constancy& holds);
  /// What it holds on to.
  size_t Bytes() const;

 private:
  static constexpr size_t kNumbers = 256;
  static constexpr size_t kPaths = 16;
  struct Entry {
    Key key;
    uint64_t frame = 0;
    Constancy holds;
  };
  struct Numbers : Entry {
    std::array<float, kMostNumbers> keyed = {};
    std::array<float, kMostNumbers> values = {};
  };
  struct Path : Entry {
    Outline keyed;
    Outline outline;
  };

  static size_t PlaceOf(const Key& key);
  bool Serves(const Entry& entry, const Key& key) const;
  Entry Made(const Key& key, const Constancy& holds) const { return {key, frame_, holds}; }

  std::vector<Numbers> numbers_;
  std::vector<Path> paths_;
  uint64_t frame_ = 1;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_KEPTRESULTS_H_
