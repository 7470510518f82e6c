// GIF pictures: their blocks, and the compression of their pixels.
#include <algorithm>
#include <array>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kHundredthUs = 10000;

/// Reads bytes in order; past the end there are zeros, and Failed says so.
class ByteReader {
 public:
  ByteReader(const PictureSource& source, size_t at) : source_(source), at_(at) {}
  unsigned Byte() {
    if (at_ < source_.size) return source_.bytes[at_++];
    failed_ = true;
    return 0;
  }
  unsigned Word() {
    const unsigned low = Byte();
    return low | Byte() << 8;
  }
  void Skip(size_t count) {
    failed_ = failed_ || count > source_.size - at_;
    at_ = std::min(source_.size, at_ + std::min(count, source_.size));
  }
  bool Failed() const { return failed_; }
  size_t At() const { return at_; }

 private:
  const PictureSource& source_;
  size_t at_;
  bool failed_ = false;
};

/// The codes of one frame, over its chain of sub-blocks.
class CodeReader {
 public:
  CodeReader(const PictureSource& source, size_t at) : bytes_(source, at) {}

  /// Returns  false at the end of the chain or of the file.
  bool Next(unsigned width, unsigned& code) {
    PLEXION_CHECK(width <= 12, "codes have twelve bits at most, so that four bytes hold them");
    while (bitCount_ < width) {
      if (left_ == 0) {
        left_ = bytes_.Byte();
        if (left_ == 0) return false;
      }
      bits_ |= uint32_t{bytes_.Byte()} << bitCount_;
      if (bytes_.Failed()) return false;
      bitCount_ += 8;
      --left_;
    }
    code = bits_ & ((1u << width) - 1);
    bits_ >>= width;
    bitCount_ -= width;
    return true;
  }

 private:
  ByteReader bytes_;
  unsigned left_ = 0;  // in the sub-block at hand
  uint32_t bits_ = 0;
  unsigned bitCount_ = 0;
};

/// Puts the palette indices of a frame at their places, in the order in which the file has them.
class PixelWriter {
 public:
  PixelWriter(uint32_t* pixels, const qx::plexion::Rect& area, bool interlaced,
              const std::array<uint32_t, 256>& palette)
      : pixels_(pixels), area_(area), interlaced_(interlaced), palette_(palette) {}

  /// Returns  false when the frame is full.
  bool Put(unsigned index) {
    if (row_ >= area_.height) return false;
    pixels_[size_t{row_} * area_.width + column_] = palette_[index];
    any_ = true;
    if (++column_ == area_.width) NextRow();
    return true;
  }
  bool Full() const { return row_ >= area_.height; }
  bool Any() const { return any_; }

 private:
  void NextRow() {
    // Every eighth row, those between them, then every fourth and every second (GIF89a, appendix E).
    static constexpr uint32_t kFirst[] = {0, 4, 2, 1};
    static constexpr uint32_t kStep[] = {8, 8, 4, 2};
    column_ = 0;
    row_ += interlaced_ ? kStep[pass_] : 1;
    while (interlaced_ && row_ >= area_.height && pass_ < 3) row_ = kFirst[++pass_];
  }

  uint32_t* pixels_;
  const qx::plexion::Rect area_;
  const bool interlaced_;
  const std::array<uint32_t, 256>& palette_;
  uint32_t row_ = 0;
  uint32_t column_ = 0;
  unsigned pass_ = 0;
  bool any_ = false;
};

/// The strings behind the codes, each the string of another code and one byte more.
class Dictionary {
 public:
  static constexpr unsigned kMostCodes = 4096;

  explicit Dictionary(unsigned literals) : literals_(literals) { Clear(); }
  void Clear() { count_ = literals_ + 2; }
  unsigned Count() const { return count_; }

  void Add(unsigned prefix, unsigned last) {
    PLEXION_CHECK(count_ < kMostCodes, "the dictionary has room");
    prefix_[count_] = static_cast<uint16_t>(prefix);
    last_[count_] = static_cast<uint8_t>(last);
    ++count_;
  }
  unsigned FirstOf(unsigned code) const {
    while (code >= literals_) code = prefix_[code];
    return code;
  }
  bool Write(unsigned code, PixelWriter& writer) {
    unsigned length = 0;
    // Each prefix is older than its code, so this ends; the string comes out backwards.
    for (; code >= literals_; code = prefix_[code]) string_[length++] = last_[code];
    string_[length++] = static_cast<uint8_t>(code);
    while (length > 0) {
      if (!writer.Put(string_[--length])) return false;
    }
    return true;
  }

 private:
  const unsigned literals_;
  unsigned count_ = 0;
  uint16_t prefix_[kMostCodes];
  uint8_t last_[kMostCodes];
  uint8_t string_[kMostCodes];
};

/// Each may stand for four thousand pixels.
constexpr unsigned kCodesAtOnce = 1024;

void Decompress(CodeReader& codes, unsigned literalBits, PixelWriter& writer,
                const PictureSource& source) {
  const unsigned clear = 1u << literalBits;
  const unsigned end = clear + 1;
  constexpr unsigned kNone = Dictionary::kMostCodes;
  Dictionary dictionary(clear);
  unsigned width = literalBits + 1;
  unsigned previous = kNone;
  unsigned code = 0;
  unsigned count = 0;
  while (!writer.Full() && codes.Next(width, code)) {
    if (code == end || (++count % kCodesAtOnce == 0 && source.IsCancelled())) return;
    if (code == clear) {
      dictionary.Clear();
      width = literalBits + 1;
      previous = kNone;
      continue;
    }
    // The one code that may be ahead is the one that this step adds.
    if (code > dictionary.Count() || (code == dictionary.Count() && previous == kNone)) return;
    if (previous != kNone && dictionary.Count() < Dictionary::kMostCodes) {
      dictionary.Add(previous, dictionary.FirstOf(code == dictionary.Count() ? previous : code));
    } else if (code >= dictionary.Count()) {
      return;
    }
    if (!dictionary.Write(code, writer)) return;
    if (dictionary.Count() == 1u << width && width < 12) ++width;
    previous = code;
  }
}

class GifDecoder final : public PictureDecoder {
 public:
  explicit GifDecoder(const PictureSource& source) : source_(source) {}

  bool Read(std::string& reason);
  Decoded Decode(size_t frame, uint32_t* pixels) override;

 private:
  struct Place {
    size_t palette = 0;
    unsigned colours = 0;
    size_t data = 0;  // the byte with the size of literals, before the chain
    int transparent = -1;
    bool interlaced = false;
  };

  void ReadScreen(ByteReader& bytes);
  bool ReadFrame(ByteReader& bytes);
  void ReadExtension(ByteReader& bytes);
  void ReadControl(ByteReader& bytes);
  void ReadLoops(ByteReader& bytes);
  static void SkipChain(ByteReader& bytes);

  const PictureSource source_;
  size_t globalPalette_ = 0;
  unsigned globalColours_ = 0;
  std::vector<Place> places_;
  PictureFrame control_;  // what was said about the next frame
  int transparent_ = -1;
};

void GifDecoder::SkipChain(ByteReader& bytes) {
  while (!bytes.Failed()) {
    const unsigned size = bytes.Byte();
    if (size == 0) return;
    bytes.Skip(size);
  }
}

void GifDecoder::ReadControl(ByteReader& bytes) {
  // Delays count in hundredths of a second.
  if (bytes.Byte() < 4) return;
  const unsigned flags = bytes.Byte();
  control_.durationUs = bytes.Word() * kHundredthUs;
  const int index = static_cast<int>(bytes.Byte());
  transparent_ = (flags & 1) != 0 ? index : -1;
  const unsigned after = flags >> 2 & 7;
  control_.after = after == 2   ? PictureFrame::After::kClear
                   : after == 3 ? PictureFrame::After::kRestore
                                : PictureFrame::After::kLeave;
}

void GifDecoder::ReadLoops(ByteReader& bytes) {
  const unsigned size = bytes.Byte();
  std::string name;
  for (unsigned i = 0; i < size; ++i) name += static_cast<char>(bytes.Byte());
  if (name != "NETSCAPE2.0" && name != "ANIMEXTS1.0") return;
  // Not in the format's own document: two makers of browsers agreed on it, and every encoder follows.
  if (bytes.Byte() < 3 || bytes.Byte() != 1) return;
  const unsigned again = bytes.Word();
  // The number tells how often the frames are shown once more.
  if (!bytes.Failed()) facts_.plays = again == 0 ? 0 : uint64_t{again} + 1;
}

void GifDecoder::ReadExtension(ByteReader& bytes) {
  const unsigned kind = bytes.Byte();
  // A reader of its own: whatever the extension says of its size, the chain of blocks tells where the
  // next block begins.
  ByteReader inside = bytes;
  if (kind == 0xF9) ReadControl(inside);
  if (kind == 0xFF) ReadLoops(inside);
  SkipChain(bytes);
}

void GifDecoder::ReadScreen(ByteReader& bytes) {
  bytes.Skip(6);
  facts_.dims.width = bytes.Word();
  facts_.dims.height = bytes.Word();
  const unsigned flags = bytes.Byte();
  bytes.Skip(2);
  if ((flags & 0x80) != 0) {
    globalPalette_ = bytes.At();
    globalColours_ = 2u << (flags & 7);
    bytes.Skip(size_t{3} * globalColours_);
  }
}

/// Returns  false when no frame can follow.
bool GifDecoder::ReadFrame(ByteReader& bytes) {
  PictureFrame frame = control_;
  Place place;
  place.transparent = transparent_;
  frame.area.x = bytes.Word();
  frame.area.y = bytes.Word();
  frame.area.width = bytes.Word();
  frame.area.height = bytes.Word();
  const unsigned flags = bytes.Byte();
  place.palette = globalPalette_;
  place.colours = globalColours_;
  place.interlaced = (flags & 0x40) != 0;
  if ((flags & 0x80) != 0) {
    place.palette = bytes.At();
    place.colours = 2u << (flags & 7);
    bytes.Skip(size_t{3} * place.colours);
  }
  place.data = bytes.At();
  bytes.Skip(1);
  if (bytes.Failed()) return false;
  SkipChain(bytes);
  const bool whole = !bytes.Failed();
  frame.hasAlpha = place.transparent >= 0;
  // Of a file that was cut off, the first frame is shown as far as it goes; a later one would leave
  // half a picture behind in every pass.
  if (places_.empty() || whole) {
    facts_.frames.push_back(frame);
    places_.push_back(place);
  }
  control_ = PictureFrame();
  transparent_ = -1;
  return whole;
}

bool GifDecoder::Read(std::string& reason) {
  ByteReader bytes(source_, 0);
  ReadScreen(bytes);
  bool more = !bytes.Failed();
  while (more) {
    const unsigned block = bytes.Byte();
    if (bytes.Failed() || block == 0x3B) break;
    if (block == 0x2C) more = ReadFrame(bytes);
    if (block == 0x21) ReadExtension(bytes);
    // Some files have zeros between blocks; what else is no block is the end of what is known.
    if (block != 0x2C && block != 0x21 && block != 0) break;
  }
  if (facts_.frames.empty()) {
    reason = "the GIF picture ends at byte " + std::to_string(bytes.At()) + " of " +
             std::to_string(source_.size) + " before its first frame";
    return false;
  }
  // Some files have a screen that is smaller than what is shown on it.
  const qx::plexion::Rect& first = facts_.frames.front().area;
  facts_.dims.width = std::max(facts_.dims.width, first.x + first.width);
  facts_.dims.height = std::max(facts_.dims.height, first.y + first.height);
  if (facts_.dims.width == 0 || facts_.dims.height == 0) {
    reason = "the GIF picture is 0 pixels wide or high";
    return false;
  }
  return true;
}

Decoded GifDecoder::Decode(size_t frame, uint32_t* pixels) {
  PLEXION_CHECK(frame < places_.size(), "the frame is one of those that were found");
  const Place& place = places_[frame];
  std::array<uint32_t, 256> palette;
  // Indices beyond the palette are damage; other viewers show them black as well.
  palette.fill(kOpaqueBlack);
  const uint8_t* colour = source_.bytes + place.palette;
  for (unsigned i = 0; i < place.colours; ++i, colour += 3) {
    palette[i] = kOpaqueBlack | uint32_t{colour[0]} << 16 | uint32_t{colour[1]} << 8 | colour[2];
  }
  if (place.transparent >= 0) palette[static_cast<size_t>(place.transparent)] = 0;

  const unsigned literalBits = source_.bytes[place.data];
  PixelWriter writer(pixels, facts_.frames[frame].area, place.interlaced, palette);
  if (facts_.frames[frame].area.width == 0 || writer.Full()) return Decoded::kAll;
  if (literalBits < 1 || literalBits > 8) return Decoded::kNothing;
  CodeReader codes(source_, place.data + 1);
  Decompress(codes, literalBits, writer, source_);
  if (writer.Full()) return Decoded::kAll;
  return writer.Any() ? Decoded::kPart : Decoded::kNothing;
}

}  // namespace

std::unique_ptr<PictureDecoder> OpenGif(const PictureSource& source, std::string& reason) {
  auto decoder = std::make_unique<GifDecoder>(source);
  if (!decoder->Read(reason)) return nullptr;
  return decoder;
}

}  // namespace plexion_host::player
