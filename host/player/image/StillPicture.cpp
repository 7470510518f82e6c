// Decodes the first frame of a picture, multiplies its alpha in, and puts it in its place.
#include "host/player/image/StillPicture.h"

#include <string.h>

#include <algorithm>
#include <memory>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host::player {

namespace {

constexpr uint32_t kLargestSide = 16384;

std::unique_ptr<PictureDecoder> Open(const PictureSource& source, std::string& reason) {
  const PictureFormat format = PictureFormatOf(source.bytes, source.size);
  // Its limits are those of the caller, whatever a picture may have by itself.
  if (format == PictureFormat::kJpeg) return OpenJpeg(source, reason);
  EngineError error;
  std::unique_ptr<PictureDecoder> decoder = OpenPicture(format, source, error);
  reason = error.message;
  return decoder;
}

bool MakePixels(StillPicture& picture, const StillLimits& limits, std::string& reason) {
  const uint64_t bytes = uint64_t{picture.width} * picture.height * sizeof(uint32_t);
  const std::string dims = std::to_string(picture.width) + "x" + std::to_string(picture.height);
  if (bytes == 0 || picture.width > kLargestSide || picture.height > kLargestSide) {
    reason =
        "it has " + dims + " pixels; expected at most " + std::to_string(kLargestSide) + " a side";
    return false;
  }
  if (bytes > limits.bytes) {
    reason = "its " + dims + " pixels have " + std::to_string(bytes) +
             " bytes; there is room for " + std::to_string(limits.bytes);
    return false;
  }
  if (!picture.pixels.Resize(limits.watchdog, bytes)) {
    reason = "no memory for its " + dims + " pixels";
    return false;
  }
  PLEXION_CHECK(picture.pixels.Size() == bytes, "there is memory for each pixel");
  // What a file that was cut off does not reach stays transparent.
  memset(picture.pixels.Data(), 0, bytes);
  return true;
}

/// The first frame of an animation may be smaller than the picture, or reach past it.
bool DecodePart(PictureDecoder& decoder, const StillLimits& limits, StillPicture& picture,
                Decoded& decoded) {
  const qx::plexion::Rect& area = decoder.Facts().frames[0].area;
  WatchedBuffer frame;
  if (!frame.Resize(limits.watchdog, size_t{area.width} * area.height * sizeof(uint32_t))) {
    return false;
  }
  memset(frame.Data(), 0, frame.Size());
  decoded = decoder.Decode(0, frame.As<uint32_t>());
  if (area.x >= picture.width) return true;
  const size_t width = std::min<size_t>(area.width, picture.width - area.x);
  for (uint32_t y = 0; y < area.height && uint64_t{area.y} + y < picture.height; ++y) {
    memcpy(picture.pixels.As<uint32_t>() + (size_t{area.y} + y) * picture.width + area.x,
           frame.As<uint32_t>() + size_t{y} * area.width, width * sizeof(uint32_t));
  }
  return true;
}

}  // namespace

bool DecodeStillPicture(const uint8_t* bytes, size_t size, const StillLimits& limits,
                        StillPicture& picture, std::string& reason) {
  PictureSource source = {bytes, size, limits.watchdog};
  source.cancelled = limits.cancelled;
  const std::unique_ptr<PictureDecoder> decoder = Open(source, reason);
  if (decoder == nullptr) return false;
  const PictureFacts& facts = decoder->Facts();
  picture.width = facts.dims.width;
  picture.height = facts.dims.height;
  if (!MakePixels(picture, limits, reason)) return false;

  PLEXION_CHECK(!facts.frames.empty(), "an opened picture has a frame");
  const qx::plexion::Rect& area = facts.frames[0].area;
  Decoded decoded = Decoded::kNothing;
  if (area.x == 0 && area.y == 0 && area.width == picture.width && area.height == picture.height) {
    decoded = decoder->Decode(0, picture.pixels.As<uint32_t>());
  } else if (!DecodePart(*decoder, limits, picture, decoded)) {
    reason = "no memory for its first frame";
    return false;
  }
  if (decoded == Decoded::kNothing) {
    reason = source.IsCancelled() ? "it is not wanted any more" : "nothing of it can be decoded";
    return false;
  }
  picture.incomplete = decoded == Decoded::kPart;
  PremultiplyRow(picture.pixels.As<uint32_t>(), size_t{picture.width} * picture.height);
  return true;
}

}  // namespace plexion_host::player
