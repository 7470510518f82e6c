// string.find, match, gmatch and gsub with Lua's patterns. The language's own run outside of any
// count of instructions, and some patterns take years; these look at the time as they go.
#include <ctype.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "host/player/application/Script.h"

namespace plexion_host::player::application {

namespace {

constexpr int kMostCaptures = 32;
constexpr int kDeepest = 200;
constexpr unsigned kStepsBetweenChecks = 20000;
constexpr ptrdiff_t kOpenCapture = -1;
constexpr ptrdiff_t kPositionCapture = -2;

bool InClass(unsigned char c, unsigned char name) {
  bool in = false;
  switch (tolower(name)) {
    case 'a':
      in = isalpha(c) != 0;
      break;
    case 'c':
      in = iscntrl(c) != 0;
      break;
    case 'd':
      in = isdigit(c) != 0;
      break;
    case 'g':
      in = isgraph(c) != 0;
      break;
    case 'l':
      in = islower(c) != 0;
      break;
    case 'p':
      in = ispunct(c) != 0;
      break;
    case 's':
      in = isspace(c) != 0;
      break;
    case 'u':
      in = isupper(c) != 0;
      break;
    case 'w':
      in = isalnum(c) != 0;
      break;
    case 'x':
      in = isxdigit(c) != 0;
      break;
    default:
      return name == c;
  }
  return isupper(name) != 0 ? !in : in;
}

class Matcher {
 public:
  Matcher(lua_State* state, std::string_view subject, std::string_view pattern)
      : state_(state),
        begin_(subject.data()),
        end_(subject.data() + subject.size()),
        patternEnd_(pattern.data() + pattern.size()) {}

  /// The end of a match that begins at `at`, or null.
  const char* MatchFrom(const char* at, const char* pattern) {
    captures_ = 0;
    depth_ = 0;
    return Match(at, pattern);
  }

  int Captures() const { return captures_; }
  /// Pushes capture `index`, or the whole match when there is none.
  void PushCapture(int index, const char* from, const char* to) {
    if (index >= captures_) {
      if (index > 0) luaL_error(state_, "invalid capture index %%%d", index + 1);
      lua_pushlstring(state_, from, static_cast<size_t>(to - from));
      return;
    }
    const Capture& capture = capture_[index];
    if (capture.length == kOpenCapture) luaL_error(state_, "unfinished capture");
    if (capture.length == kPositionCapture) {
      lua_pushinteger(state_, capture.begin - begin_ + 1);
    } else {
      lua_pushlstring(state_, capture.begin, static_cast<size_t>(capture.length));
    }
  }
  int PushCaptures(const char* from, const char* to) {
    const int count = captures_ == 0 && from != nullptr ? 1 : captures_;
    luaL_checkstack(state_, count, "too many captures");
    for (int i = 0; i < count; ++i) PushCapture(i, from, to);
    return count;
  }

 private:
  struct Capture {
    const char* begin;
    ptrdiff_t length;
  };

  void Step() {
    if (++steps_ % kStepsBetweenChecks == 0) Script::Of(state_).CheckTime(state_);
  }

  /// The end of the single item that begins at `pattern`.
  const char* ItemEnd(const char* pattern) {
    const char c = *pattern++;
    if (c == '%') {
      if (pattern == patternEnd_) luaL_error(state_, "malformed pattern (ends with '%%')");
      return pattern + 1;
    }
    if (c != '[') return pattern;
    if (pattern < patternEnd_ && *pattern == '^') ++pattern;
    do {  // a ']' that stands first is one of the set
      if (pattern == patternEnd_) luaL_error(state_, "malformed pattern (missing ']')");
      if (*pattern++ == '%') {
        if (pattern == patternEnd_) luaL_error(state_, "malformed pattern (missing ']')");
        ++pattern;
      }
    } while (pattern == patternEnd_ || *pattern != ']');
    return pattern + 1;
  }

  /// `set` is at '[', `last` at its ']'.
  static bool InSet(unsigned char c, const char* set, const char* last) {
    bool found = true;
    if (set[1] == '^') {
      found = false;
      ++set;
    }
    while (++set < last) {
      if (*set == '%') {
        ++set;
        if (InClass(c, static_cast<unsigned char>(*set))) return found;
      } else if (set[1] == '-' && set + 2 < last) {
        const auto low = static_cast<unsigned char>(*set);
        set += 2;
        if (low <= c && c <= static_cast<unsigned char>(*set)) return found;
      } else if (static_cast<unsigned char>(*set) == c) {
        return found;
      }
    }
    return !found;
  }

  bool MatchesItem(const char* at, const char* item, const char* itemEnd) {
    Step();
    if (at >= end_) return false;
    const auto c = static_cast<unsigned char>(*at);
    switch (*item) {
      case '.':
        return true;
      case '%':
        return InClass(c, static_cast<unsigned char>(item[1]));
      case '[':
        return InSet(c, item, itemEnd - 1);
      default:
        return static_cast<unsigned char>(*item) == c;
    }
  }

  const char* Match(const char* at, const char* pattern) {
    if (++depth_ > kDeepest) luaL_error(state_, "pattern too complex");
    const char* result = MatchHere(at, pattern);
    --depth_;
    return result;
  }

  const char* MatchHere(const char* at, const char* pattern) {
    while (pattern != patternEnd_) {
      Step();
      if (*pattern == '(') return StartCapture(at, pattern);
      if (*pattern == ')') return EndCapture(at, pattern + 1);
      if (*pattern == '$' && pattern + 1 == patternEnd_) return at == end_ ? at : nullptr;
      if (*pattern == '%' && pattern + 1 != patternEnd_) {
        const char special = pattern[1];
        if (special == 'b') {
          at = MatchBalance(at, pattern + 2);
          if (at == nullptr) return nullptr;
          pattern += 4;
          continue;
        }
        if (special == 'f') {
          pattern += 2;
          if (pattern == patternEnd_ || *pattern != '[') {
            luaL_error(state_, "missing '[' after '%%f' in pattern");
          }
          const char* setEnd = ItemEnd(pattern);
          const auto before = static_cast<unsigned char>(at == begin_ ? '\0' : at[-1]);
          const auto after = static_cast<unsigned char>(at == end_ ? '\0' : *at);
          if (InSet(before, pattern, setEnd - 1) || !InSet(after, pattern, setEnd - 1)) {
            return nullptr;
          }
          pattern = setEnd;
          continue;
        }
        if (isdigit(static_cast<unsigned char>(special)) != 0) {
          at = MatchBackReference(at, special);
          if (at == nullptr) return nullptr;
          pattern += 2;
          continue;
        }
      }
      const char* itemEnd = ItemEnd(pattern);
      const char suffix = itemEnd == patternEnd_ ? '\0' : *itemEnd;
      if (suffix == '*') return MatchMost(at, pattern, itemEnd, 0);
      if (suffix == '+') return MatchMost(at, pattern, itemEnd, 1);
      if (suffix == '-') return MatchLeast(at, pattern, itemEnd);
      if (suffix == '?') {
        if (MatchesItem(at, pattern, itemEnd)) {
          if (const char* end = Match(at + 1, itemEnd + 1)) return end;
        }
        pattern = itemEnd + 1;
        continue;
      }
      if (!MatchesItem(at, pattern, itemEnd)) return nullptr;
      ++at;
      pattern = itemEnd;
    }
    return at;
  }

  const char* MatchMost(const char* at, const char* item, const char* itemEnd, ptrdiff_t least) {
    ptrdiff_t count = 0;
    while (MatchesItem(at + count, item, itemEnd)) ++count;
    for (; count >= least; --count) {
      if (const char* end = Match(at + count, itemEnd + 1)) return end;
    }
    return nullptr;
  }

  const char* MatchLeast(const char* at, const char* item, const char* itemEnd) {
    for (;; ++at) {
      if (const char* end = Match(at, itemEnd + 1)) return end;
      if (!MatchesItem(at, item, itemEnd)) return nullptr;
    }
  }

  const char* MatchBalance(const char* at, const char* pair) {
    if (pair + 1 >= patternEnd_)
      luaL_error(state_, "malformed pattern (missing arguments to '%%b')");
    if (at >= end_ || *at != pair[0]) return nullptr;
    int open = 1;
    for (const char* c = at + 1; c < end_; ++c) {
      Step();
      if (*c == pair[1]) {
        if (--open == 0) return c + 1;
      } else if (*c == pair[0]) {
        ++open;
      }
    }
    return nullptr;
  }

  const char* MatchBackReference(const char* at, char digit) {
    const int index = digit - '1';
    if (index < 0 || index >= captures_ || capture_[index].length == kOpenCapture) {
      luaL_error(state_, "invalid capture index %%%d", index + 1);
    }
    const ptrdiff_t length =
        capture_[index].length == kPositionCapture ? 0 : capture_[index].length;
    if (end_ - at < length || memcmp(capture_[index].begin, at, static_cast<size_t>(length)) != 0) {
      return nullptr;
    }
    return at + length;
  }

  const char* StartCapture(const char* at, const char* pattern) {
    if (captures_ >= kMostCaptures) luaL_error(state_, "too many captures");
    const bool position = pattern + 1 != patternEnd_ && pattern[1] == ')';
    capture_[captures_++] = {at, position ? kPositionCapture : kOpenCapture};
    const char* end = Match(at, pattern + (position ? 2 : 1));
    if (end == nullptr) --captures_;
    return end;
  }

  const char* EndCapture(const char* at, const char* pattern) {
    int index = captures_ - 1;
    while (index >= 0 && capture_[index].length != kOpenCapture) --index;
    if (index < 0) luaL_error(state_, "invalid pattern capture");
    capture_[index].length = at - capture_[index].begin;
    const char* end = Match(at, pattern);
    if (end == nullptr) capture_[index].length = kOpenCapture;
    return end;
  }

  lua_State* state_;
  const char* begin_;
  const char* end_;
  const char* patternEnd_;
  Capture capture_[kMostCaptures] = {};
  int captures_ = 0;
  int depth_ = 0;
  unsigned steps_ = 0;
};

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
    // A search in plain text takes its length times the pattern's at the very worst.
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
  Matcher matcher(state, subject, pattern);
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

int Find(lua_State* state) { return FindOrMatch(state, true); }
int MatchText(lua_State* state) { return FindOrMatch(state, false); }

/// Upvalues: subject, pattern, offset to go on from, end of the last match.
int NextMatch(lua_State* state) {
  const std::string_view subject = CheckText(state, lua_upvalueindex(1));
  const std::string_view pattern = CheckText(state, lua_upvalueindex(2));
  const auto from = static_cast<size_t>(lua_tointeger(state, lua_upvalueindex(3)));
  const char* last = subject.data() + lua_tointeger(state, lua_upvalueindex(4));
  Matcher matcher(state, subject, pattern);
  const char* end = subject.data() + subject.size();
  for (const char* at = subject.data() + from; at <= end; ++at) {
    const char* to = matcher.MatchFrom(at, pattern.data());
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

void AddReplacementText(lua_State* state, Matcher& matcher, luaL_Buffer& buffer, const char* from,
                        const char* to) {
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
bool AddReplacement(lua_State* state, Matcher& matcher, luaL_Buffer& buffer, const char* from,
                    const char* to) {
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
  Matcher matcher(state, subject, pattern);
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
  const luaL_Reg functions[] = {{"find", Find},
                                {"match", MatchText},
                                {"gmatch", IterateMatches},
                                {"gsub", Substitute},
                                {nullptr, nullptr}};
  luaL_setfuncs(state, functions, 0);
}

}  // namespace plexion_host::player::application
