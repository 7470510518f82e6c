// A viewer's keys and buttons as input.

#include <SDL_keycode.h>
#include <gmock/gmock.h>

#include "host/pointer/KeysymTable.h"
#include "host/pointer/RemoteInput.h"
#include "tests/host/pointer/PointerHost.h"

namespace plexion_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(KeysymTable, SpeaksTheDisplaysLanguage) {
  struct Case {
    uint32_t keysym;
    int32_t sdlKey;
    uint16_t modifiers;
  };
  const Case cases[] = {{0xFF51, SDLK_LEFT, 0},     {0xFF0D, SDLK_RETURN, 0},
                        {0xFF1B, SDLK_ESCAPE, 0},   {'a', SDLK_a, 0},
                        {'Z', SDLK_z, KMOD_LSHIFT}, {'7', SDLK_7, 0},
                        {' ', SDLK_SPACE, 0},       {0xFFBE, SDLK_F1, 0},
                        {0xFFC9, SDLK_F12, 0},      {0xFFB0, SDLK_KP_0, 0},
                        {0xFFB9, SDLK_KP_9, 0},     {0xFC, 0xFC, 0},
                        {0x010003B1, 0x3B1, 0},     {0x1008FF14, SDLK_AUDIOPLAY, 0},
                        {0x1008FFA3, 0, 0},         {0, 0, 0},
                        {0xFE20, SDLK_TAB, 0},      {0xFFFFFFFF, 0, 0}};
  for (const Case& each : cases) {
    const RemoteKey key = RemoteKeyOf(each.keysym);
    EXPECT_EQ(key.sdlKey, each.sdlKey) << std::hex << each.keysym;
    EXPECT_EQ(key.modifiers, each.modifiers) << std::hex << each.keysym;
  }
  EXPECT_STREQ(RemoteKeyOf(0x1008FFA3).name, "red");
}

TEST(RemoteInput, SendsEachChangeOnce) {
  JournalInput journal;
  RemoteInput remote(&journal);
  remote.Pointer(0, 3, 4);
  remote.Pointer(1, 3, 4);
  remote.Pointer(1, 5, 4);
  remote.Pointer(4, 5, 4);
  remote.Pointer(0, 5, 4);
  EXPECT_THAT(journal.GetEntries(),
              ElementsAre("move 3,4", "press 0 at 3,4", "move 5,4", "release 0 at 5,4",
                          "press 2 at 5,4", "release 2 at 5,4"));
}

TEST(RemoteInput, TurnsButtonsFourToSevenIntoTheWheel) {
  JournalInput journal;
  RemoteInput remote(&journal);
  for (const unsigned bit : {8u, 16u, 32u, 64u}) {
    remote.Pointer(bit, 0, 0);
    remote.Pointer(0, 0, 0);
  }
  EXPECT_THAT(journal.GetEntries(),
              ElementsAre("wheel 0 by 1", "wheel 1 by 1", "wheel 2 by 1", "wheel 3 by 1"));
}

TEST(RemoteInput, AKeyComesUpAsWhatItWentDownAs) {
  JournalInput journal;
  RemoteInput remote(&journal);
  remote.Key(true, 'A');
  remote.Key(true, 'A');
  remote.Key(false, 'A');
  remote.Key(false, 'A');
  remote.Key(true, 0x1008FFA3);
  remote.Key(true, 0xFFFFFFFF);
  EXPECT_THAT(journal.GetEntries(), ElementsAre("down 65", "down 65", "up 65", "down 1001"));
}

TEST(RemoteInput, LetsGoOfWhatItHolds) {
  JournalInput journal;
  {
    RemoteInput remote(&journal);
    remote.Key(true, 'a');
    remote.Pointer(3, 7, 8);
  }
  EXPECT_THAT(journal.GetEntries(),
              ElementsAre("down 97", "move 7,8", "press 0 at 7,8", "press 1 at 7,8", "up 97",
                          "release 0 at 7,8", "release 1 at 7,8"));
}

TEST(RemoteInput, RemembersNoMoreKeysThanAPersonHolds) {
  JournalInput journal;
  RemoteInput remote(&journal);
  for (uint32_t i = 0; i < 1000; ++i) remote.Key(true, 0x01000100 + i);
  EXPECT_EQ(journal.GetEntries().size(), 32u);
}

TEST(RemoteInput, DoesWithoutAnInputDriver) {
  RemoteInput remote(nullptr);
  remote.Key(true, 'a');
  remote.Pointer(1, 2, 3);
}

}  // namespace
}  // namespace plexion_host
