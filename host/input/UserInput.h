// The input driver behind both of its module names.

#ifndef HOST_INPUT_USERINPUT_H_
#define HOST_INPUT_USERINPUT_H_

#include <map>
#include <string>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostWindows.h"
#include "host/input/InputQueue.h"
#include "host/input/KeyMap.h"

namespace plexion_host {

/// All input of this host, behind the modules "IUserInputDriver" and "IHostInput": the key map, the
/// queue, and the display's keys and pointer as one of the sources.
class UserInput : public IHostInput, public IDisplayEventSink {
 public:
  /// Hears `display` (null: none) as long as it lives.
  UserInput(IHostWindows& windows, IHostDisplay* display);
  ~UserInput() override;

  bool LoadKeyMap(const std::string& path, std::string& error) override;
  uint32_t MapKey(int32_t sdlKey, uint16_t modifiers) override;
  uint32_t KeyByName(const std::string& name) override;

  void KeyDown(InputSource source, uint32_t key) override;
  void KeyUp(InputSource source, uint32_t key) override;
  void PointerMove(InputSource source, int32_t x, int32_t y) override;
  void PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x,
                   int32_t y) override;
  void PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x,
                 int32_t y) override;
  void Wheel(InputSource source, qx::plexion::ScrollWheelDirection direction,
             uint16_t notches) override;
  void ReleaseAll(InputSource source) override;

  void OnDisplayEvent(const DisplayEvent& event) override;

 private:
  void OnDisplayKey(const DisplayEvent& event);
  void OnDisplayWheel(const DisplayEvent& event);

  IHostDisplay* const display_;
  InputQueue queue_;

  Mutex mapMutex_;
  KeyMap map_ GUARDED_BY(mapMutex_);

  /// The display thread's. What each key of the keyboard meant when it went down: it means the same
  /// when it comes up, whatever has become of Shift since.
  std::map<int32_t, uint32_t> downKeys_;
};

}  // namespace plexion_host

#endif  // HOST_INPUT_USERINPUT_H_
