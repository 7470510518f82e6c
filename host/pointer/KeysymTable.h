// What a key of a viewer is called here.

#ifndef HOST_POINTER_KEYSYMTABLE_H_
#define HOST_POINTER_KEYSYMTABLE_H_

#include <cstdint>

#include "host/contracts/IHostInput.h"

namespace plexion_host {

/// What a remote pointer's keyboard says, as the display's keyboard would say it, so that one key
/// map serves both.
struct RemoteKey {
  int32_t sdlKey = 0;          ///< 0: none
  uint16_t modifiers = 0;      ///< what the symbol itself implies: shift for a capital
  const char* name = nullptr;  ///< instead: a name of the key map
};

/// `keysym`: X11 key symbol.
RemoteKey RemoteKeyOf(uint32_t keysym);

/// The modifier that the key is (an SDL_Keymod bit); 0 for others.
uint16_t ModifierOf(uint32_t keysym);

/// Service key code for a symbol; 0 when there is none.
uint32_t ServiceKeyOf(IHostInput& input, uint32_t keysym, uint16_t heldModifiers);

}  // namespace plexion_host

#endif  // HOST_POINTER_KEYSYMTABLE_H_
