#ifndef HOST_PLAYER_LOTTIE_SHAPES_STYLEVALUES_H_
#define HOST_PLAYER_LOTTIE_SHAPES_STYLEVALUES_H_

#include "host/player/lottie/shapes/ShapeTree.h"

namespace plexion_host::movie {

/// Colour, opacity, gradient, width and dashes of a style at a moment, into an op. `numbers` lends
/// its memory.
void ReadStyleValues(const Shape& shape, const Moment& moment, std::vector<float>& numbers,
                     ShapeOp& op);

/// A gradient's stops from its numbers: `colours` times offset, red, green, blue, then pairs of offset
/// and opacity.
void ReadStops(const std::vector<float>& numbers, uint32_t colours,
               std::vector<GradientStop>& stops);

/// The same for ops that cover the same, but for their paths.
uint64_t OutlineSum(const ShapeOp& op);
/// The same for ops that look the same, but for their paths.
uint64_t StyleSum(const ShapeOp& op);

/// Opaque, from three numbers of 0 to 1.
Colour ColourOf(const float* rgb);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_STYLEVALUES_H_
