// What the scripts of a part see of their own.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_PARTSCOPES_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_PARTSCOPES_H_

#include "host/player/application/document/PartLibrary.h"
#include "host/player/application/script/sandbox/Script.h"

/// Each use of a part has global variables of its own, so that two uses, and the application itself,
/// can give the same names to different things; what is not there is looked for in the application's.
/// In it are `part`, the group of the use, `parameters`, and `parts`, the uses inside of it by id.
/// The application has them in `parts` too, and so calls what a part's script has left there.

namespace plexion_host::player::application {

/// Makes room for them, and the application's own `parts`.
void OpenPartScopes(lua_State* state);
/// Leaves a use's variables on the stack, which are made the first time.
void PushPartScope(lua_State* state, const PartUse& use);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_PARTSCOPES_H_
