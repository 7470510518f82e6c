// Movies and media inside of applications, with an engine that is as slow as the test wants it.
#include <algorithm>
#include <atomic>
#include <thread>

#include "host/player/application/embedded/EmbeddedElements.h"
#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kGreen = 0xFF00FF00;
constexpr uint32_t kBlue = 0xFF0000FF;

/// What the engines of a test have in common.
struct Studio {
  std::atomic<bool> open{true};  ///< while false, loads take their time
  std::atomic<int> loads{0};
  std::atomic<int> givenUp{0};
  std::atomic<int> engines{0};
  double volume = 1;
  bool playing = false;
  std::vector<uint64_t> frames;
  std::vector<std::pair<std::string, std::string>> variables;
};

/// Five frames, 10 a second, in the one colour that its file names: "green", "blue"; "broken"
/// cannot be loaded.
class PaintEngine final : public Engine {
 public:
  PaintEngine(EngineHost& host, Studio& studio) : host_(host), studio_(studio) { ++studio.engines; }
  ~PaintEngine() override { --studio_.engines; }

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override {
    std::string word;
    std::ifstream(content.path) >> word;
    studio_.variables = host_.Settings().variables;
    while (!studio_.open && !host_.Cancelled()) std::this_thread::yield();
    ++studio_.loads;
    if (host_.Cancelled()) {
      ++studio_.givenUp;
      return false;
    }
    if (word == "broken") {
      error.message = "there is nothing in it";
      return false;
    }
    if (word == "partly") {
      host_.Notify(kInfoUnsupportedPlaceholderRendered, "an effect that nobody knows");
    }
    colour_ = word == "green" ? kGreen : kBlue;
    facts.stageDims = {20, 10};
    facts.framesPerSecond = 10;
    facts.frameCount = 5;
    return true;
  }
  void SetPlaying(bool playing) override { studio_.playing = playing; }
  void SetVolume(double factor) override { studio_.volume = factor; }
  StepResult Advance(const FrameStep& step) override {
    studio_.frames.push_back(step.position);
    return {true, step.position + 1};
  }
  DrawResult Draw(const DrawTarget& target) override {
    for (uint32_t y = 0; y < target.dims.height; ++y) {
      std::fill_n(target.pixels + size_t{y} * target.pitchBytes / 4, target.dims.width, colour_);
    }
    DrawResult result;
    result.drawn = true;
    return result;
  }

 private:
  EngineHost& host_;
  Studio& studio_;
  uint32_t colour_ = kBlue;
};

class EmbeddedTest : public ApplicationTest, private EngineSource {
 protected:
  EmbeddedTest() {
    Write("green.clip", "green");
    Write("blue.clip", "blue");
    Write("broken.clip", "broken");
  }
  ~EmbeddedTest() override { engine_.reset(); }

  EngineSource& Engines() override { return *this; }
  std::unique_ptr<Engine> OpenEngine(const ContentAddress&, EngineHost& host,
                                     EngineError&) override {
    return std::make_unique<PaintEngine>(host, studio_);
  }
  /// A media element "m" in the second scene, which a key shows; "play" and the rest come from `script`.
  bool LoadClip(const std::string& attributes, const std::string& script) {
    Write("main.lua",
          "m = stage.find('m')\n"
          "on('ready', function(e) trace(e.id, 'ready') end)\n"
          "on('failed', function(e, why) trace(e.id, e.state, why, why == e.failure) end)\n"
          "on('ended', function(e) trace(e.id, e.state) end)\n"
          "on('keydown', function(key) if key == 'r' then stage.show('two') end\n"
          "  if key == 'l' then stage.show('one') end end)\n" +
              script);
    return LoadDocument(
        "<application width='64' height='36' rate='10' background='#000'>"
        "<scene id='one'/><scene id='two'><rectangle width='9' height='9' fill='#f00'/>"
        "<media id='m' x='20' y='10' width='20' height='10' " +
        attributes + "/></scene><script src='main.lua'/></application>");
  }
  /// Plays on at this moment until `what` holds; an engine's thread asks for each look.
  template <typename What>
  void VisitUntil(const What& what) {
    Visit(position_);
    while (!what()) {
      ASSERT_TRUE(host_.WaitForRequest());
      Visit(position_);
    }
  }
  bool Heard(const std::string& what) const {
    const auto traces = host_.Traces();
    return std::find(traces.begin(), traces.end(), what) != traces.end();
  }

  Studio studio_;
};

TEST_F(EmbeddedTest, TheApplicationGoesOnWhileMediaLoad) {
  ASSERT_TRUE(LoadClip("src='green.clip'", "on('frame', function(t) trace(t, m.state) end)"))
      << error_.message;
  studio_.open = false;
  RunTo(0);
  Press('r');
  RunTo(3);
  EXPECT_EQ("0.3\tloading", host_.Traces().back()) << "time goes on";
  EXPECT_EQ(kRed, At(4, 4)) << "the rest of the scene is there";
  EXPECT_EQ(kBlack, At(30, 15)) << "nothing yet, and no placeholder";
  studio_.open = true;
  VisitUntil([this] { return Heard("m\tready"); });
  EXPECT_EQ(kGreen, At(30, 15));
  Visit(4);
  EXPECT_EQ("0.4\tplaying", host_.Traces().back());
  EXPECT_TRUE(host_.notes.size() == host_.Traces().size()) << "nobody complained";
}

TEST_F(EmbeddedTest, TheFirstPictureHasItsMedia) {
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36' rate='10'><scene id='s'>"
                   "<media id='m' src='green.clip'/></scene>"
                   "<script>on('ready', function(e) trace(e.id, e.width, e.height) end)</script>"
                   "</application>"));
  EXPECT_EQ(1, studio_.loads) << "when the application is loaded, so are they";
  Visit(0);
  EXPECT_EQ("m\t20.0\t10.0", Trace(0)) << "the size is its own";
  EXPECT_EQ(kGreen, At(10, 5));
}

TEST_F(EmbeddedTest, PlaysFromTheBeginningWheneverItComesToBeSeen) {
  ASSERT_TRUE(LoadClip("src='green.clip'", ""));
  RunTo(0);
  EXPECT_EQ(0, studio_.engines) << "not seen, not opened";
  for (int time = 0; time < 2; ++time) {
    Press('r');
    VisitUntil([this] { return Heard("m\tready"); });
    RunTo(position_ + 10);
    EXPECT_EQ((std::vector<std::string>{"m\tready", "m\tended"}), host_.Traces());
    EXPECT_EQ((std::vector<uint64_t>{0, 1, 2, 3, 4}), studio_.frames);
    EXPECT_EQ(kGreen, At(30, 15)) << "the last frame stays";
    EXPECT_EQ(kNoFrame, result_.nextPosition) << "nothing is due any more";
    Press('l');
    EXPECT_EQ(0, studio_.engines);
    EXPECT_EQ(kBlack, At(30, 15));
    host_.notes.clear();
    studio_.frames.clear();
  }
}

TEST_F(EmbeddedTest, WhatIsNoLongerWantedGivesUpLoading) {
  ASSERT_TRUE(LoadClip("src='green.clip'", ""));
  studio_.open = false;
  RunTo(0);
  Press('r');
  while (studio_.engines == 0) std::this_thread::yield();
  Press('l');
  VisitUntil([this] { return studio_.engines == 0; });
  EXPECT_EQ(1, studio_.givenUp);
  EXPECT_TRUE(host_.notes.empty()) << "nobody has to know";
  Press('r');
  engine_.reset();
  EXPECT_EQ(0, studio_.engines) << "the end of the application does not wait for it either";
}

TEST_F(EmbeddedTest, PreloadedMediaAreThereAtTheCut) {
  ASSERT_TRUE(LoadClip("src='green.clip' preload='true'", ""));
  EXPECT_EQ(1, studio_.loads);
  RunTo(2);
  EXPECT_EQ("m\tready", Trace(0));
  EXPECT_FALSE(studio_.playing);
  EXPECT_EQ((std::vector<uint64_t>{0}), studio_.frames) << "it waits at its beginning";
  Press('r');
  EXPECT_EQ(kGreen, At(30, 15)) << "in the very picture of the new scene";
  EXPECT_TRUE(studio_.playing);
  RunTo(4);
  EXPECT_EQ(2u, studio_.frames.back());
  Press('l');
  VisitUntil([this] { return host_.Traces().size() >= 2; });
  Press('r');
  EXPECT_EQ(0u, studio_.frames.back()) << "once more from the beginning";
}

TEST_F(EmbeddedTest, TheOldPictureStaysUntilTheNewOneIsReady) {
  ASSERT_TRUE(LoadClip("src='green.clip'", "on('ended', function() m.src = 'blue.clip' end)"));
  RunTo(0);
  Press('r');
  VisitUntil([this] { return Heard("m\tready"); });
  studio_.open = false;
  RunTo(position_ + 9);
  EXPECT_TRUE(Heard("m\tended"));
  EXPECT_EQ(kGreen, At(30, 15));
  studio_.open = true;
  VisitUntil([this] { return host_.Traces().size() == 3; });
  EXPECT_EQ(kBlue, At(30, 15)) << "not a single picture without either";
  EXPECT_EQ(1, studio_.engines);
}

TEST_F(EmbeddedTest, BrokenMediaAreToldAndTheApplicationGoesOn) {
  const struct {
    const char* source;
    const char* reason;
  } cases[] = {
      {"broken.clip", "there is nothing in it"},
      {"none.clip", "cannot open \"none.clip\": No such file or directory"},
      {"http://127.0.0.1/a.mp4", "it is an address; an application reads the files of its folder"},
      {"application.xml", "it is an application; expected a movie or a media file"},
      {"hls.clip", "it is a list of other files or addresses"},
      {"dash.clip", "it is a list of other files or addresses"},
  };
  Write("hls.clip", "#EXTM3U\n#EXTINF:1,\nhttp://127.0.0.1:9/a.ts\n");
  Write("dash.clip", "<?xml version='1.0'?>\n<MPD><BaseURL>http://127.0.0.1:9/</BaseURL></MPD>");
  for (const auto& each : cases) {
    host_.notes.clear();
    position_ = 0;
    pixels_.clear();
    ASSERT_TRUE(
        LoadClip("src='green.clip'", "m.src = '" + std::string(each.source) +
                                         "'\non('keyup', function() m.src = 'green.clip' end)"));
    RunTo(0);
    Press('r');
    VisitUntil([this] { return !host_.Traces().empty(); });
    ASSERT_EQ(2u, host_.notes.size()) << each.source;
    EXPECT_EQ(kInfoUnsupportedPlaceholderRendered, host_.notes[0].first);
    EXPECT_NE(host_.notes[0].second.find(each.reason), std::string::npos) << host_.notes[0].second;
    EXPECT_EQ(0u, Trace(0).find("m\tfailed\t")) << Trace(0);
    EXPECT_NE(Trace(0).find("\ttrue"), std::string::npos) << Trace(0);
    EXPECT_EQ(kBlack, At(30, 15)) << "nothing of it is seen";
    InputEvent event;
    event.kind = InputEvent::kKeyUp;
    engine_->OnInput(event);
    VisitUntil([this] { return Heard("m\tready"); });
    EXPECT_EQ(kGreen, At(30, 15)) << "another source puts it right";
  }
}

TEST_F(EmbeddedTest, OnlySoManyPlayAtOnce) {
  std::string media;
  for (int i = 0; i < 2000; ++i) media += "<media src='green.clip' width='9' height='9'/>";
  ASSERT_TRUE(LoadDocument("<application width='64' height='36'><scene id='s'>" + media +
                           "</scene></application>"));
  RunTo(0);
  EXPECT_EQ(kMostPlayers, static_cast<size_t>(studio_.engines));
  EXPECT_EQ(std::vector<std::string>{"<media> \"green.clip\": there are 32 movies and media "
                                     "already, which is the most that play at once"},
            host_.Notices());
}

TEST_F(EmbeddedTest, WhatAMovieCannotShowIsToldOnceWithItsName) {
  Write("partly.clip", "partly");
  ASSERT_TRUE(LoadClip("src='partly.clip'", ""));
  RunTo(0);
  for (size_t time = 1; time <= 2; ++time) {
    Press('r');
    VisitUntil([this, time] { return host_.Traces().size() == time; });
    Press('l');
  }
  EXPECT_EQ(2, studio_.loads);
  EXPECT_EQ(std::vector<std::string>{"<media> \"partly.clip\": an effect that nobody knows"},
            host_.Notices());
}

TEST_F(EmbeddedTest, WhatIsReadAgainIsAsLoudAsBefore) {
  watchFiles_ = true;
  ASSERT_TRUE(LoadClip("src='green.clip' volume='0.5' loop='0'", ""));
  RunTo(0);
  engine_->SetVolume(0.5);
  Press('r');
  VisitUntil([this] { return Heard("m\tready"); });
  RunTo(2);
  EXPECT_EQ(0.25, studio_.volume);
  Write("main.lua", "on('ready', function() trace('ready again') end)");
  VisitUntil([this] { return Heard("ready again"); });
  RunTo(position_ + 2);
  EXPECT_EQ(0.25, studio_.volume);
}

TEST_F(EmbeddedTest, TheScriptPausesAndSetsTheVolume) {
  ASSERT_TRUE(LoadClip("src='green.clip' volume='0.5' loop='0'",
                       "on('scroll', function(direction) m.paused = direction == 'down'\n"
                       "  m:animate{volume = 0, duration = 0.2, easing = 'linear'} end)"));
  RunTo(0);
  Press('r');
  VisitUntil([this] { return Heard("m\tready"); });
  EXPECT_EQ(0.5, studio_.volume);
  RunTo(7);
  EXPECT_EQ(7u, studio_.frames.back()) << "it begins again by itself";
  InputEvent event;
  event.kind = InputEvent::kScroll;
  event.direction = kScrollWheelDown;
  engine_->OnInput(event);
  RunTo(20);
  EXPECT_FALSE(studio_.playing);
  EXPECT_EQ(7u, studio_.frames.back());
  EXPECT_EQ(0, studio_.volume);
  event.direction = kScrollWheelUp;
  engine_->OnInput(event);
  RunTo(23);
  EXPECT_EQ(10u, studio_.frames.back()) << "goes on where it was";
  EXPECT_EQ("m\tready", host_.Traces().back());
}

TEST_F(EmbeddedTest, AMovieHasVariablesOfItsOwn) {
  host_.settings.variables = {{"title", "window"}, {"profile", "tv"}};
  ASSERT_TRUE(LoadClip("src='green.clip' vars='theme=dark&amp;title=A%20B'",
                       "on('keyup', function() m.vars = 'theme=light' end)\n"
                       "on('scroll', function() m.vars = 'loop=often' end)"));
  RunTo(0);
  Press('r');
  VisitUntil([this] { return Heard("m\tready"); });
  using Variables = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ((Variables{{"title", "A B"}, {"profile", "tv"}, {"theme", "dark"}}), studio_.variables);
  InputEvent event;
  event.kind = InputEvent::kKeyUp;
  engine_->OnInput(event);
  VisitUntil([this] { return studio_.loads == 2 && host_.Traces().size() == 2; });
  EXPECT_EQ((Variables{{"title", "window"}, {"profile", "tv"}, {"theme", "light"}}),
            studio_.variables);
  event.kind = InputEvent::kScroll;
  engine_->OnInput(event);
  VisitUntil([this] { return host_.Notices().size() == 1; });
  EXPECT_NE(host_.Notices()[0].find("vars: "), std::string::npos) << host_.Notices()[0];
}

TEST_F(EmbeddedTest, RestartBeginsAgain) {
  ASSERT_TRUE(LoadClip("src='green.clip'", "on('event', function() m:restart() end)"));
  RunTo(0);
  Press('r');
  VisitUntil([this] { return Heard("m\tready"); });
  RunTo(position_ + 9);
  EXPECT_EQ("m\tended", host_.Traces().back());
  InputEvent event;
  event.kind = InputEvent::kEventCode;
  engine_->OnInput(event);
  VisitUntil([this] { return host_.Traces().size() == 3; });
  RunTo(position_ + 9);
  EXPECT_EQ((std::vector<std::string>{"m\tready", "m\tended", "m\tready", "m\tended"}),
            host_.Traces());
  EXPECT_EQ((std::vector<uint64_t>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4}), studio_.frames);
}

TEST_F(EmbeddedTest, HandlersThatAlwaysStartAnotherDoNotHoldTheApplicationUp) {
  ASSERT_TRUE(LoadClip("src='none.clip'", "on('failed', function(e) e.src = e.src .. 'x' end)"));
  RunTo(0);
  Press('r');
  const size_t after = host_.Traces().size();
  EXPECT_GT(after, 1u);
  EXPECT_LT(after, 10u) << "some in this moment";
  EXPECT_EQ(position_ + 1, result_.nextPosition) << "the others in the next";
}

}  // namespace
}  // namespace plexion_host::player::application
