// What an expression finds around it by name.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_SURROUNDINGS_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_SURROUNDINGS_H_

#include <stdint.h>

#include <string_view>

namespace plexion_host::movie {

enum class Surrounding : uint8_t {
  kTime,
  kValue,
  kComposition,
  kLayer,
  kProperty,
  kLayerPart,
  kTransformPart,
  kLayerMember,
  kPropertyMember,
  kTextIndex,
  kTextTotal,
  kSelectorValue,
};

struct SurroundingName {
  std::string_view name;
  Surrounding what;
  const char* detail = nullptr;  ///< the part or the member
};

/// Returns  null when nothing has that name; else what lives for ever.
const SurroundingName* FindSurrounding(std::string_view name);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_SURROUNDINGS_H_
