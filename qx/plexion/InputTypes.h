#ifndef QX_PLEXION_INPUTTYPES_H_
#define QX_PLEXION_INPUTTYPES_H_

#include <stdint.h>

namespace qx {
namespace plexion {

/// How key downs and ups from the host reach the content.
enum KeyInputMode : int32_t {
  kKeyInputModeDirect = 0,  ///< passed through at once
  kKeyInputModeSimulateKeyUp =
      1,                        ///< device key ups ignored; one follows each down after the delay
  kKeyInputModeAutoRepeat = 2,  ///< a held key repeats after the delay, then once an interval
};

enum MouseButton : int32_t {
  kMouseButtonLeft = 0,
  kMouseButtonMiddle = 1,
  kMouseButtonRight = 2,
};

enum ScrollWheelDirection : int32_t {
  kScrollWheelUp = 0,
  kScrollWheelDown = 1,
  kScrollWheelLeft = 2,
  kScrollWheelRight = 3,
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_INPUTTYPES_H_
