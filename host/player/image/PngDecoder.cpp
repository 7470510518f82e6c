// Animated PNG pictures: each frame is handed to libpng as a PNG picture of its own, put together
// on the fly from the chunks of the file.
#include <png.h>
#include <setjmp.h>
#include <string.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/WatchedMemory.h"
#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

namespace {

constexpr size_t kSignature = 8;
constexpr size_t kHeaderBody = 13;
constexpr size_t kControlBody = 26;
constexpr size_t kChunkFrame = 12;  // length, name and checksum
constexpr uint64_t kSecondUs = 1000000;

uint32_t Long(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
uint32_t Short(const uint8_t* bytes) { return uint32_t{bytes[0]} << 8 | bytes[1]; }

void PutLong(uint8_t* bytes, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

struct Piece {
  size_t at = 0;
  size_t size = 0;
};

struct Chunk {
  const uint8_t* name = nullptr;
  const uint8_t* body = nullptr;
  size_t size = 0;
  bool Is(const char* other) const { return memcmp(name, other, 4) == 0; }
};

/// A PNG picture that is nowhere as a whole: what libpng reads comes from pieces of the file and
/// from the heads of chunks, made as they are needed.
class FrameStream {
 public:
  FrameStream(const uint8_t* file, const std::vector<Piece>& palette, const Piece* first,
              const Piece* last)
      : file_(file), palette_(palette), first_(first), last_(last) {}

  void Start(const uint8_t* header, uint32_t width, uint32_t height) {
    static constexpr uint8_t kStart[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n',
                                         0,    0,   0,   13,  'I',  'H',  'D',  'R'};
    memcpy(head_, kStart, sizeof kStart);
    memcpy(head_ + sizeof kStart, header, kHeaderBody);
    PutLong(head_ + sizeof kStart, width);
    PutLong(head_ + sizeof kStart + 4, height);
    headSize_ = sizeof kStart + kHeaderBody;
    PutChecksum();
  }

  /// Returns  false when there is nothing left.
  bool Read(uint8_t* to, size_t count) {
    while (count > 0) {
      if (headAt_ == headSize_ && left_ == 0 && !NextPart()) return false;
      const bool head = headAt_ < headSize_;
      const size_t part = std::min(count, head ? headSize_ - headAt_ : left_);
      memcpy(to, head ? head_ + headAt_ : file_ + at_, part);
      to += part;
      count -= part;
      (head ? headAt_ : at_) += part;
      if (!head) left_ -= part;
    }
    return true;
  }

 private:
  void PutChecksum() {
    // Nobody looks at it; see SetUp.
    PutLong(head_ + headSize_, 0);
    headSize_ += 4;
  }
  bool NextPart() {
    PLEXION_CHECK(headAt_ == headSize_ && left_ == 0, "a part is read to its end before the next");
    headAt_ = headSize_ = 0;
    if (checksumDue_) PutChecksum();
    checksumDue_ = false;
    if (nextPalette_ < palette_.size()) {
      // Whole chunks, as they are in the file.
      at_ = palette_[nextPalette_].at;
      left_ = palette_[nextPalette_++].size;
      return true;
    }
    if (first_ == last_) return headSize_ > 0;
    PutLong(head_ + headSize_, static_cast<uint32_t>(first_->size));
    memcpy(head_ + headSize_ + 4, "IDAT", 4);
    headSize_ += 8;
    at_ = first_->at;
    left_ = first_->size;
    ++first_;
    checksumDue_ = true;
    return true;
  }

  const uint8_t* const file_;
  const std::vector<Piece>& palette_;
  const Piece* first_;
  const Piece* const last_;
  uint8_t head_[48];
  size_t headSize_ = 0;
  size_t headAt_ = 0;
  size_t at_ = 0;
  size_t left_ = 0;
  size_t nextPalette_ = 0;
  bool checksumDue_ = false;
};

class PngDecoder final : public PictureDecoder {
 public:
  /// `animated`: the frames of the animation; otherwise the picture for viewers that know none.
  PngDecoder(const PictureSource& source, bool animated) : source_(source), animated_(animated) {}

  bool Read(std::string& reason);
  Decoded Decode(size_t frame, uint32_t* pixels) override;
  bool DecodesInPlace() override;
  Decoded DecodeAt(const qx::plexion::Dims& dims, uint32_t* pixels, size_t pitchBytes) override;

 private:
  /// Where the rows of a frame come to, and how many of them are wanted; `rows` is counted on.
  struct Rows {
    uint8_t* pixels = nullptr;
    size_t pitchBytes = 0;
    uint32_t most = 0;
    volatile uint32_t done = 0;  ///< of all passes; read after a jump: not in a register
  };
  struct Pixels {
    size_t firstPiece = 0;
    size_t pieces = 0;
  };

  bool NextChunk(size_t& at, Chunk& chunk) const;
  bool ReadHeader();
  bool TakeChunk(const Chunk& chunk);
  bool TakeControl(const Chunk& chunk);
  void TakeData(const Chunk& chunk, size_t skipped);
  void FinishFrame();
  Decoded DecodeInto(size_t frame, Rows& rows);
  static bool DecodeRows(png_structp png, png_infop info, const qx::plexion::Rect& area,
                         const PictureSource& source, Rows& rows);

  const PictureSource source_;
  const bool animated_;
  const uint8_t* header_ = nullptr;
  bool alpha_ = false;
  bool imageSeen_ = false;
  bool open_ = false;  // a frame has been announced and not finished
  PictureFrame frame_;
  std::vector<Piece> palette_;  // PLTE and tRNS
  std::vector<Piece> pieces_;   // compressed pixels, all frames in order
  std::vector<Pixels> pixels_;  // for each frame
};

/// Returns  false at the end of the file and at a chunk that it does not wholly hold.
bool PngDecoder::NextChunk(size_t& at, Chunk& chunk) const {
  if (source_.size - at < kChunkFrame) return false;
  const uint8_t* bytes = source_.bytes + at;
  chunk = {bytes + 4, bytes + 8, Long(bytes)};
  if (chunk.size > source_.size - at - kChunkFrame) return false;
  at += kChunkFrame + chunk.size;
  return true;
}

bool PngDecoder::ReadHeader() {
  size_t at = kSignature;
  Chunk chunk;
  if (source_.size < kSignature || !NextChunk(at, chunk) || !chunk.Is("IHDR") ||
      chunk.size != kHeaderBody) {
    return false;
  }
  header_ = chunk.body;
  facts_.dims = {Long(header_), Long(header_ + 4)};
  alpha_ = (header_[9] & PNG_COLOR_MASK_ALPHA) != 0;
  return facts_.dims.width > 0 && facts_.dims.height > 0;
}

bool PngDecoder::TakeControl(const Chunk& chunk) {
  FinishFrame();
  if (chunk.size < kControlBody) return false;
  const uint8_t* body = chunk.body;
  frame_ = PictureFrame();
  frame_.area = {Long(body + 12), Long(body + 16), Long(body + 4), Long(body + 8)};
  const uint32_t parts = Short(body + 22);
  // A fraction of a second; without a denominator it counts hundredths.
  frame_.durationUs = Short(body + 20) * kSecondUs / (parts == 0 ? 100 : parts);
  frame_.after = body[24] == 1   ? PictureFrame::After::kClear
                 : body[24] == 2 ? PictureFrame::After::kRestore
                                 : PictureFrame::After::kLeave;
  frame_.replaces = body[25] == 0;
  frame_.hasAlpha = alpha_;
  open_ = true;
  pixels_.push_back({pieces_.size(), 0});
  // A frame that reaches past the picture makes the file wrong from there on.
  return frame_.area.width > 0 && frame_.area.height > 0 &&
         uint64_t{frame_.area.x} + frame_.area.width <= facts_.dims.width &&
         uint64_t{frame_.area.y} + frame_.area.height <= facts_.dims.height;
}

void PngDecoder::TakeData(const Chunk& chunk, size_t skipped) {
  // The picture for viewers that know no animations, when it is no part of this one.
  if (!open_ || chunk.size < skipped) return;
  pieces_.push_back(
      {static_cast<size_t>(chunk.body - source_.bytes) + skipped, chunk.size - skipped});
  PLEXION_CHECK(!pixels_.empty(), "pixels belong to a frame that was announced");
  ++pixels_.back().pieces;
}

void PngDecoder::FinishFrame() {
  if (!open_) return;
  open_ = false;
  // Announced, but without pixels: there is nothing to show for its time.
  if (pixels_.back().pieces == 0) {
    pixels_.pop_back();
  } else {
    facts_.frames.push_back(frame_);
  }
}

/// Returns  false when nothing after it is of use.
bool PngDecoder::TakeChunk(const Chunk& chunk) {
  if (chunk.Is("IEND")) return false;
  if (animated_ && chunk.Is("acTL") && chunk.size >= 8) facts_.plays = Long(chunk.body + 4);
  if (!imageSeen_ && (chunk.Is("PLTE") || chunk.Is("tRNS"))) {
    palette_.push_back(
        {static_cast<size_t>(chunk.body - source_.bytes) - 8, chunk.size + kChunkFrame});
    alpha_ = alpha_ || chunk.Is("tRNS");
  }
  if (animated_ && chunk.Is("fcTL")) return TakeControl(chunk);
  if (chunk.Is("IDAT")) {
    imageSeen_ = true;
    frame_.hasAlpha = alpha_;
    TakeData(chunk, 0);
  }
  if (animated_ && chunk.Is("fdAT")) TakeData(chunk, 4);
  return true;
}

bool PngDecoder::Read(std::string& reason) {
  if (!ReadHeader()) {
    reason = "the PNG picture has no header";
    return false;
  }
  if (!animated_) {
    frame_.area = {0, 0, facts_.dims.width, facts_.dims.height};
    open_ = true;
    pixels_.emplace_back();
  }
  size_t at = kSignature;
  Chunk chunk;
  bool whole = true;
  while ((whole = NextChunk(at, chunk)) && TakeChunk(chunk)) {
  }
  // Of a file that was cut off, the first frame is shown as far as it goes.
  if (!whole && open_ && facts_.frames.empty() && source_.size - at > kChunkFrame) {
    const uint8_t* bytes = source_.bytes + at;
    const Chunk rest = {bytes + 4, bytes + 8, source_.size - at - 8};
    if (rest.Is("IDAT")) TakeData(rest, 0);
    if (animated_ && rest.Is("fdAT")) TakeData(rest, 4);
  }
  if (whole || facts_.frames.empty()) FinishFrame();
  if (!facts_.frames.empty()) return true;
  reason = "the PNG picture ends at byte " + std::to_string(at) + " of " +
           std::to_string(source_.size) + " before its first pixel";
  return false;
}

void ReadStream(png_structp png, png_bytep to, size_t count) {
  auto* stream = static_cast<FrameStream*>(png_get_io_ptr(png));
  if (!stream->Read(to, count)) png_error(png, "no more data");
}
void StopDecoding(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void IgnoreWarning(png_structp, png_const_charp) {}

png_voidp AllocateForPng(png_structp png, png_alloc_size_t bytes) {
  // The library's own memory counts for the window, too: a header may ask for a row of a gigabyte.
  return AllocateWatched(static_cast<qx::plexion::MemoryWatchdog*>(png_get_mem_ptr(png)), bytes);
}
void FreeForPng(png_structp, png_voidp block) { FreeWatched(block); }

void SetUp(png_structp png) {
  // The checksums that FrameStream makes up hold nothing, and the compression has its own.
  png_set_crc_action(png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
  // A frame smaller than the picture may have a window larger than it needs.
  png_set_option(png, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);
  png_set_benign_errors(png, 1);
}

/// A row has as many pixels as a picture may be wide.
constexpr uint32_t kRowsAtOnce = 64;

/// Everything that libpng may leave by a jump is in here; nothing in here has a destructor.
/// Returns  whether all wanted rows were decoded.
bool PngDecoder::DecodeRows(png_structp png, png_infop info, const qx::plexion::Rect& area,
                            const PictureSource& source, Rows& rows) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  SetUp(png);
  png_read_info(png, info);
  png_set_expand(png);
  // Rounded, not cut: a gradient of 16 bits would be half a step darker.
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_bgr(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != size_t{area.width} * sizeof(uint32_t)) return false;
  for (int pass = 0; pass < passes; ++pass) {
    for (uint32_t y = 0; y < std::min(area.height, rows.most); ++y) {
      png_read_row(png, rows.pixels + y * rows.pitchBytes, nullptr);
      rows.done = rows.done + 1;
      if (rows.done % kRowsAtOnce == 0 && source.IsCancelled()) return false;
    }
  }
  return true;
}

Decoded PngDecoder::Decode(size_t frame, uint32_t* pixels) {
  const qx::plexion::Rect& area = facts_.frames[frame].area;
  Rows rows = {reinterpret_cast<uint8_t*>(pixels), size_t{area.width} * sizeof(uint32_t),
               area.height};
  return DecodeInto(frame, rows);
}

bool PngDecoder::DecodesInPlace() {
  constexpr int kInterlaced = 12;  // in the header; such rows come in seven passes
  if (alpha_ || facts_.frames.size() != 1 || header_[kInterlaced] != 0) return false;
  WatchedBuffer row;
  if (!row.Resize(source_.watchdog, size_t{facts_.dims.width} * sizeof(uint32_t))) return false;
  Rows rows = {row.As<uint8_t>(), row.Size(), 1};
  return DecodeInto(0, rows) == Decoded::kAll;
}

Decoded PngDecoder::DecodeAt(const qx::plexion::Dims& dims, uint32_t* pixels, size_t pitchBytes) {
  PLEXION_CHECK(dims.width == facts_.dims.width && dims.height == facts_.dims.height,
                "it has its own size only");
  Rows rows = {reinterpret_cast<uint8_t*>(pixels), pitchBytes, dims.height};
  const Decoded decoded = DecodeInto(0, rows);
  ClearRows(pixels, pitchBytes, dims, rows.done);
  return decoded;
}

Decoded PngDecoder::DecodeInto(size_t frame, Rows& rows) {
  PLEXION_CHECK(frame < facts_.frames.size() && header_ != nullptr,
                "the frame is one of those that were found");
  const qx::plexion::Rect& area = facts_.frames[frame].area;
  const Piece* first = pieces_.data() + pixels_[frame].firstPiece;
  FrameStream stream(source_.bytes, palette_, first, first + pixels_[frame].pieces);
  stream.Start(header_, area.width, area.height);
  png_structp png =
      png_create_read_struct_2(PNG_LIBPNG_VER_STRING, nullptr, StopDecoding, IgnoreWarning,
                               source_.watchdog, AllocateForPng, FreeForPng);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  bool whole = false;
  if (info != nullptr) {
    png_set_read_fn(png, &stream, ReadStream);
    whole = DecodeRows(png, info, area, source_, rows);
  }
  if (png != nullptr) png_destroy_read_struct(&png, &info, nullptr);
  if (whole) return Decoded::kAll;
  return rows.done > 0 ? Decoded::kPart : Decoded::kNothing;
}

}  // namespace

std::unique_ptr<PictureDecoder> OpenPng(const PictureSource& source, std::string& reason) {
  // An animation whose frames are damaged still has the picture for viewers that know none.
  for (const bool animated : {true, false}) {
    auto decoder = std::make_unique<PngDecoder>(source, animated);
    if (decoder->Read(reason)) return decoder;
  }
  return nullptr;
}

}  // namespace plexion_host::player
