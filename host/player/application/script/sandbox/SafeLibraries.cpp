// What a script may use of Lua's own libraries, with bounds on what runs long without executing an
// instruction, where no count of instructions would ever stop it.
#include <string.h>

#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

namespace {

constexpr lua_Integer kMostOfATable = 1000000;
constexpr size_t kLongestRepeat = 16 * 1024 * 1024;
constexpr size_t kLongText = 1024;

/// Calls the library's own function, which is the running one's upvalue, with all arguments.
int CallOriginal(lua_State* state) {
  // Each may take milliseconds, and few instructions go by between many of them.
  Script::Of(state).CheckTime(state);
  lua_pushvalue(state, lua_upvalueindex(1));
  lua_insert(state, 1);
  lua_call(state, lua_gettop(state) - 1, LUA_MULTRET);
  return lua_gettop(state);
}

int TooMany(lua_State* state) {
  return luaL_error(state, "more than %I elements at once", kMostOfATable);
}

/// A table whose length is its own: a metamethod could answer anything, and each time another.
lua_Integer PlainLength(lua_State* state, int index) {
  luaL_checktype(state, index, LUA_TTABLE);
  if (luaL_getmetafield(state, index, "__len") != LUA_TNIL) {
    luaL_argerror(state, index, "a table without __len expected");
  }
  return static_cast<lua_Integer>(lua_rawlen(state, index));
}

int SetMetatable(lua_State* state) {
  if (lua_type(state, 2) == LUA_TTABLE) {
    lua_pushliteral(state, "__gc");
    if (lua_rawget(state, 2) != LUA_TNIL) {
      return luaL_error(state, "__gc is not available: a script has no finalizers");
    }
    lua_pop(state, 1);
  }
  return CallOriginal(state);
}

int TableInsertOrRemove(lua_State* state) {
  if (PlainLength(state, 1) > kMostOfATable * 10) return TooMany(state);
  return CallOriginal(state);
}

/// What sort does when it is given no order, with an eye on the time: two long texts that are the
/// same for most of their length may be compared a million times.
int ComesBefore(lua_State* state) {
  const bool before = lua_compare(state, 1, 2, LUA_OPLT) != 0;
  if (lua_type(state, 1) == LUA_TSTRING && lua_rawlen(state, 1) >= kLongText) {
    Script::Of(state).CheckTime(state);
  }
  lua_pushboolean(state, before ? 1 : 0);
  return 1;
}

int TableSort(lua_State* state) {
  if (PlainLength(state, 1) > kMostOfATable) return TooMany(state);
  lua_settop(state, 2);
  if (lua_isnil(state, 2)) {
    lua_pushcfunction(state, ComesBefore);
    lua_replace(state, 2);
  }
  return CallOriginal(state);
}

/// concat(list, separator, i, j) and unpack(list, i, j) differ in where the range stands.
template <int First>
int TableRange(lua_State* state) {
  const lua_Integer length = PlainLength(state, 1);
  const lua_Integer first = luaL_optinteger(state, First, 1);
  const lua_Integer last = luaL_optinteger(state, First + 1, length);
  if (last >= first &&
      static_cast<lua_Unsigned>(last) - static_cast<lua_Unsigned>(first) >= kMostOfATable) {
    return TooMany(state);
  }
  return CallOriginal(state);
}

int TableMove(lua_State* state) {
  const lua_Integer first = luaL_checkinteger(state, 2);
  const lua_Integer last = luaL_checkinteger(state, 3);
  if (last >= first &&
      static_cast<lua_Unsigned>(last) - static_cast<lua_Unsigned>(first) >= kMostOfATable) {
    return TooMany(state);
  }
  return CallOriginal(state);
}

int StringRepeat(lua_State* state) {
  size_t length = 0;
  size_t separator = 0;
  luaL_checklstring(state, 1, &length);
  const lua_Integer count = luaL_checkinteger(state, 2);
  luaL_optlstring(state, 3, "", &separator);
  const size_t each = length + separator;
  if (count > 0 && each > 0 && static_cast<size_t>(count) > kLongestRepeat / each) {
    return luaL_error(state, "the result would be longer than %d bytes",
                      static_cast<int>(kLongestRepeat));
  }
  // Nothing, very often, is still nothing.
  if (each == 0) {
    lua_pushliteral(state, "");
    return 1;
  }
  return CallOriginal(state);
}

/// xpcall(f, handler, ...), with the handler called when the error is through. The language's own
/// calls it at the place of the error, which may be the end of the script's time: no count stops
/// what runs there.
int ProtectedCall(lua_State* state) {
  luaL_checktype(state, 2, LUA_TFUNCTION);
  lua_pushvalue(state, 2);
  lua_remove(state, 2);
  lua_insert(state, 1);  // handler, function, arguments
  if (lua_pcall(state, lua_gettop(state) - 2, LUA_MULTRET, 0) == LUA_OK) {
    lua_pushboolean(state, 1);
    lua_replace(state, 1);
    return lua_gettop(state);
  }
  lua_call(state, 1, 1);
  lua_pushboolean(state, 0);
  lua_insert(state, 1);
  return 2;
}

/// Upvalues: the coroutine, coroutine.resume.
int ResumeWrapped(lua_State* state) {
  lua_pushvalue(state, lua_upvalueindex(2));
  lua_pushvalue(state, lua_upvalueindex(1));
  lua_rotate(state, 1, 2);
  lua_call(state, lua_gettop(state) - 1, LUA_MULTRET);
  if (lua_toboolean(state, 1) == 0) {
    lua_settop(state, 2);
    return lua_error(state);
  }
  return lua_gettop(state) - 1;
}

/// coroutine.wrap(f), upvalues coroutine.create and coroutine.resume. The language's own closes the
/// variables of a coroutine that failed, and nothing would stop what runs there either.
int WrapCoroutine(lua_State* state) {
  luaL_checktype(state, 1, LUA_TFUNCTION);
  lua_settop(state, 1);
  lua_pushvalue(state, lua_upvalueindex(1));
  lua_insert(state, 1);
  lua_call(state, 1, 1);
  lua_pushvalue(state, lua_upvalueindex(2));
  lua_pushcclosure(state, ResumeWrapped, 2);
  return 1;
}

/// Replaces a function of the library on top of the stack by a guard in front of it.
void Guard(lua_State* state, const char* name, lua_CFunction guard) {
  lua_getfield(state, -1, name);
  lua_pushcclosure(state, guard, 1);
  lua_setfield(state, -2, name);
}

void Withhold(lua_State* state, const char* name) {
  lua_pushnil(state);
  lua_setfield(state, -2, name);
}

}  // namespace

void OpenSafeLibraries(lua_State* state) {
  luaL_requiref(state, LUA_GNAME, luaopen_base, 1);
  for (const char* name : {"collectgarbage", "dofile", "load", "loadfile", "print", "warn"}) {
    Withhold(state, name);
  }
  Guard(state, "setmetatable", SetMetatable);
  Guard(state, "xpcall", ProtectedCall);
  lua_pop(state, 1);

  luaL_requiref(state, LUA_STRLIBNAME, luaopen_string, 1);
  Withhold(state, "dump");
  Guard(state, "rep", StringRepeat);
  OpenPatterns(state);
  lua_pop(state, 1);

  luaL_requiref(state, LUA_TABLIBNAME, luaopen_table, 1);
  Guard(state, "insert", TableInsertOrRemove);
  Guard(state, "remove", TableInsertOrRemove);
  Guard(state, "sort", TableSort);
  Guard(state, "concat", TableRange<3>);
  Guard(state, "unpack", TableRange<2>);
  Guard(state, "move", TableMove);
  lua_pop(state, 1);

  luaL_requiref(state, LUA_MATHLIBNAME, luaopen_math, 1);
  lua_pop(state, 1);

  // These go through megabytes of text as one instruction.
  luaL_requiref(state, LUA_UTF8LIBNAME, luaopen_utf8, 1);
  for (const char* name : {"len", "offset", "codepoint"}) Guard(state, name, CallOriginal);
  lua_pop(state, 1);

  luaL_requiref(state, LUA_COLIBNAME, luaopen_coroutine, 1);
  lua_getfield(state, -1, "create");
  lua_getfield(state, -2, "resume");
  lua_pushcclosure(state, WrapCoroutine, 2);
  lua_setfield(state, -2, "wrap");
  Withhold(state, "close");
  lua_pop(state, 1);
}

}  // namespace plexion_host::player::application
