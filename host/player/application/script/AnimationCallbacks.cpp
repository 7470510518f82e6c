// Calls what a script has for the ends of its animations.
#include "host/player/application/script/AnimationCallbacks.h"

namespace plexion_host::player::application {

void AnimationCallbacks::CallFinished(const std::vector<int>& tokens) {
  for (const int token : tokens) {
    if (token != LUA_NOREF) waiting_.push_back(token);
  }
  size_t called = 0;
  for (; called < waiting_.size() && calls_.AreOpen(); ++called) {
    calls_.RunReference("animate", waiting_[called]);
    luaL_unref(script_.State(), LUA_REGISTRYINDEX, waiting_[called]);
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<ptrdiff_t>(called));
}

void AnimationCallbacks::Drop(const std::vector<int>& tokens) {
  for (const int token : tokens) luaL_unref(script_.State(), LUA_REGISTRYINDEX, token);
}

}  // namespace plexion_host::player::application
