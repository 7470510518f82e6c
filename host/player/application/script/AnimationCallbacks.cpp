// Calls what a script has for the ends of its animations.
#include "host/player/application/script/AnimationCallbacks.h"

namespace plexion_host::player::application {

bool AnimationCallbacks::CallFinished(const std::vector<int>& tokens, EngineError& error) {
  lua_State* state = script_.State();
  for (const int token : tokens) {
    if (token == LUA_NOREF) continue;
    lua_rawgeti(state, LUA_REGISTRYINDEX, token);
    // Forgotten before it is called: the call may fail, and does not come back then.
    luaL_unref(state, LUA_REGISTRYINDEX, token);
    if (!script_.Call(0, error)) return false;
  }
  return true;
}

void AnimationCallbacks::Drop(const std::vector<int>& tokens) {
  for (const int token : tokens) luaL_unref(script_.State(), LUA_REGISTRYINDEX, token);
}

}  // namespace plexion_host::player::application
