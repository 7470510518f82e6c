// Decodes a still picture into the plane, or near its size and from there.

#include "host/player/picture/DirectPicture.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/player/PlanePixels.h"
#include "host/player/WatchedMemory.h"
#include "host/player/picture/PictureScaler.h"

namespace plexion_host::player {

using qx::plexion::Rect;

namespace {

/// Pixels that are decoded in less time than a window takes to be given another size; of JPEG, which leaves
/// out work for a smaller picture, more. WebP decodes all and then makes it smaller.
constexpr uint64_t kMostPixelsWhole = uint64_t{16} * 1024 * 1024;
constexpr uint64_t kMostPixelsReduced = uint64_t{48} * 1024 * 1024;

bool MayBeDirect(PictureFormat format, const qx::plexion::Dims& dims) {
  const uint64_t most = format == PictureFormat::kJpeg ? kMostPixelsReduced : kMostPixelsWhole;
  return uint64_t{dims.width} * dims.height <= most;
}

}  // namespace

std::unique_ptr<DirectPicture> DirectPicture::Open(PictureFormat format,
                                                   std::unique_ptr<PictureBytes>& bytes,
                                                   qx::plexion::MemoryWatchdog* watchdog,
                                                   std::function<bool()> cancelled) {
  if (format != PictureFormat::kPng && format != PictureFormat::kJpeg &&
      format != PictureFormat::kWebp) {
    return nullptr;
  }
  // What is wrong with it is told by who opens it in the other way.
  EngineError ignored;
  auto decoder =
      OpenPicture(format, {bytes->Data(), bytes->Size(), watchdog, std::move(cancelled)}, ignored);
  if (decoder == nullptr || !MayBeDirect(format, decoder->Facts().dims) ||
      !decoder->DecodesInPlace()) {
    return nullptr;
  }
  return std::unique_ptr<DirectPicture>(
      new DirectPicture(std::move(bytes), std::move(decoder), watchdog));
}

DirectPicture::DirectPicture(std::unique_ptr<PictureBytes> bytes,
                             std::unique_ptr<PictureDecoder> decoder,
                             qx::plexion::MemoryWatchdog* watchdog)
    : watchdog_(watchdog), bytes_(std::move(bytes)), decoder_(std::move(decoder)) {}

DrawResult DirectPicture::Draw(const qx::plexion::Dims& stage, Fit fit, const DrawTarget& target) {
  DrawResult result;
  const StageFit place = StageFit::Of(stage.width, stage.height, target.dims, fit);
  const Rect seen = place.Visible(target.dims);
  const qx::plexion::Dims shown = {static_cast<uint32_t>(place.width),
                                   static_cast<uint32_t>(place.height)};
  const qx::plexion::Dims dims = decoder_->ReducedTo(shown);
  PLEXION_CHECK(dims.width <= Dims().width && dims.height <= Dims().height,
                "a decoder enlarges nothing");
  uint32_t* const pixels = RowAt(target.pixels, target.pitchBytes, seen.y) + seen.x;
  const bool inPlace = dims.width == seen.width && dims.height == seen.height &&
                       dims.width == shown.width && dims.height == shown.height;
  WatchedBuffer reduced;
  const size_t pitch = inPlace ? target.pitchBytes : dims.width * sizeof(uint32_t);
  if (!inPlace && !reduced.Resize(watchdog_, pitch * dims.height)) {
    result.failure = "no memory for " + std::to_string(pitch * dims.height) + " bytes of pixels";
    return result;
  }
  const Decoded decoded =
      decoder_->DecodeAt(dims, inPlace ? pixels : reduced.As<uint32_t>(), pitch);
  if (!inPlace) {
    ScalePicture(reduced.As<uint32_t>(), dims, place, seen, pixels, target.pitchBytes);
  }
  // The rows that did not come are transparent, and the window's background shows there.
  if (decoded != Decoded::kAll) {
    damaged_ = true;
    LayBackground(pixels, target.pitchBytes, {seen.width, seen.height}, target.bgAlpha);
  }
  FinishDraw(target, seen, result);
  return result;
}

}  // namespace plexion_host::player
