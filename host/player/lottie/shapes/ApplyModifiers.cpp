// What changes the paths of a shape layer before they are painted: each modifier on the paths that it has.
#include <string.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/shapes/ShapeTree.h"

namespace plexion_host::movie {

namespace {

/// A number for what a merge is made from: equal numbers, equal results.
class OperandsSum {
 public:
  void Add(uint64_t number) {
    value_ = (value_ ^ number) * 0x9E3779B97F4A7C15u;
    value_ = value_ << 29 | value_ >> 35;
  }
  void Add(const MergeOperand& operand) {
    const Matrix& m = operand.matrix;
    for (const double number : {m.a, m.b, m.c, m.d, m.e, m.f}) AddBits(number);
    for (size_t i = 0; i < operand.outlines->Count(); ++i) {
      const Outline& outline = (*operand.outlines)[i];
      Add(outline.vertices.size() * 2 + (outline.closed ? 1 : 0));
      for (const Vertex& v : outline.vertices) {
        AddBits(v.x, v.y);
        AddBits(v.inX, v.inY);
        AddBits(v.outX, v.outY);
      }
    }
  }
  uint64_t Value() const { return value_; }

 private:
  void AddBits(double number) {
    uint64_t bits = 0;
    memcpy(&bits, &number, sizeof bits);
    Add(bits);
  }
  void AddBits(float one, float other) {
    const float both[2] = {one, other};
    uint64_t bits = 0;
    memcpy(&bits, both, sizeof bits);
    Add(bits);
  }

  uint64_t value_ = 1;
};

size_t PointsOf(const OutlineList& outlines) {
  size_t points = 0;
  for (size_t i = 0; i < outlines.Count(); ++i) points += outlines[i].vertices.size();
  return points;
}

}  // namespace

/// Has the paths above it painted as one by the styles below it.
void ShapeTree::AddMerge(const Shape& shape) {
  const auto index = static_cast<uint32_t>(modifierCount_);
  const std::vector<uint32_t>& outer = openModifiers_;
  AddModifier(shape);
  Modifier& merge = modifiers_[index];
  merge.matrices.clear();
  merge.outer.assign(outer.begin(), outer.end() - 1);
  merge.toOuter.clear();
  for (const uint32_t other : merge.outer)
    merge.toOuter.push_back(MatrixTo(modifiers_[other].depth));
  merge.firstTarget = static_cast<uint32_t>(targets_.size());
  AddTargets();
  merge.targetCount = static_cast<uint32_t>(targets_.size()) - merge.firstTarget;
  merge.firstOp = static_cast<uint32_t>(opCount_);
}

/// From the plane of what is open to that `depth` groups deep.
Matrix ShapeTree::MatrixTo(size_t depth) const {
  Matrix matrix;
  for (size_t i = chain_.size(); i > depth; --i) matrix = Then(matrix, chain_[i - 1]);
  return matrix;
}

/// What stands nearer to a path changes it first.
void ShapeTree::ApplyModifiers(const Moment& moment) {
  for (size_t i = modifierCount_; i-- > 0;) {
    const Modifier& modifier = modifiers_[i];
    const Shape& shape = *modifier.shape;
    if (modifier.instances.empty()) continue;
    if (modifier.merges) {
      ApplyMerge(i);
      continue;
    }
    if (shape.kind == ShapeKind::kTrim) {
      ApplyTrim(modifier, moment);
      continue;
    }
    const double amount = moment.Number(shape.amount, 0);
    const double size =
        moment.Number(shape.kind == ShapeKind::kRound ? shape.radius : shape.size, 0);
    const bool none = shape.kind == ShapeKind::kRound || shape.kind == ShapeKind::kZigZag
                          ? size == 0
                          : amount == 0;
    if (none) continue;
    float centre[2] = {0, 0};
    for (const uint32_t number : modifier.instances) {
      OutlineList& outlines = instances_[number].outlines;
      spare_.Clear();
      switch (shape.kind) {
        case ShapeKind::kRound:
          RoundCorners(outlines, size, spare_);
          break;
        case ShapeKind::kZigZag:
          ZigZag(outlines, size, amount, moment.Number(shape.points, 1) == 2, spare_);
          break;
        case ShapeKind::kPucker:
          Pucker(outlines, amount, spare_);
          break;
        case ShapeKind::kTwist:
          moment.Numbers(shape.position, centre, 2);
          Twist(outlines, amount, centre[0], centre[1], spare_);
          break;
        default:
          Offset(outlines, {amount, shape.join, moment.Number(shape.miter, 4)}, spare_);
          break;
      }
      outlines.Swap(spare_);
    }
  }
}

void ShapeTree::ApplyTrim(const Modifier& modifier, const Moment& moment) {
  const Shape& shape = *modifier.shape;
  const TrimRange range = MakeTrimRange(
      moment.Number(shape.start, 0), moment.Number(shape.end, 100), moment.Number(shape.offset, 0));
  if (range.All()) return;
  double total = 0;
  if (!range.Nothing()) {
    for (const uint32_t number : modifier.instances) {
      Measure(instances_[number].outlines, instances_[number].lengths);
      total += instances_[number].lengths.total;
    }
  }
  const bool oneLine = shape.mode == 2 && modifier.instances.size() > 1;
  double done = 0;
  // The line begins with the topmost path, which was found last.
  for (size_t i = modifier.instances.size(); i-- > 0;) {
    Instance& instance = instances_[modifier.instances[i]];
    spare_.Clear();
    if (oneLine) {
      const double length = instance.lengths.total;
      const TrimParts parts = TrimPiece(range, done, length, total);
      for (int part = 0; part < parts.count; ++part) {
        Trim(instance.outlines, instance.lengths, parts.parts[part], spare_);
      }
      done += length;
    } else {
      Trim(instance.outlines, instance.lengths, range, spare_);
    }
    instance.outlines.Swap(spare_);
  }
}

/// Makes one path of those that a merge has, and puts it in their place wherever they were to go.
void ShapeTree::ApplyMerge(size_t index) {
  const Modifier& merge = modifiers_[index];
  PLEXION_CHECK(merge.matrices.size() == merge.instances.size(),
                "each path has its way to the merge");
  operands_.clear();
  size_t points = 0;
  OperandsSum sum;
  sum.Add(merge.shape->mode);
  for (size_t i = merge.instances.size(); i-- > 0;) {  // the topmost was found last
    operands_.push_back({&instances_[merge.instances[i]].outlines, merge.matrices[i]});
    sum.Add(operands_.back());
    points += PointsOf(*operands_.back().outlines);
  }
  // The document was counted when it was read, but an expression may give a path any points: those
  // are painted uncut.
  if (points > kMostMergedVertices) return;
  if (mergeCount_ == merged_.size()) merged_.push_back(std::make_unique<Merged>());
  Merged& merged = *merged_[mergeCount_++];
  if (merged.sum != sum.Value()) {
    merged.sum = 0;  // should memory fail, there is nothing half done
    merged.outlines.Clear();
    MergePaths(operands_, static_cast<MergeMode>(merge.shape->mode), merged.outlines);
    merged.sum = sum.Value();
  }
  if (instanceCount_ == instances_.size()) instances_.emplace_back();
  const auto number = static_cast<uint32_t>(instanceCount_);
  Instance& result = instances_[instanceCount_++];
  result.shape = merge.shape;
  result.outlines.Clear();
  for (size_t i = 0; i < merged.outlines.Count(); ++i) result.outlines.Add() = merged.outlines[i];
  result.firstTarget = merge.firstTarget;
  result.targetCount = merge.targetCount;
  // Styles above it paint what was there before, those below it the result alone.
  for (const uint32_t one : merge.instances) {
    Instance& instance = instances_[one];
    while (instance.targetCount > 0 &&
           targets_[instance.firstTarget + instance.targetCount - 1].op < merge.firstOp) {
      --instance.targetCount;
    }
  }
  for (size_t i = 0; i < merge.outer.size(); ++i) {
    Modifier& outer = modifiers_[merge.outer[i]];
    const auto first =
        std::find(outer.instances.begin(), outer.instances.end(), merge.instances[0]);
    const auto at = first - outer.instances.begin();
    if (outer.merges) {
      outer.instances.erase(first, first + static_cast<ptrdiff_t>(merge.instances.size()));
      outer.matrices.erase(
          outer.matrices.begin() + at,
          outer.matrices.begin() + at + static_cast<ptrdiff_t>(merge.instances.size()));
      outer.matrices.insert(outer.matrices.begin() + at, merge.toOuter[i]);
    }
    outer.instances.insert(outer.instances.begin() + at, number);
  }
}

}  // namespace plexion_host::movie
