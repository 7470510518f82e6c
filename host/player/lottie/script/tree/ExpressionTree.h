// The plain part of the language as a tree, which is walked without the script engine.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_TREE_EXPRESSIONTREE_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_TREE_EXPRESSIONTREE_H_

#include <stdint.h>

#include <memory>
#include <string_view>
#include <vector>

#include "host/player/lottie/script/ScriptScene.h"
#include "host/player/lottie/script/Surroundings.h"

namespace plexion_host::movie {

/// What of the language's functions a tree can call. Those of chance stay with the engine.
enum class TreeFunction : uint8_t {
  kSum,
  kSubtract,
  kMultiply,
  kDivide,
  kRemainder,
  kNegate,
  kLength,
  kClamp,
  kLinear,
  kEase,
  kEaseIn,
  kEaseOut,
  kToRadians,
  kToDegrees,
  kCreatePath,
  // Of a property; without one, of the expression's own.
  kValueAtTime,
  kVelocityAtTime,
  kSpeedAtTime,
  kLoopIn,
  kLoopOut,
  kLoopInDuration,
  kLoopOutDuration,
  kKey,
  kNearestKey,
  kPropertyGroup,
  // Of a layer; without one, of the expression's own.
  kToPoint,
  kFromPoint,
  kToVector,
  kFromVector,
  // Of a composition.
  kLayer,
  kComposition,
  // Of a path.
  kPoints,
  kInTangents,
  kOutTangents,
  kIsClosed,
  kPointOnPath,
  kTangentOnPath,
  kNormalOnPath,
  // Of a list.
  kPush,
  // Of Math.
  kSine,
  kCosine,
  kTangent,
  kArcTangent2,
  kExponential,
  kSquareRoot,
  kAbsolute,
  kFloor,
  kCeiling,
  kRound,
  kPower,
  kLeast,
  kMost,
};

enum class TreeOp : uint8_t {
  kUndefined,
  kNull,
  kBoolean,      ///< number
  kNumber,       ///< number
  kText,         ///< text
  kVariable,     ///< slot
  kSurrounding,  ///< surrounding
  kList,         ///< items
  kMember,       ///< a, text
  kItem,         ///< a[b]
  kCall,         ///< a(items)
  kFunction,     ///< function(items)
  kMethod,       ///< a.function(items); text
  kCalculate,    ///< a and b as numbers, by `function`
  kCompare,      ///< a and b, by `detail`: '<', '>', 'l' (<=), 'g' (>=)
  kEqual,        ///< a and b, by `detail`: '=' or 's' (===); `negated`
  kAnd,
  kOr,
  kNot,
  kNegate,    ///< as a number
  kChoice,    ///< a ? b : c
  kSequence,  ///< a, b
  kAssign,    ///< slot = a
  kSetItem,   ///< a[b] = c
  kCount,     ///< slot by `number`; `negated`: its value before
  // Statements.
  kBlock,  ///< items
  kValue,  ///< a, which is what the expression is worth so far
  kIf,     ///< a, b, c
  kLoop,   ///< for (a; b; c) d
  kTry,    ///< a, b
};

struct TreeNode {
  TreeOp op = TreeOp::kUndefined;
  TreeFunction function = TreeFunction::kSum;
  char detail = 0;
  bool negated = false;
  int slot = -1;
  int a = -1;  ///< numbers of nodes
  int b = -1;
  int c = -1;
  int d = -1;
  int first = 0;  ///< of the tree's items
  int count = 0;
  double number = 0;
  std::string_view text;
  const SurroundingName* surrounding = nullptr;

  // What was found here the last time: what a movie is made of stays.
  mutable SceneNode owner;
  mutable SceneNode found;
  mutable NodeKind kind = NodeKind::kNone;  ///< of a node whose part `text` names
  mutable std::string_view type;
  mutable std::string_view part;
};

/// Borrows the source.
struct ExpressionTree {
  struct Given {
    int slot;
    const SurroundingName* surrounding;
  };
  std::vector<TreeNode> nodes;
  std::vector<int> items;
  std::vector<Given> given;  ///< surroundings that the expression assigns to
  int slots = 0;
  int value = 0;  ///< the slot that holds the value
  int body = -1;
};

/// Reads an expression that is made of nothing but look-ups, calculations, variables, conditions,
/// loops, and functions of TreeFunction.
/// Returns  null when something else is in it: the script engine has to evaluate it then. Throws
///          std::bad_alloc.
std::unique_ptr<ExpressionTree> ReadTree(std::string_view source);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_TREE_EXPRESSIONTREE_H_
