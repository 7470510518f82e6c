// Calls of nodes, and functions of layers and properties.
#include <algorithm>

#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/PropertyTimes.h"
#include "host/player/lottie/script/tree/Run.h"

namespace plexion_host::movie {

namespace {

constexpr int kMostArguments = 5;

}  // namespace

TreeRun::Outcome TreeRun::RunCall(const TreeNode& node, TreeValue& value) {
  TreeValue callee;
  TreeValue given[1];
  Outcome outcome = Run(node.a, callee);
  if (outcome == Outcome::kDone) outcome = RunAll(node, given, 1);
  if (outcome != Outcome::kDone) return outcome;
  if (callee.kind != Kind::kNode) {
    const bool nothing = callee.kind == Kind::kNull || callee.kind == Kind::kUndefined;
    return nothing ? Outcome::kThrown : Outcome::kGivenUp;
  }
  IScriptScene& scene = machine_.Scene();
  const bool numbered = given[0].kind == Kind::kNumber;
  if (!Spend(4) || (!numbered && given[0].kind != Kind::kText)) return Outcome::kGivenUp;
  const int number = NumberOfItem(numbered ? given[0].number : 0);
  if (numbered && number == 0) {
    value = NullValue();
    return Outcome::kDone;
  }
  // What it is called with is nearly always written there.
  const TreeOp by =
      tree_->nodes[static_cast<size_t>(tree_->items[static_cast<size_t>(node.first)])].op;
  const bool constant = by == TreeOp::kText || by == TreeOp::kNumber;
  if (constant && node.owner == callee.node) return FromNode(node.found, value);
  if (!Spend(scene.CountOf(callee.node) / 4.0)) return Outcome::kGivenUp;
  const FoundPart found = FindCalled(scene, callee.node, given[0].text, number);
  if (found.kind != FoundPart::Kind::kNothing) {
    if (constant && found.kind == FoundPart::Kind::kNode) {
      node.owner = callee.node;
      node.found = found.node;
    }
    return FromPart(found, value);
  }
  const NodeKind kind = callee.node.kind;
  value = NullValue();
  return kind == NodeKind::kLayer || kind == NodeKind::kShape ? Outcome::kDone : Outcome::kThrown;
}

TreeRun::Outcome TreeRun::FindLayer(const TreeNode& node, const SceneNode& composition,
                                    const TreeValue* given, TreeValue& value) {
  if (composition.kind != NodeKind::kComposition || node.count != 1) return Outcome::kGivenUp;
  const bool text = given[0].kind == Kind::kText;
  if (!text && given[0].kind != Kind::kNumber) return Outcome::kGivenUp;
  const TreeOp by =
      tree_->nodes[static_cast<size_t>(tree_->items[static_cast<size_t>(node.first)])].op;
  const bool constant = by == TreeOp::kText || by == TreeOp::kNumber;
  IScriptScene& scene = machine_.Scene();
  SceneNode found = node.found;
  if (!constant || !(node.owner == composition)) {
    if (!Spend(2 + scene.CountOf(composition) / 4.0)) return Outcome::kGivenUp;
    found = FindItem(scene, composition, given[0].text, text ? 0 : NumberOfItem(given[0].number));
    if (!found) return Outcome::kThrown;
    if (constant) {
      node.owner = composition;
      node.found = found;
    }
  }
  value = {};
  value.kind = Kind::kNode;
  value.node = found;
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::RunFunction(const TreeNode& node, const TreeValue* self,
                                      TreeValue& value) {
  TreeValue given[kMostArguments];
  const Outcome outcome = RunAll(node, given, kMostArguments);
  if (outcome != Outcome::kDone) return outcome;
  if (!Spend(4)) return Outcome::kGivenUp;
  if (self != nullptr && (self->kind == Kind::kNull || self->kind == Kind::kUndefined)) {
    return Outcome::kThrown;
  }
  IScriptScene& scene = machine_.Scene();
  const TreeFunction function = node.function;
  if (function >= TreeFunction::kSine) return RunMath(node, given, value);
  if (function <= TreeFunction::kToDegrees) return RunArithmetic(function, given, value);
  if (function >= TreeFunction::kPoints && function <= TreeFunction::kNormalOnPath) {
    return RunPath(function, *self, given[0], value);
  }
  if (function >= TreeFunction::kToPoint && function <= TreeFunction::kFromVector) {
    if (self != nullptr && !(self->kind == Kind::kNode && self->node.kind == NodeKind::kLayer)) {
      return Outcome::kGivenUp;
    }
    const SceneNode& layer = self != nullptr ? self->node : machine_.Site().layer;
    ScriptOperand point;
    if (!Spend(8) || !ToOperand(given[0], point)) return Outcome::kGivenUp;
    // A time that is a property's value is an object to the engine, which looks for numbers only.
    const bool timed = given[1].kind == Kind::kNumber && !given[1].IsObject();
    const double seconds = timed ? given[1].number : machine_.ReadingTimeOf(layer);
    CarryPoint(scene.MatrixOf(layer, seconds),
               static_cast<PointWay>(int(function) - int(TreeFunction::kToPoint)), point);
    return FromOperand(point, value);
  }
  switch (function) {
    case TreeFunction::kCreatePath:
      return CreatePath(given, value);
    case TreeFunction::kLayer:
      return self->kind == Kind::kNode ? FindLayer(node, self->node, given, value)
                                       : Outcome::kGivenUp;
    case TreeFunction::kComposition: {
      if (given[0].kind != Kind::kText) return Outcome::kGivenUp;
      const SceneNode found = scene.CompositionNamed(given[0].text);
      return found ? FromNode(found, value) : Outcome::kThrown;
    }
    case TreeFunction::kPush: {
      if (self->kind != Kind::kList || node.count != 1 || ++items_ > kMostItems) {
        return Outcome::kGivenUp;
      }
      lists_[self->at].push_back(given[0]);
      value = NumberValue(static_cast<double>(lists_[self->at].size()));
      return Outcome::kDone;
    }
    default:
      break;
  }
  // Of a property. Of nodes that are none there is a group only.
  const bool group = function == TreeFunction::kPropertyGroup;
  if (self != nullptr && self->node.kind != NodeKind::kProperty && !(group && self->node)) {
    return Outcome::kGivenUp;
  }
  return RunProperty(node, self != nullptr ? self->node : machine_.Site().property, given, value);
}

TreeRun::Outcome TreeRun::RunProperty(const TreeNode& node, const SceneNode& property,
                                      const TreeValue* given, TreeValue& value) {
  IScriptScene& scene = machine_.Scene();
  const TreeFunction function = node.function;
  const auto isAny = [function](TreeFunction a, TreeFunction b) {
    return function == a || function == b;
  };
  if (function == TreeFunction::kPropertyGroup) {
    // A number of steps is a plain one; anything else is one step.
    const bool plain = given[0].kind == Kind::kNumber && !given[0].IsObject();
    if (plain && !(given[0].number >= 0 && given[0].number < 100)) return Outcome::kGivenUp;
    SceneNode at = property;
    for (int left = plain ? static_cast<int>(given[0].number) : 1; left > 0 && at; --left) {
      if (!Spend(1)) return Outcome::kGivenUp;
      at = scene.GroupOf(at);
    }
    value = NullValue();
    if (!at) return Outcome::kDone;
    if (at.kind == NodeKind::kProperty) {
      return FromProperty(at, machine_.ReadingTimeOf(at), true, value);
    }
    value.kind = Kind::kNode;
    value.node = at;
    return Outcome::kDone;
  }
  if (function == TreeFunction::kKey) {
    double key = 0;
    if (!ToNumber(given[0], key)) return Outcome::kGivenUp;
    if (!(key >= 1) || key > scene.KeyCount(property)) return Outcome::kThrown;
    value = NumberValue(static_cast<int>(key) - 1);
    value.kind = Kind::kKey;
    value.node = property;
    return Outcome::kDone;
  }
  if (function >= TreeFunction::kLoopIn && function <= TreeFunction::kLoopOutDuration) {
    Loop loop;
    loop.in = isAny(TreeFunction::kLoopIn, TreeFunction::kLoopInDuration);
    loop.duration = isAny(TreeFunction::kLoopInDuration, TreeFunction::kLoopOutDuration);
    loop.kind = LoopKindNamed(given[0].kind == Kind::kText ? given[0].text : std::string_view());
    if (!Spend(16) || !NumberOr(given[1], 0, loop.amount)) return Outcome::kGivenUp;
    TimedValue timed;
    LoopProperty(machine_, property, loop, timed);
    if (!timed.keyed) return FromOperand(timed.numbers, value);
    const ScriptValue* const read = machine_.Read(property, timed.seconds, false);
    return read != nullptr ? FromKeyed(read, value) : Outcome::kGivenUp;
  }
  double seconds = 0;
  if (!NumberOr(given[0], machine_.NowOf(property), seconds)) return Outcome::kGivenUp;
  if (function == TreeFunction::kValueAtTime) {
    const ScriptValue* const read = machine_.Read(property, seconds, false);
    return read != nullptr ? FromKeyed(read, value) : Outcome::kGivenUp;
  }
  if (function == TreeFunction::kNearestKey) {
    const int keys = scene.KeyCount(property);
    if (!Spend(keys)) return Outcome::kGivenUp;
    if (keys == 0) return Outcome::kThrown;
    value = NumberValue(NearestKeyOf(scene, property, keys, seconds));
    value.kind = Kind::kKey;
    value.node = property;
    return Outcome::kDone;
  }
  ScriptOperand velocity;
  if (!Spend(8) || !VelocityOf(machine_, property, seconds, velocity)) return Outcome::kGivenUp;
  if (function == TreeFunction::kVelocityAtTime) return FromOperand(velocity, value);
  value = NumberValue(Distance(velocity, nullptr));
  return Outcome::kDone;
}

}  // namespace plexion_host::movie
