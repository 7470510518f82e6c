// Key maps, right and wrong ones.

#include <SDL_keycode.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "host/input/KeyMap.h"
#include "host/input/KeyTable.h"

namespace plexion_host {
namespace {

TEST(KeyMapTest, MeansWhatTheTableSaysWithoutAMap) {
  struct Case {
    int32_t key;
    int modifiers;
    uint32_t code;
  };
  const Case cases[] = {
      {SDLK_LEFT, 0, 0x01000001},
      {SDLK_LEFT, KMOD_LSHIFT, 0x01000001},
      {SDLK_RETURN, 0, 0x01000005},
      {SDLK_AUDIOREWIND, 0, 0x0100000A},
      {SDLK_AUDIOFASTFORWARD, KMOD_NUM, 0x0100000B},
      {SDLK_F1, 0, 0x01000010},
      {SDLK_F12, 0, 0x0100001E},
      {SDLK_a, 0, 'a'},
      {SDLK_a, KMOD_RSHIFT, 'A'},
      {SDLK_a, KMOD_CAPS, 'A'},
      {SDLK_a, KMOD_CAPS | KMOD_LSHIFT, 'a'},
      {SDLK_5, 0, '5'},
      {SDLK_5, KMOD_CAPS | KMOD_LSHIFT, '5'},
      {0xe9, 0, 0xe9},
      {0xe9, KMOD_LSHIFT, 0xc9},
      {0xf7, KMOD_LSHIFT, 0xf7},
      {0x20ac, KMOD_LSHIFT, 0x20ac},
      {SDLK_KP_7, KMOD_NUM, '7'},
      {SDLK_a, KMOD_LCTRL, 0},
      {SDLK_LEFT, KMOD_RALT, 0},
      {SDLK_a, KMOD_LGUI, 0},
      {SDLK_LSHIFT, KMOD_LSHIFT, 0},
      {SDLK_F24, 0, 0},
      {SDLK_UNKNOWN, 0, 0},
      {7, 0, 0},
  };
  const KeyMap map;
  for (const Case& c : cases) {
    EXPECT_EQ(c.code, map.Map(c.key, static_cast<uint16_t>(c.modifiers)))
        << "key " << c.key << ", modifiers " << c.modifiers;
  }
}

TEST(KeyMapTest, ReadsEveryFormOfAMapping) {
  KeyMap map;
  std::string error;
  ASSERT_TRUE(
      map.Parse("# remote control\r\n"
                "\n"
                "  F5 = play   # green button\n"
                "F6=0x01000008\n"
                "keypad enter = OK\n"
                "Ctrl+R = red\n"
                "ctrl + shift+r = green\n"
                "Left Ctrl = home\n"
                "= = 0x3D3D\n"
                "Ctrl++ = 43\n"
                "Keypad + = blue\n"
                "é = E\n"
                "Hash = info\n"
                "q = =\n"
                "0x40000068 = 65\n"
                "a = yellow\n"
                "F12 = none",
                "map", error))
      << error;
  const auto meaning = [&map](int32_t key, int modifiers = 0) {
    return map.Map(key, static_cast<uint16_t>(modifiers));
  };
  EXPECT_EQ(0x01000007u, meaning(SDLK_F5));
  EXPECT_EQ(0x01000008u, meaning(SDLK_F6));
  EXPECT_EQ(0x01000005u, meaning(SDLK_KP_ENTER));
  EXPECT_EQ(0x01000010u, meaning(SDLK_r, KMOD_RCTRL | KMOD_NUM));
  EXPECT_EQ(0x01000011u, meaning(SDLK_r, KMOD_RCTRL | KMOD_LSHIFT));
  EXPECT_EQ(uint32_t{'r'}, meaning(SDLK_r));
  EXPECT_EQ(0x01000015u, meaning(SDLK_LCTRL, KMOD_LCTRL));
  EXPECT_EQ(0x3d3du, meaning(SDLK_EQUALS));
  EXPECT_EQ(43u, meaning(SDLK_PLUS, KMOD_LCTRL));
  EXPECT_EQ(0x01000013u, meaning(SDLK_KP_PLUS));
  EXPECT_EQ(uint32_t{'E'}, meaning(0xe9));
  EXPECT_EQ(0x01000017u, meaning(SDLK_HASH));
  EXPECT_EQ(uint32_t{'='}, meaning(SDLK_q));
  EXPECT_EQ(65u, meaning(SDLK_F13));
  EXPECT_EQ(0x01000012u, meaning(SDLK_a, KMOD_LSHIFT));
  EXPECT_EQ(0u, meaning(SDLK_F12));
  EXPECT_EQ(0x01000001u, meaning(SDLK_LEFT)) << "what a map does not name stays";
}

TEST(KeyMapTest, SaysWhereAMapIsWrongAndChangesNothing) {
  const std::pair<const char*, const char*> cases[] = {
      {"F5 play", "map:2: 'F5 play' is no mapping; expected KEY = CODE"},
      {"F5 =", "map:2: 'F5 =' is no mapping; expected KEY = CODE"},
      {"= 65", "map:2: '= 65' is no mapping; expected KEY = CODE"},
      {"=", "map:2: '=' is no mapping; expected KEY = CODE"},
      {"Foo = ok",
       "map:2: unknown key 'Foo'; expected a name such as Left, F1 or Keypad Enter, a character, "
       "or an SDL key number such as 0x4000003A"},
      {"123 = ok",
       "map:2: unknown key '123'; expected a name such as Left, F1 or Keypad Enter, a character, "
       "or an SDL key number such as 0x4000003A"},
      {"Hyper+F5 = ok", "map:2: unknown modifier 'Hyper'; expected Ctrl, Shift, Alt or Meta"},
      {"F5 = blau",
       "map:2: unknown code 'blau'; expected a name such as ok or red, a character, a number such "
       "as 0x0100000A, or none"},
      {"F5 = 0x100000000",
       "map:2: unknown code '0x100000000'; expected a name such as ok or red, a character, a "
       "number such as 0x0100000A, or none"},
      {"F5 = 00",
       "map:2: unknown code '00'; expected a name such as ok or red, a character, a number such as "
       "0x0100000A, or none"},
      {"f6 = ok", "map:2: the key is mapped already in line 1; expected one mapping of a key"},
  };
  for (const auto& [line, expected] : cases) {
    KeyMap map;
    std::string error;
    EXPECT_FALSE(map.Parse("F6 = play\n" + std::string(line) + "\nF7 = stop\n", "map", error));
    EXPECT_EQ(expected, error);
    EXPECT_EQ(0x01000036u, map.Map(SDLK_F6, 0)) << "after " << line;
  }
}

TEST(KeyMapTest, NamesTheFileThatCannotBeRead) {
  KeyMap map;
  std::string error;
  EXPECT_FALSE(map.Load("/nonexistent/keys.map", error));
  const std::string expected = "; expected a file with lines of text 'KEY = CODE'";
  EXPECT_EQ("/nonexistent/keys.map: No such file or directory" + expected, error);
  EXPECT_FALSE(map.Load("/tmp", error));
  EXPECT_EQ("/tmp: is a folder" + expected, error);
  // Neither a device nor a pipe that nobody writes into keeps the launcher.
  const std::string pipe = ::testing::TempDir() + "keys." + std::to_string(getpid());
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  for (const std::string& name : {pipe, std::string("/dev/zero")}) {
    EXPECT_FALSE(map.Load(name, error));
    EXPECT_EQ(name + ": is no regular file" + expected, error);
  }
  unlink(pipe.c_str());
  // Longer than any key map.
  const std::string file = pipe + ".long";
  std::ofstream(file) << std::string((size_t{1} << 20) + 1, '#');
  EXPECT_FALSE(map.Load(file, error));
  EXPECT_EQ(file + ": is larger than 1048576 bytes" + expected, error);
  unlink(file.c_str());
}

TEST(KeyTableTest, FindsACodeByNameCharacterOrNumber) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"left", 0x01000001},
      {"LEFT", 0x01000001},
      {"F1", 0x01000031},
      {"a", 'a'},
      {"A", 'A'},
      {"5", '5'},
      {"65", 65},
      {"0x0100000A", 0x0100000A},
      {"0XfF", 255},
      {"\xc3\xa9", 0xe9},
      {"\xe2\x82\xac", 0x20ac},
      {"", 0},
      {"lefty", 0},
      {"0x", 0},
      {"-1", 0},
      {"4294967296", 0},
      {"0x1ffffffff", 0},
      {"12a", 0},
      {"\xc3", 0},
      {"\xff", 0},
      {"00000000065", 0},
  };
  for (const auto& [name, code] : cases) EXPECT_EQ(code, ServiceKeyByName(name)) << name;
}

TEST(KeyTableTest, HasNoNameOrCodeTwice) {
  std::set<std::string> names;
  std::set<uint32_t> codes;
  for (const ServiceKey& key : ServiceKeys()) {
    EXPECT_TRUE(names.insert(key.name).second) << key.name;
    EXPECT_TRUE(codes.insert(key.code).second) << key.name;
  }
  std::set<int32_t> keys;
  for (const DefaultKey& key : KeyboardKeys()) {
    EXPECT_TRUE(keys.insert(key.sdlKey).second) << key.name;
    EXPECT_EQ(key.sdlKey, KeyboardKeyByName(key.name));
    EXPECT_TRUE(*key.service == '\0' || ServiceKeyByName(key.service) != 0) << key.name;
  }
}

TEST(KeyTableTest, IsTheOneThatTheDocumentShows) {
  std::ifstream file(PLEXION_KEYS_DOCUMENT);
  ASSERT_TRUE(file) << PLEXION_KEYS_DOCUMENT;
  std::stringstream text;
  text << file.rdbuf();
  std::vector<std::string> shown;
  for (std::string line; std::getline(text, line);) {
    if (line.rfind("| ", 0) == 0 && line.find(" | 0x") != std::string::npos) shown.push_back(line);
  }
  std::vector<std::string> expected;
  for (const ServiceKey& key : ServiceKeys()) {
    std::ostringstream row;
    row << "| " << key.name << " | 0x" << std::hex << std::uppercase;
    row.width(8);
    row.fill('0');
    row << key.code << " | ";
    const char* gap = "";
    for (const DefaultKey& keyboard : KeyboardKeys()) {
      if (std::string(keyboard.service) != key.name) continue;
      row << gap << '`' << keyboard.name << '`';
      gap = ", ";
    }
    row << " |";
    expected.push_back(row.str());
  }
  EXPECT_EQ(expected, shown);
  for (const DefaultKey& key : KeyboardKeys()) {
    EXPECT_NE(std::string::npos, text.str().find('`' + std::string(key.name) + '`')) << key.name;
  }
}

}  // namespace
}  // namespace plexion_host
