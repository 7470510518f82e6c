// What the libraries of elements share.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_ELEMENTACCESS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_ELEMENTACCESS_H_

#include <string>

#include "host/player/application/script/ScriptHost.h"

/// What the functions that scripts call on elements, scenes and movements have in common. Each
/// raises an error in the script when something is not as it should be, and does not come back
/// then.

namespace plexion_host::player::application {

std::string CheckName(lua_State* state, int index);
[[noreturn]] void Raise(lua_State* state, const std::string& message);
const Property& CheckProperty(lua_State* state, const Element& element, const std::string& name);
/// Sets the properties that the table at `index` holds.
void SetProperties(lua_State* state, Element& element, int index);
/// A field of a table, in seconds; `otherwise` when there is none.
double OptionalSeconds(lua_State* state, int table, const char* name, double otherwise);

// Methods of elements; BindMovement.cpp.
int AnimateElement(lua_State* state);
int StopElement(lua_State* state);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_LIBRARY_ELEMENTACCESS_H_
