// Makes objects for elements, and finds the elements of objects.
#include "host/player/application/script/ElementObjects.h"

#include <stdlib.h>

namespace plexion_host::player::application {

namespace {

/// Key of a table in the registry: objects by handle, for as long as the script holds them.
char objectsByHandle;

}  // namespace

void ElementObjects::Open(lua_State* state) {
  lua_newtable(state);
  lua_newtable(state);
  // Weak: an object that the script has dropped is collected, and made again when it is asked for.
  lua_pushliteral(state, "v");
  lua_setfield(state, -2, "__mode");
  lua_setmetatable(state, -2);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &objectsByHandle);
}

void ElementObjects::Push(lua_State* state, const Element& element) {
  lua_rawgetp(state, LUA_REGISTRYINDEX, &objectsByHandle);
  if (lua_rawgeti(state, -1, element.handle) == LUA_TUSERDATA) {
    lua_remove(state, -2);
    return;
  }
  lua_pop(state, 1);
  auto* handle = static_cast<uint32_t*>(lua_newuserdatauv(state, sizeof(uint32_t), 0));
  *handle = element.handle;
  luaL_setmetatable(state, kType);
  lua_pushvalue(state, -1);
  lua_rawseti(state, -3, element.handle);
  lua_remove(state, -2);
}

void ElementObjects::PushOrNil(lua_State* state, const Element* element) {
  if (element == nullptr) {
    lua_pushnil(state);
  } else {
    Push(state, *element);
  }
}

Element* ElementObjects::Find(lua_State* state, int index) const {
  return stage_.FindByHandle(*static_cast<uint32_t*>(luaL_checkudata(state, index, kType)));
}

Element& ElementObjects::Check(lua_State* state, int index) const {
  Element* element = Find(state, index);
  if (element == nullptr) {
    luaL_argerror(state, index, "this element has been removed");
    abort();  // an error of a script never comes back to here
  }
  return *element;
}

}  // namespace plexion_host::player::application
