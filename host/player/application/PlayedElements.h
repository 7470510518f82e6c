#ifndef HOST_PLAYER_APPLICATION_PLAYEDELEMENTS_H_
#define HOST_PLAYER_APPLICATION_PLAYEDELEMENTS_H_

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/EngineSource.h"
#include "host/player/application/BaseFolder.h"
#include "host/player/application/EmbeddedPlayer.h"
#include "host/player/application/Painter.h"
#include "host/player/application/Stage.h"

namespace plexion_host::player::application {

/// Movies and media on the stage. Each plays from its beginning when it comes to be seen, and gives
/// its player back when it no longer is.
class PlayedElements final : public PlayedSource {
 public:
  PlayedElements(Stage& stage, const BaseFolder& base, EngineHost& host, EngineSource& engines)
      : stage_(stage), base_(base), host_(host), engines_(engines) {}

  /// Opens, moves on and closes players, as the stage now is. Marks what has changed.
  /// Returns  the elements that have come to their ends.
  std::vector<uint32_t> Advance(double now, bool playing);
  /// The source of an element is another one: plays that from its beginning.
  void Restart(uint32_t element) { players_.erase(element); }
  /// Seconds at which one of them changes next; infinity when none does by itself.
  double NextMoment() const;

  PlayedPixels Render(Element& element, uint32_t width, uint32_t height) override;

 private:
  struct Playing {
    std::shared_ptr<EmbeddedPlayer> player;  ///< null: it cannot be played
    double began = 0;
    uint64_t round = 0;
  };

  void CollectSeen(Element& element, std::vector<Element*>& seen);
  Playing Open(Element& element, double now);
  void Refuse(const Element& element, const std::string& reason);

  Stage& stage_;
  const BaseFolder& base_;
  EngineHost& host_;
  EngineSource& engines_;
  std::unordered_map<uint32_t, Playing> players_;
  uint64_t round_ = 0;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PLAYEDELEMENTS_H_
