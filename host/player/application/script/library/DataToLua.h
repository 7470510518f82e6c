// JSON and CSV for scripts.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_DATATOLUA_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_DATATOLUA_H_

#include <string>

#include "host/player/application/script/sandbox/Script.h"

/// JSON and CSV as values of a script. Each pushes the value, or nil and the reason, which begins
/// with `name` and the line; they return how many that are.

namespace plexion_host::player::application {

int PushJson(lua_State* state, const std::string& text, const std::string& name);
/// The first line names the fields; every other line becomes a table with these names.
int PushCsv(lua_State* state, const std::string& text, const std::string& name, char separator);
/// Whatever cannot be read is nil and the reason, as in Lua's own library.
int PushFailure(lua_State* state, const std::string& reason);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_DATATOLUA_H_
