// string.find, match, gmatch and gsub with Lua's patterns. The language's own run outside of any
// count of instructions, and some patterns take years; these look at the time as they go.
#include <ctype.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "host/player/application/script/sandbox/PatternMatcher.h"
#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

namespace {

std::string_view CheckText(lua_State* state, int index) {
  size_t length = 0;
  const char* text = luaL_checklstring(state, index, &length);
  return {text, length};
}

/// A position counted from the end when negative, as an offset; past the end when too large.
size_t StartOf(lua_Integer position, size_t length) {
  if (position > 0) return static_cast<size_t>(position) - 1;
  if (position == 0 || position < -static_cast<lua_Integer>(length)) return 0;
  return length - static_cast<size_t>(-position);
}

int FindOrMatch(lua_State* state, bool find) {
  const std::string_view subject = CheckText(state, 1);
  const std::string_view pattern = CheckText(state, 2);
  const size_t start = StartOf(luaL_optinteger(state, 3, 1), subject.size());
  if (start > subject.size()) {
    luaL_pushfail(state);
    return 1;
  }
  if (find && (lua_toboolean(state, 4) != 0 ||
               pattern.find_first_of("^$*+?.([%-") == std::string_view::npos)) {
    // The C library's search takes time in proportion to both texts.
    Script::Of(state).CheckTime(state);
    const void* found =
        memmem(subject.data() + start, subject.size() - start, pattern.data(), pattern.size());
    if (found == nullptr) {
      luaL_pushfail(state);
      return 1;
    }
    const auto at = static_cast<const char*>(found) - subject.data();
    lua_pushinteger(state, at + 1);
    lua_pushinteger(state, at + static_cast<ptrdiff_t>(pattern.size()));
    return 2;
  }
  const bool anchored = !pattern.empty() && pattern[0] == '^';
  PatternMatcher matcher(state, subject, pattern);
  const char* end = subject.data() + subject.size();
  for (const char* at = subject.data() + start; at <= end; ++at) {
    if (const char* to = matcher.MatchFrom(at, pattern.data() + (anchored ? 1 : 0))) {
      if (!find) return matcher.PushCaptures(at, to);
      lua_pushinteger(state, at - subject.data() + 1);
      lua_pushinteger(state, to - subject.data());
      return 2 + matcher.PushCaptures(nullptr, nullptr);
    }
    if (anchored) break;
  }
  luaL_pushfail(state);
  return 1;
}

int FindText(lua_State* state) { return FindOrMatch(state, true); }
int MatchText(lua_State* state) { return FindOrMatch(state, false); }

/// Upvalues: subject, pattern, offset to go on from, end of the last match.
int NextMatch(lua_State* state) {
  const std::string_view subject = CheckText(state, lua_upvalueindex(1));
  const std::string_view pattern = CheckText(state, lua_upvalueindex(2));
  const auto from = static_cast<size_t>(lua_tointeger(state, lua_upvalueindex(3)));
  const char* last = subject.data() + lua_tointeger(state, lua_upvalueindex(4));
  PatternMatcher matcher(state, subject, pattern);
  const char* end = subject.data() + subject.size();
  for (const char* at = subject.data() + from; at <= end; ++at) {
    const char* to = matcher.MatchFrom(at, pattern.data());
    // An empty match where the last one ended would be found for ever.
    if (to == nullptr || to == last) continue;
    lua_pushinteger(state, to - subject.data());
    lua_copy(state, -1, lua_upvalueindex(3));
    lua_replace(state, lua_upvalueindex(4));
    return matcher.PushCaptures(at, to);
  }
  return 0;
}

int IterateMatches(lua_State* state) {
  const std::string_view subject = CheckText(state, 1);
  CheckText(state, 2);
  const size_t start =
      std::min(StartOf(luaL_optinteger(state, 3, 1), subject.size()), subject.size() + 1);
  lua_settop(state, 2);
  lua_pushinteger(state, static_cast<lua_Integer>(start));
  lua_pushinteger(state, -1);
  lua_pushcclosure(state, NextMatch, 4);
  return 1;
}

void AddReplacementText(lua_State* state, PatternMatcher& matcher, luaL_Buffer& buffer,
                        const char* from, const char* to) {
  const std::string_view text = CheckText(state, 3);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      luaL_addchar(&buffer, text[i]);
      continue;
    }
    const char next = ++i < text.size() ? text[i] : '\0';
    if (next == '%') {
      luaL_addchar(&buffer, '%');
    } else if (next == '0') {
      luaL_addlstring(&buffer, from, static_cast<size_t>(to - from));
    } else if (isdigit(static_cast<unsigned char>(next)) != 0) {
      matcher.PushCapture(next - '1', from, to);
      luaL_tolstring(state, -1, nullptr);
      lua_remove(state, -2);
      luaL_addvalue(&buffer);
    } else {
      luaL_error(state, "invalid use of '%%' in replacement string");
    }
  }
}

/// Returns  true when the match was replaced by something else.
bool AddReplacement(lua_State* state, PatternMatcher& matcher, luaL_Buffer& buffer,
                    const char* from, const char* to) {
  switch (lua_type(state, 3)) {
    case LUA_TFUNCTION:
      lua_pushvalue(state, 3);
      lua_call(state, matcher.PushCaptures(from, to), 1);
      break;
    case LUA_TTABLE:
      matcher.PushCapture(0, from, to);
      lua_gettable(state, 3);
      break;
    default:
      AddReplacementText(state, matcher, buffer, from, to);
      return true;
  }
  if (lua_toboolean(state, -1) == 0) {
    lua_pop(state, 1);
    luaL_addlstring(&buffer, from, static_cast<size_t>(to - from));
    return false;
  }
  if (lua_isstring(state, -1) == 0) {
    luaL_error(state, "invalid replacement value (a %s)", luaL_typename(state, -1));
  }
  luaL_addvalue(&buffer);
  return true;
}

int Substitute(lua_State* state) {
  const std::string_view subject = CheckText(state, 1);
  const std::string_view pattern = CheckText(state, 2);
  const int kind = lua_type(state, 3);
  luaL_argexpected(
      state,
      kind == LUA_TNUMBER || kind == LUA_TSTRING || kind == LUA_TFUNCTION || kind == LUA_TTABLE, 3,
      "string/function/table");
  const lua_Integer most = luaL_optinteger(state, 4, static_cast<lua_Integer>(subject.size()) + 1);
  const bool anchored = !pattern.empty() && pattern[0] == '^';
  PatternMatcher matcher(state, subject, pattern);
  luaL_Buffer buffer;
  luaL_buffinit(state, &buffer);
  const char* at = subject.data();
  const char* end = at + subject.size();
  const char* last = nullptr;
  lua_Integer count = 0;
  bool changed = false;
  while (count < most) {
    const char* to = matcher.MatchFrom(at, pattern.data() + (anchored ? 1 : 0));
    if (to != nullptr && to != last) {
      ++count;
      changed = AddReplacement(state, matcher, buffer, at, to) || changed;
      at = last = to;
    } else if (at < end) {
      // Only a text with something left gets here.
      // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
      luaL_addchar(&buffer, *at++);
    } else {
      break;
    }
    if (anchored) break;
  }
  if (changed) {
    luaL_addlstring(&buffer, at, static_cast<size_t>(end - at));
    luaL_pushresult(&buffer);
  } else {
    luaL_pushresult(&buffer);
    lua_pushvalue(state, 1);
  }
  lua_pushinteger(state, count);
  return 2;
}

}  // namespace

void OpenPatterns(lua_State* state) {
  const luaL_Reg functions[] = {{"find", FindText},
                                {"match", MatchText},
                                {"gmatch", IterateMatches},
                                {"gsub", Substitute},
                                {nullptr, nullptr}};
  luaL_setfuncs(state, functions, 0);
}

}  // namespace plexion_host::player::application
