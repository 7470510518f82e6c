// WebP pictures, still and animated.
#include <webp/decode.h>
#include <webp/demux.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/WatchedMemory.h"
#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kMillisecondUs = 1000;
/// Of a file that is looked into; twice as many then, until a row is there.
constexpr size_t kFirstBytes = 4096;

struct WebpRelease {
  void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
  void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
};

class WebpDecoder final : public PictureDecoder {
 public:
  explicit WebpDecoder(const PictureSource& source) : source_(source) {}

  bool Read(std::string& reason);
  Decoded Decode(size_t frame, uint32_t* pixels) override;
  bool DecodesInPlace() override;
  /// The library scales while it decodes, to any size.
  qx::plexion::Dims ReducedTo(const qx::plexion::Dims& wanted) const override {
    return {std::min(wanted.width, facts_.dims.width), std::min(wanted.height, facts_.dims.height)};
  }
  Decoded DecodeAt(const qx::plexion::Dims& dims, uint32_t* pixels, size_t pitchBytes) override;

 private:
  Decoded DecodeInto(size_t frame, const qx::plexion::Dims& dims, uint32_t* pixels,
                     size_t pitchBytes, bool firstRows, int& rows);
  void TakeFrames();

  const PictureSource source_;
  std::unique_ptr<WebPDemuxer, WebpRelease> demuxer_;
};

bool WebpDecoder::Read(std::string& reason) {
  const WebPData data = {source_.bytes, source_.size};
  WebPDemuxState state = WEBP_DEMUX_PARSE_ERROR;
  // Partial: of a file that was cut off, the frames before the cut are shown.
  demuxer_.reset(WebPDemuxPartial(&data, &state));
  if (demuxer_ == nullptr || state < WEBP_DEMUX_PARSED_HEADER) {
    reason = state == WEBP_DEMUX_PARSE_ERROR ? "the WebP picture is put together wrongly"
                                             : "the WebP picture ends in its header";
    return false;
  }
  facts_.dims = {WebPDemuxGetI(demuxer_.get(), WEBP_FF_CANVAS_WIDTH),
                 WebPDemuxGetI(demuxer_.get(), WEBP_FF_CANVAS_HEIGHT)};
  facts_.plays = WebPDemuxGetI(demuxer_.get(), WEBP_FF_LOOP_COUNT);
  TakeFrames();
  if (!facts_.frames.empty()) return true;
  reason =
      "the WebP picture ends at byte " + std::to_string(source_.size) + " before its first frame";
  return false;
}

void WebpDecoder::TakeFrames() {
  PLEXION_CHECK(demuxer_ != nullptr, "the picture was opened");
  WebPIterator found = {};
  for (int more = WebPDemuxGetFrame(demuxer_.get(), 1, &found); more != 0;
       more = WebPDemuxNextFrame(&found)) {
    if (found.complete == 0 && !facts_.frames.empty()) break;
    PictureFrame frame;
    frame.area = {static_cast<uint32_t>(found.x_offset), static_cast<uint32_t>(found.y_offset),
                  static_cast<uint32_t>(found.width), static_cast<uint32_t>(found.height)};
    frame.durationUs = static_cast<uint64_t>(std::max(found.duration, 0)) * kMillisecondUs;
    frame.after = found.dispose_method == WEBP_MUX_DISPOSE_BACKGROUND ? PictureFrame::After::kClear
                                                                      : PictureFrame::After::kLeave;
    frame.replaces = found.blend_method == WEBP_MUX_NO_BLEND;
    frame.hasAlpha = found.has_alpha != 0;
    facts_.frames.push_back(frame);
    if (found.complete == 0) break;
  }
  WebPDemuxReleaseIterator(&found);
}

Decoded WebpDecoder::Decode(size_t frame, uint32_t* pixels) {
  const qx::plexion::Rect& area = facts_.frames[frame].area;
  int rows = 0;
  return DecodeInto(frame, {area.width, area.height}, pixels, size_t{area.width} * sizeof(uint32_t),
                    false, rows);
}

bool WebpDecoder::DecodesInPlace() {
  const PictureFrame& frame = facts_.frames[0];
  if (facts_.frames.size() != 1 || frame.hasAlpha || frame.area.x != 0 || frame.area.y != 0 ||
      frame.area.width != facts_.dims.width || frame.area.height != facts_.dims.height) {
    return false;
  }
  constexpr uint32_t kSmaller = 16;  // takes little room, and has its first row early
  const qx::plexion::Dims dims = {(facts_.dims.width + kSmaller - 1) / kSmaller,
                                  (facts_.dims.height + kSmaller - 1) / kSmaller};
  const size_t pitch = dims.width * sizeof(uint32_t);
  WatchedBuffer pixels;
  int rows = 0;
  return pixels.Resize(source_.watchdog, pitch * dims.height) &&
         DecodeInto(0, dims, pixels.As<uint32_t>(), pitch, true, rows) != Decoded::kNothing;
}

Decoded WebpDecoder::DecodeAt(const qx::plexion::Dims& dims, uint32_t* pixels, size_t pitchBytes) {
  int rows = 0;
  const Decoded decoded = DecodeInto(0, dims, pixels, pitchBytes, false, rows);
  ClearRows(pixels, pitchBytes, dims, static_cast<uint32_t>(rows));
  return decoded;
}

Decoded WebpDecoder::DecodeInto(size_t frame, const qx::plexion::Dims& dims, uint32_t* pixels,
                                size_t pitchBytes, bool firstRows, int& rows) {
  WebPIterator found = {};
  WebPDecoderConfig config;
  if (WebPInitDecoderConfig(&config) == 0 ||
      WebPDemuxGetFrame(demuxer_.get(), static_cast<int>(frame) + 1, &found) == 0) {
    return Decoded::kNothing;
  }
  PLEXION_CHECK(frame < facts_.frames.size(), "the frame is one of those that were found");
  const qx::plexion::Rect& area = facts_.frames[frame].area;
  if (dims.width != area.width || dims.height != area.height) {
    config.options.use_scaling = 1;
    config.options.scaled_width = static_cast<int>(dims.width);
    config.options.scaled_height = static_cast<int>(dims.height);
  }
  config.output.colorspace = MODE_BGRA;
  config.output.is_external_memory = 1;
  config.output.u.RGBA.rgba = reinterpret_cast<uint8_t*>(pixels);
  config.output.u.RGBA.stride = static_cast<int>(pitchBytes);
  config.output.u.RGBA.size = pitchBytes * (dims.height - 1) + dims.width * sizeof(uint32_t);
  // The step-by-step decoder keeps the rows that came before a fault.
  const std::unique_ptr<WebPIDecoder, WebpRelease> decoder(WebPIDecode(nullptr, 0, &config));
  VP8StatusCode status = VP8_STATUS_OUT_OF_MEMORY;
  rows = 0;
  size_t given = firstRows ? std::min(kFirstBytes, found.fragment.size) : found.fragment.size;
  while (decoder != nullptr) {
    status = WebPIUpdate(decoder.get(), found.fragment.bytes, given);
    WebPIDecGetRGB(decoder.get(), &rows, nullptr, nullptr, nullptr);
    if (rows > 0 || status != VP8_STATUS_SUSPENDED || given == found.fragment.size) break;
    given = std::min(given * 2, found.fragment.size);
  }
  WebPDemuxReleaseIterator(&found);
  if (status == VP8_STATUS_OK) return Decoded::kAll;
  return rows > 0 ? Decoded::kPart : Decoded::kNothing;
}

}  // namespace

std::unique_ptr<PictureDecoder> OpenWebp(const PictureSource& source, std::string& reason) {
  auto decoder = std::make_unique<WebpDecoder>(source);
  if (!decoder->Read(reason)) return nullptr;
  return decoder;
}

}  // namespace plexion_host::player
