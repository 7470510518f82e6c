// The script engine of one movie: its heap, its budget, and the objects that expressions meet.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_MACHINE_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_MACHINE_H_

#include <duktape.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/lottie/script/Arithmetic.h"
#include "host/player/lottie/script/Expressions.h"
#include "host/player/lottie/script/tree/Run.h"

namespace plexion_host::movie {

/// Duktape goes back over the stack without unwinding it when a script fails. So no function that it
/// calls has anything to destroy, or lets an exception out, while it calls back: what could do so
/// stands in operations of the machine that are noexcept and touch no engine.
class ScriptMachine {
 public:
  ScriptMachine(qx::plexion::MemoryWatchdog* watchdog, const ExpressionLimits& limits);
  ScriptMachine(const ScriptMachine&) = delete;
  ScriptMachine& operator=(const ScriptMachine&) = delete;
  ~ScriptMachine();

  int Compile(std::string_view source, std::string& error);
  void BeginFrame() { frameSteps_ = 0; }
  bool Evaluate(int expression, IScriptScene& scene, const ExpressionSite& site,
                const ScriptValue& keyed, ScriptValue& result, bool* timeless);
  bool TakeFailure(int& expression, std::string& why);
  size_t MemoryBytes() const { return liveBytes_; }
  uint64_t Cuts() const { return cuts_; }
  uint64_t EngineRuns() const { return engineRuns_; }
  size_t TreeBytes() const { return treeNodes_ * sizeof(TreeNode) + trees_.Bytes(); }

  static ScriptMachine& Of(duk_context* context);

  // --- For functions that scripts call ---

  IScriptScene& Scene() { return *scene_; }
  const ExpressionSite& Site() { return *site_; }
  double& Time() {
    timed_ = true;
    return time_;
  }
  /// The numbers from 0 to 1 of this evaluation.
  double NextRandom();
  void SeedRandom(double seed, bool timeless);
  /// What makes chance of this property different from that of others, at all times.
  uint64_t Variation() const { return variation_; }

  /// The same as Charge, for what is not the engine's. Returns  false when the budget is spent.
  bool Spend(double steps);
  /// Ends the script when the budget is spent.
  void Charge(duk_context* context, double steps);
  /// What `this` is, or else what the expression stands in: its layer, its property.
  SceneNode ThisNode(duk_context* context, bool property);
  /// The node of an object; kNone for other values.
  static SceneNode NodeAt(duk_context* context, duk_idx_t index);
  void PushNode(duk_context* context, const SceneNode& node);
  /// A property as a number, a list or a text with the operations of a property.
  void PushProperty(duk_context* context, const SceneNode& property, double seconds, bool scripted);
  /// The same as a plain number, list or text.
  void PushValue(duk_context* context, const ScriptValue& value);
  /// Reads a property. Returns  null when it has no value; else what lives until the next reading.
  const ScriptValue* Read(const SceneNode& property, double seconds, bool scripted) noexcept;
  const ScriptValue* ReadKey(const SceneNode& property, int key) noexcept;
  /// The time of the frame in the composition of a node. What is made of it changes with it.
  double NowOf(const SceneNode& node) noexcept {
    timed_ = true;
    return ReadingTimeOf(node);
  }
  /// The same, only to read a property at: how long that stays the same is known to the scene.
  double ReadingTimeOf(const SceneNode& node) noexcept;

 private:
  struct Program {
    std::string source;
    std::unique_ptr<ExpressionTree> tree;  ///< null: only the engine understands it
    int givenUp = 0;                       ///< walks of the tree that led nowhere
    void* function = nullptr;
    std::vector<std::string> arguments;
    bool usesThis = false;
    bool timed = false;  ///< it may look at a clock
    bool failed = false;
    int strikes = 0;
  };
  struct Run {
    ScriptMachine* machine;
    const Program* program;
    const ScriptValue* keyed;
    ScriptValue* result;
    const char* fault;
  };
  struct CompileRun {
    const std::string* code;
    void* function;
  };

  struct KeptNode {
    SceneNode node;
    unsigned number = 0;     ///< in the store's list, which keeps the object alive
    void* object = nullptr;  ///< the engine's; null until it is asked for
  };
  struct NodeHash {
    size_t operator()(const SceneNode& node) const {
      const auto what = reinterpret_cast<uintptr_t>(node.what);
      const auto where = reinterpret_cast<uintptr_t>(node.where);
      return (what * 31 + where) * 31 + static_cast<size_t>(node.kind);
    }
  };

  static void* Allocate(void* machine, duk_size_t bytes);
  static void* Reallocate(void* machine, void* block, duk_size_t bytes);
  static void Free(void* machine, void* block);
  void Build();
  static duk_ret_t BuildSafely(duk_context* context, void* data);
  static duk_ret_t CompileSafely(duk_context* context, void* data);
  static duk_ret_t RunSafely(duk_context* context, void* data);
  /// Whether an expression may find this name in its surroundings, and what it then is.
  static bool IsSurrounding(std::string_view name);
  void PushArgument(duk_context* context, const std::string& name, const ScriptValue& keyed);
  std::string RunScript(const Program& program, const ScriptValue& keyed, ScriptValue& result);
  bool WalkTree(Program& program, const ScriptValue& keyed, ScriptValue& result) noexcept;
  static const char* TakeResult(duk_context* context, const ScriptValue& keyed, bool spread,
                                ScriptValue& result) noexcept;
  void Fail(int expression, std::string why);
  bool IsBusy(const SceneNode& property) const;
  bool Affords(size_t bytes);
  KeptNode* Keep(const SceneNode& node) noexcept;
  /// A value of the engine's own store, which is looked for once and then known by its address.
  static void PushStored(duk_context* context, const char* name, void*& known);
  bool SpentTime();

  qx::plexion::MemoryWatchdog* watchdog_;
  ExpressionLimits limits_;
  duk_context* context_ = nullptr;
  std::string broken_;  ///< why there is no engine

  std::deque<Program> programs_;
  std::map<std::string, int, std::less<>> bySource_;
  std::vector<std::pair<int, std::string>> failures_;

  std::unordered_map<SceneNode, KeptNode, NodeHash> nodes_;
  void* step_ = nullptr;
  void* prototypes_[3] = {};  ///< of properties: numbers, lists, texts
  TreeRun trees_{*this};
  size_t treeNodes_ = 0;
  std::deque<ScriptValue> values_;  ///< one for each reading inside of another
  size_t reading_ = 0;

  // Of the evaluation that runs.
  IScriptScene* scene_ = nullptr;
  const ExpressionSite* site_ = nullptr;
  double time_ = 0;
  uint64_t chance_ = 0;
  uint64_t variation_ = 0;
  bool steadyChance_ = false;  ///< the same numbers at all times
  bool timed_ = false;         ///< something was made of the time itself
  std::vector<SceneNode> busy_;
  uint64_t cuts_ = 0;  ///< see Expressions
  uint64_t engineRuns_ = 0;

  size_t liveBytes_ = 0;
  bool counting_ = false;
  double steps_ = 0;
  double frameSteps_ = 0;
  double sinceClock_ = 0;
  double startSeconds_ = 0;
  const char* spent_ = nullptr;  ///< which budget
};

/// What a property of the kind of `keyed` can hold of a value. Returns  what is wrong with it, else null.
const char* TakeNumbers(const ScriptOperand& operand, const ScriptValue& keyed, bool spread,
                        ScriptValue& result);
const char* TakePath(const double* numbers, size_t count, bool closed, ScriptValue& result);

// The rooms of what scripts find: each adds its functions to the global object.
void AddVectorFunctions(duk_context* context);
void AddTimeFunctions(duk_context* context);
void AddObjects(duk_context* context);
void AddPaths(duk_context* context);

/// Returns  false when the value at `index` is neither.
bool ReadOperand(duk_context* context, duk_idx_t index, ScriptOperand& operand);
void PushOperand(duk_context* context, const ScriptOperand& operand);
void AddFunction(duk_context* context, const char* name, duk_c_function function, duk_idx_t count,
                 int magic = 0);

/// What can be asked of a property, and of the expression's own without naming it.
void AddPropertyOperations(duk_context* context, duk_idx_t object);

/// A path as an object with points(), inTangents() and so on; `numbers` as in ScriptValue::path.
void PushPath(duk_context* context, const double* numbers, size_t count, bool closed);
/// Returns  null when the value is no path; else its numbers, which live as long as it does.
const double* PathAt(duk_context* context, duk_idx_t index, size_t& count, bool& closed);

extern const char* const kNodeKey;
extern const char* const kPrelude;

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_MACHINE_H_
