// Puts the frames of a picture one upon the other.

#include "host/player/picture/AnimationCompositor.h"

#include <string.h>

#include <algorithm>

#include "host/base/Pixels.h"

namespace plexion_host::player {

using qx::plexion::Rect;

namespace {

/// `top` over `below`, both straight.
uint32_t Over(uint32_t top, uint32_t below) {
  const uint32_t topAlpha = top >> 24;
  if (topAlpha == 255) return top;
  if (topAlpha == 0) return below;
  const uint32_t shining = TimesByte(below >> 24, 255 - topAlpha);
  const uint32_t alpha = topAlpha + shining;
  uint32_t mixed = alpha << 24;
  for (const int shift : {16, 8, 0}) {
    const uint32_t sum =
        (top >> shift & 0xFF) * topAlpha + (below >> shift & 0xFF) * shining + alpha / 2;
    // Divided by the sum of both alphas, as straight pixels must be; rounding may reach one more than there is.
    mixed |= std::min(sum / alpha, 255u) << shift;
  }
  return mixed;
}

void Lay(const uint32_t* from, uint32_t* to, uint32_t count, bool replaces) {
  if (replaces) {
    memcpy(to, from, count * sizeof *to);
    return;
  }
  for (uint32_t x = 0; x < count; ++x) to[x] = Over(from[x], to[x]);
}

/// Pixels that are decoded in less time than a window takes to be given another size.
constexpr size_t kMostRedecoded = size_t{16} * 1024 * 1024;

size_t BytesOf(const Rect& area) { return size_t{area.width} * area.height * sizeof(uint32_t); }

}  // namespace

bool AnimationCompositor::Open(PictureFormat format, std::unique_ptr<PictureBytes> bytes,
                               EngineError& error) {
  bytes_ = std::move(bytes);
  return Open(format, {bytes_->Data(), bytes_->Size(), watchdog_, cancelled_}, error);
}

bool AnimationCompositor::Open(PictureFormat format, const PictureSource& source,
                               EngineError& error) {
  decoder_ = OpenPicture(format, source, error);
  if (decoder_ == nullptr) return false;
  facts_ = decoder_->Facts();
  if (!Allocate(error)) return false;
  const Decoded first = Add(0);
  shown_ = 0;
  if (first == Decoded::kNothing) {
    error = {qx::plexion::kErrorCorruptMovie, "the picture's first frame cannot be decoded"};
    return false;
  }
  if (first == Decoded::kPart) ++damaged_;
  const bool still = facts_.frames.size() == 1;
  const bool known = still && first == Decoded::kAll && IsWhole(0) && !facts_.frames[0].hasAlpha;
  // What is opaque for good is laid without looking at the background, for each of its frames.
  opaque_ = known || StaysOpaque();
  if (still) {
    frame_.Resize(watchdog_, 0);
    kept_.Resize(watchdog_, 0);
    // What takes long to draw is drawn once, and needs its file no longer.
    redecodes_ = bytes_ != nullptr && format != PictureFormat::kSvg &&
                 canvas_.Size() <= kMostRedecoded * sizeof(uint32_t);
    if (!redecodes_) {
      decoder_.reset();
      bytes_.reset();
    }
  }
  return true;
}

void AnimationCompositor::Release() {
  if (redecodes_) canvas_.Resize(watchdog_, 0);
}

bool AnimationCompositor::Restore() {
  if (canvas_.Data() != nullptr) return true;
  EngineError error;
  const bool restored = decoder_ != nullptr && Allocate(error) && Add(0) != Decoded::kNothing;
  frame_.Resize(watchdog_, 0);
  // Else half of it would pass for the picture the next time.
  if (!restored) canvas_.Resize(watchdog_, 0);
  return restored;
}

bool AnimationCompositor::Allocate(EngineError& error) {
  size_t largest = 0;
  size_t keeps = 0;
  for (size_t i = 0; i < facts_.frames.size(); ++i) {
    const PictureFrame& frame = facts_.frames[i];
    if (!IsWhole(i)) largest = std::max(largest, BytesOf(frame.area));
    if (frame.after == PictureFrame::After::kRestore) {
      keeps = std::max(keeps, BytesOf(Visible(frame)));
    }
  }
  const size_t canvas = size_t{facts_.dims.width} * facts_.dims.height * sizeof(uint32_t);
  if (!canvas_.Resize(watchdog_, canvas) || !frame_.Resize(watchdog_, largest) ||
      !kept_.Resize(watchdog_, keeps)) {
    error = {qx::plexion::kErrorNotEnoughMemory, "no memory for the " +
                                                     std::to_string(canvas + largest + keeps) +
                                                     " bytes of the picture's pixels"};
    return false;
  }
  memset(canvas_.Data(), 0, canvas);
  return true;
}

/// A first frame that is all of the picture needs no place of its own.
bool AnimationCompositor::IsWhole(size_t frame) const {
  const Rect& area = facts_.frames[frame].area;
  return frame == 0 && area.x == 0 && area.y == 0 && area.width == facts_.dims.width &&
         area.height == facts_.dims.height;
}

/// Whether no pixel is or ever becomes transparent.
bool AnimationCompositor::StaysOpaque() {
  const uint32_t* pixels = canvas_.As<uint32_t>();
  uint32_t all = kOpaqueBlack;
  for (size_t i = 0; i < canvas_.Size() / sizeof(uint32_t); ++i) all &= pixels[i];
  if (all != kOpaqueBlack) return false;
  for (size_t i = 0; i < facts_.frames.size(); ++i) {
    const PictureFrame& frame = facts_.frames[i];
    if (frame.after == PictureFrame::After::kClear) return false;
    if (i == 0 && frame.after == PictureFrame::After::kRestore) return false;
    if (i > 0 && frame.replaces && frame.hasAlpha) return false;
  }
  return true;
}

Rect AnimationCompositor::Visible(const PictureFrame& frame) const {
  Rect area = frame.area;
  if (area.width == 0 || area.x >= facts_.dims.width || area.y >= facts_.dims.height) {
    return {0, 0, 0, 0};
  }
  area.width = std::min(area.width, facts_.dims.width - area.x);
  area.height = std::min(area.height, facts_.dims.height - area.y);
  return area;
}

void AnimationCompositor::Show(size_t frame, std::chrono::milliseconds most) {
  const auto end = std::chrono::steady_clock::now() + most;
  if (decoder_ == nullptr || frame >= facts_.frames.size() || frame == shown_) return;
  // Backwards is from the beginning: what a frame has covered is not kept.
  if (shown_ == kNone || frame < shown_) {
    memset(canvas_.Data(), 0, canvas_.Size());
    shown_ = kNone;
  }
  // Frames build upon each other, so that none may be left out on the way; time may, and `most` bounds it.
  while (shown_ != frame) {
    const size_t next = shown_ == kNone ? 0 : shown_ + 1;
    if (shown_ != kNone) DisposeOf(shown_);
    if (Add(next) != Decoded::kAll) ++damaged_;
    shown_ = next;
    const bool stops = cancelled_ != nullptr && cancelled_();
    if (stops || std::chrono::steady_clock::now() >= end) return;
  }
}

void AnimationCompositor::DisposeOf(size_t frame) {
  const PictureFrame& gone = facts_.frames[frame];
  if (gone.after == PictureFrame::After::kLeave) return;
  const Rect area = Visible(gone);
  const size_t rowBytes = area.width * sizeof(uint32_t);
  // Before the first frame there was nothing.
  const bool restores = gone.after == PictureFrame::After::kRestore && frame > 0;
  for (uint32_t y = 0; y < area.height; ++y) {
    uint32_t* row = Row(area.y + y) + area.x;
    if (restores) {
      memcpy(row, kept_.As<uint32_t>() + size_t{y} * area.width, rowBytes);
    } else {
      memset(row, 0, rowBytes);
    }
  }
}

Decoded AnimationCompositor::Add(size_t index) {
  const PictureFrame& frame = facts_.frames[index];
  const Rect area = Visible(frame);
  if (frame.after == PictureFrame::After::kRestore && index > 0) {
    for (uint32_t y = 0; y < area.height; ++y) {
      memcpy(kept_.As<uint32_t>() + size_t{y} * area.width, Row(area.y + y) + area.x,
             area.width * sizeof(uint32_t));
    }
  }
  if (IsWhole(index)) return decoder_->Decode(index, canvas_.As<uint32_t>());
  const size_t bytes = BytesOf(frame.area);
  if (bytes == 0) return Decoded::kAll;
  uint32_t* pixels = frame_.As<uint32_t>();
  memset(pixels, 0, bytes);
  const Decoded decoded = decoder_->Decode(index, pixels);
  if (decoded == Decoded::kNothing) return decoded;
  // What is missing of a damaged frame lets through what was there.
  const bool replaces = frame.replaces && decoded == Decoded::kAll;
  for (uint32_t y = 0; y < area.height; ++y) {
    Lay(pixels + size_t{y} * frame.area.width, Row(area.y + y) + area.x, area.width, replaces);
  }
  return decoded;
}

}  // namespace plexion_host::player
