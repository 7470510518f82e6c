#ifndef HOST_PLAYER_LOTTIE_SHAPES_MERGEPATHS_H_
#define HOST_PLAYER_LOTTIE_SHAPES_MERGEPATHS_H_

#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Geometry.h"
#include "host/player/lottie/timeline/Outline.h"

namespace plexion_host::movie {

/// How areas become one, by their numbers in documents. 1 puts contours beside each other and needs
/// nothing of this.
enum class MergeMode : uint8_t { kUnion = 2, kSubtract = 3, kIntersect = 4, kExclude = 5 };

/// Lines in which a curve of what is merged is divided at most.
constexpr int kMostLinesOfMergedCurve = 32;

/// One path of a merge: its contours, which count as closed, and how they come into the merge's plane.
struct MergeOperand {
  const OutlineList* outlines = nullptr;
  Matrix matrix;
};

/// The area that the operands leave, each filled by the non-zero rule, as closed contours of straight
/// lines around it. `operands`: the topmost one first, from which the others are subtracted.
///
/// Appends to `to`. Lines deviate from curves by less than a five-thousandth of all operands' box.
/// Errors   throws std::bad_alloc.
void MergePaths(const std::vector<MergeOperand>& operands, MergeMode mode, OutlineList& to);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_MERGEPATHS_H_
