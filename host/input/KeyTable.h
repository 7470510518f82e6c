// The names of keys.

#ifndef HOST_INPUT_KEYTABLE_H_
#define HOST_INPUT_KEYTABLE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace plexion_host {

/// A key as the content knows it. docs/keys.md shows the same table to people; a test compares
/// them.
struct ServiceKey {
  const char* name;  ///< lower case
  uint32_t code;
};

/// A key of the keyboard that means a service key until a key map says otherwise.
struct DefaultKey {
  const char* name;  ///< as in a key map
  int32_t sdlKey;
  const char* service;
};

const std::vector<ServiceKey>& ServiceKeys();

/// The keyboard's keys by name: those that mean something by themselves, and those (with an empty
/// `service`) that a key map may name.
const std::vector<DefaultKey>& KeyboardKeys();

/// The code of a name of the table (upper and lower case alike), of a single character, or of a
/// number ("0x0100000A", "65"; a lone digit is the character). 0 when it is none of these.
uint32_t ServiceKeyByName(const std::string& name);

/// The SDL_Keycode of a keyboard key's name, of a single character, or of a number with 0x. 0 when
/// it is none of these.
int32_t KeyboardKeyByName(const std::string& name);

}  // namespace plexion_host

#endif  // HOST_INPUT_KEYTABLE_H_
