// How loud everything is: all, each zone, each window.

#ifndef HOST_LAUNCHER_CONTROL_SOUNDCONTROL_H_
#define HOST_LAUNCHER_CONTROL_SOUNDCONTROL_H_

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "host/base/Mutex.h"
#include "host/contracts/IHostPlayer.h"
#include "host/contracts/IHostWindows.h"

namespace plexion_host {

struct SoundLevel {
  double volume = 1;  ///< 0 to 1
  bool muted = false;
};

/// The operator's volume, on top of what items and zones say in their programme. A level of a zone
/// holds for all that is shown in it; that of a window goes with it.
///
/// Order    SetPlayer once the player may be asked for; OnWindow for each window before it is
///          configured, OnWindowGone before it is destroyed; Close before the modules go.
/// Thread   any; may be called under the launcher's window lock, which it never takes itself.
class SoundControl {
 public:
  /// Step of the volume keys.
  static constexpr double kStep = 0.05;

  /// Asked when a level other than the usual one is first set; null: this player offers none.
  using Player = std::function<IHostPlayer*(std::string& error)>;
  void SetPlayer(Player player);
  void Close();

  void OnWindow(const HostWindow& window);
  void OnWindowGone(const qx::plexion::StageWindow* window);

  /// What a level is of. An empty zone and no number: of all.
  struct Target {
    std::string zone;
    unsigned window = 0;
  };
  struct Change {
    std::optional<double> volume;  ///< 0 to 1
    double by = 0;                 ///< added to what it is
    std::optional<bool> muted;
    bool toggle = false;  ///< mutes, or takes that back
  };
  /// A change of the volume takes a mute back. Returns  false with the reason in `error`.
  bool Set(const Target& target, const Change& change, std::string& error);
  SoundLevel Get(const Target& target);
  /// Everything taken together, as it reaches the content.
  SoundLevel Effective(const std::string& zone, unsigned window);

  /// Of IHostPlayer's. Returns  false with the reason in `error` when it could not be asked.
  bool Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
            std::function<void(const std::string& fault)> done, std::string& error);

  /// The volume keys: louder, softer, mute. Returns  whether it was one of them.
  bool OnKey(uint32_t key);

 private:
  struct Window {
    unsigned number = 0;
    std::string zone;
  };

  SoundLevel& LevelOf(const Target& target) REQUIRES(mutex_);
  SoundLevel EffectiveLocked(const std::string& zone, unsigned window) const REQUIRES(mutex_);
  bool FindPlayer(std::string& error) REQUIRES(mutex_);
  void Apply(const qx::plexion::StageWindow* window, const Window& entry) REQUIRES(mutex_);

  Mutex mutex_;
  Player player_ GUARDED_BY(mutex_);
  IHostPlayer* found_ GUARDED_BY(mutex_) = nullptr;
  SoundLevel all_ GUARDED_BY(mutex_);
  std::map<std::string, SoundLevel> zones_ GUARDED_BY(mutex_);
  std::map<unsigned, SoundLevel> numbers_ GUARDED_BY(mutex_);
  std::map<const qx::plexion::StageWindow*, Window> windows_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_CONTROL_SOUNDCONTROL_H_
