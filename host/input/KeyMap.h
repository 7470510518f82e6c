// Which keys of the display are which keys of the service.

#ifndef HOST_INPUT_KEYMAP_H_
#define HOST_INPUT_KEYMAP_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace plexion_host {

/// Which service key a key of the keyboard means: the table of KeyTable.h, as changed by key map
/// files. A key that makes a character and is not mapped means that character's Unicode number.
///
/// A key map is plain text, one mapping a line:
///   # colour keys for a keyboard without function keys
///   Ctrl+R        = red
///   Keypad Enter  = 0x0100000A
///   F12           = none
/// Left of '=' stands a keyboard key's name, a character or an SDL key number in hexadecimal, with
/// any of Ctrl+, Shift+, Alt+ and Meta+ before it; right of it a service key's name, a character, a
/// number, or "none". '#' at the start of a line or behind a blank starts a comment.
///
/// Thread   one at a time.
class KeyMap {
 public:
  KeyMap();

  /// 0 for a key that means nothing. `modifiers` are SDL_Keymod bits.
  uint32_t Map(int32_t sdlKey, uint16_t modifiers) const;

  /// Reads the file at `path` on top of what is there.
  /// Returns  false with the path, the line and the reason in `error`; nothing is changed then.
  bool Load(const std::string& path, std::string& error);
  /// The same with the text itself; `name` stands for the path in messages.
  bool Parse(const std::string& text, const std::string& name, std::string& error);

 private:
  /// SDL key and the modifiers that must be held with it.
  using Chord = std::pair<int32_t, unsigned>;

  static bool ParseChord(const std::string& text, Chord& chord, std::string& error);

  std::map<Chord, uint32_t> codes_;  ///< 0: means nothing
};

}  // namespace plexion_host

#endif  // HOST_INPUT_KEYMAP_H_
