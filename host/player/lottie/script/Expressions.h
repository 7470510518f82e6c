// The expressions of one movie: compiled when it is loaded, evaluated for a property at a time.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_EXPRESSIONS_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_EXPRESSIONS_H_

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>

#include "host/player/lottie/script/ScriptScene.h"

namespace qx::plexion {
class MemoryWatchdog;
}

namespace plexion_host::movie {

class ScriptMachine;

/// What expressions may cost. A step is a turn of a loop, a call, or a hundred bytes that a
/// function of the language goes through.
struct ExpressionLimits {
  uint32_t stepsPerEvaluation = 100000;
  uint32_t stepsPerFrame = 1000000;
  size_t memoryBytes = 16u << 20;
  size_t sourceBytes = 64u << 10;
  int nesting = 12;  ///< expressions that read properties that have expressions, and so on
  double secondsPerEvaluation = 0.25;  ///< of computing; holds for what no step counts
  bool trees = true;  ///< plain expressions need no engine; without, it evaluates all
};

/// Where an expression stands, and when.
struct ExpressionSite {
  SceneNode property;
  SceneNode layer;
  double seconds = 0;  ///< of the composition that the layer stands in
  uint32_t seed = 0;   ///< of its chance: the same for the same property of the same movie
  // Of an expression selector only.
  int textIndex = 0;  ///< from 1
  int textTotal = 0;
  double selectorValue[3] = {100, 100, 100};
};

/// The engine is Duktape. Measured against MuJS with one expression of a usual size: 4.5 against
/// 6.0 microseconds an evaluation, 12 against 66 nanoseconds a turn of a loop. Neither Debian build
/// can be interrupted (Duktape's is without its timeout check, MuJS has no hook), and neither knows
/// the language of today. So a translator goes in front: it reads the whole of an expression, says
/// what is wrong with it, writes it as the older language that the engine takes, and puts a step
/// into every loop and every function. What runs long inside of the engine is charged as well: by
/// its allocator, and by wrappers around the functions that walk through lists and texts.
///
/// Most of what exporters write is plain: look-ups, loops of keys, sums. That is read into a tree as
/// well (tree/ExpressionTree.h) and walked in a tenth of the time; a walk that meets anything else
/// gives up, and the engine evaluates the expression from its beginning.
///
/// Order    Compile each at load; then for each frame BeginFrame and Evaluate.
/// Errors   An expression that fails is evaluated no more: it reports once, and its property keeps
///          the keyframes' value. Nothing is thrown.
/// Thread   one.
class Expressions {
 public:
  /// `watchdog` counts the engine's memory; null for none. Borrowed.
  explicit Expressions(qx::plexion::MemoryWatchdog* watchdog, const ExpressionLimits& limits = {});
  Expressions(const Expressions&) = delete;
  Expressions& operator=(const Expressions&) = delete;
  ~Expressions();

  static constexpr int kNone = -1;

  /// Returns  a number for Evaluate, or kNone with what is wrong and where in `error`. The same
  ///          source gives the same number.
  int Compile(std::string_view source, std::string& error);

  /// Fills the budget of a frame up.
  void BeginFrame();

  /// What the expression makes of `keyed`, the value that the keyframes have. May be entered again
  /// by the scene, when an expression reads a property that has one.
  ///
  /// Returns  false when it failed, now or before, or is being evaluated for the same property
  ///          already: `result` is then not to be used. A result is of the kind and the count of
  ///          numbers of `keyed`, and finite. `timeless`, where given, says whether nothing of it
  ///          was made of the time itself: it is then the same for as long as what it read.
  bool Evaluate(int expression, IScriptScene& scene, const ExpressionSite& site,
                const ScriptValue& keyed, ScriptValue& result, bool* timeless = nullptr);

  /// The next failure that nobody has heard of: which expression, and why.
  /// Returns  false when there is none.
  bool TakeFailure(int& expression, std::string& why);

  /// Of the engine, which counts it itself.
  size_t MemoryBytes() const;
  /// Of trees, which somebody else has to count.
  size_t TreeBytes() const;
  /// Evaluations that the script engine was needed for.
  uint64_t EngineRuns() const;
  /// How often a property gave its keyed value because its expression was being evaluated already:
  /// what such a reading led to holds for this reader only.
  uint64_t Cuts() const;

 private:
  std::unique_ptr<ScriptMachine> machine_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_EXPRESSIONS_H_
