// Reads key maps, and looks keys up in them.

#include "host/input/KeyMap.h"

#include <SDL_keycode.h>

#include <sstream>

#include "host/base/ReadFile.h"
#include "host/base/Text.h"
#include "host/input/KeyTable.h"

namespace plexion_host {
namespace {

enum : unsigned { kCtrl = 1, kShift = 2, kAlt = 4, kMeta = 8 };

constexpr size_t kMaxFileBytes = size_t{1} << 20;

unsigned HeldModifiers(uint16_t modifiers) {
  return ((modifiers & KMOD_CTRL) != 0 ? kCtrl : 0u) |
         ((modifiers & KMOD_SHIFT) != 0 ? kShift : 0u) | ((modifiers & KMOD_ALT) != 0 ? kAlt : 0u) |
         ((modifiers & KMOD_GUI) != 0 ? kMeta : 0u);
}

// A modifier key is itself held when it goes down; that does not make it a chord.
unsigned OwnModifier(int32_t sdlKey) {
  switch (sdlKey) {
    case SDLK_LCTRL:
    case SDLK_RCTRL:
      return kCtrl;
    case SDLK_LSHIFT:
    case SDLK_RSHIFT:
      return kShift;
    case SDLK_LALT:
    case SDLK_RALT:
      return kAlt;
    case SDLK_LGUI:
    case SDLK_RGUI:
      return kMeta;
    default:
      return 0;
  }
}

// The key's own character; capital with Shift or Caps Lock, for the letters that Latin-1 has in
// both forms. What Shift makes of other keys depends on a layout that is not known here.
uint32_t CharacterOf(int32_t sdlKey, uint16_t modifiers) {
  if (sdlKey < ' ' || sdlKey == SDLK_DELETE || (sdlKey & SDLK_SCANCODE_MASK) != 0) return 0;
  const auto character = static_cast<uint32_t>(sdlKey);
  const bool capital = ((modifiers & KMOD_SHIFT) != 0) != ((modifiers & KMOD_CAPS) != 0);
  const bool letter = (character >= 'a' && character <= 'z') ||
                      (character >= 0xe0 && character <= 0xfe && character != 0xf7);
  return capital && letter ? character - 0x20 : character;
}

std::string WithoutComment(const std::string& line) {
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '#' && (i == 0 || line[i - 1] == ' ' || line[i - 1] == '\t')) {
      return line.substr(0, i);
    }
  }
  return line;
}

unsigned ModifierByName(const std::string& name) {
  const std::pair<const char*, unsigned> names[] = {
      {"ctrl", kCtrl}, {"shift", kShift}, {"alt", kAlt}, {"meta", kMeta}};
  const std::string lower = LowerAscii(name);
  for (const auto& [known, bit] : names) {
    if (lower == known) return bit;
  }
  return 0;
}

}  // namespace

KeyMap::KeyMap() {
  for (const DefaultKey& key : KeyboardKeys()) {
    if (*key.service != '\0') codes_[{key.sdlKey, 0}] = ServiceKeyByName(key.service);
  }
}

uint32_t KeyMap::Map(int32_t sdlKey, uint16_t modifiers) const {
  // First with what is held, exactly: a map may give Ctrl+F1 another meaning than F1.
  const unsigned held = HeldModifiers(modifiers) & ~OwnModifier(sdlKey);
  auto mapped = codes_.find({sdlKey, held});
  if (mapped != codes_.end()) return mapped->second;
  // Together with these a key is a command to somebody else, unless the map says otherwise.
  if ((held & (kCtrl | kAlt | kMeta)) != 0) return 0;
  mapped = codes_.find({sdlKey, 0});
  return mapped != codes_.end() ? mapped->second : CharacterOf(sdlKey, modifiers);
}

bool KeyMap::Load(const std::string& path, std::string& error) {
  std::string text;
  std::string reason;
  if (ReadFile(path, kMaxFileBytes, text, reason)) return Parse(text, path, error);
  error = path + ": " + reason + "; expected a file with lines of text 'KEY = CODE'";
  return false;
}

bool KeyMap::Parse(const std::string& text, const std::string& name, std::string& error) {
  // A copy: a file with a mistake changes nothing.
  std::map<Chord, uint32_t> codes = codes_;
  std::map<Chord, int> lines;  // where this file maps what
  std::istringstream stream(text);
  std::string line;
  for (int number = 1; std::getline(stream, line); ++number) {
    const auto fail = [&](const std::string& reason) {
      error = name + ":" + std::to_string(number) + ": " + reason;
      return false;
    };
    const std::string mapping(Trim(WithoutComment(line)));
    if (mapping.empty()) continue;
    // The last '=' that has something on both sides, so that "= = 0x3D" maps the key '='.
    const size_t equals = mapping.rfind('=', mapping.size() - 2);
    if (mapping.size() < 3 || equals == std::string::npos || equals == 0) {
      return fail("'" + mapping + "' is no mapping; expected KEY = CODE");
    }
    Chord chord{0, 0};
    std::string reason;
    if (!ParseChord(std::string(Trim(mapping.substr(0, equals))), chord, reason))
      return fail(reason);
    const std::string value(Trim(mapping.substr(equals + 1)));
    const uint32_t code = value == "none" ? 0 : ServiceKeyByName(value);
    if (code == 0 && value != "none") {
      return fail("unknown code '" + value +
                  "'; expected a name such as ok or red, a character, a number such as "
                  "0x0100000A, or none");
    }
    const auto [there, isNew] = lines.emplace(chord, number);
    if (!isNew) {
      return fail("the key is mapped already in line " + std::to_string(there->second) +
                  "; expected one mapping of a key");
    }
    codes[chord] = code;
  }
  codes_ = std::move(codes);
  return true;
}

bool KeyMap::ParseChord(const std::string& text, Chord& chord, std::string& error) {
  std::string rest = text;
  // A '+' at the end is a key of its own: "Ctrl++".
  for (size_t plus;
       (plus = rest.find('+')) != std::string::npos && plus > 0 && plus + 1 < rest.size();) {
    const std::string name(Trim(rest.substr(0, plus)));
    const unsigned modifier = ModifierByName(name);
    if (modifier == 0) {
      if (KeyboardKeyByName(rest) != 0) break;
      error = "unknown modifier '" + name + "'; expected Ctrl, Shift, Alt or Meta";
      return false;
    }
    chord.second |= modifier;
    rest = std::string(Trim(rest.substr(plus + 1)));
  }
  chord.first = KeyboardKeyByName(rest);
  if (chord.first != 0) return true;
  error = "unknown key '" + rest +
          "'; expected a name such as Left, F1 or Keypad Enter, a character, or an SDL key "
          "number such as 0x4000003A";
  return false;
}

}  // namespace plexion_host
