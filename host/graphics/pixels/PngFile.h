// Saves a picture as PNG.

#ifndef HOST_GRAPHICS_PIXELS_PNGFILE_H_
#define HOST_GRAPHICS_PIXELS_PNGFILE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// Writes rows of 0x..RRGGBB without padding as an opaque PNG. The file appears under `path` only
/// when it is whole: it is written beside it under another name first.
/// Returns  false with the path and the reason in `error`; what was at `path` is then untouched.
bool WritePng(const std::string& path, const qx::plexion::Dims& dims,
              const std::vector<uint32_t>& pixels, std::string& error);

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_PNGFILE_H_
