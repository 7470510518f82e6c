// What is refused before the renderer sees it, and what the renderer is then given.
#include <gmock/gmock.h>

#include <string>

#include "host/player/lottie/MovieCheck.h"
#include "tests/host/player/PlainHost.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::HasSubstr;

/// The checked movie as text, or what is wrong with it.
struct Checked {
  bool good = false;
  std::string text;
  std::string error;
  MovieHeader header;
};

Checked Check(std::string text, PlainHost host = PlainHost()) {
  Checked checked;
  MovieDocument document(host);
  EngineError error;
  checked.good = document.Parse(text.data(), error);
  checked.error = error.message;
  if (checked.good) {
    checked.good = CheckMovie(document.Tree(), checked.header, checked.error);
    document.Write(checked.text);
  }
  return checked;
}

/// A movie with `layers` and whatever else `rest` adds.
std::string Movie(const std::string& layers, const std::string& rest = "") {
  return R"({"v":"5","fr":30,"ip":0,"op":60,"w":100,"h":50,"layers":[)" + layers + "]" + rest + "}";
}

std::string Shapes(const std::string& shapes) {
  return R"({"ty":4,"nm":"logo","ip":0,"op":60,"st":0,"ks":{},"shapes":[)" + shapes + "]}";
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// Compositions c0 .. c(depth): each uses the next one twice.
std::string Doubling(int depth) {
  std::string assets;
  for (int i = 0; i < depth; ++i) {
    const std::string use = R"({"ty":0,"refId":"c)" + std::to_string(i + 1) + "\"}";
    assets += R"({"id":"c)" + std::to_string(i) + R"(","layers":[)" + use + "," + use + "]},";
  }
  return ",\"assets\":[" + assets + R"({"id":"c)" + std::to_string(depth) + R"(","layers":[]}])";
}

struct BadMovie {
  const char* name;
  std::string text;
  const char* reason;
};

class BadMovieTest : public ::testing::TestWithParam<BadMovie> {};

TEST_P(BadMovieTest, IsRefusedWithTheReason) {
  const Checked checked = Check(GetParam().text);
  EXPECT_FALSE(checked.good);
  EXPECT_THAT(checked.error, HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Movies, BadMovieTest,
    ::testing::Values(
        BadMovie{"Truncated", Movie("").substr(0, 40), "line 1, byte 40"},
        BadMovie{"CutInAText", "{\n\"v\":\n\"5.", "line 3"},
        BadMovie{"SomethingBehind", Movie("") + "x", "line 1"},
        BadMovie{"NotANumber", R"({"fr":NaN})", "byte 6"},
        BadMovie{"TooDeep", Repeated("[", 100000), "nested deeper than 64 levels"},
        BadMovie{"TooDeepInside", Movie(Repeated("{\"layers\":[", 40)), "nested deeper"},
        BadMovie{"AnArray", "[1]", "not an object"},
        BadMovie{"NoLayers", R"({"fr":30})", "not a Lottie movie"},
        BadMovie{"LayersNoArray", R"({"layers":3})", "\"layers\" is not an array"},
        BadMovie{"NoFrameRate", R"({"layers":[],"w":1,"h":1})", "\"fr\" (frame rate) is missing"},
        BadMovie{"FrameRateOfText", R"({"layers":[],"w":1,"h":1,"fr":"30"})", "is not a number"},
        BadMovie{"FrameRate0", R"({"layers":[],"w":1,"h":1,"fr":0})",
                 "\"fr\" (frame rate) is 0; expected 1 to 240"},
        BadMovie{"FrameRateHuge", R"({"layers":[],"w":1,"h":1,"fr":1e999})",
                 "line 1, byte 30: Number too big"},
        BadMovie{"FrameRateTwice", R"({"layers":[],"w":1,"h":1,"fr":30,"fr":0})", "is 0; expected"},
        BadMovie{"TooWide", R"({"layers":[],"w":8193,"h":1})", "\"w\" (stage width) is 8193"},
        BadMovie{"Flat", R"({"layers":[],"w":1,"h":0})", "\"h\" (stage height) is 0"},
        BadMovie{"EndBeforeStart", R"({"layers":[],"w":1,"h":1,"fr":30,"ip":9,"op":9})",
                 "does not come after"},
        BadMovie{"TooLong", R"({"layers":[],"w":1,"h":1,"fr":30,"ip":0,"op":1e7})",
                 "100000 frames or more"},
        BadMovie{"Repeater", Movie(Shapes(R"({"ty":"rp","c":{"k":5000}})")),
                 "layer 1 (\"logo\"): a repeater with 5000 copies; at most 1000 are allowed"},
        BadMovie{"RepeaterAnimated",
                 Movie(Shapes(R"({"ty":"gr","it":[{"ty":"rp","c":{"a":1,"k":[{"t":0,"s":[1]},)"
                              R"({"t":9,"s":[2000]}]}}]})")),
                 "2000 copies"},
        BadMovie{"RepeaterTwice", Movie(Shapes(R"({"ty":"rp","c":{"k":2},"c":{"k":5000}})")),
                 "5000 copies"},
        BadMovie{"RepeatersInRepeaters",
                 Movie(Shapes(R"({"ty":"gr","it":[{"ty":"gr","it":[{"ty":"rc"},)"
                              R"({"ty":"rp","c":{"k":900}}]},{"ty":"rp","c":{"k":900}}]})")),
                 "more than 50000 shapes"},
        BadMovie{"Star", Movie(Shapes(R"({"ty":"sr","pt":{"k":90000}})")), "a star with 90000"},
        BadMovie{"RepeaterThatGrows",
                 Movie(Shapes(R"({"ty":"rc"},{"ty":"rp","c":{"k":500},)"
                              R"("tr":{"ty":"tr","s":{"k":[150,150]}}})")),
                 "enlarged by more than a factor of 1000000"},
        BadMovie{
            "GroupsThatGrow",
            Movie(Shapes(
                R"({"ty":"gr","it":[{"ty":"gr","it":[{"ty":"gr","it":[{"ty":"tr","s":{"k":200}}]},)"
                R"({"ty":"tr","s":{"k":[-1e5,9]}}]},)"
                R"({"ty":"tr","s":{"a":1,"k":[{"t":0,"s":[100]},{"t":9,"s":[2e5]}]}}]})")),
            "enlarged"},
        BadMovie{"WideStroke",
                 Movie(R"({"ty":4,"ks":{"s":{"k":[50,-300]}},"shapes":[{"ty":"gr","it":[)"
                       R"({"ty":"st","w":{"k":70}},{"ty":"tr","s":{"k":100}}]}]})"),
                 "layer 1: a stroke is 210 wide with all scales that apply to it; at most 200"},
        BadMovie{"ParentsThatGrow",
                 Movie(R"({"ind":1,"parent":2,"ks":{"s":{"k":[1e5]}}},)"
                       R"({"ind":2,"parent":3,"ks":{"s":{"k":[1e5]}}},)"
                       R"({"ind":3,"ks":{"s":{"k":[1e3]}}})"),
                 "layer 1: something is enlarged"},
        BadMovie{
            "CompositionsThatGrow",
            Movie(R"({"ty":0,"refId":"a","ks":{"s":{"k":[1e5]}}})",
                  R"(,"assets":[{"id":"a","layers":[{"ty":0,"refId":"b","ks":{"s":{"k":1e5}}}]},)"
                  R"({"id":"b","layers":[{"ty":4,"ks":{"s":{"k":[101]}}}]}])"),
            "enlarged"},
        BadMovie{"Dash", Movie(Shapes(R"({"ty":"st","d":[{"n":"d","v":{"k":0.0001}}]})")),
                 "a dash of length 0.0001"},
        BadMovie{"ShapeWithoutType", Movie(Shapes("{}")), "without a type"},
        BadMovie{"ShapeNoObject", Movie(Shapes("7")), "not an object"},
        BadMovie{"LayerNoObject", Movie("{},3"), "layer 2: not an object"},
        BadMovie{"TimeStretch", Movie(R"({"ty":4,"sr":0})"), "time stretch"},
        BadMovie{"Doubling", Movie(R"({"ty":0,"refId":"c0"})", Doubling(40)),
                 "more than 5000 layers"},
        BadMovie{"InItself",
                 Movie("", R"(,"assets":[{"id":"a","layers":[{"ty":0,"refId":"b"}]},)"
                           R"({"id":"b","layers":[{"ty":0,"refId":"a"}]}])"),
                 "contains itself"},
        BadMovie{"ParentsInACircle",
                 Movie(R"({"ind":1,"parent":3},{"ind":2,"parent":1},{"ind":3,"parent":2})"),
                 "its own ancestor"},
        BadMovie{"OwnParent", Movie(R"({"ind":7,"parent":7})"), "\"ind\" 7"},
        BadMovie{"PictureFile",
                 Movie("", R"(,"assets":[{"id":"i","u":"../../","p":"etc/passwd","e":0}])"),
                 "asset \"i\": the picture is the file \"etc/passwd\""},
        BadMovie{"PictureFileSaidToBeEmbedded",
                 Movie("", R"(,"assets":[{"id":"i","p":"data:x","p":"/etc/passwd","e":1}])"),
                 "only pictures inside the document"},
        BadMovie{"AssetsNoArray", Movie("", R"(,"assets":{})"), "\"assets\" is not an array"}),
    [](const auto& movie) { return std::string(movie.param.name); });

TEST(MovieCheckTest, ReadsTheHeaderOfAGoodMovie) {
  const Checked checked = Check(Movie(Shapes(R"({"ty":"rp","c":{"k":1000}})")));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_EQ(100u, checked.header.stageDims.width);
  EXPECT_EQ(50u, checked.header.stageDims.height);
  EXPECT_EQ(30, checked.header.framesPerSecond);
}

TEST(MovieCheckTest, BringsEveryNumberIntoRangeAndKeepsWholeOnesWhole) {
  const Checked checked = Check(
      Movie(R"({"a":[7,-7.5,1e300,-1e300,1e-999,99999999999999999999999,-2147483649,2147483647,)"
            R"(100000.5,3.0,-0,1E5,0.1]})"));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_THAT(checked.text, HasSubstr(R"("a":[7,-7.5,100000.0,-100000.0,0.0,100000,-100000,100000,)"
                                      R"(100000.0,3.0,0,100000.0,0.1])"));
}

TEST(MovieCheckTest, MakesASizeThatIsNotWholeWhole) {
  const Checked checked = Check(R"({"fr":29.97,"ip":0,"op":60,"w":99.6,"h":50.2,"layers":[]})");
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_EQ(100u, checked.header.stageDims.width);
  EXPECT_THAT(checked.text, HasSubstr(R"("w":100,"h":50)"));
}

TEST(MovieCheckTest, BoundsHowFarEasingOvershoots) {
  const Checked checked = Check(Movie(
      R"({"ks":{"p":{"a":1,"k":[{"t":0,"s":[0],"i":{"x":[0.5],"y":[99]},"o":{"x":0.5,"y":-99}}]}}})"));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_THAT(checked.text, HasSubstr(R"("i":{"x":[0.5],"y":[10.0]},"o":{"x":0.5,"y":-10.0})"));
}

TEST(MovieCheckTest, LeavesWhatOnlyHasTheNamesOfEasingAsItIs) {
  for (const char* shape : {R"({"ty":"sh","ks":{"k":{"v":[[0,0]],"i":[[-50,99]],"o":[[50,-99]]}}})",
                            R"({"ty":"fl","o":{"a":0,"k":100}})"}) {
    const Checked checked = Check(Movie(Shapes(shape)));
    ASSERT_TRUE(checked.good) << checked.error;
    EXPECT_THAT(checked.text, HasSubstr(shape));
  }
}

TEST(MovieCheckTest, MarksPicturesInTheDocumentAsSuch) {
  const Checked checked =
      Check(Movie("", R"(,"assets":[{"id":"i","p":"data:image/png;base64,AA=="},)"
                      R"({"id":"j","e":0,"p":"data:image/png;base64,AA=="}])"));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_THAT(checked.text, HasSubstr(R"({"id":"i","p":"data:image/png;base64,AA==","e":1})"));
  EXPECT_THAT(checked.text, HasSubstr(R"({"id":"j","e":1,)"));
}

TEST(MovieCheckTest, AllowsCompositionsUsedManyTimes) {
  const Checked checked = Check(Movie(R"({"ty":0,"refId":"c0"})", Doubling(10)));
  EXPECT_TRUE(checked.good) << checked.error;
}

TEST(MovieCheckTest, StopsParsingWhenItIsCancelled) {
  PlainHost host;
  host.cancelled = true;
  const Checked checked = Check("[" + Repeated("0,", 100000) + "0]", host);
  EXPECT_FALSE(checked.good);
  EXPECT_THAT(checked.error, HasSubstr("stopped"));
}

TEST(MovieCheckTest, GivesAllMemoryBackWhereverItRunsOut) {
  // Enough small values for several chunks of the tree's memory.
  std::string layers = Shapes(R"({"ty":"fl","c":{"k":[0.5,0.5,0.5,1]}})");
  for (int i = 0; i < 2000; ++i) layers += "," + Shapes(R"({"ty":"fl","c":{"k":[0.5,1]}})");
  int refused = 0;
  bool good = false;
  for (unsigned long limit = 1000; !good && limit < 100000000; limit = limit * 3 / 2) {
    LimitedMemory memory(limit);
    PlainHost host;
    host.memory = &memory;
    try {
      good = Check(Movie(layers), host).good;
    } catch (const std::bad_alloc&) {
      ++refused;
    }
  }
  EXPECT_TRUE(good);
  EXPECT_LT(5, refused);
}

}  // namespace
}  // namespace plexion_host::player
