// How large a picture says it is, before anything of it is decoded.

#ifndef HOST_PLAYER_IMAGE_PICTURESIZE_H_
#define HOST_PLAYER_IMAGE_PICTURESIZE_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace plexion_host::player {

/// The most that a picture may have, and each frame of one: 256 MB of pixels.
constexpr uint64_t kMostPixels = uint64_t{64} * 1024 * 1024;
/// Frames of an animation are put together several times a second.
constexpr uint64_t kMostMovingPixels = uint64_t{16} * 1024 * 1024;

/// Width times height, from the header of a PNG, JPEG, GIF, WebP, BMP, TIFF, PNM, TGA or JPEG 2000
/// picture. Reads nothing but its first bytes.
/// Returns  0 when they do not tell.
uint64_t DeclaredPixels(const uint8_t* bytes, size_t count);

/// A TGA file begins with nothing but small numbers, which must fit together.
bool LooksLikeTga(const uint8_t* bytes, size_t count);

/// Why a picture of so many pixels is not shown.
std::string TooManyPixels(uint64_t pixels, uint64_t most);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_PICTURESIZE_H_
