// Finds the orientation in a JPEG file's Exif data, and turns pixels by it.

#include "host/player/image/JpegTurn.h"

#include <string.h>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

constexpr uint8_t kExif = 0xE1;  // markers that stand before the pixels
constexpr uint8_t kStartOfScan = 0xDA;
constexpr uint16_t kOrientation = 0x0112;
constexpr uint16_t kShort = 3;  // a type of value
constexpr size_t kEntryBytes = 12;

/// The Exif data: a TIFF header with one directory that matters. Reads past the end give 0.
class Directory {
 public:
  Directory(const uint8_t* bytes, size_t count)
      : bytes_(bytes), count_(count), littleEndian_(count > 0 && bytes[0] == 'I') {}

  unsigned FindOrientation() const {
    if (Short(2) != 42) return 1;
    const size_t first = Long(4);
    const unsigned entries = Short(first);
    for (unsigned i = 0; i < entries; ++i) {
      const size_t entry = first + 2 + i * kEntryBytes;
      if (entry >= count_) break;
      if (Short(entry) == kOrientation && Short(entry + 2) == kShort) return Short(entry + 8);
    }
    return 1;
  }

 private:
  unsigned Byte(size_t at) const { return at < count_ ? bytes_[at] : 0; }
  unsigned Short(size_t at) const {
    return littleEndian_ ? Byte(at) | Byte(at + 1) << 8 : Byte(at) << 8 | Byte(at + 1);
  }
  size_t Long(size_t at) const {
    return littleEndian_ ? size_t{Short(at)} | size_t{Short(at + 2)} << 16
                         : size_t{Short(at)} << 16 | Short(at + 2);
  }

  const uint8_t* const bytes_;
  const size_t count_;
  const bool littleEndian_;
};

JpegTurn TurnOf(unsigned orientation) {
  switch (orientation) {
    case 2:
      return {false, true, false};
    case 3:
      return {false, true, true};
    case 4:
      return {false, false, true};
    case 5:
      return {true, false, false};
    case 6:
      return {true, true, false};
    case 7:
      return {true, true, true};
    case 8:
      return {true, false, true};
    default:
      return {};
  }
}

}  // namespace

JpegTurn JpegTurnOf(const uint8_t* bytes, size_t count) {
  constexpr char kName[] = "Exif\0";  // and a second zero of its own
  constexpr size_t kHead = 4;         // marker and length
  size_t at = 2;
  while (at + kHead <= count && bytes[at] == 0xFF && bytes[at + 1] != kStartOfScan) {
    // Any number of these may stand before a marker.
    if (bytes[at + 1] == 0xFF) {
      ++at;
      continue;
    }
    const size_t length = size_t{bytes[at + 2]} << 8 | bytes[at + 3];
    if (length < 2 || at + 2 + length > count) break;
    const uint8_t* const body = bytes + at + kHead;
    const size_t size = length - 2;
    if (bytes[at + 1] == kExif && size > sizeof kName && memcmp(body, kName, sizeof kName) == 0) {
      return TurnOf(Directory(body + sizeof kName, size - sizeof kName).FindOrientation());
    }
    at += 2 + length;
  }
  return {};
}

void JpegTurn::Apply(const uint32_t* from, const qx::plexion::Dims& dims, uint32_t* to) const {
  PLEXION_CHECK(from != to, "pixels are not turned where they are");
  const size_t width = diagonal ? dims.height : dims.width;
  const size_t height = diagonal ? dims.width : dims.height;
  for (size_t y = 0; y < height; ++y) {
    const size_t down = mirrorDown ? height - 1 - y : y;
    for (size_t x = 0; x < width; ++x) {
      const size_t across = mirrorAcross ? width - 1 - x : x;
      to[y * width + x] =
          diagonal ? from[across * dims.width + down] : from[down * dims.width + across];
    }
  }
}

}  // namespace plexion_host::player
