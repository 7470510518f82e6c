// Applications as they play: drawing, timers, movements and input, in time of the test's own.
#include <algorithm>

#include "host/player/lottie/LottieEngine.h"
#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kBlue = 0xFF0000FF;

TEST_F(ApplicationTest, StandsStillWithoutBeingCalled) {
  ASSERT_TRUE(LoadScript(""));
  RunTo(1000);
  EXPECT_EQ(1, visits_);
  EXPECT_EQ(kNoFrame, result_.nextPosition);
  EXPECT_EQ(kRed, At(10, 10));
  EXPECT_EQ(kBlack, At(40, 30));
  EXPECT_TRUE(drawn_.drawn);
  EXPECT_FALSE(Draw(false).drawn) << "nothing has changed since";
  EXPECT_TRUE(Draw(true).drawn) << "somebody else's pixels are in the plane";
}

TEST_F(ApplicationTest, DrawsOnlyWhatChanged) {
  ASSERT_TRUE(
      LoadScript("on('keydown', function(key)\n"
                 "  local box = stage.find('box')\n"
                 "  if key == 'right' then box.x = box.x + 20 end\n"
                 "  if key == 'left' then box.x = box.x end\n"
                 "  if key == 'down' then box.visible = false end\n"
                 "  if key == 'up' then stage.find('label').text = 'A' end end)"));
  RunTo(0);
  pixels_[0] = 0xDEADBEEF;  // outside of what is to change
  Press(0x01000003);
  EXPECT_TRUE(result_.changed);
  // Both places of the box, with an edge for smoothing.
  EXPECT_EQ(6u, drawn_.dirty.x);
  EXPECT_EQ(6u, drawn_.dirty.y);
  EXPECT_EQ(40u, drawn_.dirty.width);
  EXPECT_EQ(12u, drawn_.dirty.height);
  EXPECT_EQ(kRed, At(30, 10));
  EXPECT_EQ(kBlack, At(25, 10));
  EXPECT_EQ(0xDEADBEEF, At(0, 0));

  Press(0x01000001);
  EXPECT_FALSE(result_.changed) << "set to what it was";
  Press(0x01000002);
  EXPECT_FALSE(result_.changed);
  Press(0x01000004);
  EXPECT_EQ(26u, drawn_.dirty.x) << "only where it was";
  EXPECT_EQ(kBlack, At(30, 10));
}

TEST_F(ApplicationTest, PartsThatAreDrawnAgainMakeTheSamePictureAsAllOfIt) {
  ASSERT_TRUE(
      LoadScript("local seed = 7\n"
                 "local function dice(n) seed = (seed * 1103515245 + 12345) % 2147483648\n"
                 "  return seed // 65536 % n end\n"
                 "local box, one = stage.find('box'), stage.find('one')\n"
                 "local all = {box, stage.find('label')}\n"
                 "on('frame', function()\n"
                 "  local e = all[dice(#all) + 1]\n"
                 "  local what = dice(8)\n"
                 "  if what == 0 and #all < 12 then\n"
                 "    all[#all + 1] = box:clone(one) e = all[#all] e.fill = '#00ff0088' end\n"
                 "  if what == 1 then e.opacity = dice(10) / 10 end\n"
                 "  if what == 2 then e.rotation = dice(360) end\n"
                 "  if what == 3 then e.order = dice(5) end\n"
                 "  if what == 4 then e.scale = dice(30) / 10 end\n"
                 "  if what == 5 then e.visible = dice(3) > 0 end\n"
                 "  e.x = dice(50) - 5 e.y = dice(30) - 5\n"
                 "  if dice(40) == 0 then stage.show(stage.scene() == 'one' and 'two' or 'one',\n"
                 "    {transition = dice(2) == 0 and 'fade' or 'slide', duration = 0.4}) end\n"
                 "end)"));
  for (uint64_t position = 0; position < 300; ++position) {
    Visit(position);
    ASSERT_EQ("", host_.failure.message);
    const std::vector<uint32_t> parts = pixels_;
    std::fill(pixels_.begin(), pixels_.end(), 0x12345678);
    Draw(true);
    size_t different = 0;
    int worst = 0;
    for (size_t i = 0; i < parts.size(); ++i) {
      for (unsigned shift = 0; shift < 32; shift += 8) {
        const int a = static_cast<int>(parts[i] >> shift & 255);
        const int b = static_cast<int>(pixels_[i] >> shift & 255);
        worst = std::max(worst, abs(a - b));
        // Coverage at a slanted edge is rounded differently inside of another clip.
        different += abs(a - b) > 16 ? 1 : 0;
      }
    }
    ASSERT_EQ(0u, different) << "at " << position << " by " << worst;
  }
}

TEST_F(ApplicationTest, TimersComeAtTheirFrames) {
  ASSERT_TRUE(
      LoadScript("timer.after(0.25, function() trace('once', time()) end)\n"
                 "local n = 0 local id\n"
                 "id = timer.every(1, function() n = n + 1 trace('every', time())\n"
                 "  if n == 3 then timer.cancel(id) end end)\n"
                 "timer.after(0.5, function()\n"
                 "  timer.after(0, function() trace('next', time()) end) end)"));
  RunTo(100);
  EXPECT_EQ((std::vector<std::string>{"once\t0.3", "next\t0.6", "every\t1.0", "every\t2.0",
                                      "every\t3.0"}),
            host_.Traces());
  EXPECT_EQ(kNoFrame, result_.nextPosition);
  EXPECT_EQ(7, visits_) << "the beginning, and six moments";
}

TEST_F(ApplicationTest, ALateFrameLeavesOutThePeriodsItMissed) {
  ASSERT_TRUE(LoadScript("timer.every(0.1, function() trace(time()) end)"));
  Visit(0);
  Visit(50);
  EXPECT_EQ(1u, host_.Traces().size());
  Visit(51);
  EXPECT_EQ(2u, host_.Traces().size());
}

TEST_F(ApplicationTest, AnimationsMoveAndEnd) {
  ASSERT_TRUE(
      LoadScript("local box = stage.find('box')\n"
                 "box:animate{ x = 28, fill = '#0000ff', duration = 1, easing = 'linear',\n"
                 "  done = function() trace('done', time(), box.x, box.fill) end }\n"
                 "box:animate{ y = 18, delay = 2, duration = 0.5 }\n"
                 "on('keydown', function() trace('half', box.x) end)"));
  RunTo(5);
  Press('h');
  EXPECT_EQ("half\t18.0", Trace(0));
  visits_ = 0;
  RunTo(60);
  EXPECT_EQ("done\t1.0\t28.0\t#0000ffff", Trace(1));
  EXPECT_EQ(kBlue, At(30, 20));
  EXPECT_EQ(kNoFrame, result_.nextPosition);
  EXPECT_EQ(1 + 5 + 6, visits_) << "5 to 10, then 20 to 25, and none between the two movements";
}

TEST_F(ApplicationTest, ANewerMovementTakesThePlaceOfAnOlder) {
  ASSERT_TRUE(
      LoadScript("local box = stage.find('box')\n"
                 "box:animate{ x = 60, duration = 1, done = function() trace('old') end }\n"
                 "box:animate{ x = 20, duration = 0.5, done = function() trace('new') end }"));
  RunTo(30);
  EXPECT_EQ(std::vector<std::string>{"new"}, host_.Traces());
  EXPECT_EQ(kRed, At(21, 10));
}

TEST_F(ApplicationTest, NothingMovesWhilePaused) {
  ASSERT_TRUE(
      LoadScript("on('frame', function() trace('frame') end)\n"
                 "on('keydown', function() trace('key') end)"));
  playing_ = false;
  Visit(0);
  Press('a');
  EXPECT_EQ(std::vector<std::string>{"key"}, host_.Traces());
}

TEST_F(ApplicationTest, ScenesGiveWayToEachOther) {
  ASSERT_TRUE(LoadScript("stage.show('two')"));
  Visit(0);
  EXPECT_EQ(kBlue, At(10, 10)) << "a cut, at once";

  ASSERT_TRUE(
      LoadScript("stage.show('two', {transition = 'slide', duration = 1, easing = 'linear'})"));
  pixels_.clear();
  Visit(0);
  EXPECT_EQ(kRed, At(10, 10));
  Visit(5);
  EXPECT_EQ(kBlue, At(40, 20)) << "half of the way";
  EXPECT_EQ(kBlack, At(20, 20));
  Visit(10);
  EXPECT_EQ(kBlue, At(10, 10));
  EXPECT_EQ(kNoFrame, result_.nextPosition);

  ASSERT_TRUE(
      LoadScript("stage.show('two', {transition = 'fade', duration = 1, easing = 'linear'})"));
  pixels_.clear();
  Visit(0);
  Visit(5);
  EXPECT_NEAR(0x80, static_cast<int>(At(10, 10) >> 16 & 255), 2) << "half red";
  EXPECT_NEAR(0x80, static_cast<int>(At(10, 10) & 255), 2) << "and half blue";
}

TEST_F(ApplicationTest, TheStageKeepsItsShapeInAnyPlane) {
  ASSERT_TRUE(LoadScript(""));
  Visit(0);
  std::vector<uint32_t> wide(size_t{128} * 36, 0x12345678);
  DrawTarget target;
  target.pixels = wide.data();
  target.pitchBytes = 128 * 4;
  target.dims = {128, 36};
  target.bgAlpha = 0;
  target.everything = true;
  ASSERT_TRUE(engine_->Draw(target).drawn);
  EXPECT_EQ(0u, wide[0]) << "beside the stage: black with the alpha that was asked for";
  EXPECT_EQ(kRed, wide[10 * 128 + 32 + 10]);
}

TEST_F(ApplicationTest, InputReachesTheScript) {
  ASSERT_TRUE(
      LoadScript("on('keydown', function(name, code) trace('down', name, code) end)\n"
                 "on('keyup', function(name) trace('up', name) end)\n"
                 "on('pointer', function(...) trace(...) end)\n"
                 "on('scroll', function(...) trace(...) end)\n"
                 "on('event', function(code) trace('event', code) end)\n"
                 "on('activate', function() trace('active') end)\n"
                 "on('deactivate', function() trace('inactive') end)"));
  RunTo(0);
  InputEvent event;
  event.code = 0x01000010;
  engine_->OnInput(event);
  event.kind = InputEvent::kKeyUp;
  event.code = 0xe4;
  engine_->OnInput(event);
  event.kind = InputEvent::kMouseButtonDown;
  event.x = 32;
  event.y = 18;
  event.button = kMouseButtonRight;
  engine_->OnInput(event);
  event.kind = InputEvent::kScroll;
  event.direction = kScrollWheelDown;
  event.delta = 3;
  engine_->OnInput(event);
  event.kind = InputEvent::kEventCode;
  event.code = 7;
  engine_->OnInput(event);
  event.kind = InputEvent::kActivated;
  engine_->OnInput(event);
  event.kind = InputEvent::kDeactivated;
  engine_->OnInput(event);
  Visit(0);
  EXPECT_EQ(
      (std::vector<std::string>{"down\tred\t16777232", "up\t\xc3\xa4", "down\t32.0\t18.0\t3\tnil",
                                "down\t3", "event\t7", "active", "inactive"}),
      host_.Traces());
}

TEST_F(ApplicationTest, ThePointerFindsWhatLiesInFront) {
  Write("main.lua",
        "on('pointer', function(action, x, y, button, hit) trace(hit and hit.id) end)\n"
        "local function at(x, y) local e = stage.at(x, y) return e and e.id end\n"
        "on('start', function()\n"
        "  trace(at(5, 5), at(25, 5), at(45, 5), at(-1, 5), at(64, 5))\n"
        "  trace(at(12, 12), at(5, 20), at(5, 30), at(10.5, 30), at(35, 30), at(41, 30))\n"
        "  stage.find('front').visible = false trace(at(12, 12))\n"
        "  stage.find('back').opacity = 0 trace(at(5, 5))\n"
        "  trace(stage.find('turned'):contains(stage.find('leaf')),\n"
        "    stage.find('leaf'):contains(stage.find('turned')))\n"
        "  stage.show('two') trace(at(25, 5), at(60, 34))\n"
        "  stage.show('one', {transition = 'slide', duration = 1, easing = 'linear'})\n"
        "end)");
  ASSERT_TRUE(LoadDocument(
      "<application width='64' height='36' rate='10' background='#000'>"
      "<backdrop><rectangle id='ground' width='64' height='36' fill='#111'/></backdrop>"
      "<scene id='one'>"
      "<rectangle id='front' x='10' y='10' width='10' height='10' fill='#f00' order='1'/>"
      "<rectangle id='back' width='20' height='15' fill='#00000000'/>"
      "<group x='20' width='10' height='10' clip='true' radius='5'>"
      "<rectangle id='clipped' x='-20' y='-20' width='60' height='60' fill='#0f0'/></group>"
      "<rectangle id='ring' x='2' y='24' width='10' height='10' stroke='#fff' strokeWidth='4'/>"
      "<group id='turned' x='30' y='30' rotation='90'>"
      "<rectangle id='leaf' y='-10' width='4' height='8' fill='#00f'/></group>"
      "</scene>"
      "<scene id='two'><rectangle id='whole' width='60' height='36' fill='#f0f'/></scene>"
      "<script src='main.lua'/></application>"))
      << error_.message;
  Visit(0);
  EXPECT_EQ("back\tclipped\tground\tnil\tnil", Trace(0));
  EXPECT_EQ("front\tground\tground\tring\tleaf\tground", Trace(1));
  EXPECT_EQ("back", Trace(2)) << "the hidden one is not there";
  EXPECT_EQ("ground", Trace(3)) << "nor the one that is wholly transparent";
  EXPECT_EQ("true\tfalse", Trace(4));
  EXPECT_EQ("whole\tground", Trace(5));

  Visit(5);
  InputEvent event;
  event.kind = InputEvent::kMouseMove;
  event.x = 32 + 25;
  event.y = 5;
  engine_->OnInput(event);
  Visit(5);
  EXPECT_EQ("clipped", host_.Traces().back()) << "half way in, it is where it is seen";
}

/// Movies by the engine that is linked in.
class MovieInApplicationTest : public ApplicationTest, private EngineSource {
 private:
  EngineSource& Engines() override { return *this; }
  std::unique_ptr<Engine> OpenEngine(const ContentAddress&, EngineHost& host,
                                     EngineError&) override {
    return MakeLottieEngine(host);
  }
};

TEST_F(MovieInApplicationTest, PlaysAMovieFromItsBeginningToItsEnd) {
  std::filesystem::copy_file(std::string(PLEXION_EXAMPLES) + "/loading.mvx", folder_ / "a.mvx");
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36' rate='10'><scene id='s'>"
                   "<movie id='m' src='a.mvx' width='64' height='36'/></scene>"
                   "<script>on('ended', function(e) trace('ended', e.id) end)</script>"
                   "</application>"))
      << error_.message;
  RunTo(10);
  EXPECT_EQ(11, visits_);
  const auto coloured =
      std::count_if(pixels_.begin(), pixels_.end(), [](uint32_t pixel) { return pixel != kBlack; });
  EXPECT_GT(coloured, 10) << "something of it is to be seen";
  RunTo(2000);
  EXPECT_EQ(std::vector<std::string>{"ended\tm"}, host_.Traces());
  EXPECT_EQ(kNoFrame, result_.nextPosition) << "nothing is due any more";
}

TEST_F(ApplicationTest, AnApplicationCannotPlayAnother) {
  Write("inner.xml", "<application><scene id='s'/></application>");
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36'><scene id='s'>"
                   "<media src='inner.xml' width='9' height='9'/></scene></application>"));
  RunTo(0);
  ASSERT_EQ(1u, host_.notes.size());
  EXPECT_EQ(kInfoUnsupportedPlaceholderRendered, host_.notes[0].first);
  EXPECT_NE(host_.notes[0].second.find("it is an application"), std::string::npos);
}

TEST_F(ApplicationTest, ExamplesPlayWithoutAComplaint) {
  for (const char* name : {"menu-board", "gallery", "clock", "text", "figures", "departures"}) {
    ContentAddress content;
    content.path = std::string(PLEXION_EXAMPLES) + "/" + name;
    engine_ = MakeApplicationEngine(host_, engines_, SystemClocks());
    ASSERT_TRUE(engine_->Load(content, facts_, error_)) << name << ": " << error_.message;
    pixels_.clear();
    position_ = 0;
    RunTo(40);
    for (const unsigned long key : {0x01000003ul, 0x01000005ul, 0x01000004ul, 0x01000005ul}) {
      Press(key);
      RunTo(position_ + 40);
    }
    EXPECT_EQ("", host_.failure.message) << name;
    for (const auto& note : host_.notes) ADD_FAILURE() << name << ": " << note.second;
  }
}

TEST_F(ApplicationTest, ExamplesDrawOnlyWhatMoves) {
  const auto play = [this](const char* name) {
    ContentAddress content;
    content.path = std::string(PLEXION_EXAMPLES) + "/" + name;
    ApplicationClocks clocks = SystemClocks();
    clocks.wall = [this] { return timespec{1000000000 + static_cast<time_t>(position_ / 60), 0}; };
    engine_ = MakeApplicationEngine(host_, engines_, clocks);
    ASSERT_TRUE(engine_->Load(content, facts_, error_)) << name << ": " << error_.message;
    pixels_.clear();
    position_ = 0;
    RunTo(60);
    visits_ = 0;
  };
  play("gallery");
  RunTo(100000);
  EXPECT_EQ(kNoFrame, result_.nextPosition) << "somebody has to press a key";
  EXPECT_EQ(1, visits_);
  play("menu-board");
  RunTo(8 * 30 - 1);
  EXPECT_EQ(1, visits_) << "until the dish of the week changes";
  play("clock");
  int strips = 0;
  for (uint64_t position = 61; position < 120; ++position) {
    Visit(position);
    // The hand moves in the first quarter of a second; the ticker is the lowest eighth.
    strips += drawn_.dirty.y >= 30 ? 1 : 0;
  }
  EXPECT_GE(strips, 40);
}

TEST_F(ApplicationTest, TheMenuBoardKeepsItsPricesWhileTheirFileIsBroken) {
  std::filesystem::copy(
      std::string(PLEXION_EXAMPLES) + "/menu-board", folder_,
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
  ASSERT_TRUE(Load()) << error_.message;
  RunTo(60);
  const auto board = [this] {
    Draw(true);
    // Without the last rows, where the board says what is amiss.
    return std::vector<uint32_t>(pixels_.begin(), pixels_.begin() + size_t{64} * 33);
  };
  const std::vector<uint32_t> before = board();
  const struct {
    const char* text;
    const char* reason;
  } broken[] = {
      {"{\"courses\": ", "menu.json:1: syntax error"},
      {"[1]", "menu.json: no list of courses"},
      {"{\"courses\": [7]}", "menu.json: course 1 has no list of dishes"},
      {"{\"courses\": [{\"dishes\": [{\"name\": \"Soup\", \"price\": \"4\"}]}]}",
       "menu.json: Soup: the price is no number"},
  };
  for (const auto& each : broken) {
    Write("menu.json", each.text);
    while (host_.Traces().empty() || host_.Traces().back().find(each.reason) != 0) {
      ASSERT_TRUE(host_.WaitForRequest()) << each.reason;
      Visit(position_);
    }
    RunTo(position_ + 10);
    EXPECT_EQ(before, board()) << each.reason;
  }
  Write("menu.json", "{\"name\": \"New\", \"courses\": [{\"title\": \"ALL\", \"dishes\": []}]}");
  const size_t complaints = host_.notes.size();
  do {
    ASSERT_TRUE(host_.WaitForRequest());
    RunTo(position_ + 30);
  } while (board() == before);
  EXPECT_EQ(complaints, host_.notes.size());
  EXPECT_EQ("", host_.failure.message);
}

}  // namespace
}  // namespace plexion_host::player::application
