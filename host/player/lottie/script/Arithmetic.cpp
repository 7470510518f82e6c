// Sums, ways between values, and places on paths.
#include "host/player/lottie/script/Arithmetic.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/timeline/CubicEase.h"

namespace plexion_host::movie {

namespace {

constexpr int kPieces = 32;  ///< of a curve when its length is measured

void PointOf(const double* from, const double* to, double t, double point[2]) {
  const double s = 1 - t;
  for (int i = 0; i < 2; ++i) {
    point[i] = s * s * s * from[i] + 3 * s * s * t * from[4 + i] + 3 * s * t * t * to[2 + i] +
               t * t * t * to[i];
  }
}

/// The point at a share of the whole length.
void PointAlong(const double* numbers, size_t count, bool closed, double share, double point[2]) {
  const size_t points = count / 6;
  const size_t curves = closed ? points : points - 1;
  double total = 0;
  double wanted = 0;
  point[0] = numbers[0];
  point[1] = numbers[1];
  // First the length, then the place.
  for (int pass = 0; pass < 2; ++pass) {
    double length = 0;
    for (size_t i = 0; i < curves; ++i) {
      const double* from = numbers + 6 * i;
      const double* to = numbers + 6 * ((i + 1) % points);
      double before[2] = {from[0], from[1]};
      for (int piece = 1; piece <= kPieces; ++piece) {
        double now[2];
        PointOf(from, to, static_cast<double>(piece) / kPieces, now);
        const double step = std::hypot(now[0] - before[0], now[1] - before[1]);
        if (pass == 1 && step > 0 && length + step >= wanted) {
          const double part = (wanted - length) / step;
          point[0] = before[0] + (now[0] - before[0]) * part;
          point[1] = before[1] + (now[1] - before[1]) * part;
          return;
        }
        length += step;
        before[0] = now[0];
        before[1] = now[1];
      }
      if (pass == 1) {
        point[0] = before[0];
        point[1] = before[1];
      }
    }
    total = length;
    wanted = total * std::clamp(share, 0.0, 1.0);
  }
}

}  // namespace

double Calculate(Calculation how, double a, double b) {
  switch (how) {
    case Calculation::kAdd:
      return a + b;
    case Calculation::kSubtract:
      return a - b;
    case Calculation::kMultiply:
      return a * b;
    case Calculation::kDivide:
      break;
  }
  return a / b;
}

void Calculate(Calculation how, const ScriptOperand& a, const ScriptOperand& b,
               ScriptOperand& result) {
  const bool first = how == Calculation::kAdd || how == Calculation::kSubtract;
  result.text = false;
  result.list = a.list || b.list;
  result.count = std::max(a.list ? a.count : 1, b.list ? b.count : 1);
  if (result.list && (a.count == 0 || b.count == 0) && !(a.list && b.list)) {
    // An empty list has no first number that could be added to.
    result.count = 1;
    result.numbers[0] = NAN;
    return;
  }
  for (uint32_t i = 0; i < result.count; ++i) {
    if (a.list && b.list) {
      result.numbers[i] = i >= b.count   ? a.numbers[i]
                          : i >= a.count ? b.numbers[i]
                                         : Calculate(how, a.numbers[i], b.numbers[i]);
    } else if (first && i > 0) {
      result.numbers[i] = a.list ? a.numbers[i] : b.numbers[i];
    } else {
      result.numbers[i] = Calculate(how, a.numbers[a.list ? i : 0], b.numbers[b.list ? i : 0]);
    }
  }
}

void Clamp(ScriptOperand& value, double a, double b) {
  for (uint32_t i = 0; i < value.count; ++i) {
    value.numbers[i] = std::min(std::max(value.numbers[i], std::min(a, b)), std::max(a, b));
  }
}

double Distance(const ScriptOperand& a, const ScriptOperand* b) {
  double sum = 0;
  const uint32_t count = b != nullptr ? std::min(a.count, b->count) : a.count;
  for (uint32_t i = 0; i < count; ++i) {
    const double difference = a.numbers[i] - (b != nullptr ? b->numbers[i] : 0);
    sum += difference * difference;
  }
  return std::sqrt(sum);
}

double ShareOf(Curve curve, double t, double from, double to) {
  if (curve == Curve::kLinear && to < from) std::swap(from, to);
  return to == from ? (t < from ? 0 : 1) : (t - from) / (to - from);
}

void Between(Curve curve, double share, ScriptOperand& a, const ScriptOperand& b) {
  double t = std::isnan(share) ? 0 : std::min(std::max(share, 0.0), 1.0);
  if (t > 0 && t < 1) {
    switch (curve) {
      case Curve::kEase:
        t = CubicEase(t, 0.33, 0, 0.667, 1);
        break;
      case Curve::kEaseIn:
        t = CubicEase(t, 0.333, 0, 0.833, 0.833);
        break;
      case Curve::kEaseOut:
        t = CubicEase(t, 0.167, 0.167, 0.667, 1);
        break;
      case Curve::kLinear:
        break;
    }
  }
  for (uint32_t i = 0; i < a.count; ++i) {
    const double target = i < b.count ? b.numbers[i] : a.numbers[i];
    a.numbers[i] += (target - a.numbers[i]) * t;
  }
  a.text = false;
}

void CarryPoint(const Matrix& matrix, PointWay way, ScriptOperand& point) {
  for (uint32_t i = point.count; i < 3; ++i) point.numbers[i] = 0;
  const bool vector = way == PointWay::kToVector || way == PointWay::kFromVector;
  const double moveX = vector ? 0 : matrix.e;
  const double moveY = vector ? 0 : matrix.f;
  double x = point.numbers[0];
  double y = point.numbers[1];
  if (way == PointWay::kToPoint || way == PointWay::kToVector) {
    const double before = x;
    x = matrix.a * before + matrix.c * y + moveX;
    y = matrix.b * before + matrix.d * y + moveY;
  } else {
    const double scale = matrix.a * matrix.d - matrix.b * matrix.c;
    const double awayX = x - moveX;
    const double awayY = y - moveY;
    x = scale == 0 ? 0 : (matrix.d * awayX - matrix.c * awayY) / scale;
    y = scale == 0 ? 0 : (matrix.a * awayY - matrix.b * awayX) / scale;
  }
  point.list = true;
  point.count = std::min(std::max(point.count, 2u), 3u);
  point.numbers[0] = x;
  point.numbers[1] = y;
}

void AlongPath(const double* numbers, size_t count, bool closed, OnPath what, double share,
               double pair[2]) {
  if (what == OnPath::kPoint) return PointAlong(numbers, count, closed, share, pair);
  const double from = std::min(std::max(share, 0.0), 0.999);
  double point[2];
  double next[2];
  PointAlong(numbers, count, closed, from, point);
  PointAlong(numbers, count, closed, from + 0.001, next);
  const double x = next[0] - point[0];
  const double y = next[1] - point[1];
  const double length = std::hypot(x, y);
  if (length == 0) {
    pair[0] = pair[1] = 0;
  } else if (what == OnPath::kTangent) {
    pair[0] = x / length;
    pair[1] = y / length;
  } else {
    pair[0] = -y / length;
    pair[1] = x / length;
  }
}

}  // namespace plexion_host::movie
