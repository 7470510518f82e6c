// Parts: what their uses hand them, what is whose, and what is told when they do not fit.
#include "host/player/image/StillPicture.h"
#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr char kLabel[] =
    "<part width='20' height='9'>\n"
    "<parameter name='title'/>\n"
    "<parameter name='size' type='number' default='12'/>\n"
    "<parameter name='bold' type='flag' default='false'/>\n"
    "<text id='label' width='{width}' size='{size}' text='{title} {{{size}}}'/>\n"
    "<script>count = (count or 0) + 1\n"
    "trace(part.id, parameters.title, parameters.size * 2, parameters.bold, count)\n"
    "function say(text) part:find('label').text = text end</script>\n"
    "</part>";

class PartsTest : public ApplicationTest {
 protected:
  PartsTest() { workPerLook_ = 100000; }

  /// What a document says whose scene has these elements; empty when it plays.
  std::string Wrong(const std::string& elements) { return Show(elements) ? "" : error_.message; }
  bool Show(const std::string& elements, const std::string& script = "") {
    return LoadDocument(
        "<application width='64' height='36' rate='10' background='#000000'>\n<scene id='s'>\n" +
        elements + "\n</scene>" +
        (script.empty() ? "" : "<script><![CDATA[" + script + "]]></script>") + "</application>");
  }
};

TEST_F(PartsTest, TakesWhatItsUseSays) {
  Write("parts/label.xml", kLabel);
  ASSERT_TRUE(
      Show("<use part='parts/label.xml' id='a' x='3' title='One &amp; {two}' size='1.5'/>"
           "<use part='parts/label.xml' id='b' width='30' title='Two' bold='true'/>",
           "local l = stage.find('a'):find('label')\n"
           "trace(l.text, l.width, l.size, l.parent.x, l.parent.height)\n"
           "trace(stage.find('b'):find('label').width, stage.find('label'))"))
      << error_.message;
  EXPECT_EQ("a\tOne & {two}\t3.0\tfalse\t1", Trace(0));
  EXPECT_EQ("b\tTwo\t24\ttrue\t1", Trace(1)) << "the first use has a count of its own";
  EXPECT_EQ("One & {two} {1.5}\t20.0\t1.5\t3.0\t9.0", Trace(2)) << "values are not read again";
  EXPECT_EQ("30.0\tnil", Trace(3)) << "an id in a part is the part's";
}

TEST_F(PartsTest, ScriptsOfTwoUsesDoNotMeet) {
  Write("label.xml", kLabel);
  Write("pair.xml",
        "<part><use part='label.xml' id='left' title='L'/><use part='label.xml' id='right' "
        "title='R'/>"
        "<script>parts.left.say('from the pair') function both(t) parts.left.say(t) "
        "parts.right.say(t) end</script></part>");
  ASSERT_TRUE(Show("<use part='label.xml' id='one' title='1'/><use part='pair.xml' id='pair'/>",
                   "local function labels(group) local l = group:find('left'):find('label').text "
                   "local r = group:find('right'):find('label').text return l, r end\n"
                   "local pair = stage.find('pair')\n"
                   "trace(labels(pair)) parts.pair.both('same') trace(labels(pair))\n"
                   "trace(say, count, parts.left, parts.one.count, parts.pair.parts.left.count)\n"
                   "trace(stage.find('one'):find('label').text, pair:find('label'), "
                   "stage.find('one').parent:find('label'))"))
      << error_.message;
  EXPECT_EQ("from the pair\tR {12}", Trace(3));
  EXPECT_EQ("same\tsame", Trace(4));
  EXPECT_EQ("nil\tnil\tnil\t1\t1", Trace(5)) << "nothing of a part is the application's";
  EXPECT_EQ("1 {12}\tnil\tnil", Trace(6)) << "and what is below a part's part is not found";
}

TEST_F(PartsTest, WhatDoesNotFitIsToldWithItsPlace) {
  Write("label.xml", kLabel);
  Write("around.xml", "<part>\n<group>\n<use part='label.xml'/></group></part>");
  Write("typo.xml", "<part>\n<parameter name='title' default=''/>\n<text text='{titel}'/></part>");
  Write("self.xml", "<part><use part='self.xml'/></part>");
  Write("scene.xml", "<part><scene id='x'/></part>");
  Write("late.xml", "<part><text/><parameter name='a'/></part>");
  Write("taken.xml", "<part><parameter name='rotation'/></part>");
  Write("twice.xml", "<part><text id='a'/><text id='a'/></part>");
  Write("half.xml", "<part><text");
  Write("brace.xml", "<part><text>a { b</text></part>");
  std::ofstream(top_ / "outside.xml") << "<part/>";
  std::filesystem::create_symlink(top_ / "outside.xml", folder_ / "link.xml");
  const struct {
    std::string use;
    std::string message;
  } cases[] = {
      {"<use part='label.xml'/>",
       "application.xml:3:1: <use>: parameter \"title\" of label.xml is missing; expected "
       "title=\"...\""},
      {"<use part='label.xml' titel='x'/>",
       "application.xml:3:1: <use>: \"titel\" is no parameter of label.xml; did you mean "
       "\"title\"?"},
      {"<use part='label.xml' title='x' colour='#fff'/>",
       "\"colour\" is no parameter of label.xml; expected one of title, size, bold"},
      {"<use part='label.xml' title='x' size='big'/>",
       "application.xml:3:1: <use>: attribute \"size\" is \"big\"; expected a number"},
      {"<use part='label.xml' title='x' bold='yes'/>", "expected true or false"},
      {"\n<use part='label.xml' title='x' size='5000'/>",
       "label.xml:5:1: <text>: attribute \"size\" is \"5000\"; expected a number from 1 to 2000; "
       "used in line 4"},
      {"<use part='around.xml'/>",
       "around.xml:3:1: <use>: parameter \"title\" of label.xml is missing; expected "
       "title=\"...\"; used in line 3"},
      {"<use part='typo.xml'/>",
       "typo.xml:3:1: <text>: attribute \"text\": {titel} is no parameter of the part; did you "
       "mean "
       "\"title\"?; used in line 3"},
      {"<use part='self.xml'/>", "parts use each other more than 8 levels deep"},
      {"<use part='scene.xml'/>", "scene.xml:1:7: <scene>: <scene> is not known in <part>"},
      {"<use part='late.xml'/>", "a parameter after elements; expected all of them before"},
      {"<use part='taken.xml'/>", "expected a name that is none of a group's own"},
      {"<use part='twice.xml'/>", "id \"a\" is taken in this part"},
      {"<use part='half.xml'/>", "half.xml:1:7: <part>: what begins here is never closed"},
      {"<use part='brace.xml'/>", "brace.xml:1:18: <text>: a lone {; expected {NAME}"},
      {"<use part='none.xml'/>", "application.xml:3:1: <use>: part: cannot open \"none.xml\""},
      {"<use part='../outside.xml'/>", "it leads out of the application's folder"},
      {"<use part='link.xml'/>", "it leads out of the application's folder"},
      {"<use part='application.xml'/>", "<application>; expected <part>; used in line 3"},
      {"<use part='label.xml' title='x'><text/></use>", "<text> where none may stand"},
  };
  for (const auto& each : cases) {
    const std::string wrong = Wrong(each.use);
    EXPECT_NE(wrong.find(each.message), std::string::npos) << each.use << "\n  said: " << wrong;
    EXPECT_EQ(kErrorCorruptMovie, error_.status);
  }
  Write("fails.xml", "<part>\n<script>\nerror('no')</script></part>");
  EXPECT_EQ("TallyScript: fails.xml:3: no", Wrong("<use part='fails.xml'/>"));
}

TEST_F(PartsTest, CannotGrowWithoutEnd) {
  // Eight levels of a hundred each; without a limit they were ten thousand million million.
  std::string uses;
  for (int i = 0; i < 100; ++i) uses += "<use part='PART'/>";
  for (int level = 0; level < 7; ++level) {
    std::string text = "<part>" + uses + "</part>";
    const std::string next = std::to_string(level + 1) + ".xml";
    for (size_t at = text.find("PART"); at != std::string::npos; at = text.find("PART", at)) {
      text.replace(at, 4, next);
    }
    Write(std::to_string(level) + ".xml", text);
  }
  Write("7.xml", "<part><text/></part>");
  EXPECT_NE(Wrong("<use part='0.xml'/>").find("10000 elements already, which is the limit"),
            std::string::npos)
      << error_.message;

  Write("long.xml", "<part><!--" + std::string(65000, '-').replace(1, 1, " ") + "--></part>");
  Write("large.xml", "<part><!--" + std::string(65000, 'x') + "--></part>");
  std::string many;
  for (int i = 0; i < 300; ++i) many += "<use part='large.xml'/>";
  EXPECT_NE(Wrong(many).find("have more than 16777216 bytes together"), std::string::npos)
      << error_.message;
  // A value that is handed on twice at each level.
  Write("grow.xml",
        "<part><parameter name='a'/><text text='{a}'/><use part='grow.xml' a='{a}{a}'/></part>");
  EXPECT_FALSE(Wrong("<use part='grow.xml' a='" + std::string(4000, 'w') + "'/>").empty());
  EXPECT_LT(error_.message.size(), 1000u);
  Write("too-large.xml", "<part>" + std::string(70000, ' ') + "</part>");
  EXPECT_NE(Wrong("<use part='too-large.xml'/>").find("more than the 65536 bytes"),
            std::string::npos)
      << error_.message;
}

TEST_F(PartsTest, LinesBeginAtTheirFirstPointAfterAText) {
  ASSERT_TRUE(
      Show("<text x='2' y='20' size='9'>A</text>"
           "<line points='40,30 60,30' stroke='#ff0000' strokeWidth='2'/>"));
  Visit(0);
  EXPECT_EQ(0xFFFF0000, At(50, 30));
  EXPECT_EQ(0xFF000000, At(30, 28)) << "not where the text has left its pen";
}

TEST_F(PartsTest, IsReadAgainWhileItIsWritten) {
  watchFiles_ = true;
  Write("box.xml", "<part><rectangle width='64' height='36' fill='#ff0000'/></part>");
  ASSERT_TRUE(Show("<use part='box.xml'/>"));
  Visit(0);
  EXPECT_EQ(0xFFFF0000, At(32, 18));
  const auto publish = [this](const std::string& text) {
    Write("next", text);
    std::filesystem::rename(folder_ / "next", folder_ / "box.xml");
    ASSERT_TRUE(host_.WaitForRequest());
    RunTo(position_ + 2);
  };
  publish("<part><rectangle width='64'");
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_EQ(0u, host_.Notices()[0].find("box.xml:1:7: <part>")) << host_.Notices()[0];
  publish("<part><rectangle width='64' height='36' fill='#0000ff'/></part>");
  EXPECT_EQ(0xFF0000FF, At(32, 18));
}

TEST_F(PartsTest, WhatIsReadAgainTakesNothingFromNamesakes) {
  watchFiles_ = true;
  Write("box.xml",
        "<part><rectangle id='box' x='32' width='32' height='36' fill='#ff0000'/></part>");
  ASSERT_TRUE(
      Show("<rectangle id='box' width='20' height='36' fill='#ff0000'/>"
           "<use part='box.xml'/>",
           "on('keydown', function() stage.find('box').fill = '#0000ff' end)"));
  Visit(0);
  Press('a');
  EXPECT_EQ(0xFF0000FF, At(4, 18));
  Write("next", "<part><rectangle id='box' x='30' width='34' height='36' fill='#ff0000'/></part>");
  std::filesystem::rename(folder_ / "next", folder_ / "box.xml");
  ASSERT_TRUE(host_.WaitForRequest());
  RunTo(position_ + 2);
  EXPECT_EQ(0xFF0000FF, At(4, 18)) << "what a script has set stays";
  EXPECT_EQ(0xFFFF0000, At(31, 18)) << "and the part's has its own";
}

TEST_F(PartsTest, CheckNamesWhatIsNotUsed) {
  Write("a.xml",
        "<part><parameter name='used'/><parameter name='idle' default=''/><text id='known' "
        "text='{used}'/><text id='lost'/><script src='{folder}a.lua'/></part>");
  Write("a.lua", "part:find('known').x = 1");
  Write("b.xml", "<part><image src='b.png'/></part>");
  ASSERT_TRUE(Show("<use part='a.xml' used='x'/><text id='row1'/><text id='nobody'/>",
                   "local first = stage.find('row' .. 1)"))
      << error_.message;
  EXPECT_EQ((std::vector<std::string>{"not used: \"b.xml\" is named nowhere",
                                      "not used: id \"row1\" of a <text> in application.xml",
                                      "not used: id \"nobody\" of a <text> in application.xml",
                                      "not used: id \"lost\" of a <text> in a.xml",
                                      "not used: parameter \"idle\" of a.xml"}),
            engine_->Findings());
}

/// The parts that come with the player.
class ExamplePartsTest : public PartsTest {
 protected:
  ExamplePartsTest() {
    std::filesystem::copy(std::string(PLEXION_EXAMPLES) + "/parts", folder_,
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
  }
};

TEST_F(ExamplePartsTest, LookAsTheirPictures) {
  for (const char* name : {"all", "list", "ticker", "clock", "chart", "qr-card", "weather"}) {
    host_.settings.variables = {{"show", name}};
    ASSERT_TRUE(Load()) << error_.message;
    RunTo(30);
    std::vector<uint32_t> pixels(size_t{640} * 360);
    DrawTarget target;
    target.pixels = pixels.data();
    target.pitchBytes = 640 * 4;
    target.dims = {640, 360};
    target.everything = true;
    ASSERT_TRUE(engine_->Draw(target).drawn);

    std::ifstream file(std::string(PLEXION_DOCS) + "/part-" + name + ".png", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    StillPicture picture;
    std::string error;
    ASSERT_TRUE(DecodeStillPicture(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                                   StillLimits(), picture, error))
        << name << ": " << error;
    ASSERT_EQ(640u, picture.width);
    size_t different = 0;
    for (size_t i = 0; i < pixels.size(); ++i) {
      const uint32_t expected = picture.pixels.As<uint32_t>()[i];
      for (int shift = 0; shift < 24; shift += 8) {
        const int a = static_cast<int>(pixels[i] >> shift & 255);
        const int b = static_cast<int>(expected >> shift & 255);
        if (abs(a - b) > 16) {
          ++different;
          break;
        }
      }
    }
    // Another version of the font library moves an edge here and there.
    EXPECT_LT(different, 200u) << name;
    EXPECT_TRUE(host_.Notices().empty()) << name << ": " << host_.Notices()[0];
  }
}

TEST_F(ExamplePartsTest, ListsTurnTheirPagesAndSurviveTheirFiles) {
  ASSERT_TRUE(Show(
      "<use part='list.xml' id='l' source='trains.json' columns='time, to' rows='3' "
      "seconds='2'/>",
      "function state() local l = stage.find('l') local texts = {}\n"
      "for _, e in ipairs(l:find('rows'):children()) do if e.kind == 'text' then texts[#texts + "
      "1] = e.text end end\n"
      "trace(l:find('page').text, #texts, texts[1], l:find('nothing').visible) end\n"
      "state() on('keydown', state)"))
      << error_.message;
  EXPECT_EQ("1 / 3\t6\t10:12\tfalse", Trace(0));
  RunTo(25);
  Press('a');
  EXPECT_EQ("2 / 3\t6\t10:35\tfalse", Trace(1));
  RunTo(45);
  Press('a');
  EXPECT_EQ("3 / 3\t4\t11:05\tfalse", Trace(2));
  size_t traced = 3;
  for (const char* text : {"{", "[]", R"([5, null, [], {"time": {}}, {"to": "Oslo"}])"}) {
    Write("next", text);
    std::filesystem::rename(folder_ / "next", folder_ / "trains.json");
    ASSERT_TRUE(host_.WaitForRequest());
    RunTo(position_ + 2);
    Press('a');
    const std::vector<std::string> traces = host_.Traces();
    const std::string last = traces.back();
    if (text[0] == '{') {
      EXPECT_EQ(0u, traces[traced].find("trains.json: ")) << traces[traced];
      EXPECT_EQ("3 / 3\t4\t11:05\tfalse", last) << "the last good rows stay";
    } else {
      EXPECT_EQ(text[1] == ']' ? "\t0\tnil\ttrue" : "\t2\t\tfalse", last);
    }
    traced = traces.size();
  }
  EXPECT_TRUE(host_.Notices().empty()) << host_.Notices()[0];
}

TEST_F(ExamplePartsTest, ChartsAndWeatherTakeWhateverTheyAreTold) {
  Write(
      "odd.json",
      R"([{"label": 5, "value": "7"}, {"value": 1e300}, {"value": {}}, 3, {"label": "x", "value": -2}])");
  std::string uses;
  for (const char* kind : {"bars", "line", "pie", "unheard-of"}) {
    uses += std::string("<use part='chart.xml' id='") + kind + "' kind='" + kind +
            "' source='odd.json' palette='no colours'/>";
  }
  ASSERT_TRUE(Show(uses + "<use part='weather.xml' id='w' source='odd.json' days='1000000'/>",
                   "for _, id in ipairs{'bars', 'line', 'pie', 'unheard-of'} do\n"
                   "trace(id, #stage.find(id):find('plot'):children()) end\n"
                   "trace(parts.bars.use(5)) trace(parts.w.use{{day = 'Mon', sky = 'green'}})\n"
                   "trace(#stage.find('w'):find('row'):children())"))
      << error_.message;
  EXPECT_EQ("bars\t7", Trace(0)) << "two bars with numbers and names, and the rule";
  EXPECT_EQ("line\t12", Trace(1));
  EXPECT_EQ("pie\t8", Trace(2));
  EXPECT_EQ("nil\tis no list", Trace(4));
  EXPECT_EQ("1", Trace(6));
  EXPECT_TRUE(host_.Notices().empty()) << host_.Notices()[0];
}

TEST_F(ExamplePartsTest, TextsAreCutBetweenLettersAndMayBeNone) {
  // Of two bytes each, after one of one: the middle of a letter lies at every even length.
  ASSERT_TRUE(
      Show("<use part='list.xml' id='l' source='none.json' columns='a'/>"
           "<use part='chart.xml' id='c' source='none.json'/>"
           "<use part='weather.xml' id='w' source='none.json'/><use part='ticker.xml' id='t'/>",
           "local long, bad = 'x' .. ('\\u{e4}'):rep(3000), 'a\\xff'\n"
           "for _, text in ipairs{bad, long} do\n"
           "parts.l.use{{a = text}, {a = 'good'}} parts.c.use{{label = text, value = 1}}\n"
           "parts.w.use{{day = text}} parts.t.say{text, 5, 'good'} end\n"
           "local belt = stage.find('t'):find('belt') trace(#belt:children(), belt.width > 1000)\n"
           "on('keydown', function() parts.t.say{'short'} trace(belt.x) end)"))
      << error_.message;
  EXPECT_EQ("3\ttrue", Trace(host_.Traces().size() - 1));
  RunTo(300);
  Press('a');
  EXPECT_GT(std::stod(host_.Traces().back()), 0) << "a shorter one begins anew";
  EXPECT_TRUE(host_.Notices().empty()) << host_.Notices()[0];
}

}  // namespace
}  // namespace plexion_host::player::application
