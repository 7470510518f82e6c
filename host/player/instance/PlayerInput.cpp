// Input of a player instance: each call becomes one event in the order of arrival. Any thread.
#include "host/player/instance/PlayerInstance.h"

namespace plexion_host::player {

namespace {

InputEvent CodeEvent(InputEvent::Kind kind, unsigned long code) {
  InputEvent event;
  event.kind = kind;
  event.code = code;
  return event;
}

InputEvent PointerEvent(InputEvent::Kind kind, uint16_t x, uint16_t y) {
  InputEvent event;
  event.kind = kind;
  event.x = x;
  event.y = y;
  return event;
}

}  // namespace

void PlayerInstance::KeyDown(unsigned long key) { PostInput(CodeEvent(InputEvent::kKeyDown, key)); }

void PlayerInstance::KeyUp(unsigned long key) { PostInput(CodeEvent(InputEvent::kKeyUp, key)); }

void PlayerInstance::SendEvent(unsigned long eventCode) {
  PostInput(CodeEvent(InputEvent::kEventCode, eventCode));
}

void PlayerInstance::Activate() { PostInput(CodeEvent(InputEvent::kActivated, 0)); }

void PlayerInstance::Deactivate() { PostInput(CodeEvent(InputEvent::kDeactivated, 0)); }

void PlayerInstance::MouseButtonDown(qx::plexion::MouseButton button, unsigned short x,
                                     unsigned short y) {
  InputEvent event = PointerEvent(InputEvent::kMouseButtonDown, x, y);
  event.button = button;
  PostInput(event);
}

void PlayerInstance::MouseButtonUp(qx::plexion::MouseButton button, unsigned short x,
                                   unsigned short y) {
  InputEvent event = PointerEvent(InputEvent::kMouseButtonUp, x, y);
  event.button = button;
  PostInput(event);
}

void PlayerInstance::MouseMove(unsigned short x, unsigned short y) {
  PostInput(PointerEvent(InputEvent::kMouseMove, x, y));
}

void PlayerInstance::ScrollWheelScroll(qx::plexion::ScrollWheelDirection direction,
                                       unsigned short delta) {
  InputEvent event;
  event.kind = InputEvent::kScroll;
  event.direction = direction;
  event.delta = delta;
  PostInput(event);
}

void PlayerInstance::SetStageRect(const qx::plexion::Rect& rect) {
  InputEvent event;
  event.kind = InputEvent::kStageRect;
  event.stageRect = rect;
  PostInput(event);
}

}  // namespace plexion_host::player
