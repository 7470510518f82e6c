// What a script cannot do: get out, go on for ever, or take all the memory.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

TEST_F(ApplicationTest, ScriptFindsNoWayOut) {
  std::ofstream(top_ / "secret.txt") << "secret";
  std::ofstream(top_ / "secret.lua") << "leaked = true";
  std::filesystem::create_symlink(top_ / "secret.txt", folder_ / "link.txt");
  std::filesystem::create_directory_symlink(top_, folder_ / "up");
  std::filesystem::create_symlink("/etc/passwd", folder_ / "passwd");
  ASSERT_EQ(0, mkfifo((folder_ / "pipe").c_str(), 0600));
  // Each of these answers true when it gets somewhere.
  const char* const attempts[] = {
      "return os ~= nil",
      "return io ~= nil",
      "return debug ~= nil",
      "return package ~= nil",
      "return load ~= nil or loadstring ~= nil",
      "return dofile ~= nil or loadfile ~= nil",
      "return collectgarbage ~= nil",
      "return string.dump ~= nil",
      "return files.read('../secret.txt') ~= nil",
      "return files.read('pictures/../../secret.txt') ~= nil",
      "return files.read('/etc/passwd') ~= nil",
      "return files.read('link.txt') ~= nil",
      "return files.read('up/secret.txt') ~= nil",
      "return files.read('passwd') ~= nil",
      "return files.read('/proc/self/environ') ~= nil",
      "return files.read('pipe') ~= nil",
      "return files.read('.') ~= nil",
      "return files.read('main.lua\\0.txt') ~= nil",
      "return files.exists('../secret.txt') or files.exists('link.txt')",
      "return files.list('..') ~= nil or files.list('up') ~= nil or files.list('/') ~= nil",
      "return files.json('../secret.txt') ~= nil or files.csv('../secret.txt') ~= nil",
      "files.watch('../secret.txt', function() end) return true",
      "files.watch('up/secret.txt', function() end) return true",
      "require('..secret') return true",
      "require('../secret') return true",
      "require('up.secret') return true",
      "setmetatable({}, {__gc = function() end}) return true",
      "local m = setmetatable({}, {__metatable = 1}) setmetatable(m, {}) return true",
      "getmetatable(stage.find('box')).__index = nil return true",
      "return type(getmetatable(stage.find('box'))) == 'table'",
      "stage.find('box').src = '../secret.txt' return true",
      "stage.create('text', stage.find('box')) return true",
      "stage.find('one'):remove() return true",
      "coroutine.wrap(function() error('x') end)() return true",
  };
  std::string script =
      "local function try(n, f) local ok, got = pcall(f)\n"
      "  if ok and got then trace('out by ' .. n) end end\n";
  int number = 0;
  for (const char* attempt : attempts) {
    script += "try(" + std::to_string(++number) + ", function() " + attempt + " end)\n";
  }
  script += "trace('done ' .. " + std::to_string(number) + ")";
  ASSERT_TRUE(LoadScript(script)) << error_.message;
  ASSERT_EQ(1u, host_.Traces().size()) << Trace(0);
  EXPECT_EQ("done " + std::to_string(number), Trace(0));
}

TEST_F(ApplicationTest, RefusesBytecode) {
  // The first byte of compiled code, in a file that the document names.
  EXPECT_FALSE(LoadScript("\x1bLua\x54"));
  EXPECT_EQ(kErrorFatalPlaybackError, error_.status);
  EXPECT_NE(error_.message.find("main.lua"), std::string::npos) << error_.message;
}

TEST_F(ApplicationTest, PicturesFromOutsideAreNotShown) {
  std::filesystem::create_symlink("/usr/share/pixmaps", folder_ / "pixmaps");
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36'><scene id='s'>"
                   "<image src='../a.png'/><image src='pixmaps/a.png'/></scene>"
                   "</application>"))
      << error_.message;
  ASSERT_EQ(2u, host_.notes.size());
  for (const auto& note : host_.notes) {
    EXPECT_EQ(kInfoUnsupportedPlaceholderRendered, note.first);
    EXPECT_NE(note.second.find("out of the application's folder"), std::string::npos)
        << note.second;
  }
}

TEST_F(ApplicationTest, WhatNeverEndsIsStopped) {
  const char* const loops[] = {
      "while true do end",
      "repeat until false",
      "local function f() return f() end f()",
      "while true do pcall(function() while true do end end) end",
      "while true do xpcall(function() while true do end end, function() while true do end end) "
      "end",
      "while true do coroutine.wrap(function() while true do pcall(function() while true do end "
      "end)"
      " end end)() end",
      "coroutine.wrap(function() local x <close> = setmetatable({}, {__close = function() while "
      "true do"
      " end end}) while true do end end)()",
      "pcall(function() local x <close> = setmetatable({}, {__close = function() while true do"
      " end end}) while true do end end)",
      "local c = coroutine.wrap(function() while true do coroutine.yield() end end)"
      " while true do pcall(c) end",
      "string.rep('a', 5000):find(string.rep('a?', 90) .. string.rep('a', 90) .. 'b')",
      "string.rep('a', 4000):match('(.-)(.-)(.-)(.-)(.-)(.-)b')",
      "while true do pcall(string.match, string.rep('a', 4000), '.-.-.-.-.-b') end",
      "string.rep('x', 3000):gsub('.-.-.-.-.-y', '')",
      "for _ in string.rep('x', 3000):gmatch('.-.-.-.-.-y') do end",
      "table.sort({3, 2, 1}, function() while true do end end)",
      "setmetatable(_G, {__index = function() while true do end end}) local x = nothing",
      "tostring(setmetatable({}, {__tostring = function() while true do end end}))",
      "error(setmetatable({}, {__tostring = function() while true do end end}))",
      "setmetatable({}, {__index = function(t, k) return t[k .. 'x'] end}).a = nil while true do "
      "end",
      "local t = setmetatable({}, {__lt = function() while true do end end}) return t < t",
      "::again:: goto again",
      "local t = {} for i = 1, 9999 do t[i] = i end table.sort(t, function() return true end)"
      " while true do pcall(table.sort, t, function() return true end) end",
      "local s = ('x'):rep(1 << 20) while true do local t = s .. s .. s end",
      "local s = ('x'):rep(1 << 19) while true do pcall(string.format, '%s%s', s, s) end",
      "local s = ('x'):rep(1 << 20) while true do local b = s .. 'a' == s .. 'b' end",
      "local s = (' '):rep(1 << 16) while true do local n = tonumber(s) end",
      "local s = ('x'):rep(1 << 16) while true do utf8.len(s) s:upper() end",
      "local t = {} for i = 1, 1 << 16 do t[i] = i end for i = 1, 1 << 16 do t[i] = nil end"
      " while true do next(t) end",
      "local s = '[' .. ('1,'):rep(1 << 20) .. '1]' while true do decode.json(s) end",
      "local s = 'a' .. ('\\n1'):rep(1 << 20) while true do decode.csv(s) end",
      "while true do files.read('main.lua') files.list('') end",
      "local f f = function() return pcall(f) end while true do f() end",
      "local function deep(n) return n == 0 and 0 or 1 + deep(n - 1) end while true do"
      " pcall(deep, 1e6) end",
      "local c = coroutine.create(function() while true do coroutine.yield() end end)"
      " while true do coroutine.resume(c) end",
      "while true do coroutine.wrap(coroutine.wrap)(print) end",
      "on('start', function() while true do end end)",
      "on('keydown', print) on('frame', function() for i = 1, 1e9 do end end)",
      "timer.after(0.1, function() while true do end end)",
      "stage.find('box'):animate{x = 1, duration = 0.1, done = function() while true do end end}",
  };
  for (const char* loop : loops) {
    host_.notes.clear();
    position_ = 0;
    if (LoadScript(loop)) {
      RunTo(5);
      EXPECT_EQ("", host_.failure.message) << "the application goes on";
      ASSERT_EQ(1u, host_.Notices().size()) << loop;
      error_ = {kErrorTallyScriptStuck, host_.Notices()[0]};
    }
    EXPECT_EQ(kErrorTallyScriptStuck, error_.status) << loop << "\n  " << error_.message;
    EXPECT_NE(error_.message.find("main.lua:1"), std::string::npos) << error_.message;
    EXPECT_NE(error_.message.find("does not come to an end"), std::string::npos) << error_.message;
  }
}

TEST_F(ApplicationTest, WhatTheCountOfInstructionsCannotStopIsBounded) {
  const char* const calls[] = {
      "string.rep('a', 1 << 40)",
      "string.rep('', 1 << 60, 'ab')",
      "table.move({}, 1, 1 << 50, 2)",
      "table.move({}, math.mininteger, math.maxinteger - 1, 2)",
      "table.concat({}, '', 1, 1 << 50)",
      "table.unpack({}, math.mininteger, math.maxinteger)",
      "table.sort(setmetatable({}, {__len = function() return 1 << 30 end}))",
      "table.insert(setmetatable({}, {__len = function() return 1 << 50 end}), 1, 1)",
      "table.remove(setmetatable({}, {__len = function() return 1 << 50 end}), 1)",
      "string.rep('x', 1 << 20):rep(1 << 20)",
      "string.format('%1000d', 1)",
      "('x'):rep(100):gsub('x', ('%0'):rep(1 << 22))",
      "local f f = function(s) return s:gsub('.', f) end f('a')",
      "local f f = function() return 1 + f() end f()",
      "local t = {} t = setmetatable(t, {__index = t}) return t.x",
      "assert(loadstring or load, 'no load')('\\27Lua')",
      "string.pack('s' .. ('i16'):rep(1 << 20), 1)",
      "table.unpack({}, 1, 999999)",
      "string.byte(('x'):rep(1 << 20), 1, -1)",
      "utf8.char(1 << 40)",
      "select(1 << 40 | 1, nil).x = 1",
      "stage.find('box'):clone(stage.find('box'))",
      "stage.find('one').parent.x = 1",
  };
  workPerLook_ = 1000;
  for (const char* call : calls) {
    ASSERT_TRUE(LoadScript("trace(pcall(function() " + std::string(call) + " end))"))
        << call << error_.message;
    EXPECT_EQ(0u, host_.Traces().back().find("false")) << call << ": " << host_.Traces().back();
  }
  ASSERT_TRUE(LoadScript("trace(#string.rep('', 1 << 60))"));
  EXPECT_EQ("0", host_.Traces().back());
}

TEST_F(ApplicationTest, AFullHeapEndsNeitherTheApplicationNorThePlayer) {
  host_.settings.gcHeapLimitMegabytes = 4;
  workPerLook_ = 1000;
  // Nothing is left, not even for the name of a key; so what calls the script must not fail either.
  const std::string fill =
      "kept = {} for size = 20, 0, -1 do pcall(function() while true do\n"
      "  kept = {kept, ('x'):rep(1 << size) .. size} end end) end\n"
      "pcall(function() while true do kept = {kept} end end)\n";
  const struct {
    InputEvent::Kind kind;
    const char* event;
  } cases[] = {{InputEvent::kKeyDown, "keydown"},
               {InputEvent::kMouseMove, "pointer"},
               {InputEvent::kScroll, "scroll"},
               {InputEvent::kEventCode, "event"}};
  for (const auto& each : cases) {
    host_.failure = {kStatusUnconfigured, ""};
    ASSERT_TRUE(LoadScript("on('" + std::string(each.event) +
                           "', function(...) local t = {...} end)\n" +
                           "on('frame', function(t) if not kept then " + fill + " end end)"))
        << error_.message;
    Visit(0);
    InputEvent event;
    event.kind = each.kind;
    event.code = 'a';
    for (uint64_t position = 1; position < 5; ++position) {
      event.x = static_cast<uint16_t>(position * 10);
      engine_->OnInput(event);
      Visit(position);
    }
    EXPECT_EQ(kStatusUnconfigured, host_.failure.status) << host_.failure.message;
    for (const std::string& notice : host_.Notices()) {
      EXPECT_NE(notice.find("more memory than 4 MB (--gcheaplimit)"), std::string::npos) << notice;
    }
    EXPECT_EQ(0xFFFF0000, At(10, 10)) << "the picture stays";
  }
}

TEST_F(ApplicationTest, HeapHasItsLimit) {
  const char* const hogs[] = {
      "local t = {} while true do t[#t + 1] = string.rep('x', 100000) .. #t end",
      "local t = {} while true do t = {t} end",
      "local s = 'x' while true do s = s .. s end",
  };
  host_.settings.gcHeapLimitMegabytes = 4;
  workPerLook_ = 1000;
  for (const char* hog : hogs) {
    EXPECT_FALSE(LoadScript(hog));
    EXPECT_EQ(kErrorNotEnoughMemory, error_.status) << hog << error_.message;
    EXPECT_NE(error_.message.find("4 MB (--gcheaplimit)"), std::string::npos) << error_.message;
  }
  EXPECT_TRUE(LoadScript("for i = 1, 1000 do local s = string.rep('x', 100000) .. i end"))
      << "garbage is collected: " << error_.message;
}

TEST_F(ApplicationTest, ErrorsNameFileAndLine) {
  EXPECT_FALSE(LoadScript("local a = 1\nlocal b = nothing.at.all"));
  EXPECT_EQ(kErrorFatalPlaybackError, error_.status);
  EXPECT_NE(error_.message.find("main.lua:2:"), std::string::npos) << error_.message;

  EXPECT_FALSE(LoadScript("x = = 1"));
  EXPECT_NE(error_.message.find("main.lua:1:"), std::string::npos) << error_.message;

  EXPECT_FALSE(
      LoadDocument("<application>\n<scene id='s'/>\n<script>\nerror('no')</script>"
                   "</application>"));
  EXPECT_NE(error_.message.find("application.xml:4: no"), std::string::npos) << error_.message;

  host_.settings.debugMode = true;
  EXPECT_FALSE(
      LoadScript("local function inner() error('no') end\nlocal function outer() inner() "
                 "end\nouter()"));
  EXPECT_NE(error_.message.find("main.lua:3:"), std::string::npos) << "the way to it, as well";
}

TEST_F(ApplicationTest, TheScriptsTimeIsThatOfAllCallsOfAMoment) {
  // Each handler alone stays within its time; all of them would stop the picture for long.
  ASSERT_TRUE(
      LoadScript("for i = 1, 50 do on('keydown', function() for j = 1, 2000 do end end) end\n"
                 "for i = 1, 50 do timer.after(1, function() for j = 1, 2000 do end end) end"));
  RunTo(0);
  Press('a');
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("does not come to an end"), std::string::npos);

  host_.notes.clear();
  ASSERT_TRUE(
      LoadScript("for i = 1, 50 do timer.after(1, function() for j = 1, 2000 do end end) end\n"));
  position_ = 0;
  RunTo(20);
  EXPECT_EQ(1u, host_.Notices().size());

  host_.notes.clear();
  ASSERT_TRUE(LoadScript("on('frame', function() for j = 1, 2000 do end end)"));
  position_ = 0;
  RunTo(300);
  EXPECT_TRUE(host_.notes.empty()) << "every moment has its own time";
}

TEST_F(ApplicationTest, EndingTheWindowStopsAScriptAtOnce) {
  host_.cancelled = true;
  EXPECT_FALSE(LoadScript("while true do pcall(function() while true do end end) end"));
  EXPECT_NE(kErrorTallyScriptStuck, error_.status);
  EXPECT_NE(error_.message.find("stopped"), std::string::npos) << error_.message;
}

}  // namespace
}  // namespace plexion_host::player::application
