// Decodes JPEG with libjpeg.
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

// libjpeg's header needs stdio's before it.
#include <jpeglib.h>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/player/WatchedMemory.h"
#include "host/player/image/JpegTurn.h"
#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

namespace {

/// A progressive file may hold thousands of passes over the whole picture in a few bytes each.
constexpr int kMostScans = 100;
/// The library makes 1 to 8 pixels a side of each block of 8.
constexpr unsigned kEighths = 8;

/// What libjpeg calls. It knows no exceptions: every failure jumps out of it, so no object with a
/// destructor may live in between.
struct Jpeg {
  jpeg_decompress_struct decoder = {};
  jpeg_error_mgr errors = {};
  jpeg_progress_mgr progress = {};
  jmp_buf out;
  char message[JMSG_LENGTH_MAX] = {};
  const PictureSource* source = nullptr;

  static Jpeg& Of(j_common_ptr decoder) { return *static_cast<Jpeg*>(decoder->client_data); }

  static void Leave(j_common_ptr decoder) {
    Jpeg& jpeg = Of(decoder);
    decoder->err->format_message(decoder, jpeg.message);
    longjmp(jpeg.out, 1);
  }

  static void LeaveWith(Jpeg& jpeg, const char* message) {
    snprintf(jpeg.message, sizeof jpeg.message, "%s", message);
    longjmp(jpeg.out, 1);
  }

  static void OnProgress(j_common_ptr decoder) {
    Jpeg& jpeg = Of(decoder);
    if (jpeg.decoder.input_scan_number > kMostScans) LeaveWith(jpeg, "too many passes");
    if (jpeg.source->IsCancelled()) LeaveWith(jpeg, "it is not wanted any more");
  }

  void Open(const PictureSource& from) {
    source = &from;
    decoder.err = jpeg_std_error(&errors);
    errors.error_exit = Leave;
    // Nothing goes to the terminal; a damaged file is known by its count of warnings.
    errors.output_message = [](j_common_ptr) {};
    decoder.client_data = this;
    jpeg_create_decompress(&decoder);
    progress.progress_monitor = OnProgress;
    decoder.progress = &progress;
    // Read where it lies; the library copies nothing of it.
    jpeg_mem_src(&decoder, from.bytes, from.size);
    jpeg_read_header(&decoder, TRUE);
  }
};

bool ReadDims(Jpeg& jpeg, const PictureSource& source) {
  if (setjmp(jpeg.out) != 0) return false;
  jpeg.Open(source);
  return true;
}

/// Inks to light, where they are. Files of a known maker have the inks inverted: what is left of white.
void ConvertInks(uint32_t* pixels, size_t count, bool inverted) {
  for (size_t i = 0; i < count; ++i) {
    uint8_t inks[4];
    memcpy(inks, pixels + i, sizeof inks);
    if (!inverted) std::transform(inks, inks + 4, inks, [](uint8_t ink) { return 255 - ink; });
    pixels[i] = kOpaqueBlack | TimesByte(inks[0], inks[3]) << 16 |
                TimesByte(inks[1], inks[3]) << 8 | TimesByte(inks[2], inks[3]);
  }
}

/// A side of a picture of which `eighths` of eight are made.
uint32_t SideOf(uint32_t side, unsigned eighths) {
  return static_cast<uint32_t>((uint64_t{side} * eighths + 7) / 8);
}

/// Reads the first `most` rows, at so many eighths of the picture's size.
bool ReadRows(Jpeg& jpeg, const PictureSource& source, unsigned eighths, unsigned char* pixels,
              size_t pitch, JDIMENSION most) {
  if (setjmp(jpeg.out) != 0) return false;
  jpeg.Open(source);
  const bool inks = jpeg.decoder.num_components == 4;
  PLEXION_CHECK(pitch >= SideOf(jpeg.decoder.image_width, eighths) * sizeof(uint32_t),
                "a row has room for its pixels");
  jpeg.decoder.out_color_space = inks ? JCS_CMYK : JCS_EXT_BGRA;
  // The library leaves out of each block what a smaller picture does not show: an eighth costs a fraction.
  jpeg.decoder.scale_num = eighths;
  jpeg.decoder.scale_denom = kEighths;
  jpeg_start_decompress(&jpeg.decoder);
  while (jpeg.decoder.output_scanline < std::min(most, jpeg.decoder.output_height)) {
    JSAMPROW row = pixels + jpeg.decoder.output_scanline * pitch;
    jpeg_read_scanlines(&jpeg.decoder, &row, 1);
    if (inks) {
      ConvertInks(reinterpret_cast<uint32_t*>(row), jpeg.decoder.output_width,
                  jpeg.decoder.saw_Adobe_marker != 0);
    }
  }
  if (jpeg.decoder.output_scanline == jpeg.decoder.output_height)
    jpeg_finish_decompress(&jpeg.decoder);
  return true;
}

class JpegDecoder final : public PictureDecoder {
 public:
  explicit JpegDecoder(PictureSource source) : source_(std::move(source)) {}

  bool Open(std::string& reason) {
    Jpeg jpeg;
    const bool read = ReadDims(jpeg, source_);
    // 0 after a jump out of the header.
    own_ = {jpeg.decoder.image_width, jpeg.decoder.image_height};
    // In passes over all of it: its first pixels tell little of the rest.
    inPasses_ = read && jpeg_has_multiple_scans(&jpeg.decoder) != FALSE;
    jpeg_destroy_decompress(&jpeg.decoder);
    if (!read) reason = std::string("damaged JPEG: ") + jpeg.message;
    turn_ = JpegTurnOf(source_.bytes, source_.size);
    facts_.dims = turn_.SwapsSides() ? qx::plexion::Dims{own_.height, own_.width} : own_;
    PictureFrame frame;
    frame.area = {0, 0, facts_.dims.width, facts_.dims.height};
    frame.hasAlpha = false;
    facts_.frames.push_back(frame);
    return read;
  }

  Decoded Decode(size_t, uint32_t* pixels) override {
    if (turn_.IsNone()) return DecodeUpright(pixels);
    WatchedBuffer own;
    if (!own.Resize(source_.watchdog, size_t{own_.width} * own_.height * sizeof(uint32_t))) {
      return Decoded::kNothing;
    }
    memset(own.Data(), 0, own.Size());
    const Decoded decoded = DecodeUpright(own.As<uint32_t>());
    turn_.Apply(own.As<uint32_t>(), own_, pixels);
    return decoded;
  }

  bool DecodesInPlace() override {
    if (!turn_.IsNone() || inPasses_) return false;
    WatchedBuffer row;
    if (!row.Resize(source_.watchdog, size_t{own_.width} * sizeof(uint32_t))) return false;
    uint32_t rows = 0;
    return DecodeRows(kEighths, row.As<uint32_t>(), row.Size(), 1, rows) != Decoded::kNothing;
  }
  qx::plexion::Dims ReducedTo(const qx::plexion::Dims& wanted) const override {
    for (unsigned eighths = 1; eighths < kEighths; ++eighths) {
      const qx::plexion::Dims dims = {SideOf(own_.width, eighths), SideOf(own_.height, eighths)};
      if (dims.width >= wanted.width && dims.height >= wanted.height) return dims;
    }
    return own_;
  }
  Decoded DecodeAt(const qx::plexion::Dims& dims, uint32_t* pixels, size_t pitchBytes) override {
    unsigned eighths = 1;
    // Small pictures have the same size at several.
    while (SideOf(own_.width, eighths) < dims.width || SideOf(own_.height, eighths) < dims.height) {
      ++eighths;
    }
    PLEXION_CHECK(eighths <= kEighths, "a picture is not enlarged here");
    uint32_t rows = 0;
    const Decoded decoded = DecodeRows(eighths, pixels, pitchBytes, dims.height, rows);
    ClearRows(pixels, pitchBytes, dims, rows);
    return decoded;
  }

 private:
  Decoded DecodeUpright(uint32_t* pixels) const {
    uint32_t rows = 0;
    return DecodeRows(kEighths, pixels, size_t{own_.width} * sizeof(uint32_t), own_.height, rows);
  }

  Decoded DecodeRows(unsigned eighths, uint32_t* pixels, size_t pitchBytes, uint32_t most,
                     uint32_t& rows) const {
    Jpeg jpeg;
    const bool read = ReadRows(jpeg, source_, eighths, reinterpret_cast<unsigned char*>(pixels),
                               pitchBytes, most);
    rows = jpeg.decoder.output_scanline;
    const bool damaged = jpeg.errors.num_warnings > 0;
    jpeg_destroy_decompress(&jpeg.decoder);
    if (read) return damaged ? Decoded::kPart : Decoded::kAll;
    return rows > 0 ? Decoded::kPart : Decoded::kNothing;
  }

  const PictureSource source_;
  qx::plexion::Dims own_ = {0, 0};  ///< as the file has it, before it is turned
  JpegTurn turn_;
  bool inPasses_ = false;
};

}  // namespace

std::unique_ptr<PictureDecoder> OpenJpeg(const PictureSource& source, std::string& reason) {
  auto decoder = std::make_unique<JpegDecoder>(source);
  if (!decoder->Open(reason)) return nullptr;
  return decoder;
}

}  // namespace plexion_host::player
