// Texts as they are seen: where their lines lie, how large they are, and what their spans look like.
#include <algorithm>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

class TextTest : public ApplicationTest {
 protected:
  /// First and last column in which `elements` leave something that passes `wanted`.
  template <typename Wanted>
  std::pair<int, int> Columns(const std::string& elements, const Wanted& wanted) {
    EXPECT_TRUE(
        LoadDocument("<application width='64' height='36' background='#000000'>"
                     "<scene id='s'>" +
                     elements + "</scene></application>"))
        << error_.message;
    pixels_.clear();
    Visit(0);
    std::pair<int, int> columns = {64, -1};
    for (int x = 0; x < 64; ++x) {
      for (uint32_t y = 0; y < 36; ++y) {
        if (!wanted(At(static_cast<uint32_t>(x), y))) continue;
        columns = {std::min(columns.first, x), std::max(columns.second, x)};
      }
    }
    return columns;
  }
  std::pair<int, int> Columns(const std::string& elements) {
    return Columns(elements, [](uint32_t pixel) { return (pixel & 0xFF) > 100; });
  }
};

constexpr char kHebrew[] = "\xd7\xa9\xd7\x9c";

TEST_F(TextTest, LiesWhereItIsAlignedInEveryDirection) {
  const struct {
    const char* align;
    const char* text;
    bool left;
  } cases[] = {
      {"left", "ab", true},      {"left", kHebrew, true}, {"right", "ab", false},
      {"right", kHebrew, false}, {"start", "ab", true},   {"start", kHebrew, false},
      {"end", "ab", false},      {"end", kHebrew, true},
  };
  for (const auto& each : cases) {
    const std::string common = " font='DejaVu Sans' size='12' align='" + std::string(each.align) +
                               "'>" + each.text + "</text>";
    // In a box, and at a point.
    const auto boxed = Columns("<text width='64'" + common);
    const auto free = Columns("<text x='32'" + common);
    const std::string what = std::string(each.align) + " " + each.text;
    EXPECT_EQ(each.left, boxed.first < 3) << what << " " << boxed.first;
    EXPECT_EQ(!each.left, boxed.second > 60) << what << " " << boxed.second;
    EXPECT_EQ(each.left, free.first >= 32) << what << " " << free.first;
    EXPECT_EQ(!each.left, free.second < 33) << what << " " << free.second;
  }
}

TEST_F(TextTest, EachLineLiesLeftWhateverItsDirection) {
  Write("main.lua", std::string("stage.find('t').text = 'ab\\n") + kHebrew +
                        "' trace(stage.find('t').textWidth < 40)");
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36' background='#000000'><scene id='s'>"
                   "<text id='t' width='64' font='DejaVu Sans' size='12'/></scene>"
                   "<script src='main.lua'/></application>"));
  Visit(0);
  for (uint32_t y = 0; y < 36; ++y) {
    for (uint32_t x = 30; x < 64; ++x) EXPECT_EQ(0xFF000000, At(x, y)) << x << "," << y;
  }
  EXPECT_EQ("true", Trace(0)) << "it is as wide as its lines";
}

TEST_F(TextTest, ShrinksUntilItFitsAndNoFurther) {
  ASSERT_TRUE(LoadDocument(
      "<application width='640' height='360'><scene id='s'>"
      "<text id='line' width='200' size='60' shrink='10' text='A headline that is too long'/>"
      "<text id='short' width='200' size='60' shrink='10' text='A'/>"
      "<text id='least' width='100' size='60' shrink='50' text='A headline that is too long'/>"
      "<text id='box' width='200' height='80' size='60' shrink='10' wrap='word' "
      "text='Many words that have to stand in a small box'/></scene>"
      "<script>for _, id in ipairs{'line', 'short', 'least', 'box'} do local e = stage.find(id)\n"
      "trace(id, e.textWidth // 1, e.textHeight // 1) end\n"
      "local e = stage.find('line') e.text = 'short' trace(e.textHeight > 60)</script>"
      "</application>"))
      << error_.message;
  int width = 0;
  int height = 0;
  ASSERT_EQ(2, sscanf(Trace(0).c_str(), "line\t%d", &width) +
                   sscanf(Trace(3).c_str(), "box\t%*d.0\t%d", &height))
      << Trace(0) << Trace(3);
  EXPECT_LE(width, 200);
  EXPECT_GT(width, 180) << "not smaller than it has to be";
  EXPECT_LE(height, 80);
  EXPECT_GT(height, 55);
  EXPECT_NE(std::string::npos, Trace(1).find("\t")) << Trace(1);
  ASSERT_EQ(1, sscanf(Trace(2).c_str(), "least\t%d", &width));
  EXPECT_LE(width, 101) << "the rest ends in an ellipsis";
  EXPECT_EQ("true", Trace(4)) << "a shorter text is large again";
}

TEST_F(TextTest, SpansHaveColoursOfTheirOwn) {
  const auto isRed = [](uint32_t pixel) {
    return (pixel >> 16 & 255) > 150 && (pixel & 255) < 60 && (pixel >> 8 & 255) < 60;
  };
  const std::string text =
      "<text font='DejaVu Sans' size='16' weight='700'>MM<span color='#ff0000'>MM</span></text>";
  const auto red = Columns(text, isRed);
  EXPECT_GT(red.first, 20);
  EXPECT_LT(Columns(text).second, red.first + 1) << "the rest is white";
  const auto half = Columns("<group opacity='0.5'>" + text + "</group>",
                            [](uint32_t pixel) { return (pixel >> 16 & 255) > 140; });
  EXPECT_EQ(-1, half.second) << "opacity counts for them as well";
}

TEST_F(TextTest, ScriptsSetSpansAndTextTakesThemAway) {
  ASSERT_TRUE(LoadScript(
      "local t = stage.find('label')\n"
      "t.spans = {'Gate ', {'B12', color = '#ff0000', weight = 700, italic = true}, 7}\n"
      "trace(t.text)\n"
      "local c = t:clone() t.text = 'plain' trace(t.text, c.text)\n"
      "local function try(v) local ok, why = pcall(function() t.spans = v end)\n"
      "  trace(ok, why) end\n"
      "try({{'a', colour = '#fff'}}) try({{'a', weight = 2000}}) try({{}}) try('a')\n"
      "local many = {} for i = 1, 300 do many[i] = {'a'} end try(many)\n"
      "try({('x'):rep(70000)}) trace(pcall(function() stage.find('box').spans = {} end))"))
      << error_.message;
  EXPECT_EQ("Gate B127", Trace(0));
  EXPECT_EQ("plain\tGate B127", Trace(1));
  const char* const reasons[] = {"a span has no \"colour\"; expected color",
                                 "weight is \"2000\"; expected a number from 100 to 1000",
                                 "string expected, got nil",
                                 "table expected, got string",
                                 "there are 201 spans; expected at most 200",
                                 "expected UTF-8 text of at most 65536 bytes",
                                 "a rectangle has no property \"spans\""};
  for (size_t i = 0; i < std::size(reasons); ++i) {
    EXPECT_NE(Trace(2 + i).find(reasons[i]), std::string::npos) << Trace(2 + i);
  }
}

TEST_F(TextTest, LanguagesOfATextHaveALimit) {
  workPerLook_ = 0;
  ASSERT_TRUE(
      LoadScript("local t = stage.find('label')\n"
                 "for i = 1, 200 do t.lang = 'x-' .. i local w = t.textWidth end"));
  EXPECT_EQ(std::vector<std::string>{"<text> \"label\": more than 100 languages"}, host_.Notices());
}

TEST_F(TextTest, TheFontsThatComeWithItHaveTheWorldsScripts) {
  ContentAddress content;
  content.path = std::string(PLEXION_EXAMPLES) + "/text";
  engine_ = MakeApplicationEngine(host_, engines_, SystemClocks());
  ASSERT_TRUE(engine_->Load(content, facts_, error_)) << error_.message;
  std::vector<uint32_t> pixels(size_t{1280} * 720);
  DrawTarget target;
  target.pixels = pixels.data();
  target.pitchBytes = 1280 * 4;
  target.dims = {1280, 720};
  target.everything = true;
  Visit(0);
  ASSERT_TRUE(engine_->Draw(target).drawn);
  for (const std::string& notice : host_.Notices()) ADD_FAILURE() << notice;
  // The emoji are in colour; nothing else is, so far left and low.
  const auto isYellow = [](uint32_t pixel) {
    return (pixel >> 16 & 255) > 200 && (pixel >> 8 & 255) > 120 && (pixel & 255) < 60;
  };
  EXPECT_GT(std::count_if(pixels.begin() + 1280 * 640, pixels.end(), isYellow), 50);
}

}  // namespace
}  // namespace plexion_host::player::application
