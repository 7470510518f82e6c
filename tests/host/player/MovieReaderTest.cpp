// What documents are refused for, and what the model says of good ones.
#include <gmock/gmock.h>

#include <string>

#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/scene/NotDrawn.h"
#include "tests/host/player/PlainHost.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::movie {
namespace {

using player::LimitedMemory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A document that was read, or what is wrong with it.
struct Checked {
  explicit Checked(const std::string& text, bool cancelled = false,
                   qx::plexion::MemoryWatchdog* watchdog = nullptr)
      : tree(watchdog), movie(watchdog) {
    JsonValue root;
    good = ReadJson(
               text, {}, [cancelled] { return cancelled; }, tree, root, error) &&
           ReadMovie(root, movie, error);
  }
  Arena tree;
  Movie movie;
  bool good = false;
  std::string error;
};

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
  const Checked checked(GetParam().text);
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
        BadMovie{"FrameRateOfText", R"({"layers":[],"w":1,"h":1,"fr":"30 fps"})",
                 "is not a number"},
        BadMovie{"FrameRate0", R"({"layers":[],"w":1,"h":1,"fr":0})",
                 "\"fr\" (frame rate) is 0; expected 1 to 240"},
        BadMovie{"FrameRateHuge", R"({"layers":[],"w":1,"h":1,"fr":1e999})", "line 1, byte 34"},
        BadMovie{"KeyTwice", R"({"layers":[],"w":1,"h":1,"fr":30,"fr":0})",
                 "the key \"fr\" stands twice"},
        BadMovie{"TypeTwice", Movie(Shapes(R"({"ty":"rp","c":{"k":1},"ty":"sh"})")), "\"ty\""},
        BadMovie{"KeyTwiceAmongMany",
                 "{" + Repeated(R"("a":1,)", 1) + R"("b":1,"c":1,"d":1,"e":1,"f":1,"g":1,"h":1,)" +
                     R"("i":1,"j":1,"k":1,"l":1,"m":1,"n":1,"o":1,"p":1,"q":1,"r":1,"s":1,"t":1,)" +
                     R"("u":1,"v":1,"w":1,"x":1,"y":1,"z":1,"b":2})",
                 "the key \"b\" stands twice"},
        BadMovie{"TooWide", R"({"layers":[],"w":8193,"h":1})", "\"w\" (stage width) is 8193"},
        BadMovie{"Flat", R"({"layers":[],"w":1,"h":0})", "\"h\" (stage height) is 0"},
        BadMovie{"EndBeforeStart", R"({"layers":[],"w":1,"h":1,"fr":30,"ip":9,"op":9})",
                 "does not come after"},
        BadMovie{"TooLong", R"({"layers":[],"w":1,"h":1,"fr":30,"ip":0,"op":1e7})",
                 "expected -100000 to 100000"},
        BadMovie{"Repeater", Movie(Shapes(R"({"ty":"rp","c":{"k":5000}})")),
                 "layer 1 (\"logo\"): a repeater with 5000 copies; at most 1000 are allowed"},
        BadMovie{"RepeaterAnimated",
                 Movie(Shapes(R"({"ty":"gr","it":[{"ty":"rp","c":{"a":1,"k":[{"t":0,"s":[1]},)"
                              R"({"t":9,"s":[2000]}]}}]})")),
                 "2000 copies"},
        BadMovie{"RepeatersInRepeaters",
                 Movie(Shapes(R"({"ty":"gr","it":[{"ty":"gr","it":[{"ty":"rc"},)"
                              R"({"ty":"rp","c":{"k":900}}]},{"ty":"rp","c":{"k":900}}]})")),
                 "more than 50000 shapes"},
        BadMovie{"MergesInRepeaters",
                 Movie(Shapes(R"({"ty":"gr","it":[{"ty":"sr","pt":{"k":400}},{"ty":"mm","mm":3}]},)"
                              R"({"ty":"rp","c":{"k":100}})")),
                 "points of paths"},
        BadMovie{"Star", Movie(Shapes(R"({"ty":"sr","pt":{"k":90000}})")), "a star with 90000"},
        BadMovie{"Dash", Movie(Shapes(R"({"ty":"st","d":[{"n":"d","v":{"k":0.0001}}]})")),
                 "a dash of length 0.0001"},
        BadMovie{"LayerStyles", Movie("{\"ty\":4,\"sy\":[" + Repeated("{},", 32) + "{}]}"),
                 "33 layer styles; at most 32 are allowed"},
        BadMovie{"LayersWithStyles",
                 Movie(Repeated("{\"sy\":[" + Repeated("{},", 31) + "{}]},", 99) + "{}"),
                 "more than 50000 shapes"},
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
        BadMovie{"OwnMatte", Movie(R"({"ind":1,"tt":1,"tp":2},{"ind":2,"tt":1,"tp":1})"),
                 "its own matte"},
        BadMovie{"AssetsNoArray", Movie("", R"(,"assets":{})"), "\"assets\" is not an array"}),
    [](const auto& movie) { return std::string(movie.param.name); });

TEST(MovieReaderTest, ReadsTheHeaderAndMakesNumbersFit) {
  const Checked checked(
      Movie(Shapes(R"({"ty":"rp","c":{"k":1000}},{"ty":"rc","s":{"k":[1e300]}})")));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_EQ(100, checked.movie.width);
  EXPECT_EQ(50, checked.movie.height);
  EXPECT_EQ(30, checked.movie.frameRate);
  const Shape& rectangle = checked.movie.root.layers[0].shapes[1];
  EXPECT_EQ(1e6f, rectangle.size->value[0]);
}

/// What a rectangle's size is said to be, after reading.
const Property& Size(const Checked& checked) {
  return *checked.movie.root.layers[0].shapes[0].size;
}

TEST(MovieReaderTest, TakesTheNextKeysStartWhereAKeyHasNoEndOfItsOwn) {
  const Checked checked(Movie(Shapes(R"({"ty":"rc","s":{"a":1,"k":[
    {"t":0,"s":[1,2],"e":[9,9],"o":{"x":[0.3,0.4],"y":[0,0]},"i":{"x":[0.7,0.7],"y":[1,1]}},
    {"t":10,"s":[3,4],"h":1},{"t":20,"s":[5,6],"o":{"x":0.3,"y":0},"i":{"x":0.7,"y":1}}]}})")));
  ASSERT_TRUE(checked.good) << checked.error;
  const Property& size = Size(checked);
  ASSERT_EQ(2u, size.segments.count);
  EXPECT_EQ(3, size.segments[0].end[0]);
  EXPECT_EQ(2u, size.segments[0].easing.count) << "one for each dimension";
  EXPECT_TRUE(size.segments[1].hold);
  EXPECT_EQ(5, size.value[0]) << "from the last key on";
}

TEST(MovieReaderTest, ReadsWhatOldAuthorsWrote) {
  const Checked checked(
      R"({"v":"4.0.0","fr":30,"ip":0,"op":9,"w":9,"h":9,"layers":[{"ty":4,"shapes":[
        {"ty":"fl","c":{"k":[255,51,0,255]}},
        {"ty":"sh","closed":true,"ks":{"k":{"v":[[1,2]],"i":[[3,4]],"o":[[-3,0]]}}}]}]})");
  ASSERT_TRUE(checked.good) << checked.error;
  const Span<Shape>& shapes = checked.movie.root.layers[0].shapes;
  EXPECT_FLOAT_EQ(1, shapes[0].colour->value[0]);
  EXPECT_FLOAT_EQ(0.2f, shapes[0].colour->value[1]);
  EXPECT_TRUE(shapes[1].path->value.closed);
  EXPECT_EQ(4, shapes[1].path->value.points[2]) << "handles are absolute";
}

TEST(MovieReaderTest, TakesWhatSloppyExportersWrite) {
  const Checked checked(
      R"json({"v":5,"fr":"29.97","op":"60","w":"100","h":50,"assets":null,"markers":null,
      "layers":[{"ty":"4","ind":"1","ip":null,"op":"1e1","st":null,"sr":null,"hd":"true","bm":null,
      "ks":{"s":{"a":0,"k":[50]},"o":{"a":0,"k":"25"},"r":{"a":1,"k":[{"t":"3","s":["1"]},
      {"t":"9","s":["2"]}]}},"ef":[null,{"ty":25,"ef":null}],"masksProperties":null,
      "shapes":[{},{"ty":null},{"ty":7},{"ty":"fl","c":null,"o":null}]},
      {"ty":4,"ks":{"s":{"k":200}}},{"ty":1,"sc":"rgba(255, 128,0,0.5)"},{"ty":1,"sc":"#11223344"},
      {"ty":1,"sc":"#f80"},{"ty":1,"sc":"rgb(1)"},{"ty":1,"sc":"#zz0000"},{"ty":1,"sc":null}]
})json");
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_NEAR(29.97, checked.movie.frameRate, 1e-9);
  EXPECT_EQ(0, checked.movie.in);
  EXPECT_EQ(60, checked.movie.out);
  const Span<Layer> layers = checked.movie.root.layers;
  EXPECT_EQ(LayerKind::kShape, layers[0].kind);
  EXPECT_EQ(1, layers[0].index);
  EXPECT_EQ(10, layers[0].out);
  EXPECT_EQ(1, layers[0].stretch);
  EXPECT_TRUE(layers[0].hidden);
  EXPECT_EQ(50, layers[0].transform.scale->value[1]) << "of one number for both";
  EXPECT_EQ(25, layers[0].transform.opacity->value[0]);
  EXPECT_EQ(3, layers[0].transform.rotation->segments[0].from);
  EXPECT_EQ(2, layers[0].transform.rotation->segments[0].end[0]);
  EXPECT_EQ(ShapeKind::kUnknown, layers[0].shapes[2].kind);
  EXPECT_EQ(200, layers[1].transform.scale->value[1]);
  EXPECT_EQ(0x7FFF8000u, layers[2].colour);
  EXPECT_EQ(0x44112233u, layers[3].colour);
  EXPECT_EQ(0xFFFF8800u, layers[4].colour);
  for (const size_t black : {5, 6, 7}) EXPECT_EQ(0xFF000000u, layers[black].colour) << black;
}

TEST(MovieReaderTest, PutsWhatASlotHoldsInThePlaceOfTheValue) {
  const Checked checked(Movie(Shapes(R"({"ty":"rc","s":{"k":[1,1],"sid":"big"}})"),
                              R"(,"slots":{"big":{"p":{"a":0,"k":[7,8]}}})"));
  ASSERT_TRUE(checked.good) << checked.error;
  EXPECT_EQ(8, Size(checked).value[1]);
}

TEST(MovieReaderTest, ReadsLayerStylesAndTellsOnceWhatOfThemIsNotDrawn) {
  const Checked checked(Movie(
      R"({"ty":4,"nm":"sky","sy":[{"ty":1,"s":7,"bm":{"k":5}},{"ty":1,"hd":true},{"ty":44},null]},)"
      R"({"ty":4,"sy":[{"ty":7,"o":{"k":20},"so":{"k":60},"bm":{"k":20}},{"ty":2,"no":{"k":3}},)"
      R"({"ty":8,"gf":{"p":9,"k":{"k":[0,1,0,0,1,0,0,1]}},"s":{"k":50}},{"ty":44}]},)"
      R"({"ty":4,"sy":{}})"));
  ASSERT_TRUE(checked.good) << checked.error;
  const Span<Layer> layers = checked.movie.root.layers;
  ASSERT_EQ(3u, layers[0].styles.count) << "without the hidden one";
  EXPECT_EQ(LayerStyleKind::kDropShadow, layers[0].styles[0].kind);
  EXPECT_EQ(7, layers[0].styles[0].size->value[0]);
  EXPECT_EQ(60, layers[1].styles[0].opacity->value[0]);
  EXPECT_EQ(2u, layers[1].styles[2].stopCount) << "no more than there are numbers for";
  EXPECT_TRUE(layers[2].styles.empty());
  const Checked old(R"({"v":"4.1.8","fr":30,"ip":0,"op":9,"w":9,"h":9,"layers":[{"ty":4,
      "sy":[{"ty":0,"c":{"k":[51,102,255,255]}}]}]})");
  EXPECT_FLOAT_EQ(0.2f, old.movie.root.layers[0].styles[0].colour->value[0]) << "of 255";
  std::vector<std::string> told;
  TellNotDrawn(checked.movie, [&](const std::string& what) { told.push_back(what); });
  EXPECT_THAT(told, ElementsAre("layer \"sky\": a layer style of type 44 is not drawn",
                                "layer \"sky\": a layer style of type -1 is not drawn",
                                "layer \"\": blend mode 20 of a layer style is not drawn",
                                "layer \"\": the noise of a layer style is not drawn"));
}

TEST(MovieReaderTest, AllowsCompositionsUsedManyTimes) {
  const Checked checked(Movie(R"({"ty":0,"refId":"c0"})", Doubling(10)));
  EXPECT_TRUE(checked.good) << checked.error;
}

TEST(MovieReaderTest, StopsReadingWhenItIsCancelled) {
  const Checked checked("[" + Repeated("0,", 100000) + "0]", true);
  EXPECT_FALSE(checked.good);
  EXPECT_THAT(checked.error, HasSubstr("stopped"));
}

TEST(MovieReaderTest, GivesAllMemoryBackWhereverItRunsOut) {
  std::string layers = Shapes(R"({"ty":"fl","c":{"k":[0.5,0.5,0.5,1]}})");
  for (int i = 0; i < 2000; ++i) layers += "," + Shapes(R"({"ty":"fl","c":{"k":[0.5,1]}})");
  int refused = 0;
  bool good = false;
  for (unsigned long limit = 1000; !good && limit < 100000000; limit = limit * 3 / 2) {
    LimitedMemory memory(limit);
    try {
      good = Checked(Movie(layers), false, &memory).good;
    } catch (const std::bad_alloc&) {
      ++refused;
    }
  }
  EXPECT_TRUE(good);
  EXPECT_LT(5, refused);
}

}  // namespace
}  // namespace plexion_host::movie
