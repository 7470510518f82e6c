// Makes the variables of each use of a part.
#include "host/player/application/script/PartScopes.h"

#include "host/player/application/script/ScriptHost.h"

namespace plexion_host::player::application {

namespace {

/// Key of a table in the registry: variables by the handle of the use's group; at 0 the
/// application's.
char scopes;

void PushParameters(lua_State* state, const PartUse& use) {
  lua_newtable(state);
  lua_pushlstring(state, use.folder.data(), use.folder.size());
  lua_setfield(state, -2, "folder");
  for (const PartParameter& parameter : use.parameters) {
    if (parameter.type == ParameterType::kFlag) {
      lua_pushboolean(state, parameter.value == "true" ? 1 : 0);
    } else if (parameter.type != ParameterType::kNumber ||
               lua_stringtonumber(state, parameter.value.c_str()) == 0) {
      lua_pushlstring(state, parameter.value.data(), parameter.value.size());
    }
    lua_setfield(state, -2, parameter.name.c_str());
  }
}

/// With nothing but `parts`: a part inside of another is run before that.
void PushScope(lua_State* state, uint32_t root) {
  lua_rawgetp(state, LUA_REGISTRYINDEX, &scopes);
  if (lua_rawgeti(state, -1, root) == LUA_TTABLE) {
    lua_remove(state, -2);
    return;
  }
  lua_pop(state, 1);
  lua_newtable(state);
  lua_newtable(state);
  lua_setfield(state, -2, "parts");
  lua_newtable(state);
  lua_pushglobaltable(state);
  lua_setfield(state, -2, "__index");
  lua_setmetatable(state, -2);
  lua_pushvalue(state, -1);
  lua_rawseti(state, -3, root);
  lua_remove(state, -2);
}

}  // namespace

void OpenPartScopes(lua_State* state) {
  lua_newtable(state);
  lua_pushglobaltable(state);
  lua_newtable(state);
  lua_setfield(state, -2, "parts");
  lua_rawseti(state, -2, 0);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &scopes);
}

void PushPartScope(lua_State* state, const PartUse& use) {
  PushScope(state, use.root);
  lua_pushliteral(state, "part");
  if (lua_rawget(state, -2) != LUA_TNIL) {
    lua_pop(state, 1);
    return;
  }
  lua_pop(state, 1);
  ElementObjects::PushOrNil(state, ScriptHost::Of(state).Context().stage.FindByHandle(use.root));
  lua_setfield(state, -2, "part");
  PushParameters(state, use);
  lua_setfield(state, -2, "parameters");
  if (use.id.empty()) return;
  PushScope(state, use.around);
  // Whatever a script has made of that name meanwhile.
  if (lua_getfield(state, -1, "parts") == LUA_TTABLE) {
    lua_pushvalue(state, -3);
    lua_setfield(state, -2, use.id.c_str());
  }
  lua_pop(state, 2);
}

}  // namespace plexion_host::player::application
