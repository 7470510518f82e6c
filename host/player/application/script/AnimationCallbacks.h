// Functions that a script wants to be called when animations are over.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_

#include <vector>

#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

/// An animation's token is the reference of its function in the script's registry, or LUA_NOREF.
class AnimationCallbacks {
 public:
  explicit AnimationCallbacks(Script& script) : script_(script) {}

  /// Calls and forgets the functions of animations that have come to their end.
  /// Returns  false with `error` when one fails.
  bool CallFinished(const std::vector<int>& tokens, EngineError& error);
  /// Forgets those of animations that never will.
  void Drop(const std::vector<int>& tokens);

 private:
  Script& script_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_
