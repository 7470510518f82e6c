// Levels of all, of zones and of windows, and what reaches the player.

#include <gtest/gtest.h>

#include "host/launcher/control/SoundControl.h"

namespace plexion_host {
namespace {

using qx::plexion::StageWindow;

class FakePlayer final : public IHostPlayer {
 public:
  void Prepare(const qx::plexion::StageWindowParameters&) override {}
  std::string Protection() override { return {}; }
  void SetVolume(const StageWindow* window, double factor) override { volumes[window] = factor; }
  void Forget(const StageWindow* window) override { volumes.erase(window); }
  bool Seek(const StageWindow* window, double seconds, bool,
            std::function<void(const std::string&)> done) override {
    if (volumes.count(window) == 0) return false;
    done(seconds > 9 ? "too far" : "");
    return true;
  }
  std::map<const StageWindow*, double> volumes;
};

class SoundControlTest : public testing::Test {
 protected:
  SoundControlTest() {
    sound_.SetPlayer([this](std::string&) {
      ++asked_;
      return &player_;
    });
  }
  void Add(unsigned number, const char* zone) {
    HostWindow window;
    window.number = number;
    window.zone = zone;
    window.window = Window(number);
    sound_.OnWindow(window);
  }
  /// Known by its address alone.
  static StageWindow* Window(unsigned number) {
    return reinterpret_cast<StageWindow*>(uintptr_t{number} * 16);
  }
  bool Set(const SoundControl::Target& target, double volume) {
    SoundControl::Change change;
    change.volume = volume;
    std::string error;
    return sound_.Set(target, change, error);
  }
  double Heard(unsigned number) { return player_.volumes[Window(number)]; }

  FakePlayer player_;
  SoundControl sound_;
  int asked_ = 0;
};

TEST_F(SoundControlTest, LevelsOfAllZonesAndWindowsCountTogether) {
  Add(1, "main");
  EXPECT_EQ(0, asked_) << "a run with the usual volume loads nothing for it";
  EXPECT_TRUE(Set({}, 0.5));
  EXPECT_TRUE(Set({"main", 0}, 0.5));
  Add(2, "main");
  Add(3, "side");
  EXPECT_TRUE(Set({"", 2}, 0.1));
  EXPECT_DOUBLE_EQ(0.25, Heard(1));
  EXPECT_DOUBLE_EQ(0.025, Heard(2));
  EXPECT_DOUBLE_EQ(0.5, Heard(3));
  SoundControl::Change mute;
  mute.muted = true;
  std::string error;
  EXPECT_TRUE(sound_.Set({"main", 0}, mute, error));
  EXPECT_EQ(0, Heard(1));
  EXPECT_DOUBLE_EQ(0.5, Heard(3));
  EXPECT_DOUBLE_EQ(0.5, sound_.Get({"main", 0}).volume) << "kept for when the mute is taken back";
  EXPECT_TRUE(Set({"main", 0}, 1));
  EXPECT_DOUBLE_EQ(0.5, Heard(1)) << "a new volume takes it back";
  sound_.OnWindowGone(Window(2));
  EXPECT_EQ(0u, player_.volumes.count(Window(2)));
  Add(2, "side");
  EXPECT_DOUBLE_EQ(0.5, Heard(2)) << "a window's level went with it";
}

TEST_F(SoundControlTest, TheVolumeKeysWork) {
  Add(1, "");
  EXPECT_FALSE(sound_.OnKey(0x01000005));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(sound_.OnKey(0x0100001C));
  EXPECT_DOUBLE_EQ(0.85, Heard(1));
  EXPECT_TRUE(sound_.OnKey(0x0100001D));
  EXPECT_EQ(0, Heard(1));
  EXPECT_TRUE(sound_.OnKey(0x0100001D));
  EXPECT_DOUBLE_EQ(0.85, Heard(1));
  for (int i = 0; i < 9; ++i) EXPECT_TRUE(sound_.OnKey(0x0100001B));
  EXPECT_DOUBLE_EQ(1, Heard(1)) << "not louder than it is";
  for (int i = 0; i < 25; ++i) EXPECT_TRUE(sound_.OnKey(0x0100001C));
  EXPECT_EQ(0, Heard(1));
}

TEST_F(SoundControlTest, WithoutAPlayerItSaysSo) {
  sound_.SetPlayer([](std::string& error) -> IHostPlayer* {
    error = "this player offers no volume";
    return nullptr;
  });
  SoundControl::Change change;
  change.by = 0.1;
  std::string error;
  EXPECT_FALSE(sound_.Set({}, change, error));
  EXPECT_EQ("this player offers no volume", error);
  EXPECT_TRUE(sound_.OnKey(0x0100001B)) << "and the key harms nobody";
  sound_.Close();
  EXPECT_FALSE(sound_.Seek(Window(1), 1, false, nullptr, error));
}

}  // namespace
}  // namespace plexion_host
