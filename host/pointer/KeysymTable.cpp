// The symbols of RFB keys in the words of the display.

#include "host/pointer/KeysymTable.h"

#include <SDL_keycode.h>
#include <rfb/keysym.h>

namespace plexion_host {
namespace {

struct Row {
  uint32_t keysym;
  int32_t sdlKey;
  const char* name;
};

// Symbols of multimedia keys, which the protocol's own header leaves out.
constexpr uint32_t kAudioPlay = 0x1008FF14;
constexpr uint32_t kAudioStop = 0x1008FF15;
constexpr uint32_t kAudioPrevious = 0x1008FF16;
constexpr uint32_t kAudioNext = 0x1008FF17;
constexpr uint32_t kBrowserBack = 0x1008FF26;
constexpr uint32_t kAudioPause = 0x1008FF31;
constexpr uint32_t kAudioRewind = 0x1008FF3E;
constexpr uint32_t kAudioForward = 0x1008FF97;
constexpr uint32_t kRed = 0x1008FFA3;
constexpr uint32_t kGreen = 0x1008FFA4;
constexpr uint32_t kYellow = 0x1008FFA5;
constexpr uint32_t kBlue = 0x1008FFA6;

constexpr Row kRows[] = {
    {XK_BackSpace, SDLK_BACKSPACE, nullptr},
    {XK_Tab, SDLK_TAB, nullptr},
    {XK_ISO_Left_Tab, SDLK_TAB, nullptr},
    {XK_Return, SDLK_RETURN, nullptr},
    {XK_Escape, SDLK_ESCAPE, nullptr},
    {XK_Delete, SDLK_DELETE, nullptr},
    {XK_Insert, SDLK_INSERT, nullptr},
    {XK_Home, SDLK_HOME, nullptr},
    {XK_End, SDLK_END, nullptr},
    {XK_Left, SDLK_LEFT, nullptr},
    {XK_Up, SDLK_UP, nullptr},
    {XK_Right, SDLK_RIGHT, nullptr},
    {XK_Down, SDLK_DOWN, nullptr},
    {XK_Page_Up, SDLK_PAGEUP, nullptr},
    {XK_Page_Down, SDLK_PAGEDOWN, nullptr},
    {XK_Menu, SDLK_APPLICATION, nullptr},
    {XK_Pause, SDLK_PAUSE, nullptr},
    {XK_Print, SDLK_PRINTSCREEN, nullptr},
    {XK_Shift_L, SDLK_LSHIFT, nullptr},
    {XK_Shift_R, SDLK_RSHIFT, nullptr},
    {XK_Control_L, SDLK_LCTRL, nullptr},
    {XK_Control_R, SDLK_RCTRL, nullptr},
    {XK_Alt_L, SDLK_LALT, nullptr},
    {XK_Alt_R, SDLK_RALT, nullptr},
    {XK_Super_L, SDLK_LGUI, nullptr},
    {XK_Super_R, SDLK_RGUI, nullptr},
    {XK_KP_Enter, SDLK_KP_ENTER, nullptr},
    {XK_KP_Add, SDLK_KP_PLUS, nullptr},
    {XK_KP_Subtract, SDLK_KP_MINUS, nullptr},
    {XK_KP_Multiply, SDLK_KP_MULTIPLY, nullptr},
    {XK_KP_Divide, SDLK_KP_DIVIDE, nullptr},
    {XK_KP_Decimal, SDLK_KP_PERIOD, nullptr},
    {XK_KP_Home, SDLK_HOME, nullptr},
    {XK_KP_End, SDLK_END, nullptr},
    {XK_KP_Left, SDLK_LEFT, nullptr},
    {XK_KP_Up, SDLK_UP, nullptr},
    {XK_KP_Right, SDLK_RIGHT, nullptr},
    {XK_KP_Down, SDLK_DOWN, nullptr},
    {XK_KP_Page_Up, SDLK_PAGEUP, nullptr},
    {XK_KP_Page_Down, SDLK_PAGEDOWN, nullptr},
    {XK_KP_0, SDLK_KP_0, nullptr},
    {kAudioPlay, SDLK_AUDIOPLAY, nullptr},
    {kAudioStop, SDLK_AUDIOSTOP, nullptr},
    {kAudioPrevious, SDLK_AUDIOPREV, nullptr},
    {kAudioNext, SDLK_AUDIONEXT, nullptr},
    {kAudioRewind, SDLK_AUDIOREWIND, nullptr},
    {kAudioForward, SDLK_AUDIOFASTFORWARD, nullptr},
    {kBrowserBack, SDLK_AC_BACK, nullptr},
    {kAudioPause, 0, "pause"},
    {kRed, 0, "red"},
    {kGreen, 0, "green"},
    {kYellow, 0, "yellow"},
    {kBlue, 0, "blue"},
};

// Symbols from here on are Unicode code points.
constexpr uint32_t kUnicode = 0x01000000;

bool IsLatin1(uint32_t keysym) {
  return (keysym >= 0x20 && keysym <= 0x7E) || (keysym >= 0xA0 && keysym <= 0xFF);
}

}  // namespace

RemoteKey RemoteKeyOf(uint32_t keysym) {
  for (const Row& row : kRows) {
    if (row.keysym == keysym) return {row.sdlKey, 0, row.name};
  }
  // Two runs of keys that count alike on both sides.
  if (keysym >= XK_F1 && keysym <= XK_F12) {
    return {static_cast<int32_t>(SDLK_F1 + static_cast<int32_t>(keysym - XK_F1)), 0, nullptr};
  }
  if (keysym >= XK_KP_1 && keysym <= XK_KP_9) {
    return {static_cast<int32_t>(SDLK_KP_1 + static_cast<int32_t>(keysym - XK_KP_1)), 0, nullptr};
  }
  if (keysym >= 'A' && keysym <= 'Z') {
    return {static_cast<int32_t>(keysym - 'A' + 'a'), KMOD_LSHIFT, nullptr};
  }
  if (IsLatin1(keysym)) return {static_cast<int32_t>(keysym), 0, nullptr};
  if (keysym > kUnicode && keysym <= kUnicode + 0x10FFFF) {
    return {static_cast<int32_t>(keysym - kUnicode), 0, nullptr};
  }
  return {};
}

uint16_t ModifierOf(uint32_t keysym) {
  switch (keysym) {
    case XK_Shift_L:
      return KMOD_LSHIFT;
    case XK_Shift_R:
      return KMOD_RSHIFT;
    case XK_Control_L:
      return KMOD_LCTRL;
    case XK_Control_R:
      return KMOD_RCTRL;
    case XK_Alt_L:
      return KMOD_LALT;
    case XK_Alt_R:
      return KMOD_RALT;
    case XK_Super_L:
      return KMOD_LGUI;
    case XK_Super_R:
      return KMOD_RGUI;
    default:
      return 0;
  }
}

uint32_t ServiceKeyOf(IHostInput& input, uint32_t keysym, uint16_t heldModifiers) {
  const RemoteKey key = RemoteKeyOf(keysym);
  if (key.name != nullptr) return input.KeyByName(key.name);
  if (key.sdlKey == 0) return 0;
  return input.MapKey(key.sdlKey, static_cast<uint16_t>(heldModifiers | key.modifiers));
}

}  // namespace plexion_host
