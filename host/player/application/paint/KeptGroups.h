// Groups that move as they are.
#ifndef HOST_PLAYER_APPLICATION_PAINT_KEPTGROUPS_H_
#define HOST_PLAYER_APPLICATION_PAINT_KEPTGROUPS_H_

#include <stdint.h>

#include <unordered_map>

#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// Finds the groups of a stage that have moved a few times in a row while nothing in them changed, as
/// the belt of a ticker does: painting them once and moving the picture costs a part of painting
/// them each time.
///
/// Thread   the application's.
class KeptGroups {
 public:
  /// Compares the stage with how it was the last time.
  void Look(const Stage& stage);
  /// It is worth a picture of its own. False again as soon as something in it
  /// changes, or it has come to rest.
  bool IsKept(const Element& group) const;
  void Clear() { groups_.clear(); }

 private:
  struct History {
    uint64_t place = 0;    ///< counts its own moves
    uint64_t content = 0;  ///< of all that is in it, and of how it is turned and scaled
    unsigned moves = 0;    ///< in a row
    unsigned rests = 0;    ///< looks since the last of them
    uint64_t round = 0;
  };

  uint64_t Visit(const Element& element, uint64_t shape);

  std::unordered_map<uint32_t, History> groups_;
  uint64_t round_ = 0;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_KEPTGROUPS_H_
