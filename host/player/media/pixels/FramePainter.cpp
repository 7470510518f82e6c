// Chooses the way of a frame into the plane, and paints it.

#include "host/player/media/pixels/FramePainter.h"

#include <algorithm>
#include <cmath>

#include "host/base/Pixels.h"
#include "host/player/PlanePixels.h"

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

/// How frames are converted, and which part of them.
GstStructure* Quality(const Rect& part) {
  const auto number = [](uint32_t value) { return static_cast<gint>(value); };
  // Bayer dithering, the converter's default, would cost its fast paths.
  return gst_structure_new(
      "plexion", GST_VIDEO_CONVERTER_OPT_DITHER_METHOD, GST_TYPE_VIDEO_DITHER_METHOD,
      GST_VIDEO_DITHER_NONE, GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD,
      GST_TYPE_VIDEO_RESAMPLER_METHOD, GST_VIDEO_RESAMPLER_METHOD_LINEAR,
      GST_VIDEO_CONVERTER_OPT_SRC_X, G_TYPE_INT, number(part.x), GST_VIDEO_CONVERTER_OPT_SRC_Y,
      G_TYPE_INT, number(part.y), GST_VIDEO_CONVERTER_OPT_SRC_WIDTH, G_TYPE_INT, number(part.width),
      GST_VIDEO_CONVERTER_OPT_SRC_HEIGHT, G_TYPE_INT, number(part.height), nullptr);
}

std::string NoMemoryFor(size_t bytes) {
  return "no memory for " + std::to_string(bytes) + " bytes of pixels";
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
  streamTime_ = gst_segment_to_stream_time(gst_sample_get_segment(frame.get()), GST_FORMAT_TIME,
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

bool FramePainter::Run(Conversion& conversion, const GstVideoFrame& source, const Rect& part,
                       GstVideoFrame& destination) {
  // The converter keeps the rows of the frame before when they are so few that it needs them all at
  // once.
  constexpr int kFewRows = 8;
  const bool few = part.height < kFewRows || GST_VIDEO_FRAME_HEIGHT(&destination) < kFewRows;
  const Rect& before = conversion.part;
  const bool samePart = before.x == part.x && before.y == part.y && before.width == part.width &&
                        before.height == part.height;
  if (few || !samePart || conversion.converter == nullptr ||
      !gst_video_info_is_equal(&conversion.from, &source.info) ||
      !gst_video_info_is_equal(&conversion.to, &destination.info)) {
    conversion.from = source.info;
    conversion.to = destination.info;
    conversion.part = part;
    conversion.converter.reset(
        gst_video_converter_new(&conversion.from, &conversion.to, Quality(part)));
    if (conversion.converter == nullptr) return false;
  }
  gst_video_converter_frame(conversion.converter.get(), &source, &destination);
  return true;
}

bool FramePainter::Destination(const FrameCut& cut, uint32_t* pixels, uint32_t pitchBytes,
                               const GstVideoFrame& source, GstVideoFrame& frame,
                               DrawResult& result) {
  if (cut.IsWhole()) {
    frame = FrameOver(pixels, pitchBytes, cut.scaled, source.info);
    return true;
  }
  const uint32_t pitch = cut.scaled.width * static_cast<uint32_t>(sizeof(uint32_t));
  const size_t bytes = size_t{pitch} * cut.scaled.height;
  if (scaled_.Size() != bytes && !scaled_.Resize(watchdog_, bytes)) {
    result.failure = NoMemoryFor(bytes);
    return false;
  }
  frame = FrameOver(scaled_.As<uint32_t>(), pitch, cut.scaled, source.info);
  return true;
}

void FramePainter::CopySeen(const FrameCut& cut, uint32_t* pixels, uint32_t pitchBytes) {
  if (cut.IsWhole()) return;
  const uint32_t pitch = cut.scaled.width * static_cast<uint32_t>(sizeof(uint32_t));
  for (uint32_t y = 0; y < cut.seen.height; ++y) {
    const uint32_t* const row = RowAt(scaled_.As<uint32_t>(), pitch, cut.skip.y + y) + cut.skip.x;
    std::copy(row, row + cut.seen.width, RowAt(pixels, pitchBytes, y));
  }
}

bool FramePainter::PaintTransparent(const GstVideoFrame& source, const FrameCut& cut,
                                    uint32_t* pixels, uint32_t pitchBytes, DrawResult& result) {
  const Dims own = {static_cast<uint32_t>(GST_VIDEO_FRAME_WIDTH(&source)),
                    static_cast<uint32_t>(GST_VIDEO_FRAME_HEIGHT(&source))};
  const Rect all = {0, 0, own.width, own.height};
  if (own.width == cut.seen.width && own.height == cut.seen.height && cut.IsWhole()) {
    GstVideoFrame plane = FrameOver(pixels, pitchBytes, own, source.info);
    if (!Run(direct_, source, all, plane)) return false;
    PremultiplyPixels(pixels, pitchBytes, own);
    return true;
  }
  const size_t bytes = size_t{own.width} * own.height * sizeof(uint32_t);
  if (scratch_.Size() != bytes && !scratch_.Resize(watchdog_, bytes)) {
    result.failure = NoMemoryFor(bytes);
    return true;
  }
  const uint32_t ownPitch = own.width * static_cast<uint32_t>(sizeof(uint32_t));
  GstVideoFrame whole = FrameOver(scratch_.As<uint32_t>(), ownPitch, own, source.info);
  if (!Run(direct_, source, all, whole)) return false;
  PremultiplyPixels(scratch_.As<uint32_t>(), ownPitch, own);
  GstVideoFrame destination;
  if (!Destination(cut, pixels, pitchBytes, source, destination, result)) return true;
  if (!Run(resize_, whole, cut.source, destination)) return false;
  CopySeen(cut, pixels, pitchBytes);
  return true;
}

bool FramePainter::Paint(const GstVideoFrame& source, const FrameCut& cut, const DrawTarget& target,
                         uint32_t* pixels, DrawResult& result) {
  if (GST_VIDEO_FORMAT_INFO_HAS_ALPHA(info_.finfo)) {
    if (!PaintTransparent(source, cut, pixels, target.pitchBytes, result)) return false;
    if (result.failure.empty()) LayBackground(pixels, target.pitchBytes, cut.seen, target.bgAlpha);
    return true;
  }
  if (video_.Paint(source, cut, pixels, target.pitchBytes)) return true;
  GstVideoFrame destination;
  if (!Destination(cut, pixels, target.pitchBytes, source, destination, result)) return true;
  if (!Run(direct_, source, cut.source, destination)) return false;
  CopySeen(cut, pixels, target.pitchBytes);
  return true;
}

DrawResult FramePainter::Draw(const DrawTarget& target) {
  DrawResult result;
  if (frame_ == nullptr) return result;
  GstVideoFrame source;
  if (!gst_video_frame_map(&source, &info_, frame_.get(), GST_MAP_READ)) {
    result.failure = "a decoded frame cannot be read";
    return result;
  }
  const Dims stage = StageDims();
  place_ = StageFit::Of(stage.width, stage.height, target.dims, fit_);
  const Rect seen = place_.Visible(target.dims);
  const FrameCut cut = FrameCut::Of(FrameDims(), place_, seen);
  uint32_t* const pixels = RowAt(target.pixels, target.pitchBytes, seen.y) + seen.x;
  const bool painted = Paint(source, cut, target, pixels, result);
  gst_video_frame_unmap(&source);
  if (!painted) {
    result.failure = std::string("frames of format ") +
                     gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info_)) +
                     " cannot be converted";
  }
  if (!result.failure.empty()) return result;
  FinishDraw(target, seen, result);
  return result;
}

}  // namespace plexion_host::player
