// Scales in two steps, rows into one row and then pixels into one pixel, each by a triangle of weights.

#include "host/player/picture/PictureScaler.h"

#include <math.h>

#include <algorithm>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host::player {

namespace {

constexpr unsigned kOne = 256;  // the sum of all weights of one pixel: products fit 16 bits

/// Which pixels of one side become each pixel of another, and what each of them weighs.
struct Weights {
  struct Span {
    uint32_t first = 0;   ///< of the source
    uint32_t count = 0;   ///< at least 1
    uint32_t weight = 0;  ///< index of the first one
  };

  Weights(uint32_t own, double placed, double skipped, uint32_t seen) {
    const double step = own / placed;
    // Made smaller, the triangle reaches over all pixels that become one; made larger, over the two nearest.
    const double radius = std::max(step, 1.0);
    spans.reserve(seen);
    for (uint32_t i = 0; i < seen; ++i) {
      const double centre = (skipped + i + 0.5) * step;
      AddSpan(centre, radius, own);
    }
  }

  uint32_t First() const { return spans.front().first; }
  uint32_t End() const { return spans.back().first + spans.back().count; }

  std::vector<Span> spans;
  std::vector<uint16_t> all;

 private:
  void AddSpan(double centre, double radius, uint32_t own) {
    const auto at = [own](double position) {
      return static_cast<uint32_t>(std::clamp<double>(position, 0, own - 1));
    };
    const uint32_t from = at(floor(centre - radius));
    const uint32_t to = at(floor(centre + radius));
    const auto weightOf = [&](uint32_t index) {
      // A source pixel beyond the edge is the one at the edge, as far as this one's triangle reaches.
      return std::max(0.0, 1 - fabs(index + 0.5 - centre) / radius);
    };
    double sum = 0;
    for (uint32_t index = from; index <= to; ++index) sum += weightOf(index);
    // What is lost by rounding one weight goes to the next: they are `kOne` in the end.
    Span span = {from, 0, static_cast<uint32_t>(all.size())};
    double wanted = 0;
    unsigned given = 0;
    for (uint32_t index = from; index <= to; ++index) {
      wanted += weightOf(index) * kOne / sum;
      const unsigned upTo = std::min(static_cast<unsigned>(lround(wanted)), kOne);
      if (upTo == given && span.count == 0) {
        ++span.first;
        continue;
      }
      all.push_back(static_cast<uint16_t>(upTo - given));
      ++span.count;
      given = upTo;
      // The rest is too far away to weigh anything.
      if (given == kOne) break;
    }
    PLEXION_CHECK(given == kOne && span.count > 0, "weights are one in all");
    spans.push_back(span);
  }
};

/// Bytes of some rows, each times its weight, added up.
void AddRows(const uint32_t* from, size_t rowPixels, const uint16_t* weights, uint32_t rows,
             uint16_t* __restrict sums, size_t count) {
  std::fill(sums, sums + count, uint16_t{kOne / 2});
  for (uint32_t i = 0; i < rows; ++i) {
    const auto* const row = reinterpret_cast<const uint8_t*>(from + i * rowPixels);
    const uint16_t weight = weights[i];
    for (size_t x = 0; x < count; ++x) sums[x] = static_cast<uint16_t>(sums[x] + row[x] * weight);
  }
}

void TakeHighBytes(const uint16_t* __restrict sums, uint8_t* __restrict bytes, size_t count) {
  for (size_t x = 0; x < count; ++x) bytes[x] = static_cast<uint8_t>(sums[x] >> 8);
}

/// `line` is what is left of the rows, from the pixel `begin` on.
void AddPixels(const uint8_t* line, uint32_t begin, const Weights& across, uint32_t* to) {
  auto* out = reinterpret_cast<uint8_t*>(to);
  for (const Weights::Span& span : across.spans) {
    uint16_t sums[4] = {kOne / 2, kOne / 2, kOne / 2, kOne / 2};
    const uint8_t* pixel = line + size_t{span.first - begin} * 4;
    const uint16_t* const weights = across.all.data() + span.weight;
    for (uint32_t i = 0; i < span.count; ++i, pixel += 4) {
      for (int c = 0; c < 4; ++c) sums[c] = static_cast<uint16_t>(sums[c] + pixel[c] * weights[i]);
    }
    for (int c = 0; c < 4; ++c) *out++ = static_cast<uint8_t>(sums[c] >> 8);
  }
}

}  // namespace

void ScalePicture(const uint32_t* from, const qx::plexion::Dims& own, const StageFit& place,
                  const qx::plexion::Rect& seen, uint32_t* to, uint32_t pitchBytes) {
  PLEXION_CHECK(seen.width > 0 && seen.height > 0, "some of the picture is seen");
  PLEXION_CHECK(own.width > 0 && own.height > 0, "the picture has pixels");
  const Weights across(own.width, place.width, static_cast<double>(seen.x) - place.x, seen.width);
  const Weights down(own.height, place.height, static_cast<double>(seen.y) - place.y, seen.height);
  const uint32_t begin = across.First();
  const size_t count = size_t{across.End() - begin} * 4;
  std::vector<uint16_t> sums(count);
  std::vector<uint8_t> line(count);
  for (uint32_t y = 0; y < seen.height; ++y) {
    const Weights::Span& rows = down.spans[y];
    AddRows(from + size_t{rows.first} * own.width + begin, own.width, down.all.data() + rows.weight,
            rows.count, sums.data(), count);
    TakeHighBytes(sums.data(), line.data(), count);
    AddPixels(line.data(), begin, across, RowAt(to, pitchBytes, y));
  }
}

}  // namespace plexion_host::player
