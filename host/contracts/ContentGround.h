// The colour that lies below a content, in the words that documents and the player share.

#ifndef HOST_CONTRACTS_CONTENTGROUND_H_
#define HOST_CONTRACTS_CONTENTGROUND_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/base/Text.h"

namespace plexion_host {

/// The variable that carries the colour which lies below a content and beside it: "RRGGBB", or
/// "#RRGGBB". Without it that is black, as transparent as the window's `bgAlpha` says.
inline constexpr char kGroundVariable[] = "backdrop";

/// "#203040" or "203040" as 0x00RRGGBB. Returns  none for anything else.
inline std::optional<uint32_t> ReadColour(std::string_view text) {
  if (!text.empty() && text[0] == '#') text.remove_prefix(1);
  uint32_t colour = 0;
  if (text.size() != 6) return std::nullopt;
  for (const char each : text) {
    const int digit = HexDigit(each);
    if (digit < 0) return std::nullopt;
    colour = colour << 4 | static_cast<uint32_t>(digit);
  }
  return colour;
}

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_CONTENTGROUND_H_
