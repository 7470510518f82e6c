// Chooses the way of a frame into the plane, and paints it.

#include "host/player/media/pixels/FramePainter.h"

#include <algorithm>
#include <cmath>

namespace plexion_host::player {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

// A display shows no more; what is larger would only cost memory.
constexpr double kLargestSide = 4096;

/// Pixels as the converter wants to see them; frame rate and fields must be those of the source.
GstVideoFrame FrameOver(uint32_t* pixels, uint32_t pitchBytes, const Dims& dims,
                        const GstVideoInfo& source) {
  GstVideoFrame frame = {};
  gst_video_info_set_format(&frame.info, GST_VIDEO_FORMAT_BGRA, dims.width, dims.height);
  frame.info.fps_n = source.fps_n;
  frame.info.fps_d = source.fps_d;
  frame.info.interlace_mode = source.interlace_mode;
  frame.info.stride[0] = static_cast<gint>(pitchBytes);
  frame.info.size = size_t{pitchBytes} * dims.height;
  frame.data[0] = pixels;
  return frame;
}

uint32_t* RowOf(uint32_t* pixels, uint32_t pitchBytes, uint32_t y) {
  return reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(pixels) + size_t{pitchBytes} * y);
}

uint32_t Scaled(uint32_t value, uint32_t alpha) { return (value * alpha + 127) / 255; }

void Premultiply(uint32_t* pixels, uint32_t pitchBytes, const Dims& dims) {
  for (uint32_t y = 0; y < dims.height; ++y) {
    uint32_t* row = RowOf(pixels, pitchBytes, y);
    for (uint32_t x = 0; x < dims.width; ++x) {
      const uint32_t pixel = row[x];
      const uint32_t alpha = pixel >> 24;
      if (alpha == 255) continue;
      row[x] = alpha << 24 | Scaled(pixel >> 16 & 0xFF, alpha) << 16 |
               Scaled(pixel >> 8 & 0xFF, alpha) << 8 | Scaled(pixel & 0xFF, alpha);
    }
  }
}

/// Black has no colour to add: only the alpha that shows through the picture changes.
void LayBackground(uint32_t* pixels, uint32_t pitchBytes, const Dims& dims, uint8_t bgAlpha) {
  if (bgAlpha == 0) return;
  for (uint32_t y = 0; y < dims.height; ++y) {
    uint32_t* row = RowOf(pixels, pitchBytes, y);
    for (uint32_t x = 0; x < dims.width; ++x) {
      const uint32_t alpha = row[x] >> 24;
      row[x] = (row[x] & 0x00FFFFFFu) | (alpha + Scaled(255 - alpha, bgAlpha)) << 24;
    }
  }
}

/// All of the plane but `inside` becomes background.
void FillAround(const DrawTarget& target, const Rect& inside) {
  const uint32_t background = static_cast<uint32_t>(target.bgAlpha) << 24;
  for (uint32_t y = 0; y < target.dims.height; ++y) {
    uint32_t* row = RowOf(target.pixels, target.pitchBytes, y);
    if (y < inside.y || y >= inside.y + inside.height) {
      std::fill(row, row + target.dims.width, background);
      continue;
    }
    std::fill(row, row + inside.x, background);
    std::fill(row + inside.x + inside.width, row + target.dims.width, background);
  }
}

GstStructure* Quality() {
  // Bayer dithering, the converter's default, would cost its fast paths.
  return gst_structure_new(
      "plexion", GST_VIDEO_CONVERTER_OPT_DITHER_METHOD, GST_TYPE_VIDEO_DITHER_METHOD,
      GST_VIDEO_DITHER_NONE, GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD,
      GST_TYPE_VIDEO_RESAMPLER_METHOD, GST_VIDEO_RESAMPLER_METHOD_LINEAR, nullptr);
}

}  // namespace

bool FramePainter::Show(GstSamplePointer frame) {
  GstVideoInfo info = {};
  GstCaps* caps = frame == nullptr ? nullptr : gst_sample_get_caps(frame.get());
  if (caps == nullptr || !gst_video_info_from_caps(&info, caps)) return false;
  if (GST_VIDEO_INFO_WIDTH(&info) <= 0 || GST_VIDEO_INFO_HEIGHT(&info) <= 0) return false;
  GstBuffer* buffer = gst_sample_get_buffer(frame.get());
  if (buffer == nullptr) return false;
  info_ = info;
  frame_.reset(gst_buffer_ref(buffer));
  runningTime_ = gst_segment_to_running_time(gst_sample_get_segment(frame.get()), GST_FORMAT_TIME,
                                             GST_BUFFER_PTS(buffer));
  return true;
}

Dims FramePainter::StageDims() const {
  double width = GST_VIDEO_INFO_WIDTH(&info_);
  double height = GST_VIDEO_INFO_HEIGHT(&info_);
  const double aspect = static_cast<double>(GST_VIDEO_INFO_PAR_N(&info_)) /
                        static_cast<double>(std::max(GST_VIDEO_INFO_PAR_D(&info_), 1));
  // Pixels are stretched, never squeezed: no detail is lost.
  if (aspect > 1) width *= aspect;
  if (aspect > 0 && aspect < 1) height /= aspect;
  const double factor = std::min(1.0, kLargestSide / std::max(width, height));
  return {static_cast<uint32_t>(std::max(1L, std::lround(width * factor))),
          static_cast<uint32_t>(std::max(1L, std::lround(height * factor)))};
}

Rect FramePainter::PlaceIn(const Dims& plane) const {
  const Dims stage = StageDims();
  const int64_t across = int64_t{plane.width} * stage.height;
  const int64_t down = int64_t{plane.height} * stage.width;
  if (std::abs(across - down) <= int64_t{std::max(stage.width, stage.height)}) {
    return {0, 0, plane.width, plane.height};
  }
  Rect place = {0, 0, plane.width, plane.height};
  if (across > down) {
    place.width = std::max<uint32_t>(1, static_cast<uint32_t>(down / stage.height));
    place.x = (plane.width - place.width) / 2;
  } else {
    place.height = std::max<uint32_t>(1, static_cast<uint32_t>(across / stage.width));
    place.y = (plane.height - place.height) / 2;
  }
  return place;
}

bool FramePainter::Run(Conversion& conversion, const GstVideoFrame& source,
                       GstVideoFrame& destination) {
  // The converter keeps the rows of the frame before when they are so few that it needs them all at
  // once.
  constexpr int kFewRows = 8;
  const bool few =
      GST_VIDEO_FRAME_HEIGHT(&source) < kFewRows || GST_VIDEO_FRAME_HEIGHT(&destination) < kFewRows;
  if (few || conversion.converter == nullptr ||
      !gst_video_info_is_equal(&conversion.from, &source.info) ||
      !gst_video_info_is_equal(&conversion.to, &destination.info)) {
    conversion.from = source.info;
    conversion.to = destination.info;
    conversion.converter.reset(
        gst_video_converter_new(&conversion.from, &conversion.to, Quality()));
    if (conversion.converter == nullptr) return false;
  }
  gst_video_converter_frame(conversion.converter.get(), &source, &destination);
  return true;
}

bool FramePainter::PaintTransparent(const GstVideoFrame& source, uint32_t* pixels,
                                    uint32_t pitchBytes, const Dims& dims, DrawResult& result) {
  const Dims own = {static_cast<uint32_t>(GST_VIDEO_FRAME_WIDTH(&source)),
                    static_cast<uint32_t>(GST_VIDEO_FRAME_HEIGHT(&source))};
  if (own.width == dims.width && own.height == dims.height) {
    GstVideoFrame plane = FrameOver(pixels, pitchBytes, dims, source.info);
    if (!Run(direct_, source, plane)) return false;
    Premultiply(pixels, pitchBytes, dims);
    return true;
  }
  const size_t bytes = size_t{own.width} * own.height * sizeof(uint32_t);
  if (scratch_.Size() != bytes && !scratch_.Resize(watchdog_, bytes)) {
    result.failure = "no memory for " + std::to_string(bytes) + " bytes of pixels";
    return true;
  }
  const uint32_t ownPitch = own.width * static_cast<uint32_t>(sizeof(uint32_t));
  GstVideoFrame whole = FrameOver(scratch_.As<uint32_t>(), ownPitch, own, source.info);
  if (!Run(direct_, source, whole)) return false;
  Premultiply(scratch_.As<uint32_t>(), ownPitch, own);
  GstVideoFrame plane = FrameOver(pixels, pitchBytes, dims, source.info);
  return Run(resize_, whole, plane);
}

DrawResult FramePainter::Draw(const DrawTarget& target) {
  DrawResult result;
  if (frame_ == nullptr) return result;
  GstVideoFrame source;
  if (!gst_video_frame_map(&source, &info_, frame_.get(), GST_MAP_READ)) {
    result.failure = "a decoded frame cannot be read";
    return result;
  }
  const Rect place = PlaceIn(target.dims);
  const Dims placeDims = {place.width, place.height};
  uint32_t* pixels = RowOf(target.pixels, target.pitchBytes, place.y) + place.x;
  bool painted = false;
  if (GST_VIDEO_FORMAT_INFO_HAS_ALPHA(info_.finfo)) {
    painted = PaintTransparent(source, pixels, target.pitchBytes, placeDims, result);
    if (painted && result.failure.empty()) {
      LayBackground(pixels, target.pitchBytes, placeDims, target.bgAlpha);
    }
  } else if (video_.Paint(source, pixels, target.pitchBytes, placeDims)) {
    painted = true;
  } else {
    GstVideoFrame plane = FrameOver(pixels, target.pitchBytes, placeDims, source.info);
    painted = Run(direct_, source, plane);
  }
  gst_video_frame_unmap(&source);
  if (!painted) {
    result.failure = std::string("frames of format ") +
                     gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info_)) +
                     " cannot be converted";
  }
  if (!result.failure.empty()) return result;
  result.drawn = true;
  result.dirty = place;
  if (target.everything) {
    FillAround(target, place);
    result.dirty = {0, 0, target.dims.width, target.dims.height};
  }
  return result;
}

}  // namespace plexion_host::player
