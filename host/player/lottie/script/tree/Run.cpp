// Variables, conditions, loops, and what becomes of the value.
#include "host/player/lottie/script/tree/Run.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"
#include "host/player/lottie/script/Machine.h"

namespace plexion_host::movie {

/// What belongs to one walk. A reading evaluates other expressions: what this one has made stays below
/// what they make.
class TreeRun::Walk {
 public:
  Walk(TreeRun& run, const ExpressionTree& tree, const ScriptValue& keyed)
      : run_(run),
        tree_(run.tree_),
        keyed_(run.keyed_),
        base_(run.base_),
        slots_(run.slots_.size()),
        lists_(run.usedLists_),
        paths_(run.usedPaths_),
        items_(run.items_) {
    run.slots_.resize(slots_ + static_cast<size_t>(tree.slots));
    run.tree_ = &tree;
    run.keyed_ = &keyed;
    run.base_ = slots_;
  }
  ~Walk() {
    run_.tree_ = tree_;
    run_.keyed_ = keyed_;
    run_.base_ = base_;
    run_.slots_.resize(slots_);
    run_.usedLists_ = lists_;
    run_.usedPaths_ = paths_;
    run_.items_ = items_;
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

 private:
  TreeRun& run_;
  const ExpressionTree* tree_;
  const ScriptValue* keyed_;
  size_t base_, slots_, lists_, paths_, items_;
};

bool TreeRun::Evaluate(const ExpressionTree& tree, const ScriptValue& keyed, ScriptValue& result) {
  const Walk walk(*this, tree, keyed);
  for (const ExpressionTree::Given& given : tree.given) {
    TreeValue value;
    if (SurroundingValue(*given.surrounding, value) != Outcome::kDone) return false;
    Slot(given.slot) = value;
  }
  TreeValue ignored;
  if (Run(tree.body, ignored) != Outcome::kDone) return false;
  const TreeValue value = Slot(tree.value);
  // What is wrong with it is the engine's to say.
  if (keyed.kind == ScriptValue::Kind::kPath) {
    if (value.kind != Kind::kPath) return false;
    const Path& path = paths_[value.at];
    return TakePath(path.numbers.data(), path.numbers.size(), path.closed, result) == nullptr;
  }
  ScriptOperand operand;
  return (keyed.kind == ScriptValue::Kind::kNumber || keyed.kind == ScriptValue::Kind::kVector) &&
         ToOperand(value, operand) &&
         TakeNumbers(operand, keyed, machine_.Site().textTotal > 0, result) == nullptr;
}

size_t TreeRun::Bytes() const {
  size_t bytes = slots_.capacity() * sizeof(TreeValue);
  for (const auto& list : lists_) bytes += sizeof list + list.capacity() * sizeof(TreeValue);
  for (const Path& path : paths_) bytes += sizeof path + path.numbers.capacity() * sizeof(double);
  return bytes;
}

bool TreeRun::Spend(double steps) { return machine_.Spend(steps); }

std::vector<TreeValue>* TreeRun::NewList(TreeValue& value, size_t count) {
  items_ += count;
  if (items_ > kMostItems || usedLists_ >= kMostItems || !Spend(1 + static_cast<double>(count))) {
    return nullptr;
  }
  if (usedLists_ == lists_.size()) lists_.emplace_back();
  value = {};
  value.kind = Kind::kList;
  value.at = static_cast<uint32_t>(usedLists_++);
  lists_[value.at].assign(count, TreeValue());
  return &lists_[value.at];
}

TreeRun::Path* TreeRun::NewPath(TreeValue& value, size_t count) {
  items_ += count;
  if (items_ > kMostItems || usedPaths_ >= kMostItems || !Spend(1 + static_cast<double>(count))) {
    return nullptr;
  }
  if (usedPaths_ == paths_.size()) paths_.emplace_back();
  value = {};
  value.kind = Kind::kPath;
  value.at = static_cast<uint32_t>(usedPaths_++);
  paths_[value.at].numbers.assign(count, 0);
  return &paths_[value.at];
}

// --- Values as numbers ---

bool TreeRun::ToNumber(const TreeValue& value, double& number) {
  if (value.kind == Kind::kNull) {
    number = 0;
    return true;
  }
  number = value.number;
  return value.kind == Kind::kNumber || value.kind == Kind::kBoolean;
}

bool TreeRun::NumberOr(const TreeValue& value, double otherwise, double& number) {
  if (value.kind == Kind::kUndefined || value.kind == Kind::kNull) {
    number = otherwise;
    return true;
  }
  if (!ToNumber(value, number)) return false;
  if (!std::isfinite(number)) number = otherwise;
  return true;
}

bool TreeRun::ToOperand(const TreeValue& value, ScriptOperand& operand) {
  operand.list = value.kind == Kind::kList;
  operand.text = false;
  operand.count = 1;
  if (!operand.list) {
    return value.kind != Kind::kNull && ToNumber(value, operand.numbers[0]);
  }
  const std::vector<TreeValue>& list = lists_[value.at];
  if (list.size() > ScriptValue::kMostNumbers) return false;
  operand.count = static_cast<uint32_t>(list.size());
  for (uint32_t i = 0; i < operand.count; ++i) {
    if (!ToNumber(list[i], operand.numbers[i])) return false;
  }
  return true;
}

bool TreeRun::IsTrue(const TreeValue& value) {
  if (value.IsObject()) return true;
  switch (value.kind) {
    case Kind::kBoolean:
    case Kind::kNumber:
      return value.number != 0 && !std::isnan(value.number);
    case Kind::kText:
      return !value.text.empty();
    default:
      return false;
  }
}

TreeRun::Outcome TreeRun::FromOperand(const ScriptOperand& operand, TreeValue& value) {
  if (!operand.list) {
    value = NumberValue(operand.numbers[0]);
    return Outcome::kDone;
  }
  std::vector<TreeValue>* const list = NewList(value, operand.count);
  if (list == nullptr) return Outcome::kGivenUp;
  for (uint32_t i = 0; i < operand.count; ++i) (*list)[i] = NumberValue(operand.numbers[i]);
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::FromKeyed(const ScriptValue* given, TreeValue& value) {
  value = {};
  if (given == nullptr) {
    value.kind = Kind::kNull;
    return Outcome::kDone;
  }
  switch (given->kind) {
    case ScriptValue::Kind::kNumber:
      value = NumberValue(given->numbers.empty() ? 0 : given->numbers[0]);
      return Outcome::kDone;
    case ScriptValue::Kind::kVector: {
      std::vector<TreeValue>* const list = NewList(value, given->numbers.size());
      if (list == nullptr) return Outcome::kGivenUp;
      std::transform(given->numbers.begin(), given->numbers.end(), list->begin(), NumberValue);
      return Outcome::kDone;
    }
    case ScriptValue::Kind::kPath: {
      Path* const path = NewPath(value, given->path.size());
      if (path == nullptr) return Outcome::kGivenUp;
      path->numbers = given->path;
      path->closed = given->closed;
      return Outcome::kDone;
    }
    default:
      return Outcome::kGivenUp;
  }
}

// --- Walking ---

TreeRun::Outcome TreeRun::RunAll(const TreeNode& node, TreeValue* values, int most) {
  // Further ones are worked out as well, in case they read or throw something; nobody gets them.
  if (node.count > most) return Outcome::kGivenUp;
  for (int i = 0; i < node.count; ++i) {
    const Outcome outcome = Run(tree_->items[static_cast<size_t>(node.first + i)], values[i]);
    if (outcome != Outcome::kDone) return outcome;
  }
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::RunLoop(const TreeNode& node) {
  TreeValue value;
  if (node.a >= 0) {
    const Outcome outcome = Run(node.a, value);
    if (outcome != Outcome::kDone) return outcome;
  }
  for (;;) {
    if (!Spend(1)) return Outcome::kGivenUp;
    if (node.b >= 0) {
      const Outcome outcome = Run(node.b, value);
      if (outcome != Outcome::kDone) return outcome;
      if (!IsTrue(value)) return Outcome::kDone;
    }
    for (const int part : {node.d, node.c}) {
      const Outcome outcome = part >= 0 ? Run(part, value) : Outcome::kDone;
      if (outcome != Outcome::kDone) return outcome;
    }
  }
}

TreeRun::Outcome TreeRun::Equal(const TreeNode& node, const TreeValue& a, const TreeValue& b,
                                bool& equal) {
  const auto isNothing = [](const TreeValue& v) {
    return v.kind == Kind::kUndefined || v.kind == Kind::kNull;
  };
  const auto isNumber = [](const TreeValue& v) {
    return v.kind == Kind::kNumber || v.kind == Kind::kBoolean;
  };
  const bool strict = node.detail == 's';
  if (isNothing(a) || isNothing(b)) {
    equal = strict ? a.kind == b.kind : isNothing(a) && isNothing(b);
  } else if (a.kind == Kind::kNode && b.kind == Kind::kNode) {
    // There is one object for each.
    equal = a.node == b.node;
  } else if (a.IsObject() && b.IsObject()) {
    return Outcome::kGivenUp;
  } else if (isNumber(a) && isNumber(b)) {
    const bool alike = a.kind == b.kind && !a.IsObject() && !b.IsObject();
    equal = (alike || !strict) && a.number == b.number;
  } else if (a.kind == Kind::kText && b.kind == Kind::kText) {
    equal = a.text == b.text;
  } else if (strict) {
    equal = false;
  } else {
    return Outcome::kGivenUp;
  }
  equal = equal != node.negated;
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::Run(int index, TreeValue& value) {
  PLEXION_CHECK(index >= 0 && static_cast<size_t>(index) < tree_->nodes.size(),
                "a tree's nodes name nodes of it");
  const TreeNode& node = tree_->nodes[static_cast<size_t>(index)];
  TreeValue other;
  const auto failed = [](Outcome outcome) { return outcome != Outcome::kDone; };
  switch (node.op) {
    case TreeOp::kUndefined:
      value = {};
      return Outcome::kDone;
    case TreeOp::kNull:
      value = NullValue();
      return Outcome::kDone;
    case TreeOp::kBoolean:
      value = BooleanValue(node.number != 0);
      return Outcome::kDone;
    case TreeOp::kNumber:
      value = NumberValue(node.number);
      return Outcome::kDone;
    case TreeOp::kText:
      value = {};
      value.kind = Kind::kText;
      value.text = node.text;
      return Outcome::kDone;
    case TreeOp::kVariable:
      value = Slot(node.slot);
      return Outcome::kDone;
    case TreeOp::kSurrounding:
      return SurroundingValue(*node.surrounding, value);
    case TreeOp::kList: {
      std::vector<TreeValue>* const list = NewList(value, static_cast<size_t>(node.count));
      if (list == nullptr) return Outcome::kGivenUp;
      return RunAll(node, list->data(), node.count);
    }
    case TreeOp::kMember: {
      const Outcome outcome = Run(node.a, other);
      return failed(outcome) ? outcome : RunMember(node, other, value);
    }
    case TreeOp::kItem:
      return RunItem(node, value);
    case TreeOp::kSetItem:
      return RunSetItem(node, value);
    case TreeOp::kCall:
      return RunCall(node, value);
    case TreeOp::kFunction:
      return RunFunction(node, nullptr, value);
    case TreeOp::kMethod: {
      const Outcome outcome = Run(node.a, other);
      return failed(outcome) ? outcome : RunFunction(node, &other, value);
    }
    case TreeOp::kCalculate:
    case TreeOp::kCompare: {
      Outcome outcome = Run(node.a, value);
      if (!failed(outcome)) outcome = Run(node.b, other);
      if (failed(outcome)) return outcome;
      double a = 0;
      double b = 0;
      if (!ToNumber(value, a) || !ToNumber(other, b)) return Outcome::kGivenUp;
      if (node.op == TreeOp::kCompare) {
        value = BooleanValue(node.detail == '<'   ? a < b
                             : node.detail == '>' ? a > b
                             : node.detail == 'l' ? a <= b
                                                  : a >= b);
      } else {
        value = NumberValue(node.function == TreeFunction::kRemainder
                                ? std::fmod(a, b)
                                : Calculate(static_cast<Calculation>(node.function), a, b));
      }
      return Outcome::kDone;
    }
    case TreeOp::kEqual: {
      Outcome outcome = Run(node.a, value);
      if (!failed(outcome)) outcome = Run(node.b, other);
      bool equal = false;
      if (!failed(outcome)) outcome = Equal(node, value, other, equal);
      value = BooleanValue(equal);
      return outcome;
    }
    case TreeOp::kAnd:
    case TreeOp::kOr: {
      const Outcome outcome = Run(node.a, value);
      if (failed(outcome) || IsTrue(value) == (node.op == TreeOp::kOr)) return outcome;
      return Run(node.b, value);
    }
    case TreeOp::kNot: {
      const Outcome outcome = Run(node.a, other);
      value = BooleanValue(!IsTrue(other));
      return outcome;
    }
    case TreeOp::kNegate: {
      const Outcome outcome = Run(node.a, other);
      if (failed(outcome)) return outcome;
      double number = 0;
      if (!ToNumber(other, number)) return Outcome::kGivenUp;
      value = NumberValue(-number);
      return Outcome::kDone;
    }
    case TreeOp::kChoice: {
      const Outcome outcome = Run(node.a, other);
      return failed(outcome) ? outcome : Run(IsTrue(other) ? node.b : node.c, value);
    }
    case TreeOp::kSequence: {
      const Outcome outcome = Run(node.a, other);
      return failed(outcome) ? outcome : Run(node.b, value);
    }
    case TreeOp::kAssign:
    case TreeOp::kValue: {
      const Outcome outcome = Run(node.a, value);
      if (!failed(outcome)) Slot(node.slot) = value;
      return outcome;
    }
    case TreeOp::kCount: {
      double before = 0;
      if (!ToNumber(Slot(node.slot), before)) {
        return Outcome::kGivenUp;
      }
      const TreeValue after = NumberValue(before + node.number);
      Slot(node.slot) = after;
      value = node.negated ? NumberValue(before) : after;
      return Outcome::kDone;
    }
    case TreeOp::kBlock:
      if (!Spend(1)) return Outcome::kGivenUp;
      for (int i = 0; i < node.count; ++i) {
        const Outcome outcome = Run(tree_->items[static_cast<size_t>(node.first + i)], other);
        if (failed(outcome)) return outcome;
      }
      return Outcome::kDone;
    case TreeOp::kIf: {
      const Outcome outcome = Run(node.a, other);
      if (failed(outcome)) return outcome;
      const int then = IsTrue(other) ? node.b : node.c;
      return then >= 0 ? Run(then, other) : Outcome::kDone;
    }
    case TreeOp::kLoop:
      return RunLoop(node);
    case TreeOp::kTry: {
      const Outcome outcome = Run(node.a, other);
      return outcome == Outcome::kThrown ? Run(node.b, other) : outcome;
    }
  }
  return Outcome::kGivenUp;
}

TreeRun::Outcome TreeRun::RunItem(const TreeNode& node, TreeValue& value) {
  TreeValue list;
  TreeValue place;
  Outcome outcome = Run(node.a, list);
  if (outcome == Outcome::kDone) outcome = Run(node.b, place);
  if (outcome != Outcome::kDone) return outcome;
  double at = 0;
  if (list.kind != Kind::kList || place.kind != Kind::kNumber || !ToNumber(place, at)) {
    return Outcome::kGivenUp;
  }
  const std::vector<TreeValue>& items = lists_[list.at];
  value = {};
  if (at >= 0 && at < static_cast<double>(items.size())) {
    if (at != std::floor(at)) return Outcome::kGivenUp;
    value = items[static_cast<size_t>(at)];
  }
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::RunSetItem(const TreeNode& node, TreeValue& value) {
  TreeValue list;
  TreeValue place;
  Outcome outcome = Run(node.a, list);
  if (outcome == Outcome::kDone) outcome = Run(node.b, place);
  if (outcome == Outcome::kDone) outcome = Run(node.c, value);
  if (outcome != Outcome::kDone) return outcome;
  if (list.kind != Kind::kList || place.kind != Kind::kNumber) return Outcome::kGivenUp;
  std::vector<TreeValue>& items = lists_[list.at];
  const double at = place.number;
  // Lists that grow by leaps are the engine's.
  if (!(at >= 0 && at <= static_cast<double>(items.size())) || at != std::floor(at)) {
    return Outcome::kGivenUp;
  }
  if (static_cast<size_t>(at) < items.size()) {
    items[static_cast<size_t>(at)] = value;
    return Outcome::kDone;
  }
  if (++items_ > kMostItems || !Spend(1)) return Outcome::kGivenUp;
  items.push_back(value);
  return Outcome::kDone;
}

}  // namespace plexion_host::movie
