// Our matcher beside the language's own, which cannot be stopped and so is not given to scripts.
#include <gtest/gtest.h>

#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {
namespace {

class PatternTest : public ::testing::Test {
 protected:
  PatternTest() {
    limits_.workingTime = [this] {
      ++looks_;
      return int64_t{0};
    };
  }

  int looks_ = 0;
  ScriptLimits limits_;
  EngineError error_;
};

/// Thousands of patterns that are put together at random, most of them sound; both must answer the
/// same, failures included.
constexpr char kCompare[] = R"lua(
local random = math.random
local function pick(t) return t[random(#t)] end
local classes = {"%a", "%d", "%s", "%w", "%l", "%u", "%p", "%x", "%g", "%c", "%A", "%D", "%S", "%W"}
local singles = {"a", "b", "c", "1", " ", ".", "%.", "%%", "%-", "]", "-", "x", "\0", "\xe4", ","}
local function set()
  local parts = {}
  for i = 1, random(3) do
    parts[i] = pick{"a", "b-d", "%w", "%]", "]", "^", "-", "0-9", "%d", "z-a", "\0-\x20"}
  end
  return "[" .. (random(3) == 1 and "^" or "") .. table.concat(parts) .. "]"
end
local function item()
  local kind = random(20)
  if kind <= 7 then return pick(singles) end
  if kind <= 12 then return pick(classes) end
  if kind <= 15 then return set() end
  if kind == 16 then return pick{"%b()", "%bab", "%bxx"} end
  if kind == 17 then return "%f" .. set() end
  if kind == 18 then return pick{"%1", "%2", "()", "%0"} end
  return pick{"(", ")", "[", "%", "%f", "%b", "%bx", "$", "^", "["}
end
local function pattern()
  local parts, open = {}, 0
  if random(5) == 1 then parts[1] = "^" end
  for _ = 1, random(6) do
    if random(5) == 1 then parts[#parts + 1] = "(" open = open + 1 end
    parts[#parts + 1] = item() .. pick{"", "", "", "*", "+", "-", "?"}
    if open > 0 and random(3) == 1 then parts[#parts + 1] = ")" open = open - 1 end
  end
  if random(8) > 1 then parts[#parts + 1] = (")"):rep(open) end
  if random(6) == 1 then parts[#parts + 1] = "$" end
  return table.concat(parts)
end
local function subject()
  local parts = {}
  for i = 1, random(0, 14) do
    parts[i] = pick{"a", "b", "c", "ab", "1", "2", " ", ".", "(", ")", "x", "]", "-", "\0", "\xe4", "%"}
  end
  return table.concat(parts)
end
local function all(library, name, ...)
  if name ~= "gmatch" then return table.pack(pcall(library[name], ...)) end
  local found = {}
  local ok, why = pcall(function(...)
    for a, b, c in library.gmatch(...) do
      found[#found + 1] = table.concat({tostring(a), tostring(b), tostring(c)}, "|")
    end
  end, ...)
  return table.pack(ok, why, table.concat(found, ";"))
end
local replacements = {"<%0>", "%1", "%2", "%%", "%", "x%", "", {a = "A", b = false, ["1"] = 7},
  function(a, b) return b or a end, function() return nil end}
for round = 1, rounds do
  local s, p = subject(), pattern()
  local name = pick{"find", "match", "gmatch", "gsub"}
  local third = nil
  if name == "gsub" then
    third = pick(replacements)
  elseif random(3) == 1 then
    third = random(-16, 16)
  end
  local fourth = nil
  if name == "find" and random(6) == 1 then fourth, third = true, third or 1 end
  if name == "gsub" and random(4) == 1 then fourth = random(-1, 3) end
  local ours, theirs = all(string, name, s, p, third, fourth), all(original, name, s, p, third, fourth)
  local same = ours.n == theirs.n
  for i = 1, ours.n do same = same and ours[i] == theirs[i] end
  if ours[1] then matched = matched + 1 end
  if not same then
    error(("%s(%q, %q, %s, %s): ours %s %s %s, theirs %s %s %s"):format(name, s, p, tostring(third),
      tostring(fourth), tostring(ours[1]), tostring(ours[2]), tostring(ours[3]),
      tostring(theirs[1]), tostring(theirs[2]), tostring(theirs[3])), 0)
  end
end
)lua";

TEST_F(PatternTest, AnswersWhatTheLanguagesOwnMatcherAnswers) {
  Script script(limits_, nullptr);
  lua_State* state = script.State();
  ASSERT_NE(nullptr, state);
  ASSERT_TRUE(script.Protect(
      [](lua_State* inside) {
        luaL_requiref(inside, "original", luaopen_string, 1);
        lua_pushinteger(inside, 20000);
        lua_setglobal(inside, "rounds");
        lua_pushinteger(inside, 0);
        lua_setglobal(inside, "matched");
      },
      error_));
  ASSERT_TRUE(script.Run("math.randomseed(7)", "seed", 1, error_));
  EXPECT_TRUE(script.Run(kCompare, "compare", 1, error_)) << error_.message;
  EXPECT_TRUE(script.Run("assert(matched > rounds // 2, matched)", "count", 1, error_))
      << "most patterns are sound: " << error_.message;
}

TEST_F(PatternTest, LongSetsAndLongCapturesCountAsMuchAsTheyCost) {
  Script script(limits_, nullptr);
  ASSERT_TRUE(script.Run("long = ('b'):rep(20000)", "a", 1, error_));
  looks_ = 0;
  ASSERT_TRUE(script.Run("(('a'):rep(1000)):find('[' .. long .. ']')", "a", 1, error_));
  EXPECT_GT(looks_, 500) << "twenty million letters of the set";
  looks_ = 0;
  ASSERT_TRUE(script.Run("(long .. long):find('^(.-)%1x')", "a", 1, error_));
  EXPECT_GT(looks_, 500) << "two hundred million letters of the capture";
}

}  // namespace
}  // namespace plexion_host::player::application
