#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

#include "host/player/engines/EngineSource.h"
#include "tests/host/player/LinkedMovies.h"
#include "tests/host/player/OwnOrIsolated.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

/// A file that is gone after the test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) {
    char path[] = "/tmp/plexion-player-XXXXXX";
    const int descriptor = mkstemp(path);
    EXPECT_GE(descriptor, 0);
    path_ = path;
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(descriptor, text.data(), text.size()));
    close(descriptor);
  }
  ~TemporaryFile() { unlink(path_.c_str()); }
  const std::string& Path() const { return path_; }
  std::string Name() const { return path_.substr(path_.rfind('/') + 1); }

 private:
  std::string path_;
};

/// Real files, the real engine, virtual time.
class LottieEngineTest : public ::testing::Test {
 protected:
  LottieEngineTest() { LinkMovies(TestKernel()); }

  void Open(const std::string& content) {
    parameters_.notifier = &window_;
    parameters_.contentUrl.Assign(content.c_str());
    player_ = std::make_unique<PlayerInstance>(nullptr, engines_, clock_);
    ASSERT_TRUE(player_->Configure(parameters_));
    ASSERT_TRUE(player_->LoadMVX());
    clock_.Settle();
  }

  /// Plays what is open to its end in the authored size.
  void PlayToEnd() {
    const Dims dims = player_->GetMVXAuthoredStageDims();
    plane_ = std::make_unique<FakePlane>(dims.width, dims.height);
    ASSERT_TRUE(player_->SetRenderPlane(plane_.get()));
    ASSERT_TRUE(player_->Play());
    clock_.RunFor(1000000 * kMs);
  }

  VirtualPlayerClock clock_;
  OwnOrIsolated<InstalledEngines> engines_;
  RecordingWindow window_;
  std::unique_ptr<FakePlane> plane_;
  qx::core::morvellib::MorvelInstanceParameters parameters_;
  std::unique_ptr<PlayerInstance> player_;
};

/// 20 x 10, 10 frames a second, 5 frames: a red square that covers the left half, 5 more pixels
/// from frame 3 on.
constexpr char kSquare[] = R"({"v":"5","fr":10,"ip":0,"op":5,"w":20,"h":10,"layers":[{"ty":4,"ip":0,
  "op":5,"st":0,"sr":1,"ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0},"p":{"a":1,"k":[
  {"t":0,"s":[5,5],"h":1},{"t":3,"s":[10,5],"h":1}]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},
  "shapes":[{"ty":"gr","it":[{"ty":"rc","p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[10,10]},
  "r":{"a":0,"k":0}},{"ty":"fl","c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100},"r":1},
  {"ty":"tr","p":{"a":0,"k":[0,0]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},
  "r":{"a":0,"k":0},"o":{"a":0,"k":100}}]}]}]})";
constexpr uint32_t kRed = 0xFFFF0000;

TEST_F(LottieEngineTest, DrawsOverTheBackgroundThatWasAskedFor) {
  const TemporaryFile file(kSquare);
  for (const unsigned bgAlpha : {255u, 0u, 102u}) {
    parameters_.bgAlpha = bgAlpha;
    Open(file.Path());
    ASSERT_EQ(20u, player_->GetMVXAuthoredStageDims().width) << window_.EndMessage();
    FakePlane plane(20, 10);
    ASSERT_TRUE(player_->SetRenderPlane(&plane));
    clock_.Settle();
    EXPECT_EQ(kRed, plane.At(4, 5));
    EXPECT_EQ(bgAlpha << 24, plane.At(15, 5));
    player_.reset();
  }
}

TEST_F(LottieEngineTest, SkipsFramesWhosePictureIsTheSame) {
  const TemporaryFile file(kSquare);
  parameters_.bgAlpha = 255;
  Open(file.Path());
  PlayToEnd();
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
  EXPECT_EQ(2u, window_.Count(kInfoRenderPlaneUpdated)) << "frame 0, and frame 3";
  EXPECT_EQ(kRed, plane_->At(14, 5));
  EXPECT_EQ(0xFF000000, plane_->At(4, 5));
}

TEST_F(LottieEngineTest, LetsExpressionsReadTheNeighboursOfAnEffectsValue) {
  std::string movie = kSquare;
  const std::string keys = R"("p":{"a":1,)";
  movie.insert(movie.find(keys) + keys.size(), R"("x":"[effect('Way')('Across'), 5]",)");
  const std::string kind = R"({"ty":4,)";
  movie.insert(movie.find(kind) + kind.size(),
               R"("ef":[{"ty":5,"nm":"Way","ef":[{"ty":0,"nm":"Across","v":{"a":0,"k":5,
  "x":"thisProperty.propertyGroup(1)('More') + value"}},{"ty":0,"nm":"More","v":{"a":0,"k":10}}]}],)");
  const TemporaryFile file(movie);
  Open(file.Path());
  FakePlane plane(20, 10);
  ASSERT_TRUE(player_->SetRenderPlane(&plane));
  clock_.Settle();
  EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered));
  EXPECT_EQ(0xFF000000, plane.At(9, 5) | 0xFF000000);
  EXPECT_EQ(kRed, plane.At(11, 5));
}

TEST_F(LottieEngineTest, DrawsWhatExpressionsGiveOnlyWhenItMayHaveChanged) {
  struct Case {
    const char* expression;
    unsigned frames;
    uint32_t last;  ///< at (14, 5)
  };
  // The slider stands at 0 until frame 2, then at 5.
  for (const Case& c : {Case{"clamp(value, 0, 100)", 2, kRed},
                        Case{"[5 + effect('Way')('Across') * 2, 5]", 2, kRed},
                        Case{"[5 + effect('Way')('Across').valueAtTime(0) + 5, 5]", 1, kRed},
                        Case{"seedRandom(1, true); [5 + random(0), 5]", 1, 0xFF000000},
                        Case{"[5 + random(), 5]", 5, 0xFF000000},
                        Case{"[5 + Math.round(time * 10), 5]", 5, 0xFF000000},
                        Case{"[effect('Way')('Across').valueAtTime(time) + 5, 5]", 2, kRed}}) {
    std::string movie = kSquare;
    const std::string keys = R"("p":{"a":1,)";
    movie.insert(movie.find(keys) + keys.size(), R"("x":")" + std::string(c.expression) + R"(",)");
    const std::string kind = R"({"ty":4,)";
    movie.insert(movie.find(kind) + kind.size(),
                 R"("ef":[{"ty":5,"nm":"Way","ef":[{"ty":0,"nm":"Across","v":{"a":1,"k":[
  {"t":0,"s":[0],"h":1},{"t":2,"s":[5],"h":1}]}}]}],)");
    const TemporaryFile file(movie);
    const size_t before = window_.Count(kInfoRenderPlaneUpdated);
    parameters_.bgAlpha = 255;
    Open(file.Path());
    PlayToEnd();
    EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered)) << c.expression;
    EXPECT_EQ(c.frames, window_.Count(kInfoRenderPlaneUpdated) - before) << c.expression;
    EXPECT_EQ(c.last, plane_->At(14, 5)) << c.expression;
    player_.reset();
  }
}

TEST_F(LottieEngineTest, GivesTheExpressionsOfEveryFrameTheirOwnBudget) {
  std::string movie = kSquare;
  const std::string keys = R"("p":{"a":1,)";
  // Twenty frames of this are twice what one frame may take.
  movie.insert(movie.find(keys) + keys.size(),
               R"("x":"for (var i = 0; i < 90000; i++) {} [5 + time * 5, 5]",)");
  for (size_t at; (at = movie.find(R"("op":5)")) != std::string::npos;) {
    movie.replace(at, 6, R"("op":21)");
  }
  const TemporaryFile file(movie);
  Open(file.Path());
  PlayToEnd();
  EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered));
  EXPECT_EQ(kRed, plane_->At(19, 5)) << "it stands still when the expression is not used";
}

/// A null layer called `name` whose position is `expression`.
std::string NullLayer(const std::string& name, const std::string& expression) {
  return R"({"ty":3,"nm":")" + name +
         R"(","ip":0,"op":5,"st":0,"sr":1,"ks":{"p":{"a":0,"k":[5,5],"x":")" + expression +
         R"("}},"shapes":[]},)";
}

TEST_F(LottieEngineTest, EvaluatesWhatManyReadOnceForAFrame) {
  // Each is read four times by the next: a million evaluations, were each reading one.
  std::string nulls = NullLayer("n0", "[5 + time * 10, 5]");
  for (int i = 1; i <= 10; ++i) {
    const std::string below = "thisComp.layer('n" + std::to_string(i - 1) + "').position[0]";
    nulls += NullLayer("n" + std::to_string(i),
                       "[(" + below + " + " + below + " + " + below + " + " + below + ") / 4, 5]");
  }
  std::string movie = kSquare;
  const std::string keys = R"("p":{"a":1,)";
  movie.insert(movie.find(keys) + keys.size(), R"("x":"thisComp.layer('n10').position",)");
  const std::string layers = R"("layers":[)";
  movie.insert(movie.find(layers) + layers.size(), nulls);
  const TemporaryFile file(movie);
  Open(file.Path());
  PlayToEnd();
  EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered));
  EXPECT_EQ(5u, window_.Count(kInfoRenderPlaneUpdated)) << "it goes on in every frame";
  EXPECT_EQ(kRed, plane_->At(13, 5));
  EXPECT_EQ(0xFF000000, plane_->At(3, 5) | 0xFF000000);
}

TEST_F(LottieEngineTest, MovesInAHeldCompositionWhatLooksOutside) {
  // Time stands still inside, and the square follows a layer outside.
  std::string square = kSquare;
  const std::string keys = R"("p":{"a":1,)";
  square.insert(square.find(keys) + keys.size(), R"("x":"comp('Whole').layer('lead').position",)");
  const std::string begin = R"("layers":)";
  const std::string layer = square.substr(square.find(begin) + begin.size());
  const std::string movie =
      R"({"v":"5","nm":"Whole","fr":10,"ip":0,"op":5,"w":20,"h":10,"assets":[{"id":"c","layers":)" +
      layer.substr(0, layer.size() - 1) + R"(}],"layers":[)" +
      NullLayer("lead", "[5 + time * 10, 5]") +
      R"({"ty":0,"refId":"c","w":20,"h":10,"ip":0,"op":5,"st":0,"sr":1,"ks":{},"tm":{"a":0,"k":0.1}}]})";
  const TemporaryFile file(movie);
  Open(file.Path());
  PlayToEnd();
  EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered));
  EXPECT_EQ(5u, window_.Count(kInfoRenderPlaneUpdated));
  EXPECT_EQ(kRed, plane_->At(13, 5));
}

/// Squares of 10 pixels for each A in the text; `source` and `selector` are expressions, the latter
/// of an animator that hides.
std::string TextMovie(const std::string& source, const std::string& selector) {
  return R"({"v":"5","fr":10,"ip":0,"op":5,"w":30,"h":10,"fonts":{"list":[{"fName":"F",
  "fFamily":"F","fStyle":"R","ascent":100}]},"chars":[{"ch":"A","fFamily":"F","style":"R","w":100,
  "data":{"shapes":[{"ty":"gr","it":[{"ty":"sh","ks":{"a":0,"k":{"c":true,
  "v":[[0,0],[100,0],[100,-100],[0,-100]],"i":[[0,0],[0,0],[0,0],[0,0]],
  "o":[[0,0],[0,0],[0,0],[0,0]]}}}]}]}}],"layers":[{"ty":5,"nm":"Words","ip":0,"op":5,"ks":{
  "p":{"a":0,"k":[0,10]}},"t":{"d":{"k":[{"t":0,"s":{"t":"A","f":"F","s":10,"fc":[1,0,0]}},
  {"t":4,"s":{"t":"AAA","f":"F","s":10,"fc":[1,0,0]}}],"x":")" +
         source + R"("},"a":[{"a":{"o":{"a":0,"k":0}},"s":{"t":1,"x":")" + selector +
         R"("}}],"m":{"g":1}}}]})";
}

TEST_F(LottieEngineTest, DoesNotCutTanglesThatExpressionsMake) {
  // Each line crosses most others, and finding all crossings takes long.
  const std::string path =
      R"({"ty":"sh","ks":{"a":0,"k":{"i":[],"o":[],"v":[],"c":true},"x":"var $bm_rt, p = [];)"
      R"(for (var i = 0; i < 600; i++) { p.push([10 * Math.sin(i * 7), 10 * Math.cos(i * 11)]); })"
      R"($bm_rt = createPath(p, [], [], true);"}},)";
  const TemporaryFile movie(
      R"({"v":"5","fr":10,"ip":0,"op":2,"w":20,"h":20,"layers":[{"ty":4,"ip":0,"op":2,"st":0,)"
      R"("ks":{"p":{"a":0,"k":[10,10]}},"shapes":[)" +
      path + path +
      R"({"ty":"mm","mm":3},{"ty":"fl","c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100}}]}]})");
  Open(movie.Path());
  PlayToEnd();
  EXPECT_NE(0u, plane_->At(10, 10)) << "cut, the one would leave nothing of the other";
}

TEST_F(LottieEngineTest, RunsTheExpressionsOfTexts) {
  static const struct {
    std::string source, selector;
    bool squares[3];
  } kTable[] = {
      {"value + 'A'", "0", {true, true, false}},
      {"value + 'AA'", "textIndex == 2 ? 100 : 0", {true, false, true}},
      {"value + value + value", "textIndex < textTotal ? selectorValue : 0", {false, false, true}},
      {"thisLayer.text.sourceText.key(2).value", "[0, 0, 0]", {true, true, true}},
      {"numKeys == 2 && time == 0 ? 'AA' : 'A'", "0", {true, true, false}},
      {"sourceRectAtTime().width > 0 ? 'AAA' : 'AA'", "0", {true, true, false}},
      {"noSuchThing()", "0", {true, false, false}},
  };
  for (const auto& row : kTable) {
    SCOPED_TRACE(row.source);
    const TemporaryFile file(TextMovie(row.source, row.selector));
    parameters_.bgAlpha = 0;
    Open(file.Path());
    FakePlane plane(30, 10);
    ASSERT_TRUE(player_->SetRenderPlane(&plane));
    clock_.Settle();
    for (uint32_t i = 0; i < 3; ++i) {
      EXPECT_EQ(row.squares[i] ? kRed : 0u, plane.At(10 * i + 5, 5)) << i;
    }
    player_.reset();
  }
  EXPECT_EQ(1u, window_.Count(kInfoUnsupportedPlaceholderRendered)) << "of what does not exist";
}

TEST_F(LottieEngineTest, FitsAShapeToAnothersBoxAtAnyTime) {
  // The text has one letter at the beginning, three from frame 4 on.
  const std::string bar = R"({"ty":4,"ip":0,"op":5,"st":0,"ks":{},"shapes":[{"ty":"rc",
  "p":{"a":0,"k":[0,0],"x":"const r = thisComp.layer('Words').sourceRectAtTime(TIME); [r.left + r.width / 2, 15]"},
  "s":{"a":0,"k":[0,0],"x":"const r = thisComp.layer('Words').sourceRectAtTime(TIME); [r.width, r.height]"},
  "r":{"a":0,"k":0}},{"ty":"fl","c":{"a":0,"k":[0,0,1,1]},"o":{"a":0,"k":100}}]},)";
  for (const bool later : {false, true}) {
    for (const bool above : {false, true}) {
      SCOPED_TRACE(later ? "later" : "now");
      std::string movie = TextMovie("value", "0");
      std::string layer = bar;
      for (size_t at; (at = layer.find("TIME")) != std::string::npos;) {
        layer.replace(at, 4, later ? "0.4" : "time");
      }
      movie.replace(movie.find("\"h\":10"), 6, "\"h\":20");
      const std::string list = R"("layers":[)";
      if (above) {
        movie.insert(movie.find(list) + list.size(), layer);
      } else {
        layer.pop_back();
        movie.insert(movie.rfind(']'), "," + layer);
      }
      const TemporaryFile file(movie);
      parameters_.bgAlpha = 0;
      Open(file.Path());
      FakePlane plane(30, 20);
      ASSERT_TRUE(player_->SetRenderPlane(&plane));
      clock_.Settle();
      EXPECT_EQ(0u, window_.Count(kInfoUnsupportedPlaceholderRendered));
      EXPECT_EQ(0xFF0000FFu, plane.At(5, 15));
      EXPECT_EQ(later ? 0xFF0000FFu : 0u, plane.At(25, 15));
      EXPECT_EQ(kRed, plane.At(5, 5)) << "the text is as it is now";
      EXPECT_EQ(0u, plane.At(25, 5));
      player_.reset();
    }
  }
}

TEST_F(LottieEngineTest, LetsExpressionsReadDataBesideTheMovie) {
  const TemporaryFile data(R"({"since":1616783932,"days":[{"sky":"A"},{"sky":"AA"}]})");
  static const struct {
    std::string outline, file;
    uint32_t squares, told;
  } kTable[] = {
      {"('days')('days 1')('sky')", data.Name(), 2, 0},
      {"('since') == 1616783932 ? 'AAA' : ''", data.Name(), 3, 0},
      {"('days')('days 2')('sky')", data.Name(), 1, 1},
      {"('days')", "no-such-file", 1, 2},
      {"('days')", "../" + data.Name(), 1, 2},
  };
  for (const auto& row : kTable) {
    SCOPED_TRACE(row.outline);
    std::string movie = TextMovie("thisComp.layer('Sky')('Data')('Outline')" + row.outline, "0");
    const std::string layers = R"("layers":[)";
    movie.replace(movie.find(layers), layers.size(),
                  R"("assets":[{"id":"d","t":3,"u":"","p":")" + row.file +
                      R"("}],"layers":[{"ty":15,"nm":"Sky","refId":"d","ip":0,"op":5},)");
    const TemporaryFile file(movie);
    const size_t before = window_.Count(kInfoUnsupportedPlaceholderRendered);
    Open(file.Path());
    FakePlane plane(30, 10);
    ASSERT_TRUE(player_->SetRenderPlane(&plane));
    clock_.Settle();
    uint32_t squares = 0;
    while (squares < 3 && plane.At(10 * squares + 5, 5) == kRed) ++squares;
    EXPECT_EQ(row.squares, squares);
    EXPECT_EQ(row.told, window_.Count(kInfoUnsupportedPlaceholderRendered) - before);
    player_.reset();
  }
}

TEST_F(LottieEngineTest, TellsOnceWhatATextDoesNotShow) {
  std::string movie = TextMovie("value", "0");
  movie.replace(movie.find(R"("o":{"a":0,"k":0})"), 17, R"("bl":{"a":0,"k":[5,5]})");
  movie.insert(movie.find(R"("w":100)"), R"("t":1,)");
  const TemporaryFile file(movie);
  Open(file.Path());
  PlayToEnd();
  EXPECT_EQ(2u, window_.Count(kInfoUnsupportedPlaceholderRendered))
      << "the blur, and the character that is a composition";
}

TEST_F(LottieEngineTest, LeavesThePaddingOfRowsAlone) {
  const TemporaryFile file(kSquare);
  Open(file.Path());
  FakePlane plane(20, 10, 3);
  ASSERT_TRUE(player_->SetRenderPlane(&plane));
  clock_.Settle();
  EXPECT_EQ(kRed, plane.At(4, 9));
  for (uint32_t y = 0; y < 10; ++y) {
    for (uint32_t x = 20; x < 23; ++x) ASSERT_EQ(FakePlane::kUntouched, plane.At(x, y));
  }
}

TEST_F(LottieEngineTest, FillsAPlaneOfTheSameShapeAndCentresInAnother) {
  const TemporaryFile file(kSquare);
  parameters_.bgAlpha = 0;
  Open(file.Path());
  FakePlane larger(61, 30);  // a pixel off from rounding: filled to the edge
  ASSERT_TRUE(player_->SetRenderPlane(&larger));
  clock_.Settle();
  EXPECT_EQ(kRed, larger.At(0, 0));
  EXPECT_EQ(kRed, larger.At(0, 29));
  EXPECT_EQ(kRed, larger.At(29, 15));
  FakePlane tall(20, 30);
  ASSERT_TRUE(player_->ResetRenderPlane(&tall));
  clock_.Settle();
  EXPECT_EQ(0u, tall.At(4, 8));
  EXPECT_EQ(kRed, tall.At(4, 15));
  EXPECT_EQ(0u, tall.At(4, 22));
}

TEST_F(LottieEngineTest, ShowsNothingBesideTheStage) {
  std::string movie = kSquare;  // the square reaches over the left edge
  movie.replace(movie.find("[5,5]"), 5, "[0,5]");
  const TemporaryFile file(movie);
  parameters_.bgAlpha = 0;
  Open(file.Path());
  FakePlane wide(60, 10);
  ASSERT_TRUE(player_->SetRenderPlane(&wide));
  clock_.Settle();
  EXPECT_EQ(0u, wide.At(19, 5));
  EXPECT_EQ(kRed, wide.At(20, 5));
  EXPECT_EQ(kRed, wide.At(24, 5));
  EXPECT_EQ(0u, wide.At(25, 5));
}

TEST_F(LottieEngineTest, TakesFileAddressesAndPathsUnderABase) {
  const TemporaryFile file(kSquare);
  Open("file://" + file.Path());
  EXPECT_EQ(kStatusReadyToAnimate, player_->GetStageWindowStatus()) << window_.EndMessage();
  player_.reset();
  parameters_.base.Assign("/tmp");
  Open(file.Name());
  EXPECT_EQ(kStatusReadyToAnimate, player_->GetStageWindowStatus()) << window_.EndMessage();
}

TEST_F(LottieEngineTest, EndsWithTheReasonForEveryKindOfBadFile) {
  struct {
    std::string text;
    StageWindowStatus status;
    const char* reason;
  } cases[] = {
      {"", kErrorCorruptMovie, "empty"},
      {std::string(kSquare).substr(0, 300), kErrorCorruptMovie, "byte 300"},
      {std::string(kSquare) + '\0', kErrorCorruptMovie, "zero byte"},
      {"{}", kErrorCorruptMovie, "not a Lottie movie"},
      {"plain text", kErrorCorruptMovie, "unknown format"},
      {std::string("RIFF....AVI "), kErrorUnsupportedVersion, "no media engine"},
      {"<application/>", kErrorUnsupportedVersion, "no application engine"},
  };
  for (const auto& test : cases) {
    // A process has engines for everything.
    if (IsIsolated() && test.status == kErrorUnsupportedVersion) continue;
    SCOPED_TRACE(test.text.substr(0, 20));
    const TemporaryFile file(test.text);
    RecordingWindow window;
    VirtualPlayerClock clock;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(file.Path().c_str());
    PlayerInstance player(nullptr, engines_, clock);
    ASSERT_TRUE(player.Configure(parameters_));
    ASSERT_TRUE(player.LoadMVX());
    clock.Settle();
    EXPECT_EQ(test.status, player.GetStageWindowStatus());
    EXPECT_EQ(0u, window.EndMessage().find(file.Name() + ": ")) << window.EndMessage();
    EXPECT_NE(std::string::npos, window.EndMessage().find(test.reason)) << window.EndMessage();
  }
}

TEST_F(LottieEngineTest, CanBeDestroyedWhileItPlays) {
  Open(std::string(PLEXION_EXAMPLES) + "/loading.mvx");
  FakePlane plane(64, 64);
  ASSERT_TRUE(player_->SetRenderPlane(&plane));
  ASSERT_TRUE(player_->Play());
  clock_.RunFor(200 * kMs);
  player_.reset();
  EXPECT_EQ(0, plane.locks);
}

std::vector<std::string> MoviesIn(const std::string& folder) {
  std::vector<std::string> movies;
  DIR* directory = opendir(folder.c_str());
  if (directory == nullptr) return movies;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".mvx") == 0) {
      movies.push_back(folder + "/" + name);
    }
  }
  closedir(directory);
  std::sort(movies.begin(), movies.end());
  return movies;
}

TEST_F(LottieEngineTest, PlaysEveryExampleToItsEnd) {
  // Another folder of movies can be tried in place of the examples.
  const char* other = getenv("PLEXION_MOVIES");
  const std::vector<std::string> movies = MoviesIn(other != nullptr ? other : PLEXION_EXAMPLES);
  ASSERT_FALSE(movies.empty());
  size_t complete = 0;
  for (const std::string& movie : movies) {
    SCOPED_TRACE(movie);
    RecordingWindow window;
    VirtualPlayerClock clock;
    parameters_.notifier = &window;
    parameters_.contentUrl.Assign(movie.c_str());
    PlayerInstance player(nullptr, engines_, clock);
    ASSERT_TRUE(player.Configure(parameters_));
    ASSERT_TRUE(player.LoadMVX());
    clock.Settle();
    const Dims dims = player.GetMVXAuthoredStageDims();
    if (dims.width != 0) {
      // A quarter of the size: every frame is drawn, in a fraction of the time.
      FakePlane plane(dims.width / 4 + 1, dims.height / 4 + 1);
      ASSERT_TRUE(player.SetRenderPlane(&plane));
      ASSERT_TRUE(player.Play());
      clock.RunFor(1000000 * kMs);
    }
    if (other != nullptr) {
      printf("%-40s %s: %zu frames shown %s\n", movie.c_str() + movie.rfind('/') + 1,
             player.GetStageWindowStatus() == kStatusComplete ? "complete" : "FAILED",
             window.Count(kInfoRenderPlaneUpdated), window.EndMessage().c_str());
    } else {
      EXPECT_EQ(kStatusComplete, player.GetStageWindowStatus()) << window.EndMessage();
      EXPECT_GT(window.Count(kInfoRenderPlaneUpdated), 10u);
    }
    complete += player.GetStageWindowStatus() == kStatusComplete ? 1 : 0;
  }
  if (other != nullptr) printf("%zu of %zu complete\n", complete, movies.size());
}

}  // namespace
}  // namespace plexion_host::player
