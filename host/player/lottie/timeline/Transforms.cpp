// Anchor, scale, skew, rotation, position: in this order.
#include "host/player/lottie/timeline/Transforms.h"

#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

Matrix Translation(double x, double y) { return {1, 0, 0, 1, x, y}; }
Matrix Rotation(double degrees) {
  const double c = cos(degrees * kDegrees), s = sin(degrees * kDegrees);
  return {c, s, -s, c, 0, 0};
}

Matrix Skewed(double degrees, double axisDegrees) {
  Matrix skew;
  skew.c = tan(-degrees * kDegrees);
  return Then(Then(Rotation(axisDegrees), skew), Rotation(-axisDegrees));
}

struct Vector {
  double x = 0, y = 0, z = 0;
};

Vector PositionAt(const Transform& transform, const Moment& moment) {
  if (transform.position == nullptr && transform.positionX == nullptr) return {};
  if (transform.position != nullptr) {
    float numbers[3] = {};
    moment.Numbers(transform.position, numbers, 3);
    return {numbers[0], numbers[1], numbers[2]};
  }
  return {moment.Number(transform.positionX, 0), moment.Number(transform.positionY, 0),
          moment.Number(transform.positionZ, 0)};
}

/// The way that the position goes, in degrees; by what the keys say alone.
double Heading(const Transform& transform, const Moment& moment) {
  const Property* keyed = transform.position != nullptr ? transform.position : transform.positionX;
  if (keyed == nullptr || keyed->segments.empty()) return 0;
  const double first = keyed->segments[0].from;
  const double last = keyed->segments[keyed->segments.count - 1].to;
  // From the difference of two places close to each other, as the key says it, without its slope.
  double later = moment.time;
  double earlier = moment.time - 0.01;
  if (moment.time <= first) {
    later = first + 0.01;
    earlier = first;
  } else if (moment.time >= last) {
    later = last;
    earlier = last - 0.05;
  }
  Constancy ignored;
  auto at = [&](double time) {
    Moment other = moment;
    other.time = time;
    other.constancy = &ignored;
    return PositionAt(transform, other);
  };
  const Vector to = at(later), from = at(earlier);
  if (moment.time > first && moment.time < last) moment.constancy->Meet(moment.time, moment.time);
  return atan2(to.y - from.y, to.x - from.x) / kDegrees;
}

Matrix4 Rotation4(int axis, double degrees) {
  PLEXION_CHECK(axis >= 0 && axis < 3, "there are three axes");
  const double c = cos(degrees * kDegrees), s = sin(degrees * kDegrees);
  Matrix4 turn;
  // Which two of the three directions change: y and z about x, z and x about y, x and y about z.
  const int from = axis == 0 ? 1 : 0;
  const int to = axis == 2 ? 1 : 2;
  turn.m[from * 4 + from] = turn.m[to * 4 + to] = c;
  const double sign = axis == 1 ? 1 : -1;
  turn.m[from * 4 + to] = sign * s;
  turn.m[to * 4 + from] = -sign * s;
  return turn;
}

Matrix4 Translation4(double x, double y, double z) {
  Matrix4 move;
  move.m[12] = x;
  move.m[13] = y;
  move.m[14] = z;
  return move;
}

Matrix4 Lifted(const Matrix& matrix, double scaleZ) {
  Matrix4 lifted;
  lifted.m[0] = matrix.a;
  lifted.m[1] = matrix.b;
  lifted.m[4] = matrix.c;
  lifted.m[5] = matrix.d;
  lifted.m[12] = matrix.e;
  lifted.m[13] = matrix.f;
  lifted.m[10] = scaleZ;
  return lifted;
}

}  // namespace

Matrix Then(const Matrix& first, const Matrix& second) { return second * first; }

Matrix4 Then(const Matrix4& first, const Matrix4& second) {
  Matrix4 product;
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      double sum = 0;
      for (int i = 0; i < 4; ++i) sum += first.m[row * 4 + i] * second.m[i * 4 + column];
      product.m[row * 4 + column] = sum;
    }
  }
  return product;
}

Matrix Flattened(const Matrix4& matrix) {
  const double* m = matrix.m;
  return {m[0], m[1], m[4], m[5], m[12], m[13]};
}

Matrix TransformAt(const Transform& transform, const Moment& moment, bool autoOrient) {
  float anchor[2] = {0, 0};
  float scale[2] = {100, 100};
  moment.Numbers(transform.anchor, anchor, 2);
  moment.Numbers(transform.scale, scale, 2);
  Matrix matrix = Translation(-double{anchor[0]}, -double{anchor[1]});
  matrix = Then(matrix, {scale[0] / 100.0, 0, 0, scale[1] / 100.0, 0, 0});
  const double skew = moment.Number(transform.skew, 0);
  if (skew != 0) matrix = Then(matrix, Skewed(skew, moment.Number(transform.skewAxis, 0)));
  double rotation =
      moment.Number(transform.rotation != nullptr ? transform.rotation : transform.rotationZ, 0);
  if (autoOrient) rotation += Heading(transform, moment);
  if (rotation != 0) matrix = Then(matrix, Rotation(rotation));
  const Vector position = PositionAt(transform, moment);
  matrix.e += position.x;
  matrix.f += position.y;
  return matrix;
}

Matrix4 Transform4At(const Transform& transform, const Moment& moment, bool autoOrient) {
  float anchor[3] = {0, 0, 0};
  float scale[3] = {100, 100, 100};
  moment.Numbers(transform.anchor, anchor, 3);
  moment.Numbers(transform.scale, scale, 3);
  Matrix4 matrix = Translation4(-anchor[0], -anchor[1], anchor[2]);
  matrix = Then(matrix, Lifted({scale[0] / 100.0, 0, 0, scale[1] / 100.0, 0, 0}, scale[2] / 100.0));
  const double skew = moment.Number(transform.skew, 0);
  if (skew != 0) {
    matrix = Then(matrix, Lifted(Skewed(skew, moment.Number(transform.skewAxis, 0)), 1));
  }
  if (transform.rotation != nullptr) {
    matrix = Then(matrix, Rotation4(2, -moment.Number(transform.rotation, 0)));
  } else {
    float orientation[3] = {};
    moment.Numbers(transform.orientation, orientation, 3);
    matrix = Then(matrix, Rotation4(2, -moment.Number(transform.rotationZ, 0)));
    matrix = Then(matrix, Rotation4(1, moment.Number(transform.rotationY, 0)));
    matrix = Then(matrix, Rotation4(0, moment.Number(transform.rotationX, 0)));
    matrix = Then(matrix, Rotation4(2, -double{orientation[2]}));
    matrix = Then(matrix, Rotation4(1, orientation[1]));
    matrix = Then(matrix, Rotation4(0, orientation[0]));
  }
  if (autoOrient) matrix = Then(matrix, Rotation4(2, -Heading(transform, moment)));
  const Vector position = PositionAt(transform, moment);
  return Then(matrix, Translation4(position.x, position.y, -position.z));
}

double OpacityAt(const Transform& transform, const Moment& moment) {
  return std::clamp(moment.Number(transform.opacity, 100) / 100, 0.0, 1.0);
}

void CopyTransforms::Reset(const Transform* transform, double offset, const Moment& moment) {
  position_ = rotation_ = scale_ = Matrix();
  first_ = true;
  anchor_[0] = anchor_[1] = move_[0] = move_[1] = turn_ = 0;
  grow_[0] = grow_[1] = 1;
  if (transform == nullptr) return;
  float pair[2] = {0, 0};
  moment.Numbers(transform->anchor, pair, 2);
  std::copy(pair, pair + 2, anchor_);
  const Vector move = PositionAt(*transform, moment);
  move_[0] = move.x;
  move_[1] = move.y;
  float scale[2] = {100, 100};
  moment.Numbers(transform->scale, scale, 2);
  for (int i = 0; i < 2; ++i) grow_[i] = scale[i] / 100.0;
  turn_ = moment.Number(transform->rotation, 0);
  // An offset is a number of the document's; beyond this nothing would be seen of the copies.
  constexpr double kMostSteps = 1000;
  double left = std::min(fabs(offset), kMostSteps);
  for (; left >= 1; --left) Apply(1, offset < 0);
  if (left > 0) Apply(left, offset < 0);
}

Matrix CopyTransforms::Next() {
  if (!first_) Apply(1, false);
  first_ = false;
  return Then(Then(rotation_, scale_), position_);
}

void CopyTransforms::Apply(double share, bool backwards) {
  const double direction = backwards ? -1 : 1;
  position_ =
      Then(position_, Translation(move_[0] * direction * share, move_[1] * direction * share));
  const Matrix to = Translation(-anchor_[0], -anchor_[1]);
  const Matrix back = Translation(anchor_[0], anchor_[1]);
  rotation_ = Then(Then(Then(rotation_, to), Rotation(turn_ * direction * share)), back);
  double scale[2];
  for (int i = 0; i < 2; ++i) {
    scale[i] = grow_[i] + (1 - grow_[i]) * (1 - share);
    if (backwards) scale[i] = scale[i] != 0 ? 1 / scale[i] : 0;
  }
  scale_ = Then(Then(Then(scale_, to), {scale[0], 0, 0, scale[1], 0, 0}), back);
}

}  // namespace plexion_host::movie
