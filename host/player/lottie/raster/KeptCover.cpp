// Covered pixels that are kept, so that a shape at rest needs no lines, joins and sums again.
#include "host/player/lottie/raster/KeptCover.h"

#include <string.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {

void KeptCover::Replay(int dx, int dy, const IntRect& clip, ISpans& taker) const {
  const KeptSpan* const end = spans + spanCount;
  const KeptSpan* span = std::lower_bound(
      spans, end, clip.top, [dy](const KeptSpan& one, int top) { return one.y + dy < top; });
  for (; span != end && span->y + dy < clip.bottom; ++span) {
    const int left = std::max(span->x + dx, clip.left);
    const int n = std::min(span->x + dx + span->n, clip.right) - left;
    if (n <= 0) continue;
    if ((span->at & KeptSpan::kAlike) != 0) {
      taker.Flat(left, span->y + dy, n, static_cast<uint8_t>(span->at));
    } else {
      taker.Mixed(left, span->y + dy, n, bytes + span->at + (left - span->x - dx));
    }
  }
}

void CoverRecorder::Begin(size_t mostBytes) {
  PLEXION_CHECK(mostBytes < KeptSpan::kAlike, "an offset leaves room for its mark");
  spans_.clear();
  bytes_.clear();
  mostBytes_ = mostBytes;
  whole_ = true;
}

bool CoverRecorder::Takes(size_t bytes) {
  whole_ = whole_ && Bytes() + sizeof(KeptSpan) + bytes <= mostBytes_;
  return whole_;
}

void CoverRecorder::Flat(int x, int y, int n, uint8_t cover) {
  if (Takes(0)) spans_.push_back({x, y, n, KeptSpan::kAlike | cover});
}

void CoverRecorder::Mixed(int x, int y, int n, const uint8_t* cover) {
  // Sums are made for whole groups of cells, most of which have nothing at one end.
  while (n > 0 && *cover == 0) {
    ++cover;
    ++x;
    --n;
  }
  while (n > 0 && cover[n - 1] == 0) --n;
  if (n == 0 || !Takes(static_cast<size_t>(n))) return;
  spans_.push_back({x, y, n, static_cast<uint32_t>(bytes_.size())});
  bytes_.insert(bytes_.end(), cover, cover + n);
}

KeptCover CoverRecorder::CopyTo(void* memory) const {
  PLEXION_CHECK(whole_, "half a shape is not drawn");
  const size_t spanBytes = spans_.size() * sizeof(KeptSpan);
  auto* const bytes = static_cast<uint8_t*>(memory) + spanBytes;
  if (!spans_.empty()) memcpy(memory, spans_.data(), spanBytes);
  if (!bytes_.empty()) memcpy(bytes, bytes_.data(), bytes_.size());
  return {static_cast<const KeptSpan*>(memory), spans_.size(), bytes};
}

}  // namespace plexion_host::movie
