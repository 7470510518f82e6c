// What an SVG picture will take to be drawn, found out before it is.

#ifndef HOST_PLAYER_IMAGE_SVGCOST_H_
#define HOST_PLAYER_IMAGE_SVGCOST_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace plexion_host::player {

struct SvgCost {
  /// Pictures of the whole size that may have to be in memory at the same time: one for each group
  /// that is drawn apart, one for each step of a filter.
  uint64_t surfaces = 1;
  /// Pixels of pictures inside of it.
  uint64_t embeddedPixels = 0;
};

/// Reads the document as far as its costs are concerned.
/// Returns  false with `reason`: it is no well-formed XML, its root is no svg element, or there is
///          a picture in it whose size cannot be told.
bool ReckonSvg(const uint8_t* bytes, size_t count, SvgCost& cost, std::string& reason);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_SVGCOST_H_
