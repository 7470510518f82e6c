// Converts frames of the usual formats, in bands for several threads.

#include "host/player/media/pixels/YuvConversion.h"

#include <libyuv.h>

#include <cstdint>

#include "host/base/Pixels.h"
#include "host/player/media/pixels/YuvRows.h"

namespace plexion_host::player {

using qx::plexion::Dims;

namespace {

/// Rows of scaled planes begin where vector code likes them to.
constexpr int kAlignment = 64;

bool FindMatrix(const GstVideoColorimetry& colours, YuvMatrix& matrix) {
  const bool full = colours.range == GST_VIDEO_COLOR_RANGE_0_255;
  if (!full && colours.range != GST_VIDEO_COLOR_RANGE_16_235) return false;
  switch (colours.matrix) {
    case GST_VIDEO_COLOR_MATRIX_BT601:
      matrix = YuvMatrix::Make(0.299, 0.114, full);
      return true;
    case GST_VIDEO_COLOR_MATRIX_BT709:
      matrix = YuvMatrix::Make(0.2126, 0.0722, full);
      return true;
    case GST_VIDEO_COLOR_MATRIX_BT2020:
      matrix = YuvMatrix::Make(0.2627, 0.0593, full);
      return true;
    default:
      return false;
  }
}

constexpr int AlignedUp(int bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

constexpr uint32_t Half(uint32_t length) { return (length + 1) / 2; }

}  // namespace

/// A frame's planes: Y, U and V, or Y and UV.
struct YuvConversion::Planes {
  enum Layout { kNone, k420, k422, kInterleaved420 };

  explicit Planes(const GstVideoFrame& frame) : layout(LayoutOf(frame)) {
    count = layout == kInterleaved420 ? 2 : 3;
    for (int i = 0; layout != kNone && i < count; ++i) {
      data[i] = static_cast<const uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, i));
      stride[i] = GST_VIDEO_FRAME_COMP_STRIDE(&frame, i);
    }
  }

  static Layout LayoutOf(const GstVideoFrame& frame) {
    switch (GST_VIDEO_FRAME_FORMAT(&frame)) {
      case GST_VIDEO_FORMAT_I420:
      case GST_VIDEO_FORMAT_YV12:
        return k420;
      case GST_VIDEO_FORMAT_Y42B:
        return k422;
      case GST_VIDEO_FORMAT_NV12:
        return kInterleaved420;
      default:
        return kNone;
    }
  }

  bool IsInterleaved(int plane) const { return layout == kInterleaved420 && plane == 1; }
  Dims DimsOf(int plane, const Dims& frame) const {
    if (plane == 0) return frame;
    return {Half(frame.width), layout == k422 ? frame.height : Half(frame.height)};
  }
  /// Leaves out what lies left of and above a pixel; both even.
  void Skip(uint32_t x, uint32_t y) {
    for (int i = 0; i < count; ++i) {
      const uint32_t column = i == 0 || IsInterleaved(i) ? x : x / 2;
      data[i] = Row(i, y) + column;
    }
  }
  const uint8_t* Row(int plane, uint32_t y) const {
    const uint32_t row = plane == 0 || layout == k422 ? y : y / 2;
    return data[plane] + static_cast<ptrdiff_t>(row) * stride[plane];
  }

  const Layout layout;
  int count = 0;
  const uint8_t* data[3] = {};
  int stride[3] = {};  ///< bytes
};

bool YuvConversion::Paint(const GstVideoFrame& source, const FrameCut& cut, uint32_t* pixels,
                          uint32_t pitchBytes) {
  Planes planes(source);
  YuvMatrix matrix;
  // Fields of an interlaced frame have chroma of their own.
  if (planes.layout == Planes::kNone || GST_VIDEO_INFO_IS_INTERLACED(&source.info) ||
      !FindMatrix(source.info.colorimetry, matrix)) {
    return false;
  }
  planes.Skip(cut.source.x, cut.source.y);
  const Dims own = {cut.source.width, cut.source.height};
  const bool sameSize = own.width == cut.scaled.width && own.height == cut.scaled.height;
  if (!sameSize && !Scale(planes, own, cut.scaled)) return false;
  planes.Skip(cut.skip.x, cut.skip.y);

  const Dims& dims = cut.seen;
  const uint32_t half = Half(dims.width);
  const bool interleaved = planes.layout == Planes::kInterleaved420;
  if (interleaved && chromaRow_.Size() != size_t{half} * 2 &&
      !chromaRow_.Resize(watchdog_, size_t{half} * 2)) {
    return false;
  }
  for (uint32_t y = 0; y < dims.height; ++y) {
    auto* const out = RowAt(pixels, pitchBytes, y);
    const uint8_t* u = planes.Row(1, y);
    const uint8_t* v = nullptr;
    if (interleaved) {
      auto* const apart = chromaRow_.As<uint8_t>();
      libyuv::SplitUVPlane(u, 0, apart, 0, apart + half, 0, static_cast<int>(half), 1);
      u = apart;
      v = apart + half;
    } else {
      v = planes.Row(2, y);
    }
    ConvertYuvRow(planes.Row(0, y), u, v, out, dims.width, matrix);
  }
  return true;
}

bool YuvConversion::Scale(Planes& planes, const Dims& from, const Dims& to) {
  // Averages when it shrinks by two or more, and is bilinear otherwise.
  constexpr libyuv::FilterMode kFilter = libyuv::kFilterBox;
  int stride[3] = {};
  size_t offset[3] = {};
  size_t bytes = 0;
  for (int i = 0; i < planes.count; ++i) {
    const Dims dims = planes.DimsOf(i, to);
    stride[i] = AlignedUp(static_cast<int>(dims.width) * (planes.IsInterleaved(i) ? 2 : 1));
    offset[i] = bytes;
    bytes += static_cast<size_t>(stride[i]) * dims.height;
  }
  if (scaled_.Size() != bytes && !scaled_.Resize(watchdog_, bytes)) return false;
  for (int i = 0; i < planes.count; ++i) {
    const Dims source = planes.DimsOf(i, from);
    const Dims target = planes.DimsOf(i, to);
    const int sourceWidth = static_cast<int>(source.width);
    const int sourceHeight = static_cast<int>(source.height);
    const int width = static_cast<int>(target.width);
    const int height = static_cast<int>(target.height);
    uint8_t* const out = scaled_.As<uint8_t>() + offset[i];
    if (planes.IsInterleaved(i)) {
      if (libyuv::UVScale(planes.data[i], planes.stride[i], sourceWidth, sourceHeight, out,
                          stride[i], width, height, kFilter) != 0) {
        return false;
      }
    } else {
      libyuv::ScalePlane(planes.data[i], planes.stride[i], sourceWidth, sourceHeight, out,
                         stride[i], width, height, kFilter);
    }
    planes.data[i] = out;
    planes.stride[i] = stride[i];
  }
  return true;
}

}  // namespace plexion_host::player
