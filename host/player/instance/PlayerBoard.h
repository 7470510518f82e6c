// Which instance plays in which window, for the host's own player commands.

#ifndef HOST_PLAYER_INSTANCE_PLAYERBOARD_H_
#define HOST_PLAYER_INSTANCE_PLAYERBOARD_H_

#include <map>

#include "host/base/Mutex.h"
#include "host/contracts/IHostPlayer.h"
#include "host/player/instance/PlayerInstance.h"

namespace plexion_host::player {

/// The instances of this library by their windows, and the volumes that windows were given before
/// they had one.
///
/// Thread   any. Its lock comes before those of an instance.
class PlayerBoard {
 public:
  /// The process's one: the runtime and the player's commands are two modules of one library.
  static PlayerBoard& Get();

  /// Of the runtime, for as long as it is there; null from then on.
  void SetEngines(EngineSource* engines);
  void Prepare(const qx::plexion::StageWindowParameters& parameters);
  std::string Protection();

  void Add(const qx::plexion::StageWindow* window, PlayerInstance* instance);
  void Remove(const PlayerInstance* instance);

  void SetVolume(const qx::plexion::StageWindow* window, double factor);
  void Forget(const qx::plexion::StageWindow* window);
  bool Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
            std::function<void(const std::string& fault)> done);

 private:
  struct Entry {
    PlayerInstance* instance = nullptr;
    double volume = 1;
  };

  Mutex mutex_;
  EngineSource* engines_ GUARDED_BY(mutex_) = nullptr;
  std::map<const qx::plexion::StageWindow*, Entry> entries_ GUARDED_BY(mutex_);
};

/// The module "IHostPlayer".
class PlayerCommands final : public IHostPlayer {
 public:
  void Prepare(const qx::plexion::StageWindowParameters& parameters) override {
    PlayerBoard::Get().Prepare(parameters);
  }
  std::string Protection() override { return PlayerBoard::Get().Protection(); }
  void SetVolume(const qx::plexion::StageWindow* window, double factor) override {
    PlayerBoard::Get().SetVolume(window, factor);
  }
  void Forget(const qx::plexion::StageWindow* window) override {
    PlayerBoard::Get().Forget(window);
  }
  bool Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
            std::function<void(const std::string& fault)> done) override {
    return PlayerBoard::Get().Seek(window, seconds, relative, std::move(done));
  }
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYERBOARD_H_
