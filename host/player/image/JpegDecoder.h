// JPEG, for pictures that stand still.
#ifndef HOST_PLAYER_IMAGE_JPEGDECODER_H_
#define HOST_PLAYER_IMAGE_JPEGDECODER_H_

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

/// Not part of PictureFormat: the media framework plays JPEG content, and turns it as a camera says.
bool IsJpeg(const uint8_t* bytes, size_t count);

/// Reads the header. Progressive files with more passes than any encoder writes are refused while
/// they are decoded.
/// Returns  null with `reason` when it is damaged.
std::unique_ptr<PictureDecoder> OpenJpeg(const PictureSource& source, std::string& reason);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_JPEGDECODER_H_
