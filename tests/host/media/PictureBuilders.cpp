// Writes GIF, PNG and WebP files frame by frame.

#include "tests/host/media/PictureBuilders.h"

#include <gtest/gtest.h>
#include <webp/encode.h>
#include <webp/mux.h>
#include <zlib.h>

#include <map>
#include <string_view>

namespace plexion_host::player {

using qx::plexion::Dims;

namespace {

// The order is the GIF palette's.
constexpr std::string_view kLetters = ".rgbwk";
constexpr uint32_t kColours[] = {0, 0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF, 0xFF000000};
constexpr uint32_t kHalfRed = 0x80FF0000;

void Low16(std::string& to, unsigned value) {
  to += static_cast<char>(value);
  to += static_cast<char>(value >> 8);
}

void High(std::string& to, uint32_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) to += static_cast<char>(value >> shift);
}

class CodeWriter {
 public:
  void Put(unsigned code, unsigned width) {
    bits_ |= uint32_t{code} << count_;
    for (count_ += width; count_ >= 8; count_ -= 8, bits_ >>= 8) {
      bytes_ += static_cast<char>(bits_);
    }
  }
  std::string Finish() {
    if (count_ > 0) bytes_ += static_cast<char>(bits_);
    return bytes_;
  }

 private:
  std::string bytes_;
  uint32_t bits_ = 0;
  unsigned count_ = 0;
};

std::string CompressIndices(const std::vector<uint8_t>& indices, unsigned literalBits) {
  const unsigned clear = 1u << literalBits;
  CodeWriter codes;
  std::map<std::pair<unsigned, unsigned>, unsigned> strings;
  unsigned width = literalBits + 1;
  unsigned next = clear + 2;
  codes.Put(clear, width);
  unsigned current = indices[0];
  for (size_t i = 1; i < indices.size(); ++i) {
    const auto known = strings.find({current, indices[i]});
    if (known != strings.end()) {
      current = known->second;
      continue;
    }
    codes.Put(current, width);
    if (next < 4096) {
      // A reader is one string behind.
      if (next == 1u << width) ++width;
      strings[{current, indices[i]}] = next++;
    } else {
      codes.Put(clear, width);
      strings.clear();
      width = literalBits + 1;
      next = clear + 2;
    }
    current = indices[i];
  }
  codes.Put(current, width);
  if (next == 1u << width && width < 12) ++width;
  codes.Put(clear + 1, width);
  return codes.Finish();
}

std::string SubBlocks(const std::string& bytes) {
  std::string blocks;
  for (size_t at = 0; at < bytes.size(); at += 255) {
    const std::string part = bytes.substr(at, 255);
    blocks += static_cast<char>(part.size());
    blocks += part;
  }
  return blocks + '\0';
}

std::string GifHead(Dims screen, unsigned paletteBits) {
  std::string gif = "GIF89a";
  Low16(gif, screen.width);
  Low16(gif, screen.height);
  gif += static_cast<char>(0x80 | (paletteBits - 1));
  gif += std::string(2, '\0');
  return gif;
}

std::string GifImage(const BuiltFrame& frame, Dims dims, const std::vector<uint8_t>& indices,
                     unsigned literalBits, bool interlaced) {
  std::string image = ",";
  for (const unsigned value : {frame.x, frame.y, dims.width, dims.height}) Low16(image, value);
  image += static_cast<char>(interlaced ? 0x40 : 0);
  image += static_cast<char>(literalBits);
  return image + SubBlocks(CompressIndices(indices, literalBits));
}

std::vector<unsigned> RowOrder(unsigned height, bool interlaced) {
  std::vector<unsigned> order;
  if (!interlaced) {
    for (unsigned y = 0; y < height; ++y) order.push_back(y);
    return order;
  }
  for (const auto& [first, step] : {std::pair(0u, 8u), {4u, 8u}, {2u, 4u}, {1u, 2u}}) {
    for (unsigned y = first; y < height; y += step) order.push_back(y);
  }
  return order;
}

std::string PngChunk(const std::string& name, const std::string& body) {
  std::string chunk;
  High(chunk, static_cast<uint32_t>(body.size()), 4);
  const std::string checked = name + body;
  chunk += checked;
  High(chunk,
       static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(checked.data()),
                                   static_cast<uInt>(checked.size()))),
       4);
  return chunk;
}

std::string PngPixels(const PictureRows& rows) {
  std::string raw;
  for (const std::string& row : rows) {
    raw += '\0';  // no filter
    for (const char letter : row) {
      const uint32_t pixel = PixelOf(letter);
      High(raw, pixel << 8 | pixel >> 24, 4);
    }
  }
  uLongf size = compressBound(static_cast<uLong>(raw.size()));
  std::string packed(size, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()), &size,
           reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()));
  packed.resize(size);
  return packed;
}

std::string PngControl(const BuiltFrame& frame, uint32_t& sequence) {
  std::string body;
  High(body, sequence++, 4);
  High(body, static_cast<uint32_t>(frame.rows[0].size()), 4);
  High(body, static_cast<uint32_t>(frame.rows.size()), 4);
  High(body, frame.x, 4);
  High(body, frame.y, 4);
  High(body, frame.durationMs, 2);
  High(body, 1000, 2);
  body += static_cast<char>(frame.after);
  body += static_cast<char>(frame.replaces ? 0 : 1);
  return PngChunk("fcTL", body);
}

std::string WebpPixels(const PictureRows& rows) {
  std::vector<uint32_t> pixels;
  for (const std::string& row : rows) {
    for (const char letter : row) pixels.push_back(PixelOf(letter));
  }
  const int width = static_cast<int>(rows[0].size());
  uint8_t* encoded = nullptr;
  const size_t size = WebPEncodeLosslessBGRA(reinterpret_cast<const uint8_t*>(pixels.data()), width,
                                             static_cast<int>(rows.size()), width * 4, &encoded);
  std::string bytes(reinterpret_cast<const char*>(encoded), size);
  WebPFree(encoded);
  return bytes;
}

}  // namespace

uint32_t PixelOf(char letter) {
  if (letter == 'h') return kHalfRed;
  const size_t index = kLetters.find(letter);
  return index == std::string_view::npos ? 0 : kColours[index];
}

PictureRows LettersOf(const uint32_t* pixels, Dims dims) {
  PictureRows rows(dims.height, std::string(dims.width, '?'));
  for (size_t i = 0; i < size_t{dims.width} * dims.height; ++i) {
    char& letter = rows[i / dims.width][i % dims.width];
    for (const char known : std::string(kLetters) + "h") {
      if (pixels[i] == PixelOf(known) || (known == '.' && pixels[i] >> 24 == 0)) letter = known;
    }
  }
  return rows;
}

std::string BuildGif(Dims screen, const std::vector<BuiltFrame>& frames, int loops,
                     bool interlaced) {
  constexpr unsigned kPaletteBits = 3;
  std::string gif = GifHead(screen, kPaletteBits);
  for (size_t i = 0; i < 8; ++i) High(gif, i < std::size(kColours) ? kColours[i] & 0xFFFFFF : 0, 3);
  if (loops != kNoLoops) {
    gif += "!\xff\x0bNETSCAPE2.0\x03\x01";
    Low16(gif, static_cast<unsigned>(loops));
    gif += '\0';
  }
  for (const BuiltFrame& frame : frames) {
    const Dims dims = {static_cast<uint32_t>(frame.rows[0].size()),
                       static_cast<uint32_t>(frame.rows.size())};
    bool transparent = false;
    std::vector<uint8_t> indices;
    for (const unsigned y : RowOrder(dims.height, interlaced)) {
      for (const char letter : frame.rows[y]) {
        indices.push_back(static_cast<uint8_t>(kLetters.find(letter)));
        transparent = transparent || letter == '.';
      }
    }
    gif += "!\xf9\x04";
    gif += static_cast<char>((static_cast<unsigned>(frame.after) + 1) << 2 | transparent);
    Low16(gif, frame.durationMs / 10);
    gif += std::string(2, '\0');
    gif += GifImage(frame, dims, indices, kPaletteBits, interlaced);
  }
  return gif + ";";
}

std::string BuildIndexedGif(Dims dims, const std::vector<uint8_t>& indices, unsigned colours) {
  unsigned bits = 1;
  while (1u << bits < colours) ++bits;
  std::string gif = GifHead(dims, bits);
  // Index i is grey i.
  for (unsigned i = 0; i < 1u << bits; ++i) gif += std::string(3, static_cast<char>(i));
  return gif + GifImage(BuiltFrame(), dims, indices, std::max(bits, 2u), false) + ";";
}

std::string BuildApng(Dims dims, const std::vector<BuiltFrame>& frames, unsigned plays,
                      bool poster) {
  std::string header;
  High(header, dims.width, 4);
  High(header, dims.height, 4);
  header += std::string("\x08\x06\0\0\0", 5);
  std::string control;
  High(control, static_cast<uint32_t>(frames.size()), 4);
  High(control, plays, 4);
  std::string png = "\x89PNG\r\n\x1a\n" + PngChunk("IHDR", header) + PngChunk("acTL", control);
  if (poster) {
    png += PngChunk("IDAT", PngPixels(PictureRows(dims.height, std::string(dims.width, 'w'))));
  }
  uint32_t sequence = 0;
  for (size_t i = 0; i < frames.size(); ++i) {
    png += PngControl(frames[i], sequence);
    const std::string pixels = PngPixels(frames[i].rows);
    if (i == 0 && !poster) {
      png += PngChunk("IDAT", pixels);
      continue;
    }
    // In two pieces, as large frames have it.
    for (const std::string& part : {pixels.substr(0, 5), pixels.substr(5)}) {
      std::string body;
      High(body, sequence++, 4);
      png += PngChunk("fdAT", body + part);
    }
  }
  return png + PngChunk("IEND", "");
}

std::string BuildWebp(Dims dims, const std::vector<BuiltFrame>& frames, unsigned plays) {
  if (frames.size() == 1) return WebpPixels(frames[0].rows);
  WebPMux* mux = WebPMuxNew();
  const WebPMuxAnimParams animation = {0xFFFFFFFF, static_cast<int>(plays)};
  EXPECT_EQ(WEBP_MUX_OK, WebPMuxSetAnimationParams(mux, &animation));
  EXPECT_EQ(WEBP_MUX_OK,
            WebPMuxSetCanvasSize(mux, static_cast<int>(dims.width), static_cast<int>(dims.height)));
  for (const BuiltFrame& frame : frames) {
    const std::string pixels = WebpPixels(frame.rows);
    WebPMuxFrameInfo info = {};
    info.bitstream = {reinterpret_cast<const uint8_t*>(pixels.data()), pixels.size()};
    info.x_offset = static_cast<int>(frame.x);
    info.y_offset = static_cast<int>(frame.y);
    info.duration = static_cast<int>(frame.durationMs);
    info.id = WEBP_CHUNK_ANMF;
    info.dispose_method = frame.after == PictureFrame::After::kClear ? WEBP_MUX_DISPOSE_BACKGROUND
                                                                     : WEBP_MUX_DISPOSE_NONE;
    info.blend_method = frame.replaces ? WEBP_MUX_NO_BLEND : WEBP_MUX_BLEND;
    EXPECT_EQ(WEBP_MUX_OK, WebPMuxPushFrame(mux, &info, 1));
  }
  WebPData whole = {nullptr, 0};
  EXPECT_EQ(WEBP_MUX_OK, WebPMuxAssemble(mux, &whole));
  std::string bytes(reinterpret_cast<const char*>(whole.bytes), whole.size);
  WebPDataClear(&whole);
  WebPMuxDelete(mux);
  return bytes;
}

}  // namespace plexion_host::player
