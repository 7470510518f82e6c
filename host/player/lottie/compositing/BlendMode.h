#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_BLENDMODE_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_BLENDMODE_H_

#include <stdint.h>

namespace plexion_host::movie {

/// How a group meets what is below it; in the order of the format's numbers.
enum class BlendMode : uint8_t {
  kNormal,
  kMultiply,
  kScreen,
  kOverlay,
  kDarken,
  kLighten,
  kColourDodge,
  kColourBurn,
  kHardLight,
  kSoftLight,
  kDifference,
  kExclusion,
  kHue,
  kSaturation,
  kColour,
  kLuminosity,
};
constexpr int kBlendModes = 16;

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_BLENDMODE_H_
