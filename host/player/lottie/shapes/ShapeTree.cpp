// What a shape layer draws: groups, styles, and the paths that each of them gets.
#include "host/player/lottie/shapes/ShapeTree.h"

#include <math.h>

#include <algorithm>

#include "host/player/lottie/shapes/Figures.h"
#include "host/player/lottie/shapes/StyleValues.h"

namespace plexion_host::movie {

namespace {

bool IsPath(ShapeKind kind) {
  return kind == ShapeKind::kPath || kind == ShapeKind::kRectangle || kind == ShapeKind::kEllipse ||
         kind == ShapeKind::kStar;
}

bool IsIdentity(const Matrix& m) {
  return m.a == 1 && m.b == 0 && m.c == 0 && m.d == 1 && m.e == 0 && m.f == 0;
}

bool SamePath(const Path& a, const Path& b) {
  return a.verbs == b.verbs && a.points.size() == b.points.size() &&
         std::equal(a.points.begin(), a.points.end(), b.points.begin(),
                    [](const Point& p, const Point& q) { return p.x == q.x && p.y == q.y; });
}

}  // namespace

void AppendOutline(const Outline& outline, const Matrix& m, Path& path) {
  const size_t count = outline.vertices.size();
  if (count == 0) return;
  const bool same = IsIdentity(m);
  auto point = [&](float x, float y) -> Point {
    if (same) return {x, y};
    return {static_cast<float>(m.a * x + m.c * y + m.e),
            static_cast<float>(m.b * x + m.d * y + m.f)};
  };
  const Vertex* from = &outline.vertices[0];
  const Point start = point(from->x, from->y);
  path.Move(start.x, start.y);
  const size_t curves = outline.closed ? count : count - 1;
  for (size_t i = 0; i < curves; ++i) {
    const Vertex* to = &outline.vertices[i + 1 < count ? i + 1 : 0];
    const Point end = point(to->x, to->y);
    if (from->x == from->outX && from->y == from->outY && to->x == to->inX && to->y == to->inY) {
      path.Line(end.x, end.y);
    } else {
      const Point out = point(from->outX, from->outY);
      const Point in = point(to->inX, to->inY);
      path.Cubic(out.x, out.y, in.x, in.y, end.x, end.y);
    }
    from = to;
  }
  if (outline.closed) path.Close();
}

void AppendOutlines(const OutlineList& outlines, const Matrix& matrix, Path& path) {
  for (size_t i = 0; i < outlines.Count(); ++i) AppendOutline(outlines[i], matrix, path);
}

ShapeTree::ShapeTree(Span<Shape> shapes) { Build(shapes, nodes_); }

void ShapeTree::Build(Span<Shape> shapes, std::vector<Node>& nodes) {
  nodes.reserve(shapes.count);
  for (const Shape& shape : shapes) {
    nodes.emplace_back();
    nodes.back().shape = &shape;
    if (shape.kind == ShapeKind::kGroup) Build(shape.items, nodes.back().items);
  }
}

void ShapeTree::Evaluate(const Moment& moment) {
  if (evaluated_ && constancy_.Holds(moment.time)) {
    moment.constancy->Meet(constancy_.from, constancy_.to);
    return;
  }
  // What was made for the last moment stays allocated and is written over: a moment of a running
  // movie allocates nothing.
  const size_t lastCount = opCount_;
  opCount_ = instanceCount_ = modifierCount_ = mergeCount_ = 0;
  chain_.clear();
  toLayer_.assign(1, Matrix());
  openStyles_.clear();
  openModifiers_.clear();
  targets_.clear();
  copies_.clear();
  constancy_ = Constancy();
  Moment inside = moment;
  inside.constancy = &constancy_;
  Walk(nodes_.data(), nodes_.size(), inside);
  // Paths have their modifiers only when all of the group has been walked: those stand below what
  // they change.
  ApplyModifiers(inside);
  FillPaths();
  // With other shapes than before, what was kept of each says nothing about the one in its place.
  const bool sameList = evaluated_ && lastCount == opCount_;
  for (size_t i = 0; i < opCount_; ++i) FinishOp(i, sameList);
  evaluated_ = true;
  moment.constancy->Meet(constancy_.from, constancy_.to);
}

ShapeOp& ShapeTree::NewOp(ShapeOp::Kind kind) {
  if (opCount_ == ops_.size()) {
    ops_.emplace_back();
    before_.emplace_back();
    sums_.push_back(0);
    outlineSums_.push_back(0);
  }
  // The path of the last moment is kept beside, for FinishOp to compare; its memory comes back the
  // next time.
  std::swap(before_[opCount_], ops_[opCount_].path);
  ShapeOp& op = ops_[opCount_++];
  op.kind = kind;
  op.path.Clear();
  op.blend = 0;
  op.opacity = 1;
  op.style = nullptr;
  op.matrix = toLayer_.back();
  return op;
}

/// From the last item to the first, which is from bottom to top. An item changes or paints what
/// stands before it in its own group and in groups inside of it.
void ShapeTree::Walk(const Node* nodes, size_t count, const Moment& moment) {
  const size_t styles = openStyles_.size();
  // What is opened in here (styles, modifiers) is for this group and those inside of it, and closed
  // at its end.
  const size_t modifiers = openModifiers_.size();
  for (size_t i = count; i-- > 0;) {
    const Shape& shape = *nodes[i].shape;
    if (shape.hidden) continue;
    if (IsPath(shape.kind)) {
      AddPath(shape, moment);
      continue;
    }
    switch (shape.kind) {
      case ShapeKind::kGroup: {
        const Matrix matrix =
            shape.transform != nullptr ? TransformAt(*shape.transform, moment) : Matrix();
        const double opacity = shape.transform != nullptr ? OpacityAt(*shape.transform, moment) : 1;
        WalkGroup(nodes[i].items.data(), nodes[i].items.size(), matrix, static_cast<float>(opacity),
                  shape.blend, moment);
        break;
      }
      case ShapeKind::kFill:
      case ShapeKind::kStroke:
      case ShapeKind::kGradientFill:
      case ShapeKind::kGradientStroke:
        AddStyle(shape, moment);
        break;
      case ShapeKind::kTrim:
      case ShapeKind::kRound:
      case ShapeKind::kOffset:
      case ShapeKind::kZigZag:
      case ShapeKind::kPucker:
      case ShapeKind::kTwist:
        AddModifier(shape);
        break;
      case ShapeKind::kMerge:
        if (shape.mode > 1 && shape.mode <= 5 && !shape.tooLarge) AddMerge(shape);
        break;
      case ShapeKind::kRepeater:
        // A repeater takes all that stands before it as its copies, so nothing is left for this
        // loop.
        WalkCopies(nodes[i], nodes, i, moment);
        i = 0;
        break;
      default:
        break;
    }
  }
  openStyles_.resize(styles);
  openModifiers_.resize(modifiers);
}

void ShapeTree::WalkGroup(const Node* nodes, size_t count, const Matrix& matrix, float opacity,
                          uint8_t blend, const Moment& moment) {
  const size_t begin = opCount_;
  ShapeOp& op = NewOp(ShapeOp::Kind::kBegin);
  op.opacity = opacity;
  op.blend = blend;
  chain_.push_back(matrix);
  toLayer_.push_back(Then(matrix, toLayer_.back()));
  Walk(nodes, count, moment);
  chain_.pop_back();
  toLayer_.pop_back();
  if (opCount_ == begin + 1) {  // nothing in it is drawn
    std::swap(before_[begin], ops_[begin].path);
    opCount_ = begin;
    return;
  }
  ops_[begin].closing = static_cast<uint32_t>(opCount_);
  NewOp(ShapeOp::Kind::kEnd);
}

void ShapeTree::WalkCopies(const Node& repeater, const Node* nodes, size_t count,
                           const Moment& moment) {
  // Copies of copies multiply. The scene's own budget ends what is still too much.
  constexpr double kMost = 1000;
  const Shape& shape = *repeater.shape;
  const auto copies =
      static_cast<int>(ceil(std::clamp(moment.Number(shape.amount, 0), 0.0, kMost)));
  if (copies == 0) return;
  CopyTransforms transforms;
  transforms.Reset(shape.transform, moment.Number(shape.offset, 0), moment);
  // Repeaters inside of this one put theirs behind.
  const size_t firstCopy = copies_.size();
  for (int i = 0; i < copies; ++i) copies_.push_back(transforms.Next());
  double first = 1;
  double last = 1;
  if (shape.transform != nullptr) {
    first = moment.Number(shape.transform->startOpacity, 100) / 100;
    last = moment.Number(shape.transform->endOpacity, 100) / 100;
  }
  // In the order of painting; `mode` tells whether later copies lie above or below.
  for (int place = copies - 1; place >= 0; --place) {
    const int copy = shape.mode == 1 ? place : copies - 1 - place;
    const double share = copies > 1 ? double(place) / (copies - 1) : 0;
    const double opacity = std::clamp(first + (last - first) * share, 0.0, 1.0);
    const Matrix matrix = copies_[firstCopy + static_cast<size_t>(copy)];
    WalkGroup(nodes, count, matrix, static_cast<float>(opacity), 0, moment);
  }
  copies_.resize(firstCopy);
}

void ShapeTree::AddStyle(const Shape& shape, const Moment& moment) {
  const bool stroke = shape.kind == ShapeKind::kStroke || shape.kind == ShapeKind::kGradientStroke;
  const auto index = static_cast<uint32_t>(opCount_);
  ShapeOp& op = NewOp(stroke ? ShapeOp::Kind::kStroke : ShapeOp::Kind::kFill);
  op.style = &shape;
  op.blend = shape.blend;
  ReadStyleValues(shape, moment, numbers_, op);
  openStyles_.push_back({index, static_cast<uint32_t>(chain_.size())});
}

void ShapeTree::AddModifier(const Shape& shape) {
  if (modifierCount_ == modifiers_.size()) modifiers_.emplace_back();
  Modifier& modifier = modifiers_[modifierCount_];
  modifier.shape = &shape;
  modifier.instances.clear();
  modifier.depth = static_cast<uint32_t>(chain_.size());
  modifier.merges = shape.kind == ShapeKind::kMerge;
  openModifiers_.push_back(static_cast<uint32_t>(modifierCount_++));
}

/// All styles that are open, the nearest first.
void ShapeTree::AddTargets() {
  // A style of an outer group paints in that group's coordinates: the path gets there by the
  // transforms in between, which add up from the inside out.
  Matrix relative;
  size_t depth = chain_.size();
  for (size_t i = openStyles_.size(); i-- > 0;) {
    for (; depth > openStyles_[i].depth; --depth) relative = Then(relative, chain_[depth - 1]);
    targets_.push_back({openStyles_[i].op, relative});
  }
}

void ShapeTree::AddPath(const Shape& shape, const Moment& moment) {
  // A path above all styles is never painted.
  if (openStyles_.empty()) return;
  if (instanceCount_ == instances_.size()) instances_.emplace_back();
  const auto number = static_cast<uint32_t>(instanceCount_);
  Instance& instance = instances_[instanceCount_++];
  instance.shape = &shape;
  instance.outlines.Clear();
  Outline& outline = instance.outlines.Add();
  float position[2] = {0, 0};
  float size[2] = {0, 0};
  switch (shape.kind) {
    case ShapeKind::kPath:
      if (shape.path != nullptr) moment.Path(*shape.path, outline);
      break;
    case ShapeKind::kRectangle:
      moment.Numbers(shape.position, position, 2);
      moment.Numbers(shape.size, size, 2);
      MakeRectangle({position[0], position[1], size[0], size[1], moment.Number(shape.radius, 0),
                     shape.direction != 1 && shape.direction != 2},
                    outline);
      break;
    case ShapeKind::kEllipse:
      moment.Numbers(shape.position, position, 2);
      moment.Numbers(shape.size, size, 2);
      MakeEllipse({position[0], position[1], size[0], size[1], shape.direction == 3}, outline);
      break;
    default:
      moment.Numbers(shape.position, position, 2);
      MakeStar({position[0], position[1], moment.Number(shape.points, 0),
                moment.Number(shape.rotation, 0), moment.Number(shape.radius, 0),
                moment.Number(shape.roundness, 0) / 100, moment.Number(shape.innerRadius, 0),
                moment.Number(shape.innerRoundness, 0) / 100, shape.polygon, shape.direction == 3},
               outline);
      break;
  }
  instance.firstTarget = static_cast<uint32_t>(targets_.size());
  AddTargets();
  instance.targetCount = static_cast<uint32_t>(targets_.size()) - instance.firstTarget;
  for (const uint32_t index : openModifiers_) {
    Modifier& modifier = modifiers_[index];
    modifier.instances.push_back(number);
    if (modifier.merges) modifier.matrices.push_back(MatrixTo(modifier.depth));
  }
}

void ShapeTree::FillPaths() {
  for (size_t i = 0; i < instanceCount_; ++i) {
    const Instance& instance = instances_[i];
    for (uint32_t j = 0; j < instance.targetCount; ++j) {
      const Target& target = targets_[instance.firstTarget + j];
      // One path may be filled and stroked, and one fill may have many paths.
      AppendOutlines(instance.outlines, target.matrix, ops_[target.op].path);
    }
  }
}

size_t ShapeTree::Bytes() const {
  size_t bytes = ops_.capacity() * (sizeof(ShapeOp) + sizeof(Path)) + spare_.Bytes() +
                 targets_.capacity() * sizeof(Target) + copies_.capacity() * sizeof(Matrix) +
                 instances_.capacity() * sizeof(Instance);
  for (const ShapeOp& op : ops_) bytes += op.Bytes();
  for (const Path& path : before_) bytes += path.Bytes();
  for (const Instance& instance : instances_) bytes += instance.outlines.Bytes();
  for (const auto& merged : merged_) bytes += sizeof(Merged) + merged->outlines.Bytes();
  return bytes;
}

/// Gives an op another version when it draws something else than before.
void ShapeTree::FinishOp(size_t index, bool sameList) {
  ShapeOp& op = ops_[index];
  if (op.kind == ShapeOp::Kind::kBegin || op.kind == ShapeOp::Kind::kEnd) return;
  const uint64_t outlineSum = OutlineSum(op);
  const uint64_t sum = StyleSum(op);
  // Compared point by point, not by a sum: a sum that agrees by chance would leave an old picture
  // standing.
  const bool samePath = sameList && SamePath(op.path, before_[index]);
  // The outline's version changes less often than the look's: what is kept of a shape at rest (its
  // cover) lives on while its colour moves.
  if (!samePath || outlineSum != outlineSums_[index]) op.outline = ++lastVersion_;
  const bool same = samePath && sum == sums_[index];
  outlineSums_[index] = outlineSum;
  sums_[index] = sum;
  if (same) return;
  op.version = ++lastVersion_;
  // The box follows the points; of a look that changed alone it is still right.
  if (samePath) return;
  float box[4] = {0, 0, 0, 0};
  bool any = false;
  for (const Point& point : op.path.points) {
    box[0] = any ? std::min(box[0], point.x) : point.x;
    box[1] = any ? std::min(box[1], point.y) : point.y;
    box[2] = any ? std::max(box[2], point.x) : point.x;
    box[3] = any ? std::max(box[3], point.y) : point.y;
    any = true;
  }
  op.left = box[0];
  op.top = box[1];
  op.right = box[2];
  op.bottom = box[3];
}

}  // namespace plexion_host::movie
