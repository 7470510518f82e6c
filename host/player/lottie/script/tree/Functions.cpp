// Functions of numbers, lists and paths.
#include <algorithm>
#include <cmath>

#include "host/player/lottie/script/tree/Run.h"

namespace plexion_host::movie {

TreeRun::Outcome TreeRun::RunArithmetic(TreeFunction function, const TreeValue* given,
                                        TreeValue& value) {
  double numbers[3] = {};
  switch (function) {
    case TreeFunction::kRemainder:
      if (!ToNumber(given[0], numbers[0]) || !ToNumber(given[1], numbers[1])) {
        return Outcome::kGivenUp;
      }
      value = NumberValue(std::fmod(numbers[0], numbers[1]));
      return Outcome::kDone;
    case TreeFunction::kToRadians:
    case TreeFunction::kToDegrees:
      if (!ToNumber(given[0], numbers[0])) return Outcome::kGivenUp;
      value =
          NumberValue(numbers[0] * (function == TreeFunction::kToRadians ? kDegree : 1 / kDegree));
      return Outcome::kDone;
    default:
      break;
  }
  if (function <= TreeFunction::kDivide && given[0].kind == Kind::kNumber &&
      given[1].kind == Kind::kNumber) {
    value = NumberValue(
        Calculate(static_cast<Calculation>(function), given[0].number, given[1].number));
    return Outcome::kDone;
  }
  ScriptOperand a;
  ScriptOperand b;
  if (function >= TreeFunction::kLinear && function <= TreeFunction::kEaseOut) {
    const auto curve = static_cast<Curve>(int(function) - int(TreeFunction::kLinear));
    const bool three = given[3].kind == Kind::kUndefined || given[4].kind == Kind::kUndefined;
    if (!ToNumber(given[0], numbers[0])) return Outcome::kGivenUp;
    if (!three && (!ToNumber(given[1], numbers[1]) || !ToNumber(given[2], numbers[2]))) {
      return Outcome::kGivenUp;
    }
    const TreeValue* const ends = given + (three ? 1 : 3);
    if (!ToOperand(ends[0], a) || !ToOperand(ends[1], b)) return Outcome::kGivenUp;
    Between(curve, three ? numbers[0] : ShareOf(curve, numbers[0], numbers[1], numbers[2]), a, b);
    return FromOperand(a, value);
  }
  if (!ToOperand(given[0], a)) return Outcome::kGivenUp;
  switch (function) {
    case TreeFunction::kNegate:
      for (uint32_t i = 0; i < a.count; ++i) a.numbers[i] = -a.numbers[i];
      return FromOperand(a, value);
    case TreeFunction::kClamp:
      if (!ToNumber(given[1], numbers[1]) || !ToNumber(given[2], numbers[2])) {
        return Outcome::kGivenUp;
      }
      Clamp(a, numbers[1], numbers[2]);
      return FromOperand(a, value);
    case TreeFunction::kLength: {
      const bool two = given[1].kind != Kind::kUndefined;
      if (two && !ToOperand(given[1], b)) return Outcome::kGivenUp;
      value = NumberValue(Distance(a, two ? &b : nullptr));
      return Outcome::kDone;
    }
    default:
      break;
  }
  if (!ToOperand(given[1], b)) return Outcome::kGivenUp;
  ScriptOperand result;
  Calculate(static_cast<Calculation>(function), a, b, result);
  return FromOperand(result, value);
}

TreeRun::Outcome TreeRun::RunMath(const TreeNode& node, const TreeValue* given, TreeValue& value) {
  const TreeFunction function = node.function;
  const bool two = function == TreeFunction::kArcTangent2 || function == TreeFunction::kPower ||
                   function == TreeFunction::kLeast || function == TreeFunction::kMost;
  double a = 0;
  double b = 0;
  // What is no number, and what the language says of the ends of the scale, is left to the engine.
  if (node.count != (two ? 2 : 1) || !ToNumber(given[0], a) || !std::isfinite(a) ||
      (two && (!ToNumber(given[1], b) || !std::isfinite(b)))) {
    return Outcome::kGivenUp;
  }
  switch (function) {
    case TreeFunction::kSine:
      a = std::sin(a);
      break;
    case TreeFunction::kCosine:
      a = std::cos(a);
      break;
    case TreeFunction::kTangent:
      a = std::tan(a);
      break;
    case TreeFunction::kArcTangent2:
      a = std::atan2(a, b);
      break;
    case TreeFunction::kExponential:
      a = std::exp(a);
      break;
    case TreeFunction::kSquareRoot:
      a = std::sqrt(a);
      break;
    case TreeFunction::kAbsolute:
      a = std::fabs(a);
      break;
    case TreeFunction::kFloor:
      a = std::floor(a);
      break;
    case TreeFunction::kCeiling:
      a = std::ceil(a);
      break;
    case TreeFunction::kRound:
      // Halves go up, below zero as well.
      a = a - std::floor(a) >= 0.5 ? std::floor(a) + 1 : std::floor(a);
      break;
    case TreeFunction::kPower:
      a = std::pow(a, b);
      break;
    case TreeFunction::kLeast:
      a = std::min(a, b);
      break;
    default:
      a = std::max(a, b);
      break;
  }
  value = NumberValue(a);
  return Outcome::kDone;
}

// --- Paths ---

TreeRun::Outcome TreeRun::RunPath(TreeFunction function, const TreeValue& path,
                                  const TreeValue& given, TreeValue& value) {
  if (path.kind != Kind::kPath || paths_[path.at].numbers.size() < 6) return Outcome::kGivenUp;
  const Path& from = paths_[path.at];
  const size_t vertices = from.numbers.size() / 6;
  if (function == TreeFunction::kIsClosed) {
    value = BooleanValue(from.closed);
    return Outcome::kDone;
  }
  ScriptOperand pair;
  pair.list = true;
  pair.count = 2;
  if (function >= TreeFunction::kPointOnPath) {
    double share = 0.5;
    if (!Spend(static_cast<double>(from.numbers.size()) * 4) ||
        (given.kind != Kind::kUndefined && !ToNumber(given, share))) {
      return Outcome::kGivenUp;
    }
    AlongPath(from.numbers.data(), from.numbers.size(), from.closed,
              static_cast<OnPath>(int(function) - int(TreeFunction::kPointOnPath)),
              std::isfinite(share) ? share : 0, pair.numbers);
    return FromOperand(pair, value);
  }
  std::vector<TreeValue>* const list = NewList(value, vertices);
  if (list == nullptr) return Outcome::kGivenUp;
  const size_t which = static_cast<size_t>(function) - static_cast<size_t>(TreeFunction::kPoints);
  for (size_t i = 0; i < vertices; ++i) {
    const double* const at = from.numbers.data() + 6 * i;
    for (size_t k = 0; k < 2; ++k) {
      pair.numbers[k] = which == 0 ? at[k] : at[which * 2 + k] - at[k];
    }
    const Outcome outcome = FromOperand(pair, (*list)[i]);
    if (outcome != Outcome::kDone) return outcome;
  }
  return Outcome::kDone;
}

/// (points, tangents in, tangents out, closed), each list a pair for each vertex.
TreeRun::Outcome TreeRun::CreatePath(const TreeValue* given, TreeValue& value) {
  for (int list = 0; list < 3; ++list) {
    if (given[list].kind != Kind::kList) return Outcome::kGivenUp;
  }
  const size_t points = lists_[given[0].at].size();
  if (points == 0) return Outcome::kGivenUp;
  TreeValue made;
  Path* const path = NewPath(made, points * 6);
  if (path == nullptr) return Outcome::kGivenUp;
  for (size_t i = 0; i < points; ++i) {
    double pairs[3][2];
    for (size_t list = 0; list < 3; ++list) {
      const std::vector<TreeValue>& items = lists_[given[list].at];
      if (i >= items.size() || items[i].kind != Kind::kList) return Outcome::kGivenUp;
      const std::vector<TreeValue>& pair = lists_[items[i].at];
      if (pair.size() < 2 || !ToNumber(pair[0], pairs[list][0]) ||
          !ToNumber(pair[1], pairs[list][1])) {
        return Outcome::kGivenUp;
      }
    }
    for (size_t k = 0; k < 2; ++k) {
      path->numbers[6 * i + k] = pairs[0][k];
      path->numbers[6 * i + 2 + k] = pairs[0][k] + pairs[1][k];
      path->numbers[6 * i + 4 + k] = pairs[0][k] + pairs[2][k];
    }
  }
  path->closed = given[3].kind == Kind::kUndefined || IsTrue(given[3]);
  value = made;
  return Outcome::kDone;
}

}  // namespace plexion_host::movie
