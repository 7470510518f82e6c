// Growing a plane by distances to its edge: along rows first, then down the columns.

#include "host/player/lottie/compositing/Grow.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

/// Squares of distances are kept as whole 256ths, so that a surface's pixels can hold them.
constexpr float kParts = 256;
constexpr uint32_t kFar = UINT32_MAX;

}  // namespace

/// Each of `count` values, `step` apart, becomes the least of all others plus the square of the way
/// to it. Values that are `most` or more are taken for endless: they reach nobody.
void Grow::Line(uint32_t* values, size_t step, int count, float most) {
  int curves = 0;
  for (int i = 0; i < count; ++i) {
    const uint32_t value = values[static_cast<size_t>(i) * step];
    from_[static_cast<size_t>(i)] = value == kFar ? most : static_cast<float>(value) / kParts;
    const float own = from_[static_cast<size_t>(i)];
    if (own >= most) continue;
    float start = -1e9f;
    while (curves > 0) {
      // Where this place's curve crosses the last one's. Behind its start, that one is lowest
      // somewhere; else it is never.
      const int last = origins_[static_cast<size_t>(curves - 1)];
      const auto x = static_cast<float>(i);
      const auto y = static_cast<float>(last);
      start = (own + x * x - from_[static_cast<size_t>(last)] - y * y) / (2 * (x - y));
      if (start > starts_[static_cast<size_t>(curves - 1)]) break;
      --curves;
    }
    if (curves == 0) start = -1e9f;
    origins_[static_cast<size_t>(curves)] = i;
    starts_[static_cast<size_t>(curves)] = start;
    ++curves;
  }
  if (curves == 0) return;
  int curve = 0;
  for (int i = 0; i < count; ++i) {
    const auto x = static_cast<float>(i);
    while (curve + 1 < curves && starts_[static_cast<size_t>(curve + 1)] < x) ++curve;
    const int origin = origins_[static_cast<size_t>(curve)];
    const float way = x - static_cast<float>(origin);
    const float square = way * way + from_[static_cast<size_t>(origin)];
    values[static_cast<size_t>(i) * step] =
        square >= most ? kFar : static_cast<uint32_t>(std::lrint(square * kParts));
  }
}

void Grow::Run(const Coverage& plane, const Surface& spare, float by) {
  PLEXION_CHECK(plane.width == spare.width && plane.height == spare.height,
                "the distances are those of the plane's pixels");
  if (!(by > 0) || plane.width <= 0 || plane.height <= 0) return;
  by = std::min(by, kMost);
  const auto longest = static_cast<size_t>(std::max(plane.width, plane.height));
  if (from_.size() < longest) {
    from_.resize(longest);
    origins_.resize(longest);
    starts_.resize(longest);
  }
  // A pixel that the edge runs through lies as far outside as less than half of it is covered.
  uint32_t edge[256];
  for (int i = 0; i < 256; ++i) {
    const float outside = std::max(0.0f, 0.5f - static_cast<float>(i) / 255);
    edge[i] = i == 0 ? kFar : static_cast<uint32_t>(std::lrint(outside * outside * kParts));
  }
  const float most = (by + 1) * (by + 1);
  for (int y = 0; y < plane.height; ++y) {
    const uint8_t* const in = plane.Row(y);
    uint32_t* const out = spare.Row(y);
    for (int x = 0; x < plane.width; ++x) out[x] = edge[in[x]];
    Line(out, 1, plane.width, most);
  }
  const size_t step = spare.strideBytes / sizeof(uint32_t);
  for (int x = 0; x < plane.width; ++x) Line(spare.pixels + x, step, plane.height, most);
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    const uint32_t* const squares = spare.Row(y);
    for (int x = 0; x < plane.width; ++x) {
      if (squares[x] == kFar || row[x] == 255) continue;
      const float distance = std::sqrt(static_cast<float>(squares[x]) / kParts);
      const float cover = std::clamp(by - distance + 0.5f, 0.0f, 1.0f);
      row[x] = std::max(row[x], static_cast<uint8_t>(std::lrint(cover * 255)));
    }
  }
}

}  // namespace plexion_host::movie
