// How much of an animator each part of a text gets.

#ifndef HOST_PLAYER_LOTTIE_TEXT_SELECTOR_H_
#define HOST_PLAYER_LOTTIE_TEXT_SELECTOR_H_

#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {

/// For x, y and z; the same three times unless an expression decides.
struct TextShare {
  double x = 0, y = 0, z = 0;
};

/// `index` of `total` parts, from 0. `amount`, easing and smoothness are applied.
TextShare ShareOf(const TextSelector& selector, int index, int total, ITextSelectorScript* script);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TEXT_SELECTOR_H_
