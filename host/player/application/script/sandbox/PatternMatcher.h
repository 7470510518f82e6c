// Lua's patterns, with an end.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_PATTERNMATCHER_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_PATTERNMATCHER_H_

#include <stddef.h>

#include <string_view>

#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

/// Lua's patterns, matched with an eye on the script's time: the language's own matcher runs
/// outside of any count of instructions, and some patterns take years. Raises errors in the script.
///
/// `subject` and `pattern` outlive the matcher.
class PatternMatcher {
 public:
  PatternMatcher(lua_State* state, std::string_view subject, std::string_view pattern)
      : state_(state),
        begin_(subject.data()),
        end_(subject.data() + subject.size()),
        patternEnd_(pattern.data() + pattern.size()) {}

  /// The end of a match that begins at `at`, or null.
  const char* MatchFrom(const char* at, const char* pattern);
  /// Pushes capture `index`, or the whole match when there is none.
  void PushCapture(int index, const char* from, const char* to);
  /// Pushes all captures; without any the whole match, unless `from` is null. Returns how many.
  int PushCaptures(const char* from, const char* to);

 private:
  static constexpr int kMostCaptures = 32;

  struct Capture {
    const char* begin;
    ptrdiff_t length;
  };

  /// `cost` is the work that comes, in looks at one character.
  void Step(size_t cost = 1);
  const char* ItemEnd(const char* pattern);
  bool MatchesItem(const char* at, const char* item, const char* itemEnd);
  const char* Match(const char* at, const char* pattern);
  const char* MatchHere(const char* at, const char* pattern);
  const char* MatchMost(const char* at, const char* item, const char* itemEnd, ptrdiff_t least);
  const char* MatchLeast(const char* at, const char* item, const char* itemEnd);
  const char* MatchBalance(const char* at, const char* pair);
  const char* MatchBackReference(const char* at, char digit);
  const char* StartCapture(const char* at, const char* pattern);
  const char* EndCapture(const char* at, const char* pattern);

  lua_State* state_;
  const char* begin_;
  const char* end_;
  const char* patternEnd_;
  Capture capture_[kMostCaptures] = {};
  int captures_ = 0;
  int depth_ = 0;
  size_t steps_ = 0;  ///< since the last look at the time
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_PATTERNMATCHER_H_
