// Matches Lua's patterns step by step, so that the script's time is looked at on the way.
#include "host/player/application/script/sandbox/PatternMatcher.h"

#include <ctype.h>
#include <string.h>

namespace plexion_host::player::application {

namespace {

constexpr int kDeepest = 200;
constexpr size_t kStepsBetweenChecks = 20000;
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
    // Classes follow the C library's, which is what the language documents.
    case 'x':
      in = isxdigit(c) != 0;
      break;
    default:
      return name == c;
  }
  return isupper(name) != 0 ? !in : in;
}

/// `set` is at '[', `last` at its ']'.
bool InSet(unsigned char c, const char* set, const char* last) {
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

}  // namespace

const char* PatternMatcher::MatchFrom(const char* at, const char* pattern) {
  captures_ = 0;
  depth_ = 0;
  return Match(at, pattern);
}

void PatternMatcher::PushCapture(int index, const char* from, const char* to) {
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

int PatternMatcher::PushCaptures(const char* from, const char* to) {
  const int count = captures_ == 0 && from != nullptr ? 1 : captures_;
  luaL_checkstack(state_, count, "too many captures");
  for (int i = 0; i < count; ++i) PushCapture(i, from, to);
  return count;
}

void PatternMatcher::Step(size_t cost) {
  steps_ += cost;
  if (steps_ < kStepsBetweenChecks) return;
  steps_ = 0;
  Script::Of(state_).CheckTime(state_);
}

const char* PatternMatcher::ItemEnd(const char* pattern) {
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

bool PatternMatcher::MatchesItem(const char* at, const char* item, const char* itemEnd) {
  // A set may be as long as the text that it is looked for in.
  Step(static_cast<size_t>(itemEnd - item));
  if (at >= end_) return false;
  // Lua's texts are never null.
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
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

const char* PatternMatcher::Match(const char* at, const char* pattern) {
  // The language's own limit, so that patterns mean the same here.
  if (++depth_ > kDeepest) luaL_error(state_, "pattern too complex");
  const char* result = MatchHere(at, pattern);
  --depth_;
  return result;
}

const char* PatternMatcher::MatchHere(const char* at, const char* pattern) {
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
        Step(static_cast<size_t>(setEnd - pattern) * 3);
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
    Step(static_cast<size_t>(itemEnd - pattern));
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

const char* PatternMatcher::MatchMost(const char* at, const char* item, const char* itemEnd,
                                      ptrdiff_t least) {
  ptrdiff_t count = 0;
  while (MatchesItem(at + count, item, itemEnd)) ++count;
  // From the longest match down, as the language has it; this is what can take years.
  for (; count >= least; --count) {
    if (const char* end = Match(at + count, itemEnd + 1)) return end;
  }
  return nullptr;
}

const char* PatternMatcher::MatchLeast(const char* at, const char* item, const char* itemEnd) {
  for (;; ++at) {
    if (const char* end = Match(at, itemEnd + 1)) return end;
    if (!MatchesItem(at, item, itemEnd)) return nullptr;
  }
}

const char* PatternMatcher::MatchBalance(const char* at, const char* pair) {
  if (pair + 1 >= patternEnd_) luaL_error(state_, "malformed pattern (missing arguments to '%%b')");
  if (at >= end_ || *at != pair[0]) return nullptr;
  // Counted, not matched: pairs inside of pairs do not call themselves.
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

const char* PatternMatcher::MatchBackReference(const char* at, char digit) {
  const int index = digit - '1';
  if (index < 0 || index >= captures_ || capture_[index].length == kOpenCapture) {
    luaL_error(state_, "invalid capture index %%%d", index + 1);
  }
  const ptrdiff_t length = capture_[index].length == kPositionCapture ? 0 : capture_[index].length;
  Step(static_cast<size_t>(length));
  if (end_ - at < length || memcmp(capture_[index].begin, at, static_cast<size_t>(length)) != 0) {
    return nullptr;
  }
  return at + length;
}

const char* PatternMatcher::StartCapture(const char* at, const char* pattern) {
  if (captures_ >= kMostCaptures) luaL_error(state_, "too many captures");
  const bool position = pattern + 1 != patternEnd_ && pattern[1] == ')';
  capture_[captures_++] = {at, position ? kPositionCapture : kOpenCapture};
  const char* end = Match(at, pattern + (position ? 2 : 1));
  // A capture that led nowhere is taken back before another way is tried.
  if (end == nullptr) --captures_;
  return end;
}

const char* PatternMatcher::EndCapture(const char* at, const char* pattern) {
  int index = captures_ - 1;
  while (index >= 0 && capture_[index].length != kOpenCapture) --index;
  if (index < 0) luaL_error(state_, "invalid pattern capture");
  capture_[index].length = at - capture_[index].begin;
  const char* end = Match(at, pattern);
  // The same for its end.
  if (end == nullptr) capture_[index].length = kOpenCapture;
  return end;
}

}  // namespace plexion_host::player::application
