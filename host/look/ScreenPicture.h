// The screen as a small JPEG.

#ifndef HOST_LOOK_SCREENPICTURE_H_
#define HOST_LOOK_SCREENPICTURE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// `pixels` are 0xffRRGGBB in rows without padding. The picture is made smaller by a whole number until
/// it is no wider and no higher than `mostSide`. Returns  the file's bytes; empty for an empty screen.
std::string EncodeScreen(const qx::plexion::Dims& dims, const std::vector<uint32_t>& pixels,
                         uint32_t mostSide);

}  // namespace plexion_host

#endif  // HOST_LOOK_SCREENPICTURE_H_
