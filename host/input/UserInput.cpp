// From the display's events to keys and pointer of the service.

#include "host/input/UserInput.h"

#include <algorithm>
#include <cstdlib>

#include "host/input/KeyTable.h"

namespace plexion_host {

using qx::plexion::MouseButton;
using qx::plexion::ScrollWheelDirection;

namespace {

MouseButton ButtonOf(const DisplayEvent& event) {
  return event.button == 3   ? qx::plexion::kMouseButtonRight
         : event.button == 2 ? qx::plexion::kMouseButtonMiddle
                             : qx::plexion::kMouseButtonLeft;
}

}  // namespace

UserInput::UserInput(IHostWindows& windows, IHostDisplay* display)
    : display_(display), queue_(windows) {
  if (display_ != nullptr) display_->AddEventSink(this);
}

UserInput::~UserInput() {
  if (display_ != nullptr) display_->RemoveEventSink(this);
}

bool UserInput::LoadKeyMap(const std::string& path, std::string& error) {
  const MutexLock lock(mapMutex_);
  return map_.Load(path, error);
}

uint32_t UserInput::MapKey(int32_t sdlKey, uint16_t modifiers) {
  const MutexLock lock(mapMutex_);
  return map_.Map(sdlKey, modifiers);
}

uint32_t UserInput::KeyByName(const std::string& name) { return ServiceKeyByName(name); }

void UserInput::KeyDown(InputSource source, uint32_t key) {
  queue_.Push({InputEvent::Kind::kKeyDown, source, key});
}

void UserInput::KeyUp(InputSource source, uint32_t key) {
  queue_.Push({InputEvent::Kind::kKeyUp, source, key});
}

void UserInput::PointerMove(InputSource source, int32_t x, int32_t y) {
  queue_.Push({InputEvent::Kind::kMove, source, 0, x, y});
}

void UserInput::PointerDown(InputSource source, MouseButton button, int32_t x, int32_t y) {
  queue_.Push({InputEvent::Kind::kPress, source, static_cast<uint32_t>(button), x, y});
}

void UserInput::PointerUp(InputSource source, MouseButton button, int32_t x, int32_t y) {
  queue_.Push({InputEvent::Kind::kRelease, source, static_cast<uint32_t>(button), x, y});
}

void UserInput::Wheel(InputSource source, ScrollWheelDirection direction, uint16_t notches) {
  queue_.Push({InputEvent::Kind::kWheel, source, static_cast<uint32_t>(direction), notches, 0});
}

void UserInput::ReleaseAll(InputSource source) {
  queue_.Push({InputEvent::Kind::kReleaseAll, source});
}

void UserInput::OnDisplayEvent(const DisplayEvent& event) {
  constexpr InputSource kHere = InputSource::kDisplay;
  switch (event.kind) {
    case DisplayEvent::Kind::kKeyDown:
    case DisplayEvent::Kind::kKeyUp:
      return OnDisplayKey(event);
    case DisplayEvent::Kind::kPointerMove:
      return PointerMove(kHere, event.x, event.y);
    case DisplayEvent::Kind::kPointerDown:
      return PointerDown(kHere, ButtonOf(event), event.x, event.y);
    case DisplayEvent::Kind::kPointerUp:
      return PointerUp(kHere, ButtonOf(event), event.x, event.y);
    case DisplayEvent::Kind::kWheel:
      return OnDisplayWheel(event);
    case DisplayEvent::Kind::kFocusLost:
    case DisplayEvent::Kind::kCloseRequested:
      // Their releases go to whoever has the focus now.
      downKeys_.clear();
      return ReleaseAll(kHere);
    case DisplayEvent::Kind::kDisplayResized:
    case DisplayEvent::Kind::kOutputsChanged:
      return;
  }
}

void UserInput::OnDisplayKey(const DisplayEvent& event) {
  // What a key meant when it went down is what goes up: Shift may have been let go, or the map loaded, meanwhile.
  const auto down = downKeys_.find(event.key);
  if (event.kind == DisplayEvent::Kind::kKeyUp) {
    if (down == downKeys_.end()) return;
    KeyUp(InputSource::kDisplay, down->second);
    downKeys_.erase(down);
    return;
  }
  const uint32_t key = down != downKeys_.end() ? down->second : MapKey(event.key, event.modifiers);
  if (key == 0) return;
  downKeys_[event.key] = key;
  KeyDown(InputSource::kDisplay, key);
}

void UserInput::OnDisplayWheel(const DisplayEvent& event) {
  const auto turn = [this](int32_t notches, ScrollWheelDirection positive,
                           ScrollWheelDirection negative) {
    if (notches == 0) return;
    // In 64 bits: the least of 32 has no positive one.
    const int64_t count = std::min<int64_t>(std::abs(int64_t{notches}), 0xffff);
    Wheel(InputSource::kDisplay, notches > 0 ? positive : negative, static_cast<uint16_t>(count));
  };
  turn(event.wheelY, qx::plexion::kScrollWheelUp, qx::plexion::kScrollWheelDown);
  turn(event.wheelX, qx::plexion::kScrollWheelRight, qx::plexion::kScrollWheelLeft);
}

}  // namespace plexion_host
