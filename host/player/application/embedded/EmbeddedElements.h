// The players of movie and media elements.
#ifndef HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDELEMENTS_H_
#define HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDELEMENTS_H_

#include <stdint.h>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/player/application/embedded/EmbeddedPlayer.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/paint/Painter.h"
#include "host/player/application/stage/Notices.h"
#include "host/player/application/stage/Stage.h"
#include "host/player/engines/EngineSource.h"

namespace plexion_host::player::application {

/// Movies and media that are open at once: each may have a dozen threads, and pictures of its own.
constexpr size_t kMostPlayers = 32;
/// Of all pictures of them together.
constexpr size_t kMostEmbeddedBytes = size_t{256} * 1024 * 1024;

/// What the script hears of an element whose content comes from a file.
struct EmbeddedEvent {
  enum Kind { kReady, kEnded, kFailed };
  uint32_t element = 0;
  Kind kind = kReady;
  std::string reason;  ///< of kFailed
};

/// Movies and media on the stage. Each plays from its beginning when it comes to be seen, and gives
/// its player back when it no longer is. Opening happens beside the application, which goes on
/// meanwhile: until a player is ready, its element shows what it showed before, or nothing.
class EmbeddedElements final : public EmbeddedSource {
 public:
  EmbeddedElements(Stage& stage, const BaseFolder& base, EngineHost& host, EngineSource& engines,
                   Notices& notices)
      : stage_(stage), base_(base), host_(host), engines_(engines), notices_(notices) {}

  /// Opens, moves on and closes players, as the stage now is. Marks what has changed.
  std::vector<EmbeddedEvent> Advance(double now, bool playing);
  /// Waits until all players are ready or have failed, or the host cancels.
  void WaitUntilLoaded(std::chrono::milliseconds most);
  /// A factor for all, on top of what elements say; takes effect with the next Advance.
  void SetVolume(double factor) { volume_ = factor; }
  /// See Engine::SaveMemory; for those that are opened from now on as well.
  void SaveMemory();
  /// The element is to play from its beginning, most likely what another `src` names.
  void Restart(uint32_t element);
  /// Seconds at which one of them changes next; infinity when none does by itself.
  double NextMoment() const;

  EmbeddedPixels Render(Element& element, double width, double height) override;

 private:
  struct Playing {
    std::shared_ptr<EmbeddedPlayer> shown;
    std::shared_ptr<EmbeddedPlayer> coming;  ///< takes the place of `shown` once it is ready
    bool restart = true;
    bool wasSeen = false;
    uint64_t round = 0;
  };

  void CollectWanted(Element& element, bool seen);
  void Move(Element& element, bool seen, double now, bool playing);
  void Open(Element& element, Playing& each);
  /// What its `src` names: a file, or a stream that is declared.
  EmbeddedPlayer::Content Find(const Element& element, std::string& error) const;
  void TakeComing(Element& element, Playing& each);
  void Refuse(Element& element, const std::string& reason);
  size_t OpenPlayers() const;
  void Retire(std::shared_ptr<EmbeddedPlayer> player);

  Stage& stage_;
  const BaseFolder& base_;
  EngineHost& host_;
  EngineSource& engines_;
  Notices& notices_;
  std::unordered_map<uint32_t, Playing> players_;
  /// No longer wanted, but their loading threads do not know that yet.
  std::vector<std::shared_ptr<EmbeddedPlayer>> retired_;
  uint64_t round_ = 0;
  double volume_ = 1;
  bool savesMemory_ = false;

  // Of the Advance at hand.
  std::vector<std::pair<Element*, bool>> wanted_;  ///< with whether it is seen
  std::vector<EmbeddedEvent> events_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDELEMENTS_H_
