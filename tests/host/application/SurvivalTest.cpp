// Errors of handlers and of data: they are told with their place, and the application goes on.
#include <algorithm>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlue = 0xFF0000FF;

TEST_F(ApplicationTest, AHandlerThatFailsIsToldAndCalledAgain) {
  ASSERT_TRUE(
      LoadScript("local n = 0\n"
                 "on('keydown', function(key) n = n + 1 trace('first', n)\n"
                 "  if n < 3 then local x = nothing.gate end end)\n"
                 "on('keydown', function(key) trace('second') end)\n"
                 "on('error', function(message, event) trace(event, message) end)"));
  RunTo(0);
  for (int time = 0; time < 3; ++time) Press('a');
  const std::string message = "main.lua:3: attempt to index a nil value (global 'nothing')";
  EXPECT_EQ((std::vector<std::string>{"first\t1", "second", "keydown\t" + message, "first\t2",
                                      "second", "keydown\t" + message, "first\t3", "second"}),
            host_.Traces());
  EXPECT_EQ(std::vector<std::string>{"TallyScript: " + message +
                                     " (in a handler of \"keydown\"; the application goes on)"},
            host_.Notices())
      << "told once";
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status);
  EXPECT_EQ(kRed, At(10, 10)) << "the picture stays";
}

TEST_F(ApplicationTest, EveryKindOfHandlerMayFail) {
  Write("data.txt", "1");
  ASSERT_TRUE(
      LoadScript("local box = stage.find('box')\n"
                 "on('start', function() error('start') end)\n"
                 "on('frame', function() error('frame') end)\n"
                 "on('pointer', function() error('pointer') end)\n"
                 "timer.every(0.2, function() error('timer') end)\n"
                 "box:animate{x = 10, duration = 0.3, done = function() error('done') end}\n"
                 "files.watch('data.txt', function() error('file') end)\n"
                 "on('failed', function() error('failed') end)\n"
                 "stage.create('image', stage.overlay, {src = 'none.png'})\n"
                 "on('error', function(message, event) trace(event) error('again') end)"));
  RunTo(5);
  InputEvent event;
  event.kind = InputEvent::kMouseMove;
  engine_->OnInput(event);
  Visit(6);
  Write("data.txt", "2");
  const auto heard = [this](const char* name) {
    const auto traces = host_.Traces();
    return std::find(traces.begin(), traces.end(), name) != traces.end();
  };
  while (!heard("file")) {
    ASSERT_TRUE(host_.WaitForRequest());
    Visit(position_);
  }
  for (const char* name : {"start", "frame", "pointer", "timer", "animate", "file", "failed"}) {
    EXPECT_TRUE(heard(name)) << name;
  }
  EXPECT_FALSE(heard("error")) << "an error in its own handler goes no further";
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status);
}

TEST_F(ApplicationTest, WhatFailsAtEachFrameIsToldOnceAMinute) {
  ASSERT_TRUE(LoadScript("on('frame', function() error('no row') end)"));
  RunTo(0);
  for (uint64_t position = 1; position <= 601; ++position) Visit(position);
  const std::vector<std::string> notices = host_.Notices();
  ASSERT_EQ(2u, notices.size());
  EXPECT_NE(notices[1].find("600 times since it was told"), std::string::npos) << notices[1];

  host_.notes.clear();
  ASSERT_TRUE(LoadScript("on('frame', function(t) error('row ' .. t) end)"));
  for (uint64_t position = 0; position <= 500; ++position) Visit(position);
  EXPECT_EQ(100u, host_.Notices().size()) << "messages that all differ have a limit, too";
}

TEST_F(ApplicationTest, AScriptThatTookTooLongRestsAndComesBack) {
  ASSERT_TRUE(
      LoadScript("on('keydown', function(key) if key == 'x' then while true do end end\n"
                 "  trace(key) end)\n"
                 "on('error', function(message, event) trace(event, time()) end)\n"
                 "timer.every(1, function() trace('timer', time()) end)\n"
                 "stage.find('box'):animate{x = 40, duration = 1, easing = 'linear',\n"
                 "  done = function() trace('done', time()) end}"));
  RunTo(0);
  Press('x');
  Press('a');
  EXPECT_TRUE(host_.Traces().empty()) << "nothing is called while it rests";
  RunTo(20);
  EXPECT_EQ(kRed, At(50, 10)) << "what moves goes on";
  RunTo(55);
  EXPECT_EQ((std::vector<std::string>{"keydown\t5.0", "timer\t5.0", "done\t5.0"}), host_.Traces());
  Press('b');
  EXPECT_EQ("b", host_.Traces().back());
  EXPECT_EQ(1u, host_.Notices().size());
}

TEST_F(ApplicationTest, WhatCannotBeShownIsNamedAndSeenByItsAuthorOnly) {
  for (const bool author : {false, true}) {
    host_.settings.debugMode = author;
    host_.notes.clear();
    pixels_.clear();
    ASSERT_TRUE(
        LoadDocument("<application width='64' height='36' background='#000000'><scene id='s'>"
                     "<image src='logo.png' x='20' y='10' width='20' height='20'/></scene>"
                     "</application>"));
    Visit(0);
    EXPECT_EQ(author, At(30, 20) != 0xFF000000);
    EXPECT_EQ(std::vector<std::string>{"<image> \"logo.png\": cannot open \"logo.png\": No such "
                                       "file or directory"},
              host_.Notices());
  }
}

constexpr char kWithFallback[] =
    "<application width='64' height='36' rate='10' fallback='sorry'>"
    "<scene id='main'><rectangle id='box' width='64' height='36' fill='#f00'/></scene>"
    "<scene id='sorry'><rectangle width='64' height='36' fill='#00f'/></scene>"
    "<script src='main.lua'/></application>";

TEST_F(ApplicationTest, AnErrorAtTheStartShowsTheFallbackSceneAndTriesAgain) {
  Write("main.lua", "timer.every(1, function() trace('called') end)\nlocal x = nothing.at.all");
  ASSERT_TRUE(LoadDocument(kWithFallback)) << error_.message;
  RunTo(299);
  EXPECT_EQ(kBlue, At(10, 10));
  EXPECT_TRUE(host_.Traces().empty()) << "what did not start is not called";
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("main.lua:2:"), std::string::npos) << host_.Notices()[0];
  EXPECT_NE(host_.Notices()[0].find("its scene \"sorry\" is shown"), std::string::npos);
  RunTo(400);
  EXPECT_EQ(1u, host_.Notices().size()) << "the same once more is no news";
  Write("main.lua", "on('start', function() trace('started', time()) end)");
  RunTo(899);
  EXPECT_EQ(kBlue, At(10, 10));
  RunTo(900);
  EXPECT_EQ(kRed, At(10, 10)) << "it starts by itself when it can";
  EXPECT_EQ(std::vector<std::string>{"started\t90.0"}, host_.Traces());
}

TEST_F(ApplicationTest, AHandlerOfTheStartThatFailsShowsTheFallbackSceneToo) {
  Write("main.lua", "on('start', function() error('no data') end)");
  ASSERT_TRUE(LoadDocument(kWithFallback));
  RunTo(0);
  EXPECT_EQ(kBlue, At(10, 10));
  ASSERT_FALSE(host_.Notices().empty());
  EXPECT_NE(host_.Notices()[0].find("main.lua:1: no data"), std::string::npos);
}

}  // namespace
}  // namespace plexion_host::player::application
