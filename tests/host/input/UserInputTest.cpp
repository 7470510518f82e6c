// The input driver from the display's events to the service.

#include <SDL_keycode.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "host/input/UserInput.h"
#include "tests/host/input/InputStage.h"

namespace plexion_host {
namespace {

using Kind = DisplayEvent::Kind;
using Lines = std::vector<std::string>;

class UserInputTest : public ::testing::Test {
 protected:
  void Key(Kind kind, int32_t key, int modifiers = 0) {
    DisplayEvent event{kind};
    event.key = key;
    event.modifiers = static_cast<uint16_t>(modifiers);
    input_.OnDisplayEvent(event);
  }
  void Pointer(Kind kind, int32_t x, int32_t y, int button = 0) {
    DisplayEvent event{kind};
    event.x = x;
    event.y = y;
    event.button = button;
    input_.OnDisplayEvent(event);
  }
  /// What has been dispatched once a marker behind it has come through.
  Lines Dispatched() {
    input_.KeyDown(InputSource::kShell, 0xfff);
    Lines all;
    while (all.empty() || all.back() != "key down 4095") {
      stage_.WaitForLines(1);
      for (std::string& line : stage_.Taken()) all.push_back(std::move(line));
    }
    all.pop_back();
    return all;
  }

  InputStage stage_;
  UserInput input_{stage_, nullptr};
};

TEST_F(UserInputTest, AKeyComesUpAsWhatItWentDownAs) {
  Key(Kind::kKeyDown, SDLK_a, KMOD_LSHIFT);
  Key(Kind::kKeyDown, SDLK_a);  // the keyboard's repeat, Shift let go
  Key(Kind::kKeyUp, SDLK_a);
  Key(Kind::kKeyUp, SDLK_b);
  Key(Kind::kKeyDown, SDLK_c, KMOD_LCTRL);
  Key(Kind::kKeyUp, SDLK_c);
  EXPECT_EQ((Lines{"key down 65", "key down 65", "key up 65"}), Dispatched());
}

TEST_F(UserInputTest, LosingTheFocusOrTheDisplayReleasesWhatIsHeld) {
  for (const Kind kind : {Kind::kFocusLost, Kind::kCloseRequested}) {
    Key(Kind::kKeyDown, SDLK_LEFT);
    input_.OnDisplayEvent(DisplayEvent{kind});
    Key(Kind::kKeyUp, SDLK_LEFT);
    EXPECT_EQ((Lines{"key down 16777217", "key up 16777217"}), Dispatched());
  }
}

TEST_F(UserInputTest, ButtonsAndWheelsReachTheService) {
  stage_.OpenWindow({10, 10, 500, 500});
  Pointer(Kind::kPointerMove, 60, 70);
  Pointer(Kind::kPointerDown, 60, 70, 2);
  Pointer(Kind::kPointerUp, 60, 70, 2);
  for (const auto& [wheelX, wheelY] : {std::pair{0, 2}, {0, -1}, {3, 0}, {-1, 0}, {0, -70000}}) {
    DisplayEvent event{Kind::kWheel};
    event.wheelX = wheelX;
    event.wheelY = wheelY;
    input_.OnDisplayEvent(event);
  }
  EXPECT_EQ((Lines{"move 50 60", "down 1 50 60", "up 1 50 60", "scroll 0 2", "scroll 1 1",
                   "scroll 3 3", "scroll 2 1", "scroll 1 65535"}),
            Dispatched());
}

TEST_F(UserInputTest, TheDisplayNeverWaitsForASlowService) {
  stage_.OpenWindow({0, 0, 500, 500});
  Lines dispatched;
  {
    const std::lock_guard<std::mutex> slow(stage_.Gate());
    Key(Kind::kKeyDown, SDLK_a);
    for (int i = 0; i < 500; ++i) Pointer(Kind::kPointerMove, i, i);
  }
  dispatched = Dispatched();
  ASSERT_GE(dispatched.size(), 2u);
  EXPECT_EQ("key down 97", dispatched.front());
  EXPECT_EQ("move 499 499", dispatched.back());
  EXPECT_LE(dispatched.size(), 3u) << "moves behind each other become one";
}

TEST_F(UserInputTest, WhenTheQueueOverflowsNothingStaysDown) {
  {
    const std::lock_guard<std::mutex> stuck(stage_.Gate());
    for (size_t i = 0; i < InputQueue::kMaxWaiting + 50; ++i) {
      input_.KeyDown(InputSource::kPointerStream, 65);
    }
    input_.KeyUp(InputSource::kPointerStream, 65);  // lost
  }
  Lines all;
  while (all.empty() || all.back() != "key up 65") {
    stage_.WaitForLines(1);
    for (std::string& line : stage_.Taken()) all.push_back(std::move(line));
  }
  EXPECT_LE(all.size(), InputQueue::kMaxWaiting + 2);
}

TEST_F(UserInputTest, AKeyMapChangesTheKeyboardButNotOtherSources) {
  std::string error;
  EXPECT_FALSE(input_.LoadKeyMap("/nonexistent", error));
  EXPECT_EQ(0x01000010u, input_.MapKey(SDLK_F1, 0));
  EXPECT_EQ('q', input_.MapKey(SDLK_q, 0));
  const std::string keymap = ::testing::TempDir() + "keymap." + std::to_string(getpid());
  std::ofstream(keymap) << "q = left\n";
  EXPECT_TRUE(input_.LoadKeyMap(keymap, error)) << error;
  unlink(keymap.c_str());
  EXPECT_EQ(0x01000001u, input_.MapKey(SDLK_q, 0));
  EXPECT_EQ(0x01000010u, input_.MapKey(SDLK_F1, 0)) << "what the file does not name stays";
  EXPECT_EQ('q', input_.KeyByName("q"));
  EXPECT_EQ(0x01000031u, input_.KeyByName("F1"));
  input_.KeyDown(InputSource::kShell, input_.KeyByName("red"));
  EXPECT_EQ(Lines{"key down 16777232"}, Dispatched());
}

class CountingDisplay : public IHostDisplay {
 public:
  bool Open(const DisplayOptions&, std::string&) override { return false; }
  std::string Describe() override { return ""; }
  bool IsHeadless() override { return true; }
  void Run() override {}
  void RequestQuit() override {}
  void Close() override {}
  void BeginUpdate() override {}
  void EndUpdate() override {}
  void CopyScreen(qx::plexion::Dims&, std::vector<uint32_t>&) override {}
  bool SaveSnapshot(const std::string&, std::string&) override { return false; }
  void AddEventSink(IDisplayEventSink* sink) override { heard = sink; }
  void RemoveEventSink(IDisplayEventSink* sink) override {
    if (heard == sink) heard = nullptr;
  }
  void AddFrameObserver(IFrameObserver*) override {}
  void RemoveFrameObserver(IFrameObserver*) override {}
  uint64_t GetFrameCount() override { return 0; }
  IDisplayEventSink* heard = nullptr;
};

TEST_F(UserInputTest, HearsTheDisplayAsLongAsItLives) {
  CountingDisplay display;
  {
    UserInput input(stage_, &display);
    EXPECT_EQ(&input, display.heard);
  }
  EXPECT_EQ(nullptr, display.heard);
}

}  // namespace
}  // namespace plexion_host
