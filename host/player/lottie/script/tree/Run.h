// Walks expression trees: the same values as the script engine gives, without it.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_TREE_RUN_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_TREE_RUN_H_

#include <deque>
#include <vector>

#include "host/player/lottie/script/Arithmetic.h"
#include "host/player/lottie/script/Lookup.h"
#include "host/player/lottie/script/tree/ExpressionTree.h"

namespace plexion_host::movie {

class ScriptMachine;

/// A value of the language as far as trees know it.
struct TreeValue {
  enum class Kind : uint8_t {
    kUndefined,
    kNull,
    kBoolean,
    kNumber,
    kText,
    kList,
    kPath,
    kNode,
    kKey
  };

  Kind kind = Kind::kUndefined;
  double number = 0;      ///< kBoolean, kNumber; of a kKey which
  uint32_t at = 0;        ///< of lists or paths
  std::string_view text;  ///< kText
  /// kNode; of other kinds the property that the value is of: it is an object then, and no plain
  /// number.
  SceneNode node;

  bool IsObject() const { return kind >= Kind::kList || node.kind == NodeKind::kProperty; }
};

inline TreeValue NumberValue(double number) {
  TreeValue value;
  value.kind = TreeValue::Kind::kNumber;
  value.number = number;
  return value;
}
inline TreeValue BooleanValue(bool flag) {
  TreeValue value = NumberValue(flag ? 1 : 0);
  value.kind = TreeValue::Kind::kBoolean;
  return value;
}
inline TreeValue NullValue() {
  TreeValue value;
  value.kind = TreeValue::Kind::kNull;
  return value;
}

/// Lists and paths of the trees that are walked, which share its memory.
///
/// A walk that meets anything whose value is not plain gives up; it has changed nothing then, so
/// that the script engine can evaluate the expression from the beginning.
///
/// Life     keeps its memory, at most kMostItems values and as many points.
/// Errors   throws std::bad_alloc.
/// Thread   one. May be entered again by readings of a walk.
class TreeRun {
 public:
  explicit TreeRun(ScriptMachine& machine) : machine_(machine) {}

  /// Returns  false when it gave up; `result` is not to be used then.
  bool Evaluate(const ExpressionTree& tree, const ScriptValue& keyed, ScriptValue& result);

  /// What it holds on to. Looks at all of it.
  size_t Bytes() const;

 private:
  static constexpr size_t kMostItems = 8192;

  /// How a step ended: something was thrown, which a "try" can catch, or it is none of ours.
  enum class Outcome : uint8_t { kDone, kThrown, kGivenUp };
  using Kind = TreeValue::Kind;

  class Walk;

  struct Path {
    std::vector<double> numbers;
    bool closed = false;
  };

  Outcome Run(int index, TreeValue& value);
  Outcome RunAll(const TreeNode& node, TreeValue* values, int most);
  Outcome RunLoop(const TreeNode& node);
  Outcome RunMember(const TreeNode& node, const TreeValue& object, TreeValue& value);
  Outcome RunItem(const TreeNode& node, TreeValue& value);
  Outcome RunSetItem(const TreeNode& node, TreeValue& value);
  Outcome RunCall(const TreeNode& node, TreeValue& value);
  Outcome RunFunction(const TreeNode& node, const TreeValue* self, TreeValue& value);
  Outcome RunProperty(const TreeNode& node, const SceneNode& property, const TreeValue* given,
                      TreeValue& value);
  Outcome RunArithmetic(TreeFunction function, const TreeValue* given, TreeValue& value);
  Outcome RunMath(const TreeNode& node, const TreeValue* given, TreeValue& value);
  Outcome RunPath(TreeFunction function, const TreeValue& path, const TreeValue& given,
                  TreeValue& value);
  Outcome CreatePath(const TreeValue* given, TreeValue& value);
  Outcome FindLayer(const TreeNode& node, const SceneNode& composition, const TreeValue* given,
                    TreeValue& value);
  Outcome SurroundingValue(const SurroundingName& surrounding, TreeValue& value);
  Outcome LayerMember(const SceneNode& layer, std::string_view name, TreeValue& value);
  Outcome PropertyMember(const TreeValue& object, std::string_view name, TreeValue& value);
  Outcome KeyMember(const TreeValue& key, std::string_view name, TreeValue& value);
  static Outcome Equal(const TreeNode& node, const TreeValue& a, const TreeValue& b, bool& equal);

  Outcome FromPart(const FoundPart& found, TreeValue& value);
  Outcome FromNode(const SceneNode& node, TreeValue& value);
  Outcome FromProperty(const SceneNode& property, double seconds, bool scripted, TreeValue& value);
  Outcome FromKeyed(const ScriptValue* given, TreeValue& value);
  Outcome FromOperand(const ScriptOperand& operand, TreeValue& value);

  /// Each of these gives up, by false, on what only the engine makes numbers of.
  static bool ToNumber(const TreeValue& value, double& number);
  bool ToOperand(const TreeValue& value, ScriptOperand& operand);
  static bool NumberOr(const TreeValue& value, double otherwise, double& number);
  static bool IsTrue(const TreeValue& value);

  TreeValue& Slot(int slot) { return slots_[base_ + static_cast<size_t>(slot)]; }
  bool Spend(double steps);
  std::vector<TreeValue>* NewList(TreeValue& value, size_t count);
  Path* NewPath(TreeValue& value, size_t count);

  ScriptMachine& machine_;
  const ExpressionTree* tree_ = nullptr;
  const ScriptValue* keyed_ = nullptr;
  std::vector<TreeValue> slots_;
  size_t base_ = 0;  ///< of this walk's slots
  std::deque<std::vector<TreeValue>> lists_;
  size_t usedLists_ = 0;
  std::deque<Path> paths_;
  size_t usedPaths_ = 0;
  size_t items_ = 0;  ///< in lists and paths
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_TREE_RUN_H_
