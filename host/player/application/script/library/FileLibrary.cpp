// Files of the application and data that it has declared, as text, JSON or CSV, and scripts that come in
// several files.
#include <string>

#include "host/player/application/script/ScriptHost.h"
#include "host/player/application/script/library/DataToLua.h"
#include "host/player/application/script/library/Libraries.h"

namespace plexion_host::player::application {

namespace {

constexpr uint64_t kLargestData = 8 * 1024 * 1024;

std::string CheckArgument(lua_State* state, int index) {
  size_t length = 0;
  const char* text = luaL_checklstring(state, index, &length);
  return std::string(text, length);
}

char OptionalSeparator(lua_State* state, int index) {
  size_t length = 0;
  const char* text = luaL_optlstring(state, index, ",", &length);
  // These would take every table apart, or none.
  if (length != 1 || *text == '"' || *text == '\n' || *text == '\r') {
    luaL_argerror(state, index, "expected one character");
  }
  return *text;
}

bool ReadData(lua_State* state, const std::string& name, std::string& bytes, std::string& error) {
  Script::Of(state).CheckTime(state);
  const ScriptContext& context = ScriptHost::Of(state).Context();
  if (DeclaredData::IsName(name)) return context.data.Read(name, bytes, error);
  return context.base.Read(name, kLargestData, bytes, error);
}

int Read(lua_State* state) {
  std::string bytes;
  std::string error;
  if (!ReadData(state, CheckArgument(state, 1), bytes, error)) return PushFailure(state, error);
  lua_pushlstring(state, bytes.data(), bytes.size());
  return 1;
}

int Exists(lua_State* state) {
  std::string error;
  const ScriptContext& context = ScriptHost::Of(state).Context();
  const std::string name = CheckArgument(state, 1);
  const bool exists = DeclaredData::IsName(name)
                          ? context.data.Age(name, ScriptHost::Of(state).Now()) >= 0
                          : context.base.OpenRegular(name, error).IsOpen();
  lua_pushboolean(state, exists ? 1 : 0);
  return 1;
}

/// Seconds since declared data came; nil when nothing has.
int Age(lua_State* state) {
  ScriptHost& self = ScriptHost::Of(state);
  const double age = self.Context().data.Age(CheckArgument(state, 1), self.Now());
  if (age < 0) {
    lua_pushnil(state);
  } else {
    lua_pushnumber(state, age);
  }
  return 1;
}

int List(lua_State* state) {
  std::vector<std::string> names;
  std::string error;
  const std::string folder = lua_isnoneornil(state, 1) ? std::string() : CheckArgument(state, 1);
  if (!ScriptHost::Of(state).Context().base.List(folder, names, error))
    return PushFailure(state, error);
  lua_newtable(state);
  for (size_t i = 0; i < names.size(); ++i) {
    lua_pushlstring(state, names[i].data(), names[i].size());
    lua_rawseti(state, -2, static_cast<lua_Integer>(i) + 1);
  }
  return 1;
}

int ReadJson(lua_State* state) {
  const std::string name = CheckArgument(state, 1);
  std::string bytes;
  std::string error;
  if (!ReadData(state, name, bytes, error)) return PushFailure(state, error);
  return PushJson(state, bytes, name);
}

int ReadCsv(lua_State* state) {
  const std::string name = CheckArgument(state, 1);
  const char separator = OptionalSeparator(state, 2);
  std::string bytes;
  std::string error;
  if (!ReadData(state, name, bytes, error)) return PushFailure(state, error);
  return PushCsv(state, bytes, name, separator);
}

/// As much as may be read from a file: both are copied on their way.
bool IsTooLong(lua_State* state) { return lua_rawlen(state, 1) > kLargestData; }

int PushTooLong(lua_State* state) {
  return PushFailure(state, "the text has more than the " + std::to_string(kLargestData) +
                                " bytes that are allowed");
}

int DecodeJson(lua_State* state) {
  luaL_checktype(state, 1, LUA_TSTRING);
  return IsTooLong(state) ? PushTooLong(state) : PushJson(state, CheckArgument(state, 1), "JSON");
}

int DecodeCsv(lua_State* state) {
  luaL_checktype(state, 1, LUA_TSTRING);
  const char separator = OptionalSeparator(state, 2);
  return IsTooLong(state) ? PushTooLong(state)
                          : PushCsv(state, CheckArgument(state, 1), "CSV", separator);
}

int Watch(lua_State* state) {
  const std::string name = CheckArgument(state, 1);
  luaL_checktype(state, 2, LUA_TFUNCTION);
  lua_settop(state, 2);
  ScriptHost::Of(state).Files().Add(state, name);
  return 0;
}

char loadedScripts;

/// require("parts.ticker") runs parts/ticker.lua of the application, or else of the extensions,
/// once, and answers what it returned.
int Require(lua_State* state) {
  const std::string name = CheckArgument(state, 1);
  lua_settop(state, 1);
  lua_rawgetp(state, LUA_REGISTRYINDEX, &loadedScripts);
  lua_pushvalue(state, 1);
  // Once, also when several parts require it: its answer is theirs together.
  if (lua_rawget(state, 2) != LUA_TNIL) return 1;
  lua_pop(state, 1);

  std::string file = name;
  // The application's own files come first: an extension cannot take the place of one.
  for (char& c : file) c = c == '.' ? '/' : c;
  file += ".lua";
  const ScriptContext& context = ScriptHost::Of(state).Context();
  std::string text;
  std::string error;
  std::string elsewhere;
  // Noted before it is read: one that is missing now may come, and is watched for.
  ScriptHost::Of(state).AddScriptFile(file);
  if (!context.base.Read(file, kLargestScript, text, error) &&
      !(context.extensions.IsOpen() &&
        context.extensions.Read(file, kLargestScript, text, elsewhere))) {
    return luaL_error(state, "%s", error.c_str());
  }
  if (Script::Of(state).Load(state, text, file, 1) != LUA_OK) return lua_error(state);
  lua_call(state, 0, 1);
  // What answers nothing counts as loaded all the same, and is not run again.
  if (lua_isnil(state, -1)) {
    lua_pop(state, 1);
    lua_pushboolean(state, 1);
  }
  lua_pushvalue(state, 1);
  lua_pushvalue(state, -2);
  lua_rawset(state, 2);
  return 1;
}

}  // namespace

void OpenFileLibrary(lua_State* state) {
  const luaL_Reg files[] = {{"read", Read},     {"exists", Exists}, {"list", List},
                            {"json", ReadJson}, {"csv", ReadCsv},   {"watch", Watch},
                            {"age", Age},       {nullptr, nullptr}};
  luaL_newlib(state, files);
  lua_setglobal(state, "files");
  const luaL_Reg decoders[] = {{"json", DecodeJson}, {"csv", DecodeCsv}, {nullptr, nullptr}};
  luaL_newlib(state, decoders);
  lua_setglobal(state, "decode");
  lua_newtable(state);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &loadedScripts);
  lua_pushcfunction(state, Require);
  lua_setglobal(state, "require");
}

}  // namespace plexion_host::player::application
