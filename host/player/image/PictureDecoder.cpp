#include "host/player/image/PictureDecoder.h"

#include <string.h>

#include <algorithm>

namespace plexion_host::player {

namespace {

/// Of a picture and of each of its frames: 256 MB of pixels.
constexpr uint64_t kMostPixels = uint64_t{64} * 1024 * 1024;

bool StartsWith(const uint8_t* bytes, size_t count, size_t at, const char* text) {
  const size_t length = strlen(text);
  return count >= at + length && memcmp(bytes + at, text, length) == 0;
}

/// The chunk that makes a PNG picture an animation comes before the pixels.
bool HasAnimationChunk(const uint8_t* bytes, size_t count) {
  constexpr size_t kFrame = 12;  // length, name and checksum
  size_t at = 8;
  while (at + 8 <= count) {
    if (StartsWith(bytes, count, at + 4, "acTL")) return true;
    if (StartsWith(bytes, count, at + 4, "IDAT")) return false;
    const size_t length = size_t{bytes[at]} << 24 | size_t{bytes[at + 1]} << 16 |
                          size_t{bytes[at + 2]} << 8 | bytes[at + 3];
    at += kFrame + length;
  }
  return false;
}

uint64_t PixelsOf(uint32_t width, uint32_t height) { return uint64_t{width} * height; }

}  // namespace

PictureFormat PictureFormatOf(const uint8_t* bytes, size_t count) {
  if (StartsWith(bytes, count, 0, "GIF87a") || StartsWith(bytes, count, 0, "GIF89a")) {
    return PictureFormat::kGif;
  }
  if (StartsWith(bytes, count, 0, "RIFF") && StartsWith(bytes, count, 8, "WEBP")) {
    return PictureFormat::kWebp;
  }
  if (StartsWith(bytes, count, 0, "\x89PNG\r\n\x1a\n")) {
    return HasAnimationChunk(bytes, count) ? PictureFormat::kAnimatedPng : PictureFormat::kPng;
  }
  return PictureFormat::kNone;
}

const char* PictureTypeOf(PictureFormat format) {
  switch (format) {
    case PictureFormat::kGif:
      return "image/gif";
    case PictureFormat::kWebp:
      return "image/webp";
    case PictureFormat::kPng:
      return "image/png";
    case PictureFormat::kAnimatedPng:
      return "image/apng";
    default:
      return "";
  }
}

std::unique_ptr<PictureDecoder> OpenPicture(PictureFormat format, const PictureSource& source,
                                            EngineError& error) {
  error = {qx::plexion::kErrorCorruptMovie, "this is no picture that can move"};
  std::unique_ptr<PictureDecoder> decoder;
  if (format == PictureFormat::kGif) decoder = OpenGif(source, error.message);
  if (format == PictureFormat::kPng || format == PictureFormat::kAnimatedPng) {
    decoder = OpenPng(source, error.message);
  }
  if (format == PictureFormat::kWebp) decoder = OpenWebp(source, error.message);
  if (decoder == nullptr) return nullptr;
  const PictureFacts& facts = decoder->Facts();
  uint64_t most = PixelsOf(facts.dims.width, facts.dims.height);
  for (const PictureFrame& frame : facts.frames) {
    most = std::max(most, PixelsOf(frame.area.width, frame.area.height));
  }
  if (most > kMostPixels) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "it has " + std::to_string(most) + " pixels; the most that a picture may have is " +
                 std::to_string(kMostPixels)};
    return nullptr;
  }
  return decoder;
}

}  // namespace plexion_host::player
