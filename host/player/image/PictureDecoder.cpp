// Tells the formats of pictures apart, and checks what decoders have found.

#include "host/player/image/PictureDecoder.h"

#include <string.h>

#include <algorithm>
#include <string_view>

#include "host/base/Check.h"
#include "host/player/image/PictureSize.h"

namespace plexion_host::player {

namespace {

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
    // Both fit 64 bits: a length that lies leads past the end, and the loop is over.
    at += kFrame + length;
  }
  return false;
}

/// An element of that name, with or without the prefix of its namespace, and nothing in front that
/// is not XML.
bool IsSvg(const uint8_t* bytes, size_t count) {
  std::string_view head(reinterpret_cast<const char*>(bytes), count);
  if (head.substr(0, 3) == "\xEF\xBB\xBF") head.remove_prefix(3);
  const size_t first = head.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos || head[first] != '<') return false;
  return head.find("<svg") != std::string_view::npos &&
         head.find("<application") == std::string_view::npos;
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
  if (StartsWith(bytes, count, 0, "\xFF\xD8\xFF")) return PictureFormat::kJpeg;
  if (IsSvg(bytes, count)) return PictureFormat::kSvg;
  return PictureFormat::kNone;
}

void ClearRows(uint32_t* pixels, size_t pitchBytes, const qx::plexion::Dims& dims, uint32_t first) {
  for (uint32_t y = first; y < dims.height; ++y) {
    memset(reinterpret_cast<uint8_t*>(pixels) + y * pitchBytes, 0, dims.width * sizeof *pixels);
  }
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
    case PictureFormat::kSvg:
      return "image/svg+xml";
    case PictureFormat::kJpeg:
      return "image/jpeg";
    default:
      return "";
  }
}

std::unique_ptr<PictureDecoder> OpenPicture(PictureFormat format, const PictureSource& source,
                                            EngineError& error) {
  error = {qx::plexion::kErrorCorruptMovie,
           "it is no picture in a format that is known; expected PNG, JPEG, GIF, WebP or SVG"};
  std::unique_ptr<PictureDecoder> decoder;
  if (format == PictureFormat::kGif) decoder = OpenGif(source, error.message);
  if (format == PictureFormat::kPng || format == PictureFormat::kAnimatedPng) {
    decoder = OpenPng(source, error.message);
  }
  if (format == PictureFormat::kWebp) decoder = OpenWebp(source, error.message);
  if (format == PictureFormat::kSvg) decoder = OpenSvg(source, error.message);
  if (format == PictureFormat::kJpeg) decoder = OpenJpeg(source, error.message);
  if (decoder == nullptr) return nullptr;
  const PictureFacts& facts = decoder->Facts();
  PLEXION_CHECK(!facts.frames.empty(), "an opened picture has a frame");
  uint64_t most = PixelsOf(facts.dims.width, facts.dims.height);
  for (const PictureFrame& frame : facts.frames) {
    most = std::max(most, PixelsOf(frame.area.width, frame.area.height));
  }
  // What moves is kept twice, as it is shown and as it is put together.
  const uint64_t allowed = facts.frames.size() > 1 ? kMostMovingPixels : kMostPixels;
  if (most > allowed) {
    error = {qx::plexion::kErrorNotEnoughMemory, TooManyPixels(most, allowed)};
    return nullptr;
  }
  return decoder;
}

}  // namespace plexion_host::player
