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
      "on('start', function() while true do end end)",
      "timer.after(0.1, function() while true do end end)",
      "stage.find('box'):animate{x = 1, duration = 0.1, done = function() while true do end end}",
  };
  for (const char* loop : loops) {
    host_.failure = {kStatusUnconfigured, ""};
    position_ = 0;
    if (LoadScript(loop)) {
      RunTo(5);
      error_ = host_.failure;
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
  };
  for (const char* call : calls) {
    ASSERT_TRUE(LoadScript("trace(pcall(function() " + std::string(call) + " end))"))
        << call << error_.message;
    EXPECT_EQ(0u, host_.Traces().back().find("false")) << call << ": " << host_.Traces().back();
  }
  ASSERT_TRUE(LoadScript("trace(#string.rep('', 1 << 60))"));
  EXPECT_EQ("0", host_.Traces().back());
}

TEST_F(ApplicationTest, HeapHasItsLimit) {
  const char* const hogs[] = {
      "local t = {} while true do t[#t + 1] = string.rep('x', 100000) .. #t end",
      "local t = {} while true do t = {t} end",
      "local s = 'x' while true do s = s .. s end",
  };
  host_.settings.gcHeapLimitMegabytes = 4;
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

TEST_F(ApplicationTest, AScriptThatFailedIsNotCalledAgain) {
  ASSERT_TRUE(LoadScript("on('keydown', function() trace('called') error('broken') end)"));
  RunTo(0);
  Press('a');
  EXPECT_EQ(kErrorFatalPlaybackError, host_.failure.status);
  Press('a');
  EXPECT_EQ(1u, host_.Traces().size());
}

TEST_F(ApplicationTest, EndingTheWindowStopsAScriptAtOnce) {
  host_.cancelled = true;
  EXPECT_FALSE(LoadScript("while true do pcall(function() while true do end end) end"));
  EXPECT_NE(kErrorTallyScriptStuck, error_.status);
  EXPECT_NE(error_.message.find("stopped"), std::string::npos) << error_.message;
}

}  // namespace
}  // namespace plexion_host::player::application
