// The table of keys: names, codes, and the display's own.

#include "host/input/KeyTable.h"

#include <SDL_keycode.h>

#include <optional>
#include <string_view>

#include "host/base/Text.h"
#include "qx/plexion/KeyCodes.h"

namespace plexion_host {
namespace {

/// The code point when `text` is exactly one UTF-8 character, else 0.
uint32_t SingleCharacter(const std::string& text) {
  if (text.empty()) return 0;
  std::string_view rest = text;
  const auto codePoint = TakeCodePoint(rest);
  return rest.empty() ? codePoint.value_or(0) : 0;
}

/// 0 unless all of `text` is a number of 1 to 0xffffffff.
uint32_t Number(const std::string& text, bool hexadecimalOnly) {
  const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  // Ten digits are more than any code has, zeros in front included.
  if ((hexadecimalOnly && !hexadecimal) || text.size() > (hexadecimal ? 12 : 10)) return 0;
  if (!hexadecimal) return static_cast<uint32_t>(ReadWholeNumber(text, 1, UINT32_MAX).value_or(0));
  return static_cast<uint32_t>(
      ReadHexNumber(std::string_view(text).substr(2), UINT32_MAX).value_or(0));
}

}  // namespace

const std::vector<ServiceKey>& ServiceKeys() {
  static const std::vector<ServiceKey> keys = [] {
    std::vector<ServiceKey> all;
    for (const auto& key : qx::plexion::kNamedKeys) all.push_back({key.name, key.code});
    return all;
  }();
  return keys;
}

const std::vector<DefaultKey>& KeyboardKeys() {
  static const std::vector<DefaultKey> keys = {
      {"Left", SDLK_LEFT, "left"},
      {"Up", SDLK_UP, "up"},
      {"Right", SDLK_RIGHT, "right"},
      {"Down", SDLK_DOWN, "down"},
      {"Return", SDLK_RETURN, "ok"},
      {"Keypad Enter", SDLK_KP_ENTER, "ok"},
      {"Select", SDLK_SELECT, "ok"},
      {"Backspace", SDLK_BACKSPACE, "back"},
      {"Escape", SDLK_ESCAPE, "back"},
      {"AC Back", SDLK_AC_BACK, "back"},
      {"AudioPlay", SDLK_AUDIOPLAY, "play"},
      {"Pause", SDLK_PAUSE, "pause"},
      {"AudioStop", SDLK_AUDIOSTOP, "stop"},
      {"AudioRewind", SDLK_AUDIOREWIND, "rewind"},
      {"AudioFastForward", SDLK_AUDIOFASTFORWARD, "forward"},
      {"AudioPrev", SDLK_AUDIOPREV, "previous"},
      {"AudioNext", SDLK_AUDIONEXT, "next"},
      {"F1", SDLK_F1, "red"},
      {"F2", SDLK_F2, "green"},
      {"F3", SDLK_F3, "yellow"},
      {"F4", SDLK_F4, "blue"},
      {"F5", SDLK_F5, "f5"},
      {"F6", SDLK_F6, "f6"},
      {"F7", SDLK_F7, "f7"},
      {"F8", SDLK_F8, "f8"},
      {"F9", SDLK_F9, "f9"},
      {"F10", SDLK_F10, "f10"},
      {"F11", SDLK_F11, "f11"},
      {"F12", SDLK_F12, "shell"},
      {"Menu", SDLK_MENU, "menu"},
      {"Application", SDLK_APPLICATION, "menu"},
      {"Home", SDLK_HOME, "home"},
      {"AC Home", SDLK_AC_HOME, "home"},
      {"PageUp", SDLK_PAGEUP, "pageup"},
      {"PageDown", SDLK_PAGEDOWN, "pagedown"},
      {"End", SDLK_END, "end"},
      {"Insert", SDLK_INSERT, "insert"},
      {"Help", SDLK_HELP, "help"},
      {"VolumeUp", SDLK_VOLUMEUP, "volumeup"},
      {"VolumeDown", SDLK_VOLUMEDOWN, "volumedown"},
      {"Mute", SDLK_MUTE, "mute"},
      {"AudioMute", SDLK_AUDIOMUTE, "mute"},
      {"Power", SDLK_POWER, "power"},
      {"Tab", SDLK_TAB, "tab"},
      {"Space", SDLK_SPACE, "space"},
      {"Delete", SDLK_DELETE, "delete"},
      {"Keypad 0", SDLK_KP_0, "0"},
      {"Keypad 1", SDLK_KP_1, "1"},
      {"Keypad 2", SDLK_KP_2, "2"},
      {"Keypad 3", SDLK_KP_3, "3"},
      {"Keypad 4", SDLK_KP_4, "4"},
      {"Keypad 5", SDLK_KP_5, "5"},
      {"Keypad 6", SDLK_KP_6, "6"},
      {"Keypad 7", SDLK_KP_7, "7"},
      {"Keypad 8", SDLK_KP_8, "8"},
      {"Keypad 9", SDLK_KP_9, "9"},
      {"Keypad +", SDLK_KP_PLUS, "+"},
      {"Keypad -", SDLK_KP_MINUS, "-"},
      {"Keypad *", SDLK_KP_MULTIPLY, "*"},
      {"Keypad /", SDLK_KP_DIVIDE, "/"},
      {"Keypad .", SDLK_KP_PERIOD, "."},
      {"PrintScreen", SDLK_PRINTSCREEN, ""},
      {"ScrollLock", SDLK_SCROLLLOCK, ""},
      {"CapsLock", SDLK_CAPSLOCK, ""},
      {"Left Ctrl", SDLK_LCTRL, ""},
      {"Right Ctrl", SDLK_RCTRL, ""},
      {"Left Shift", SDLK_LSHIFT, ""},
      {"Right Shift", SDLK_RSHIFT, ""},
      {"Left Alt", SDLK_LALT, ""},
      {"Right Alt", SDLK_RALT, ""},
      {"Left Meta", SDLK_LGUI, ""},
      {"Right Meta", SDLK_RGUI, ""},
      {"Sleep", SDLK_SLEEP, ""},
      {"Eject", SDLK_EJECT, ""},
      {"Hash", SDLK_HASH, ""},  // in a key map the character itself starts a comment
  };
  return keys;
}

uint32_t ServiceKeyByName(const std::string& name) {
  if (const uint32_t character = SingleCharacter(name)) return character;
  const std::string lower = LowerAscii(name);
  for (const ServiceKey& key : ServiceKeys()) {
    if (lower == key.name) return key.code;
  }
  return Number(name, false);
}

int32_t KeyboardKeyByName(const std::string& name) {
  const std::string lower = LowerAscii(name);
  for (const DefaultKey& key : KeyboardKeys()) {
    if (lower == LowerAscii(key.name)) return key.sdlKey;
  }
  // A letter's key is reported by its small letter.
  const uint32_t character = SingleCharacter(name);
  if (character >= 'A' && character <= 'Z') return static_cast<int32_t>(character + ('a' - 'A'));
  if (character > ' ') return static_cast<int32_t>(character);
  return static_cast<int32_t>(Number(name, true));
}

}  // namespace plexion_host
