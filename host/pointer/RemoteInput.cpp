// Turns a viewer's states of keys and buttons into changes.

#include "host/pointer/RemoteInput.h"

#include "host/base/Check.h"
#include "host/pointer/KeysymTable.h"

namespace plexion_host {

using qx::plexion::MouseButton;
using qx::plexion::ScrollWheelDirection;

namespace {

constexpr InputSource kSource = InputSource::kPointerStream;
/// More keys than fingers: a client that never lets go is not remembered for ever.
constexpr size_t kMostHeldKeys = 32;

constexpr MouseButton kButtons[] = {qx::plexion::kMouseButtonLeft, qx::plexion::kMouseButtonMiddle,
                                    qx::plexion::kMouseButtonRight};
constexpr ScrollWheelDirection kWheel[] = {
    qx::plexion::kScrollWheelUp, qx::plexion::kScrollWheelDown, qx::plexion::kScrollWheelLeft,
    qx::plexion::kScrollWheelRight};
constexpr unsigned kFirstWheelBit = 3;

}  // namespace

void RemoteInput::Key(bool down, uint32_t keysym) {
  if (input_ == nullptr) return;
  const auto held = heldKeys_.find(keysym);
  if (down) {
    const uint32_t key =
        // A key that repeats stays the key that it was when it went down, whatever Shift does meanwhile.
        held != heldKeys_.end() ? held->second : ServiceKeyOf(*input_, keysym, modifiers_);
    modifiers_ |= ModifierOf(keysym);
    if (key == 0 || (held == heldKeys_.end() && heldKeys_.size() == kMostHeldKeys)) return;
    heldKeys_[keysym] = key;
    input_->KeyDown(kSource, key);
  } else {
    modifiers_ = static_cast<uint16_t>(modifiers_ & ~ModifierOf(keysym));
    if (held == heldKeys_.end()) return;
    const uint32_t key = held->second;
    heldKeys_.erase(held);
    input_->KeyUp(kSource, key);
  }
}

void RemoteInput::Pointer(unsigned buttons, int x, int y) {
  if (input_ == nullptr) return;
  const unsigned before = buttons_;
  buttons_ = buttons;
  if (x != x_ || y != y_) input_->PointerMove(kSource, x, y);
  x_ = x;
  y_ = y;
  for (unsigned i = 0; i < kFirstWheelBit; ++i) {
    const unsigned bit = 1u << i;
    if ((buttons & ~before & bit) != 0) input_->PointerDown(kSource, kButtons[i], x, y);
    if ((before & ~buttons & bit) != 0) input_->PointerUp(kSource, kButtons[i], x, y);
  }
  // A notch of the wheel is a button that goes down and up; only the way down counts.
  for (unsigned i = 0; i < 4; ++i) {
    const unsigned bit = 1u << (kFirstWheelBit + i);
    if ((buttons & ~before & bit) != 0) input_->Wheel(kSource, kWheel[i], 1);
  }
}

void RemoteInput::ReleaseAll() {
  if (input_ == nullptr) return;
  while (!heldKeys_.empty()) {
    const uint32_t key = heldKeys_.begin()->second;
    heldKeys_.erase(heldKeys_.begin());
    input_->KeyUp(kSource, key);
  }
  modifiers_ = 0;
  PLEXION_CHECK(heldKeys_.empty(), "nothing is held any more");
  Pointer(0, x_, y_);
}

}  // namespace plexion_host
