#ifndef HOST_PLAYER_LOTTIE_MOVIESHAPES_H_
#define HOST_PLAYER_LOTTIE_MOVIESHAPES_H_

#include <stdint.h>

#include <algorithm>
#include <string>

#include "host/player/lottie/MovieDocument.h"

namespace plexion_host::player {

// Costs multiply; beyond this they are all the same.
constexpr uint64_t kTooMuch = UINT64_MAX / 4096;

inline uint64_t Times(uint64_t amount, uint64_t factor) {
  return factor != 0 && amount > kTooMuch / factor ? kTooMuch : amount * factor;
}

inline uint64_t Plus(uint64_t left, uint64_t right) { return std::min(left + right, kTooMuch); }

/// What it takes to draw something once.
struct MovieCost {
  uint64_t layers = 0;
  uint64_t items = 0;
  double scale = 1;        ///< the largest of anything in it
  double strokeWidth = 0;  ///< likewise, with the scales that apply to it

  void Add(const MovieCost& other, double factor) {
    layers = Plus(layers, other.layers);
    items = Plus(items, other.items);
    scale = std::max(scale, other.scale * factor);
    strokeWidth = std::max(strokeWidth, other.strokeWidth * factor);
  }
};

/// Checks a layer's list of shapes and adds what they take to `cost`.
/// Returns  false with `error` saying what is wrong and what is allowed.
bool CheckShapes(const MovieValue& shapes, MovieCost& cost, std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_MOVIESHAPES_H_
