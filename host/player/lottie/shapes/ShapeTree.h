#ifndef HOST_PLAYER_LOTTIE_SHAPES_SHAPETREE_H_
#define HOST_PLAYER_LOTTIE_SHAPES_SHAPETREE_H_

#include <stdint.h>

#include <memory>
#include <vector>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/raster/Paint.h"
#include "host/player/lottie/raster/Path.h"
#include "host/player/lottie/shapes/MergePaths.h"
#include "host/player/lottie/shapes/Modifiers.h"
#include "host/player/lottie/timeline/Outline.h"
#include "host/player/lottie/timeline/Transforms.h"

namespace plexion_host::movie {

/// What a shape layer draws, from bottom to top: groups that open and close, and between them
/// fills and strokes of paths.
struct ShapeOp {
  enum class Kind : uint8_t { kBegin, kEnd, kFill, kStroke };

  Kind kind = Kind::kFill;
  uint8_t blend = 0;
  float opacity = 1;     ///< 0 to 1; of the group, or of the style
  Matrix matrix;         ///< from the path's plane to the layer's
  uint32_t closing = 0;  ///< of kBegin: where its kEnd is
  const Shape* style = nullptr;
  Path path;
  float left = 0, top = 0, right = 0, bottom = 0;  ///< box around the path's points
  uint64_t version = 0;  ///< another one when the path or anything below is another
  uint64_t outline = 0;  ///< another one when what is covered is another; 0: it says nothing

  Colour colour;  ///< opaque; without gradient
  bool gradient = false;
  std::vector<GradientStop> stops;
  float x1 = 0, y1 = 0, x2 = 0, y2 = 0;  ///< of the gradient: start and end
  float focalX = 0, focalY = 0;
  float width = 0;  ///< of a stroke
  std::vector<float> dashes;
  float dashOffset = 0;

  /// What it holds on to.
  size_t Bytes() const {
    return path.Bytes() + stops.capacity() * sizeof(GradientStop) +
           dashes.capacity() * sizeof(float);
  }
};

/// The shapes of one use of a layer.
class ShapeTree {
 public:
  explicit ShapeTree(Span<Shape> shapes);

  /// Works out what is drawn at a moment, unless nothing has changed since the last call.
  void Evaluate(const Moment& moment);

  const std::vector<ShapeOp>& Ops() const { return ops_; }
  size_t OpCount() const { return opCount_; }
  /// What it was last evaluated at, and how long that holds.
  const Constancy& Holds() const { return constancy_; }
  /// What it holds on to.
  size_t Bytes() const;

 private:
  struct Node {
    const Shape* shape = nullptr;
    std::vector<Node> items;
  };
  struct OpenStyle {
    uint32_t op;
    uint32_t depth;
  };
  /// A path, once for each copy of it.
  struct Instance {
    const Shape* shape = nullptr;
    OutlineList outlines;
    OutlineLengths lengths;
    uint32_t firstTarget = 0;
    uint32_t targetCount = 0;
  };
  struct Target {
    uint32_t op;
    Matrix matrix;  ///< from the path's plane to the style's
  };
  struct Modifier {
    const Shape* shape = nullptr;
    std::vector<uint32_t> instances;  ///< from bottom to top
    uint32_t depth = 0;               ///< groups that it stands in
    bool merges = false;
    // Of a merge only.
    std::vector<Matrix> matrices;  ///< from each instance's plane to the merge's
    std::vector<uint32_t> outer;   ///< modifiers that were open already, which change the result
    std::vector<Matrix> toOuter;   ///< from the merge's plane to each of these
    uint32_t firstTarget = 0;      ///< styles below it, which paint the result alone
    uint32_t targetCount = 0;
    uint32_t firstOp = 0;  ///< from it on styles paint what is not merged yet
  };
  /// What a merge made last.
  struct Merged {
    uint64_t sum = 0;  ///< of what it was made from
    OutlineList outlines;
  };

  static void Build(Span<Shape> shapes, std::vector<Node>& nodes);
  void Walk(const Node* nodes, size_t count, const Moment& moment);
  void WalkGroup(const Node* nodes, size_t count, const Matrix& matrix, float opacity,
                 uint8_t blend, const Moment& moment);
  void WalkCopies(const Node& repeater, const Node* nodes, size_t count, const Moment& moment);
  void AddStyle(const Shape& shape, const Moment& moment);
  void AddPath(const Shape& shape, const Moment& moment);
  void AddModifier(const Shape& shape);
  void AddMerge(const Shape& shape);
  void ApplyModifiers(const Moment& moment);
  void ApplyTrim(const Modifier& modifier, const Moment& moment);
  void ApplyMerge(size_t index);
  Matrix MatrixTo(size_t depth) const;
  void AddTargets();
  void FillPaths();
  ShapeOp& NewOp(ShapeOp::Kind kind);
  void FinishOp(size_t index, bool sameList);

  std::vector<Node> nodes_;
  std::vector<ShapeOp> ops_;  // more than opCount_ when there once were more
  size_t opCount_ = 0;
  std::vector<Path> before_;  // what the ops' paths were
  std::vector<uint64_t> sums_;
  std::vector<uint64_t> outlineSums_;
  uint64_t lastVersion_ = 0;
  Constancy constancy_;
  bool evaluated_ = false;

  // While it evaluates; kept for their memory.
  std::vector<Matrix> chain_;
  std::vector<Matrix> toLayer_;
  std::vector<OpenStyle> openStyles_;
  std::vector<uint32_t> openModifiers_;
  std::vector<Instance> instances_;
  size_t instanceCount_ = 0;
  std::vector<Target> targets_;
  std::vector<Matrix> copies_;  ///< of the repeaters that are open
  std::vector<Modifier> modifiers_;
  size_t modifierCount_ = 0;
  std::vector<std::unique_ptr<Merged>> merged_;  ///< in the order in which they are applied
  size_t mergeCount_ = 0;
  std::vector<MergeOperand> operands_;
  OutlineList spare_;
  std::vector<float> numbers_;
};

/// Adds contours to a path, through a matrix.
void AppendOutlines(const OutlineList& outlines, const Matrix& matrix, Path& path);
void AppendOutline(const Outline& outline, const Matrix& matrix, Path& path);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_SHAPETREE_H_
