// What expressions calculate with: numbers and lists of them, for the script engine and for trees.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_ARITHMETIC_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_ARITHMETIC_H_

#include <stddef.h>

#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

/// A number, or a list of up to kMostNumbers of them.
struct ScriptOperand {
  bool list = false;
  bool text = false;
  uint32_t count = 1;
  double numbers[ScriptValue::kMostNumbers];
};

enum class Calculation : uint8_t { kAdd, kSubtract, kMultiply, kDivide };

double Calculate(Calculation how, double a, double b);
/// A list and a number: product and quotient are of each number, sum and difference of the first only.
void Calculate(Calculation how, const ScriptOperand& a, const ScriptOperand& b,
               ScriptOperand& result);
/// Each number between the two ends, in whatever order those are.
void Clamp(ScriptOperand& value, double a, double b);
/// From `a` to the end of `b`; `b` null: from 0.
double Distance(const ScriptOperand& a, const ScriptOperand* b);

constexpr double kDegree = 3.14159265358979323846 / 180;

enum class Curve : uint8_t { kLinear, kEase, kEaseIn, kEaseOut };
/// How far `t` is on the way between two numbers, 0 to 1.
double ShareOf(Curve curve, double t, double from, double to);
/// `a` on the way to `b`, eased; a share that is no number counts as none.
void Between(Curve curve, double share, ScriptOperand& a, const ScriptOperand& b);

enum class PointWay : uint8_t { kToPoint, kFromPoint, kToVector, kFromVector };
/// From a layer's plane by its matrix, or back. The point has two numbers, or three, afterwards.
void CarryPoint(const Matrix& matrix, PointWay way, ScriptOperand& point);

enum class OnPath : uint8_t { kPoint, kTangent, kNormal };
/// At a share of a path's whole length; `numbers` as in ScriptValue::path, at least one vertex.
void AlongPath(const double* numbers, size_t count, bool closed, OnPath what, double share,
               double pair[2]);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_ARITHMETIC_H_
