// The display in a window. SDL's "dummy" video system gives windows and events without a display.

#include <SDL.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "host/graphics/Display.h"
#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/window/SdlWindow.h"

namespace plexion_host {
namespace {

using qx::platform::OutputPlane;
using Kind = DisplayEvent::Kind;

class WindowTest : public ::testing::Test, public IDisplayEventSink, public IFrameObserver {
 protected:
  void SetUp() override {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    display_.AddEventSink(this);
    display_.AddFrameObserver(this);
  }
  void TearDown() override {
    if (plane_ != nullptr) driver_.DestroyOutputPlane(plane_);
    display_.Close();
    unsetenv("SDL_VIDEODRIVER");
  }

  void OnDisplayEvent(const DisplayEvent& event) override {
    events_.push_back(event);
    if (event.kind == Kind::kCloseRequested) display_.RequestQuit();
  }
  void OnFramePresented(const PresentedFrame&) override {
    if (quitAtFrame_) display_.RequestQuit();
  }

  void Open(uint32_t width, uint32_t height, bool clear = true, uint32_t rotation = 0,
            DisplayMode mode = DisplayMode::kWindow, bool follows = false) {
    DisplayOptions options;
    options.followsDisplay = follows;
    options.rotation = rotation;
    options.clear = clear;
    options.mode = mode;
    options.width = width;
    options.height = height;
    std::string error;
    ASSERT_TRUE(display_.Open(options, error)) << error;
    ASSERT_FALSE(display_.IsHeadless());
    // The window is the only one, so its number is the last one given.
    for (Uint32 id = 1; id < 1000 && window_ == nullptr; ++id) window_ = SDL_GetWindowFromID(id);
    ASSERT_NE(nullptr, window_);
  }
  void Draw(uint32_t pixel) {
    const qx::plexion::Dims dims = driver_.GetScreenDims();
    plane_ =
        driver_.CreateOutputPlane({0, 0, dims.width, dims.height}, false, nullptr, nullptr, "");
    auto* const pixels = static_cast<uint32_t*>(plane_->LockPixels(false));
    std::fill_n(pixels, size_t{dims.width} * dims.height, pixel);
    plane_->UnlockPixels();
    plane_->ShowRegion({0, 0, dims.width, dims.height});
  }
  uint32_t WindowPixel(int x, int y) {
    SDL_Surface* const surface = SDL_GetWindowSurface(window_);
    const auto* const row = static_cast<const uint8_t*>(surface->pixels) + y * surface->pitch;
    Uint32 pixel = 0;
    std::memcpy(&pixel, row + x * surface->format->BytesPerPixel, surface->format->BytesPerPixel);
    Uint8 r = 0;
    Uint8 g = 0;
    Uint8 b = 0;
    SDL_GetRGB(pixel, surface->format, &r, &g, &b);
    return static_cast<uint32_t>(r << 16 | g << 8 | b);
  }
  void Push(SDL_Event event) {
    event.window.windowID = SDL_GetWindowID(window_);
    SDL_PushEvent(&event);
  }
  void PushClose() {
    SDL_Event event{};
    event.type = SDL_WINDOWEVENT;
    event.window.event = SDL_WINDOWEVENT_CLOSE;
    Push(event);
  }

  std::shared_ptr<Screen> screen_ = std::make_shared<Screen>(qx::plexion::Dims{1280, 720});
  GraphicsDriver driver_{screen_};
  Display display_{screen_, SdlWindow::Open};
  OutputPlane* plane_ = nullptr;
  SDL_Window* window_ = nullptr;
  std::vector<DisplayEvent> events_;
  std::atomic<bool> quitAtFrame_{false};
};

TEST_F(WindowTest, ShowsThePictureAndReportsWhatItIs) {
  Open(64, 48);
  EXPECT_EQ("window 64x48", display_.Describe());
  quitAtFrame_ = true;
  std::thread content([this] { Draw(0xff102030u); });
  display_.Run();
  content.join();
  EXPECT_EQ(0x102030u, WindowPixel(0, 0));
  EXPECT_EQ(0x102030u, WindowPixel(63, 47));
  EXPECT_EQ(1u, display_.GetFrameCount());
}

TEST_F(WindowTest, IsBlackBeforeTheFirstContentUnlessItIsToBeLeftAsItIs) {
  for (const bool clear : {true, false}) {
    window_ = nullptr;
    Open(64, 48, clear);
    SDL_Surface* const surface = SDL_GetWindowSurface(window_);
    SDL_FillRect(surface, nullptr, SDL_MapRGB(surface->format, 0x40, 0x50, 0x60));
    PushClose();
    display_.Run();
    EXPECT_EQ(clear ? 0u : 0x405060u, WindowPixel(0, 0));
    display_.Close();
  }
}

TEST_F(WindowTest, AnotherWindowSizeScalesThePictureBetweenBars) {
  Open(64, 48);
  SDL_SetWindowSize(window_, 200, 96);
  SDL_Event move{};
  move.type = SDL_MOUSEMOTION;
  for (const auto& [x, y] : {std::pair{36, 0}, {100, 48}, {163, 95}, {0, 0}, {199, 95}}) {
    move.motion.x = x;
    move.motion.y = y;
    SDL_PushEvent(&move);
  }
  Draw(0xff102030u);
  quitAtFrame_ = true;
  display_.Run();
  // 128x96 in the middle.
  EXPECT_EQ(0u, WindowPixel(35, 50));
  EXPECT_EQ(0x102030u, WindowPixel(36, 0));
  EXPECT_EQ(0x102030u, WindowPixel(163, 95));
  EXPECT_EQ(0u, WindowPixel(164, 50));
  std::vector<std::pair<int32_t, int32_t>> positions;
  for (const DisplayEvent& event : events_) {
    if (event.kind == Kind::kPointerMove) positions.emplace_back(event.x, event.y);
  }
  EXPECT_THAT(positions,
              ::testing::ElementsAre(std::pair{0, 0}, std::pair{32, 24}, std::pair{63, 47},
                                     std::pair{-18, 0}, std::pair{81, 47}));
}

TEST_F(WindowTest, ATurnedScreenTurnsThePointerBack) {
  // A mark at the top left of the screen, and where it stands in the window.
  struct Case {
    uint32_t degrees;
    qx::plexion::Dims screen;
    int x, y;
  };
  for (const Case& each :
       {Case{90, {48, 64}, 63, 0}, Case{180, {64, 48}, 63, 47}, Case{270, {48, 64}, 0, 47}}) {
    SCOPED_TRACE(each.degrees);
    window_ = nullptr;
    events_.clear();
    Open(64, 48, true, each.degrees);
    const qx::plexion::Dims screen = driver_.GetScreenDims();
    EXPECT_EQ(each.screen.width, screen.width);
    EXPECT_EQ(each.screen.height, screen.height);
    SDL_Event move{};
    move.type = SDL_MOUSEMOTION;
    move.motion.x = each.x;
    move.motion.y = each.y;
    SDL_PushEvent(&move);
    Draw(0xff102030u);
    auto* const pixels = static_cast<uint32_t*>(plane_->LockPixels(false));
    pixels[0] = 0xffffffffu;
    plane_->UnlockPixels();
    quitAtFrame_ = true;
    display_.Run();
    EXPECT_EQ(0xffffffu, WindowPixel(each.x, each.y));
    EXPECT_EQ(0x102030u, WindowPixel(32, 24));
    ASSERT_FALSE(events_.empty());
    EXPECT_EQ(0, events_.front().x);
    EXPECT_EQ(0, events_.front().y);
    // Only a part of it is drawn anew.
    auto* const again = static_cast<uint32_t*>(plane_->LockPixels(false));
    again[1] = 0xff00ff00u;
    plane_->UnlockPixels();
    plane_->ShowRegion({1, 0, 1, 1});
    display_.Run();
    EXPECT_EQ(0xffffffu, WindowPixel(each.x, each.y));
    const int step = each.degrees == 90 ? 1 : each.degrees == 270 ? -1 : 0;
    EXPECT_EQ(0x00ff00u, WindowPixel(each.x - (step == 0 ? 1 : 0), each.y + step));
    driver_.DestroyOutputPlane(std::exchange(plane_, nullptr));
    display_.Close();
  }
}

TEST_F(WindowTest, TellsWhatSomebodyDoesAtTheWindow) {
  Open(64, 48);
  SDL_Event event{};
  event.type = SDL_KEYDOWN;
  event.key.keysym.sym = SDLK_LEFT;
  event.key.keysym.mod = KMOD_LSHIFT;
  event.key.repeat = 1;
  SDL_PushEvent(&event);
  event = {};
  event.type = SDL_MOUSEBUTTONDOWN;
  for (const int button : {SDL_BUTTON_LEFT, SDL_BUTTON_X1, SDL_BUTTON_RIGHT}) {
    event.button.button = static_cast<Uint8>(button);
    event.button.x = 5;
    SDL_PushEvent(&event);
  }
  event = {};
  event.type = SDL_MOUSEWHEEL;
  event.wheel.y = 2;
  SDL_PushEvent(&event);
  event.wheel.direction = SDL_MOUSEWHEEL_FLIPPED;
  SDL_PushEvent(&event);
  event = {};
  event.type = SDL_WINDOWEVENT;
  event.window.event = SDL_WINDOWEVENT_FOCUS_LOST;
  Push(event);
  PushClose();
  display_.Run();
  ASSERT_EQ(7u, events_.size());
  EXPECT_EQ(Kind::kKeyDown, events_[0].kind);
  EXPECT_EQ(SDLK_LEFT, events_[0].key);
  EXPECT_EQ(KMOD_LSHIFT, events_[0].modifiers);
  EXPECT_TRUE(events_[0].repeat);
  EXPECT_EQ(1, events_[1].button);
  EXPECT_EQ(5, events_[1].x);
  EXPECT_EQ(3, events_[2].button) << "buttons beyond the three are not told";
  EXPECT_EQ(2, events_[3].wheelY);
  EXPECT_EQ(-2, events_[4].wheelY);
  EXPECT_EQ(Kind::kFocusLost, events_[5].kind);
  EXPECT_EQ(Kind::kCloseRequested, events_[6].kind);
}

TEST_F(WindowTest, TellsOfOutputsThatComeAndOfAWholeDisplaysNewSize) {
  for (const DisplayMode mode : {DisplayMode::kWindow, DisplayMode::kFullscreen}) {
    window_ = nullptr;
    events_.clear();
    Open(64, 48, true, 0, mode);
    SDL_Event event{};
    event.type = SDL_DISPLAYEVENT;
    event.display.event = SDL_DISPLAYEVENT_CONNECTED;
    SDL_PushEvent(&event);
    event.display.event = SDL_DISPLAYEVENT_ORIENTATION;
    SDL_PushEvent(&event);
    event = {};
    event.type = SDL_WINDOWEVENT;
    event.window.event = SDL_WINDOWEVENT_SIZE_CHANGED;
    event.window.data1 = 1920;
    event.window.data2 = 1080;
    Push(event);
    PushClose();
    display_.Run();
    size_t outputs = 0;
    size_t sizes = 0;
    for (const DisplayEvent& seen : events_) {
      outputs += seen.kind == Kind::kOutputsChanged && seen.x == 1 ? 1U : 0U;
      sizes += seen.kind == Kind::kDisplayResized && seen.x == 1920 && seen.y == 1080 ? 1U : 0U;
    }
    EXPECT_EQ(1U, outputs);
    EXPECT_EQ(mode == DisplayMode::kFullscreen ? 1U : 0U, sizes) << "a window's is nobody's news";
    display_.Close();
  }
}

TEST_F(WindowTest, AScreenOfTheDisplaysSizeFollowsItWhereItIsTo) {
  // The display's own size is that of the dummy driver; a second event of the same size is no news.
  for (const bool follows : {true, false}) {
    SCOPED_TRACE(follows);
    window_ = nullptr;
    events_.clear();
    Open(0, 0, true, 90, DisplayMode::kFullscreen, follows);
    const qx::plexion::Dims before = driver_.GetScreenDims();
    SDL_SetWindowFullscreen(window_, 0);
    SDL_SetWindowSize(window_, 96, 64);
    SDL_Event again{};
    again.type = SDL_WINDOWEVENT;
    again.window.event = SDL_WINDOWEVENT_SIZE_CHANGED;
    again.window.data1 = 96;
    again.window.data2 = 64;
    Push(again);
    SDL_Event move{};
    move.type = SDL_MOUSEMOTION;
    move.motion.x = 95;
    SDL_PushEvent(&move);
    PushClose();
    display_.Run();
    const qx::plexion::Dims screen = driver_.GetScreenDims();
    EXPECT_EQ(follows ? 64U : before.width, screen.width) << "turned, as before";
    EXPECT_EQ(follows ? 96U : before.height, screen.height);
    const auto sizes = std::count_if(events_.begin(), events_.end(), [](const DisplayEvent& event) {
      return event.kind == Kind::kDisplayResized && event.x == 96 && event.y == 64;
    });
    EXPECT_EQ(1, sizes);
    if (!follows) {
      display_.Close();
      continue;
    }
    // The pointer at its top right corner is at the turned screen's top left one.
    const auto moved =
        std::find_if(events_.rbegin(), events_.rend(),
                     [](const DisplayEvent& event) { return event.kind == Kind::kPointerMove; });
    ASSERT_NE(events_.rend(), moved);
    EXPECT_EQ(0, moved->x);
    EXPECT_EQ(0, moved->y);
    Draw(0xff102030u);
    quitAtFrame_ = true;
    display_.Run();
    quitAtFrame_ = false;
    EXPECT_EQ(0x102030u, WindowPixel(0, 0));
    EXPECT_EQ(0x102030u, WindowPixel(95, 63));
    driver_.DestroyOutputPlane(std::exchange(plane_, nullptr));
    display_.Close();
  }
}

TEST_F(WindowTest, QuittingFromAnotherThreadWakesTheLoop) {
  Open(64, 48);
  std::thread quitter([this] { display_.RequestQuit(); });
  display_.Run();
  quitter.join();
  EXPECT_EQ(0u, display_.GetFrameCount());
}

TEST_F(WindowTest, WithoutADisplayAWindowIsRefusedWithTheReason) {
  setenv("SDL_VIDEODRIVER", "nosuchdriver", 1);
  DisplayOptions options;
  options.mode = DisplayMode::kFullscreen;
  std::string error;
  EXPECT_FALSE(display_.Open(options, error));
  EXPECT_THAT(error, ::testing::StartsWith("cannot open a display: "));
  EXPECT_THAT(error, ::testing::HasSubstr("or the display mode headless"));
  options.mode = DisplayMode::kAuto;
  EXPECT_TRUE(display_.Open(options, error)) << error;
  EXPECT_TRUE(display_.IsHeadless());
}

}  // namespace
}  // namespace plexion_host
