// Rewrites an expression as the older language that the script engine takes, with a step in every
// loop and every function.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_TRANSLATOR_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_TRANSLATOR_H_

#include <set>
#include <string>
#include <string_view>

namespace plexion_host::movie {

struct Translation {
  /// Statements of a function that returns the expression's value. They call $$t() for a step, and
  /// $$n, $$list, $$call, $$invoke, $$assign, $$named and $$regexp of the engine's prelude.
  std::string code;
  /// Every free name that the source mentions: what it may want from its surroundings.
  std::set<std::string, std::less<>> names;
  /// "this" outside of every function.
  bool usesThis = false;
};

/// Reads the whole source. What exporters write gives its value to $bm_rt; anything else is an
/// expression as its author typed it: its value is that of the last statement, and its operators
/// work on lists of numbers as well.
///
/// eval() becomes a look-up of what a text names ("thisLayer.parent"): rigs walk along their bones
/// by it. Block variables become variables of their function; classes, generators, accessors and
/// assignments to patterns are refused.
///
/// Returns  false with what is wrong in which line. Throws std::bad_alloc.
bool TranslateExpression(std::string_view source, Translation& translation, std::string& error);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_TRANSLATOR_H_
