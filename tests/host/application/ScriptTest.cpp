// What a script has to work with: files, settings, properties, and the language's patterns.
#include <algorithm>
#include <cstdlib>

#include "tests/host/application/ApplicationFixture.h"

/// Fontconfig 2.14 loses a few hundred bytes of each pattern that Pango makes.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace plexion_host::player::application {
namespace {

TEST_F(ApplicationTest, SettingsReachTheScript) {
  host_.settings.variables = {{"title", "Soup of the day"}};
  host_.settings.zorCmdLine = "--floor 3 'second hall' \"a \\\"b\\\"\" c\\ d #fff";
  host_.settings.locale = "de_DE.UTF-8";
  ASSERT_TRUE(
      LoadScript("trace(vars.title, locale, #args, table.concat(args, '|'))\n"
                 "trace(clock.now().year, clock.now().fraction)"))
      << error_.message;
  EXPECT_EQ("Soup of the day\tde_DE.UTF-8\t6\t--floor|3|second hall|a \"b\"|c d|#fff", Trace(0));
  EXPECT_EQ("2001\t0.25", Trace(1));
  host_.settings.zorCmdLine = "open 'quote";
  EXPECT_FALSE(LoadScript(""));
  EXPECT_NE(error_.message.find("--zorcmdline: the quote ' at column 6 has no partner"),
            std::string::npos);
}

TEST_F(ApplicationTest, ClocksShowTheTimeElsewhere) {
  wall_ = {1700000000, 0};  // 2023-11-14 22:13:20 UTC
  ASSERT_TRUE(
      LoadDocument("<application timezone='Asia/Kolkata'><scene id='s'/><script><![CDATA[\n"
                   "trace(clock.format('%d %H:%M %Z'), clock.now().offset)\n"
                   "trace(clock.format('%d %H:%M %z', 'America/New_York'), clock.now('UTC').hour)\n"
                   "trace(pcall(clock.now, 'Europe/Rom')) trace(pcall(clock.now, '/etc/passwd'))\n"
                   "trace(pcall(clock.now, ':/etc/localtime')) trace(pcall(clock.now, 'a/../b'))\n"
                   "]]></script></application>"))
      << error_.message;
  EXPECT_EQ("15 03:43 IST\t19800", Trace(0));
  EXPECT_EQ("14 17:13 -0500\t22", Trace(1));
  EXPECT_NE(Trace(2).find("there is no time zone \"Europe/Rom\""), std::string::npos) << Trace(2);
  for (size_t i = 3; i < 6; ++i) EXPECT_EQ(0u, Trace(i).find("false")) << Trace(i);
}

TEST_F(ApplicationTest, ALocaleThatIsNotInstalledIsToldOnce) {
  host_.settings.locale = "xx_YY";
  ASSERT_TRUE(LoadScript("trace(clock.format('%A')) trace(clock.format('%B'))")) << error_.message;
  EXPECT_EQ("Sunday", Trace(0));
  EXPECT_EQ(std::vector<std::string>{"the locale \"xx_YY\" is not installed; days and months are "
                                     "in English"},
            host_.Notices());
}

TEST_F(ApplicationTest, NobodyIsToldOfALocaleThatNobodyNamed) {
  const char* const before = getenv("LC_ALL");
  const std::string kept = before != nullptr ? before : "";
  setenv("LC_ALL", "xx_YY", 1);
  host_.settings.locale.clear();
  ASSERT_TRUE(LoadScript("trace(clock.format('%A'), locale)")) << error_.message;
  EXPECT_EQ("Sunday\ten_US.UTF-8", Trace(0));
  EXPECT_TRUE(host_.Notices().empty());
  before != nullptr ? setenv("LC_ALL", kept.c_str(), 1) : unsetenv("LC_ALL");
}

TEST_F(ApplicationTest, TracesAreSilentWithoutTheirOption) {
  host_.settings.traceFlags = 0;
  ASSERT_TRUE(LoadScript("trace('a')"));
  EXPECT_TRUE(host_.Traces().empty());
  host_.settings.traceFlags = kTraceScript;
  host_.settings.debugMode = true;
  ASSERT_TRUE(LoadScript("\ntrace('a', nil, 2)"));
  EXPECT_EQ("main.lua:2: a\tnil\t2", Trace(0));
}

TEST_F(ApplicationTest, ReadsJsonAndCsv) {
  Write("a.json", "{\"list\": [1, 2.5, \"x\", null, true], \"deep\": {\"a\": {}}}");
  Write("bad.json", "{\n\"a\": 1,\n}");
  Write("deep.json", std::string(100, '['));
  Write("a.csv",
        "\xef\xbb\xbfname;price\r\n\"Soup; hot\";4.50\r\n\"He said \"\"no\"\"\";3\r\n\r\n");
  Write("bad.csv", "a,b\n\"x\"y,2\n");
  ASSERT_TRUE(
      LoadScript("local j = files.json('a.json')\n"
                 "trace(#j.list, j.list[2], j.list[4], j.list[5], type(j.deep.a))\n"
                 "trace(files.json('bad.json'))\n"
                 "trace(files.json('deep.json'))\n"
                 "local c = files.csv('a.csv', ';')\n"
                 "trace(#c, c[1].name, c[1].price, c[2].name)\n"
                 "trace(files.csv('bad.csv'))\n"
                 "trace(files.read('none'))\n"
                 "trace(#decode.json('[1,2]'), decode.csv('a,b\\n1,2')[1].b)"))
      << error_.message;
  EXPECT_EQ("5\t2.5\tfalse\ttrue\ttable", Trace(0));
  EXPECT_EQ(0u, Trace(1).find("nil\tbad.json:3: ")) << Trace(1);
  EXPECT_NE(Trace(2).find("nested deeper than 64"), std::string::npos) << Trace(2);
  EXPECT_EQ("2\tSoup; hot\t4.50\tHe said \"no\"", Trace(3));
  EXPECT_NE(Trace(4).find("bad.csv:2: text after the closing quote"), std::string::npos)
      << Trace(4);
  EXPECT_NE(Trace(5).find("cannot open \"none\""), std::string::npos);
  EXPECT_EQ("2\t2", Trace(6));
}

TEST_F(ApplicationTest, HearsOfChangedFiles) {
  Write("data/prices.json", "1");
  ASSERT_TRUE(
      LoadScript("files.watch('data/prices.json', function(name)\n"
                 "  trace(name, files.read(name)) end)\n"
                 "files.watch('data', function(name) trace(name) end)"))
      << error_.message;
  RunTo(0);
  const auto heard = [this](const std::string& what) {
    const auto traces = host_.Traces();
    return std::find(traces.begin(), traces.end(), what) != traces.end();
  };
  Write("data/prices.json", "2");
  while (!heard("data/prices.json\t2") || !heard("data")) {
    ASSERT_TRUE(host_.WaitForRequest());
    Visit(0);
  }
  // As editors do it: written beside, then put in its place.
  Write("data/new", "3");
  std::filesystem::rename(folder_ / "data/new", folder_ / "data/prices.json");
  while (!heard("data/prices.json\t3")) {
    ASSERT_TRUE(host_.WaitForRequest());
    Visit(0);
  }
}

TEST_F(ApplicationTest, PatternsWorkAsTheLanguageSays) {
  ASSERT_TRUE(LoadScript(
      "trace(('hello world'):find('o w'))\n"
      "trace(('key = value'):match('^(%w+)%s*=%s*(%w+)$'))\n"
      "trace(('THE (quick) fox'):find('%((%a+)%)'))\n"
      "trace(('x'):rep(3, ','), ('abc'):gsub('%w', '%0%0'))\n"
      "trace(('abc'):gsub('', '-'))\n"
      "trace(('hello world'):gsub('o', {o = '0'}))\n"
      "trace(('abc'):gsub('b', function() return false end))\n"
      "trace(('THE (quick) fox'):gsub('%f[%a]%a+', string.lower, 2))\n"
      "trace(('f(a(b)c)d'):match('%b()'))\n"
      "trace(('[[x]]'):match('[]]+'), ('a-b'):match('[a%-]+'), ('aXb'):match('%u'))\n"
      "trace(('say \"hi\"'):match('([\"\\'])(.-)%1'))\n"
      "local t = {} for k, v in ('a=1, b=2'):gmatch('(%w+)=(%w+)') do t[#t + 1] = k .. v end\n"
      "trace(table.concat(t, ' '), ('abc'):match('()b()'))\n"
      "trace(('a.b'):find('.', 1, true), ('abc'):find('b', -1), ('abc'):find('', 4))\n"
      "trace(pcall(string.find, 'a', '[a'))\n"
      "trace(pcall(string.gsub, 'a', 'a', '%2'))\n"
      "trace(pcall(string.rep('(', 40).find, 'a', string.rep('(', 40)))"))
      << error_.message;
  const std::vector<std::string> expected = {"5\t7",
                                             "key\tvalue",
                                             "5\t11\tquick",
                                             "x,x,x\taabbcc\t3",
                                             "-a-b-c-\t4",
                                             "hell0 w0rld\t2",
                                             "abc\t1",
                                             "the (quick) fox\t2",
                                             "(a(b)c)",
                                             "]]\ta-\tX",
                                             "\"\thi",
                                             "a1 b2\t2\t3",
                                             "2\tnil\t4\t3",
                                             "false\tmalformed pattern (missing ']')",
                                             "false\tinvalid capture index %2",
                                             "false\ttoo many captures"};
  EXPECT_EQ(expected, host_.Traces());
}

TEST_F(ApplicationTest, CallsThatCatchErrorsAndCoroutinesWorkAsUsual) {
  ASSERT_TRUE(LoadScript(
      "trace(xpcall(function(a, b) return a + b, 'ok' end, print, 1, 2))\n"
      "trace(xpcall(error, function(e) return 'handled ' .. e end, 'x', 0))\n"
      "local next = coroutine.wrap(function(a) for i = a, 3 do a = coroutine.yield(i, a) end"
      " return 'end' end)\n"
      "trace(next(2)) trace(next('b')) trace(next())\n"
      "trace(pcall(next))\n"
      "trace(pcall(coroutine.wrap(function() error('inside', 0) end)))"))
      << error_.message;
  const std::vector<std::string> expected = {"true\t3\tok",  "false\thandled x",
                                             "2\t2",         "3\tb",
                                             "end",          "false\tcannot resume dead coroutine",
                                             "false\tinside"};
  EXPECT_EQ(expected, host_.Traces());
}

TEST_F(ApplicationTest, SetsOnlyWhatAPropertyAllows) {
  const struct {
    const char* script;
    const char* message;
  } cases[] = {
      {"stage.find('box').opacity = 2", "opacity is 2; expected a number from 0 to 1"},
      {"stage.find('box').x = 0/0", "expected a number from -100000 to 100000"},
      {"stage.find('box').x = '3'", "x is a string value; expected a number"},
      {"stage.find('box').fill = 'red'", "fill is \"red\"; expected a colour"},
      {"stage.find('box').text = 'a'", "a rectangle has no property \"text\""},
      {"stage.find('box').visible = 1", "visible is a number value; expected true or false"},
      {"stage.find('label').text = '\\xff'", "expected UTF-8 text"},
      {"local b = stage.find('box') b:remove() b.x = 1", "this element has been removed"},
      {"stage.find('box'):animate{ visible = true }", "visible cannot be animated to a boolean"},
      {"stage.find('box'):animate{ x = 1, easing = 'fast' }",
       "easing is \"fast\"; expected linear"},
      {"stage.show('three')", "there is no scene \"three\""},
      {"on('click', print)", "there is no event \"click\"; expected start"},
      {"timer.every(0, print)", "expected seconds from 0.001"},
      {"stage.create('circle', stage.overlay)", "\"circle\" is no kind of element"},
  };
  for (const auto& each : cases) {
    EXPECT_FALSE(LoadScript(each.script)) << each.script;
    EXPECT_NE(error_.message.find(each.message), std::string::npos)
        << each.script << "\n  said: " << error_.message;
    EXPECT_NE(error_.message.find("main.lua:1:"), std::string::npos) << error_.message;
  }
}

TEST_F(ApplicationTest, FontFoldersThatAreNotThereDoNoHarm) {
  host_.settings.fontDirs = "/nowhere,,/usr/share/fonts/truetype/dejavu";
  ASSERT_TRUE(LoadScript("trace(stage.find('label').textWidth > 0)")) << error_.message;
  EXPECT_EQ("true", Trace(0));
}

TEST_F(ApplicationTest, AnElementIsOneObject) {
  ASSERT_TRUE(
      LoadScript("local box = stage.find('box')\n"
                 "trace(box == stage.find('box'), box.parent == stage.find('one'),\n"
                 "  box.kind, #box.parent:children(), stage.find('label').textWidth > 0)\n"
                 "local copy = box:clone(nil, { x = 1, id = 'copy' })\n"
                 "trace(copy == stage.find('copy'), copy.x, copy.fill, tostring(copy))"))
      << error_.message;
  EXPECT_EQ("true\ttrue\trectangle\t2\ttrue", Trace(0));
  EXPECT_EQ("true\t1.0\t#ff0000ff\trectangle \"copy\"", Trace(1));
}

TEST_F(ApplicationTest, TheDocumentMayLieBelowAZorBase) {
  Write("apps/board/application.xml",
        "<application width='64' height='36'><scene id='s'/><script src='shared/a.lua'/>"
        "</application>");
  Write("shared/a.lua", "trace(require('shared.b'))");
  Write("shared/b.lua", "return 'from b'");
  ContentAddress content;
  content.path = folder_ / "apps/board/application.xml";
  host_.settings.zorBase = folder_;
  engine_ = MakeApplicationEngine(host_, engines_, SystemClocks());
  ASSERT_TRUE(engine_->Load(content, facts_, error_)) << error_.message;
  EXPECT_EQ("from b", Trace(0));
}

TEST_F(ApplicationTest, ExtensionsOfTheDeviceCanBeRequired) {
  std::filesystem::create_directory(top_ / "edk");
  std::ofstream(top_ / "edk/remote.lua") << "return 'extension'";
  host_.settings.extensionsDir = top_ / "edk";
  ASSERT_TRUE(LoadScript("trace(require('remote'), files.read('remote.lua'))")) << error_.message;
  EXPECT_EQ(0u, Trace(0).find("extension\tnil")) << Trace(0);
}

}  // namespace
}  // namespace plexion_host::player::application
