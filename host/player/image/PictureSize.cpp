// Reads sizes out of the headers of pictures, whoever will decode them.

#include "host/player/image/PictureSize.h"

#include <ctype.h>

#include <string_view>

namespace plexion_host::player {

namespace {

using namespace std::string_view_literals;

/// Numbers at places of a header; 0 behind its end.
class Header {
 public:
  Header(const uint8_t* bytes, size_t count) : bytes_(bytes), count_(count) {}

  bool Has(size_t at, std::string_view text) const {
    return at + text.size() <= count_ &&
           std::string_view(reinterpret_cast<const char*>(bytes_) + at, text.size()) == text;
  }
  size_t Size() const { return count_; }
  uint64_t Byte(size_t at) const { return at < count_ ? bytes_[at] : 0; }
  uint64_t Big(size_t at, size_t length) const {
    uint64_t value = 0;
    for (size_t i = 0; i < length; ++i) value = value << 8 | Byte(at + i);
    return value;
  }
  uint64_t Little(size_t at, size_t length) const {
    uint64_t value = 0;
    for (size_t i = length; i-- > 0;) value = value << 8 | Byte(at + i);
    return value;
  }
  uint64_t Number(size_t at, size_t length, bool big) const {
    return big ? Big(at, length) : Little(at, length);
  }

 private:
  const uint8_t* const bytes_;
  const size_t count_;
};

uint64_t OfJpeg(const Header& header) {
  size_t at = 2;
  while (header.Byte(at) == 0xFF) {
    const uint64_t marker = header.Byte(at + 1);
    // Start of frame; C4, C8 and CC are tables.
    const bool isFrame =
        marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (isFrame) return header.Big(at + 5, 2) * header.Big(at + 7, 2);
    const bool isFill = marker == 0xFF;
    const size_t length = static_cast<size_t>(header.Big(at + 2, 2));
    if (!isFill && length < 2) return 0;
    at += isFill ? 1 : 2 + length;
  }
  return 0;
}

uint64_t OfTiff(const Header& header) {
  const bool big = header.Byte(0) == 'M';
  const size_t folder = static_cast<size_t>(header.Number(4, 4, big));
  const uint64_t entries = header.Number(folder, 2, big);
  uint64_t sides[2] = {0, 0};
  for (uint64_t i = 0; i < entries; ++i) {
    const size_t entry = folder + 2 + static_cast<size_t>(i) * 12;
    if (entry + 12 > header.Size()) break;
    const uint64_t tag = header.Number(entry, 2, big);
    const bool isShort = header.Number(entry + 2, 2, big) == 3;
    if (tag == 256 || tag == 257) sides[tag - 256] = header.Number(entry + 8, isShort ? 2 : 4, big);
  }
  return sides[0] * sides[1];
}

/// "P6 640 480 255", or "P7" and lines of words; comments begin with #.
uint64_t OfPnm(const Header& header) {
  const bool isPam = header.Byte(1) == '7';
  uint64_t sides[2] = {0, 0};
  size_t found = 0;
  std::string word;
  std::string before;
  for (size_t at = 2; at < header.Size() && found < 2; ++at) {
    if (header.Byte(at) == '#') {
      while (at < header.Size() && header.Byte(at) != '\n') ++at;
    }
    const auto c = static_cast<unsigned char>(header.Byte(at));
    if (isspace(c) == 0 && c != 0) {
      word += static_cast<char>(c);
      continue;
    }
    const bool isNumber =
        !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
    const bool isSide = isPam ? before == "WIDTH" || before == "HEIGHT" : true;
    // More digits than these are more pixels than anybody has.
    if (isNumber && isSide) sides[found++] = std::stoull("0" + word.substr(0, 9));
    if (!word.empty()) before = word;
    word.clear();
  }
  return sides[0] * sides[1];
}

uint64_t OfWebp(const Header& header) {
  if (header.Has(12, "VP8X"sv)) return (header.Little(24, 3) + 1) * (header.Little(27, 3) + 1);
  if (header.Has(12, "VP8L"sv)) {
    const uint64_t bits = header.Little(21, 4);
    return ((bits & 0x3FFF) + 1) * ((bits >> 14 & 0x3FFF) + 1);
  }
  return (header.Little(26, 2) & 0x3FFF) * (header.Little(28, 2) & 0x3FFF);
}

uint64_t OfBmp(const Header& header) {
  if (header.Little(14, 4) == 12) return header.Little(18, 2) * header.Little(20, 2);
  // A height below 0 says that the rows begin at the top.
  const auto height = static_cast<int32_t>(static_cast<uint32_t>(header.Little(22, 4)));
  return header.Little(18, 4) * static_cast<uint64_t>(height < 0 ? -int64_t{height} : height);
}

/// The image's size is in the code stream, which may stand in a file of boxes.
uint64_t OfJpeg2000(const Header& header) {
  for (size_t at = 0; at + 40 < header.Size() && at < 4096; ++at) {
    if (!header.Has(at, "\xFF\x4F\xFF\x51"sv)) continue;
    const uint64_t right = header.Big(at + 8, 4);
    const uint64_t bottom = header.Big(at + 12, 4);
    return right * bottom;
  }
  return 0;
}

}  // namespace

bool LooksLikeTga(const uint8_t* bytes, size_t count) {
  constexpr size_t kHeader = 18;
  if (count < kHeader) return false;
  const Header header(bytes, count);
  const uint64_t type = header.Byte(2) & ~uint64_t{8};  // compressed or not
  const uint64_t depth = header.Byte(16);
  const bool mapped = type == 1;
  const uint64_t colours = header.Little(5, 2);
  return (header.Byte(2) & ~uint64_t{11}) == 0 && type >= 1 && type <= 3 &&
         header.Byte(1) == (mapped ? 1 : 0) && header.Little(12, 2) > 0 &&
         header.Little(14, 2) > 0 && (header.Byte(17) & 0xC0) == 0 &&
         (type == 2 ? depth == 15 || depth == 16 || depth == 24 || depth == 32 : depth == 8) &&
         (mapped ? colours > 0 && colours <= 256 : colours == 0);
}

uint64_t DeclaredPixels(const uint8_t* bytes, size_t count) {
  const Header header(bytes, count);
  if (header.Has(0, "\x89PNG\r\n\x1a\n"sv)) return header.Big(16, 4) * header.Big(20, 4);
  if (header.Has(0, "\xFF\xD8\xFF"sv)) return OfJpeg(header);
  if (header.Has(0, "GIF8"sv)) return header.Little(6, 2) * header.Little(8, 2);
  if (header.Has(0, "RIFF"sv) && header.Has(8, "WEBP"sv)) return OfWebp(header);
  if (header.Has(0, "BM"sv)) return OfBmp(header);
  if (header.Has(0, "II*\0"sv) || header.Has(0, "MM\0*"sv)) return OfTiff(header);
  if (header.Byte(0) == 'P' && header.Byte(1) >= '1' && header.Byte(1) <= '7') return OfPnm(header);
  if (header.Has(0, "\xFF\x4F\xFF\x51"sv) || header.Has(4, "jP  "sv)) return OfJpeg2000(header);
  if (LooksLikeTga(bytes, count)) return header.Little(12, 2) * header.Little(14, 2);
  return 0;
}

std::string TooManyPixels(uint64_t pixels, uint64_t most) {
  return "it has " + std::to_string(pixels) + " pixels; the most that it may have is " +
         std::to_string(most);
}

}  // namespace plexion_host::player
