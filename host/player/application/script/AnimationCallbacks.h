// Functions that a script wants to be called when animations are over.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_

#include <vector>

#include "host/player/application/script/HandlerCalls.h"

namespace plexion_host::player::application {

/// An animation's token is the reference of its function in the script's registry, or LUA_NOREF.
class AnimationCallbacks {
 public:
  AnimationCallbacks(Script& script, HandlerCalls& calls) : script_(script), calls_(calls) {}

  /// Calls and forgets the functions of animations that have come to their end. Those that cannot be
  /// called now come first the next time: a movement that begins the next one would else be the last.
  void CallFinished(const std::vector<int>& tokens);
  bool IsWaiting() const { return !waiting_.empty(); }
  /// Forgets those of animations that never will.
  void Drop(const std::vector<int>& tokens);

 private:
  Script& script_;
  HandlerCalls& calls_;
  std::vector<int> waiting_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_ANIMATIONCALLBACKS_H_
