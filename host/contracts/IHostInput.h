#ifndef HOST_CONTRACTS_IHOSTINPUT_H_
#define HOST_CONTRACTS_IHOSTINPUT_H_

#include <cstdint>
#include <string>

#include "qx/core/IQXModule.h"
#include "qx/plexion/InputTypes.h"

namespace plexion_host {

/// Where input comes from. Keys and buttons that a source holds are released with it.
enum class InputSource { kDisplay = 0, kShell = 1, kPointerStream = 2 };

/// The one way of all input into the service: module "IHostInput", in the library of
/// "IUserInputDriver". Private to this host.
///
/// Thread   any. Positions are screen pixels; they are mapped to the plane of the active window. A
///          press over another playing window makes that one active first.
class IHostInput : public IQXModule {
 public:
  /// Reads a key map file on top of the built-in table. Returns  false with "FILE:LINE: reason" in
  /// `error`; the table is then unchanged.
  virtual bool LoadKeyMap(const std::string& path, std::string& error) = 0;

  /// Service key code for an SDL_Keycode; 0 when there is none.
  virtual uint32_t MapKey(int32_t sdlKey, uint16_t modifiers) = 0;
  /// Service key code for a name of the table ("left", "ok", "red", "F1") or a number
  /// ("0x0100000A", "65"); 0 when it is neither.
  virtual uint32_t KeyByName(const std::string& name) = 0;

  // A key that is already down is a repeat; a key up without its down is dropped.
  virtual void KeyDown(InputSource source, uint32_t key) = 0;
  virtual void KeyUp(InputSource source, uint32_t key) = 0;
  virtual void PointerMove(InputSource source, int32_t x, int32_t y) = 0;
  virtual void PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x,
                           int32_t y) = 0;
  virtual void PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x,
                         int32_t y) = 0;
  virtual void Wheel(InputSource source, qx::plexion::ScrollWheelDirection direction,
                     uint16_t notches) = 0;
  /// Releases every key and button that `source` holds.
  virtual void ReleaseAll(InputSource source) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTINPUT_H_
