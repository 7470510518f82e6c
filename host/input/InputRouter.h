// Which window hears an input event, and where.

#ifndef HOST_INPUT_INPUTROUTER_H_
#define HOST_INPUT_INPUTROUTER_H_

#include <array>
#include <cstdint>
#include <set>

#include "host/contracts/IHostInput.h"
#include "host/contracts/IHostWindows.h"

namespace plexion_host {

/// Turns input from several sources into the service's dispatches.
///
/// It knows what each source holds down, so that a source that goes away can let go of everything;
/// a key that two sources hold is up only when both have let go. A press goes to the window that is
/// in front at that place, which becomes active first when it plays; when it does not, or there is
/// none, the press is dropped. From then on that window hears of this source's pointer until all
/// its buttons are up, wherever the pointer goes; otherwise moves go to the active window.
///
/// Thread   one: every operation may wait for the locks of the launcher and the service.
class InputRouter {
 public:
  explicit InputRouter(IHostWindows& windows) : windows_(windows) {}

  void KeyDown(InputSource source, uint32_t key);
  void KeyUp(InputSource source, uint32_t key);
  void PointerMove(InputSource source, int32_t x, int32_t y);
  void PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x, int32_t y);
  void PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x, int32_t y);
  void Wheel(qx::plexion::ScrollWheelDirection direction, uint16_t notches);
  void ReleaseAll(InputSource source);

 private:
  static constexpr size_t kSources = 3;

  struct Source {
    std::set<uint32_t> keys;
    std::set<qx::plexion::MouseButton> buttons;
    unsigned grab = 0;  ///< number of the window that the buttons belong to, 0 none
    int32_t x = 0;
    int32_t y = 0;
  };

  Source& Of(InputSource source) { return sources_[static_cast<size_t>(source) % kSources]; }
  bool AnyoneHolds(uint32_t key) const;

  IHostWindows& windows_;
  std::array<Source, kSources> sources_;
};

}  // namespace plexion_host

#endif  // HOST_INPUT_INPUTROUTER_H_
