// What a script can call besides the language itself, by subject.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_LIBRARIES_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_LIBRARIES_H_

#include "host/player/application/script/PartScopes.h"
#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

/// Of a script's file, in bytes.
constexpr uint64_t kLargestScript = uint64_t{1024} * 1024;

// Each needs a ScriptHost as the script's owner and leaves the stack as it was.
void OpenElementLibrary(lua_State* state);
void OpenStageLibrary(lua_State* state);
void OpenTimeLibrary(lua_State* state);
void OpenFileLibrary(lua_State* state);
/// Settings, arguments, traces, and the end.
void OpenHostLibrary(lua_State* state);

/// All of them, as a function of the script.
inline int OpenLibraries(lua_State* state) {
  OpenElementLibrary(state);
  OpenStageLibrary(state);
  OpenTimeLibrary(state);
  OpenFileLibrary(state);
  OpenHostLibrary(state);
  OpenPartScopes(state);
  return 0;
}

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_LIBRARIES_H_
