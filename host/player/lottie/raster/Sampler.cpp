// Pictures through matrices: four neighbours for each pixel, gathered by vectors.

#include "host/player/lottie/raster/Sampler.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/lottie/raster/Sampler.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

#include "host/base/Check.h"
#include "host/player/lottie/raster/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Both channels of a pair, `part` of 256 of the way from a to b.
template <class D, class W = hn::Vec<D>>
HWY_INLINE W Mix(D d, W a, W b, W part) {
  const hn::Repartition<uint16_t, D> d16;
  const W low = hn::Set(d, 0x00ff00ffu);
  const auto to = hn::BitCast(d16, hn::Or(part, hn::ShiftLeft<16>(part)));
  const auto from = hn::Sub(hn::Set(d16, 256), to);
  const auto half = hn::Set(d16, 128);
  const auto mix = [&](W x, W y) {
    const auto sum = hn::Add(hn::Mul(hn::BitCast(d16, x), from), hn::Mul(hn::BitCast(d16, y), to));
    return hn::BitCast(d, hn::ShiftRight<8>(hn::Add(sum, half)));
  };
  const W rb = mix(hn::And(a, low), hn::And(b, low));
  const W ag = mix(hn::And(hn::ShiftRight<8>(a), low), hn::And(hn::ShiftRight<8>(b), low));
  return hn::Or(rb, hn::ShiftLeft<8>(ag));
}

/// (u, v): the first pixel's place, from the centres of the source's pixels.
void BilinearRow(const uint32_t* source, int stride, int width, int height, float u, float uStep,
                 float v, float vStep, int n, uint32_t* pixels) {
  const hn::ScalableTag<float> d;
  const hn::RebindToSigned<decltype(d)> di;
  const hn::RebindToUnsigned<decltype(d)> du;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const auto right = hn::Set(d, static_cast<float>(width - 1));
  const auto bottom = hn::Set(d, static_cast<float>(height - 1));
  const auto lastX = hn::Set(di, width - 1);
  const auto lastY = hn::Set(di, height - 1);
  const auto* const base = reinterpret_cast<const int32_t*>(source);
  const auto wide = hn::Set(d, static_cast<float>(lanes));
  auto column = hn::Iota(d, 0);
  for (int i = 0; i < n; i += lanes, column = hn::Add(column, wide)) {
    auto x = hn::MulAdd(hn::Set(d, uStep), column, hn::Set(d, u));
    auto y = hn::MulAdd(hn::Set(d, vStep), column, hn::Set(d, v));
    x = hn::Min(hn::Max(x, hn::Zero(d)), right);
    y = hn::Min(hn::Max(y, hn::Zero(d)), bottom);
    // The second bound holds for what is no number, too.
    const auto x0 = hn::Min(hn::Max(hn::ConvertTo(di, x), hn::Zero(di)), lastX);
    const auto y0 = hn::Min(hn::Max(hn::ConvertTo(di, y), hn::Zero(di)), lastY);
    const auto x1 = hn::Min(hn::Add(x0, hn::Set(di, 1)), lastX);
    const auto y1 = hn::Min(hn::Add(y0, hn::Set(di, 1)), lastY);
    const auto scale = hn::Set(d, 256.0f);
    const auto partX = hn::And(
        hn::BitCast(du, hn::ConvertTo(di, hn::Mul(hn::Sub(x, hn::ConvertTo(d, x0)), scale))),
        hn::Set(du, 255));
    const auto partY = hn::And(
        hn::BitCast(du, hn::ConvertTo(di, hn::Mul(hn::Sub(y, hn::ConvertTo(d, y0)), scale))),
        hn::Set(du, 255));
    const auto row0 = hn::Mul(y0, hn::Set(di, stride));
    const auto row1 = hn::Mul(y1, hn::Set(di, stride));
    const auto pixel = [&](auto row, auto at) {
      return hn::BitCast(du, hn::GatherIndex(di, base, hn::Add(row, at)));
    };
    const auto above = Mix(du, pixel(row0, x0), pixel(row0, x1), partX);
    const auto below = Mix(du, pixel(row1, x0), pixel(row1, x1), partX);
    hn::StoreU(Mix(du, above, below, partY), du, pixels + i);
  }
}

/// Halves a row in both directions; `width` is of the result.
void HalveRow(const uint32_t* above, const uint32_t* below, uint32_t* pixels, int width) {
  for (int x = 0; x < width; ++x) {
    const uint32_t p[4] = {above[2 * x], above[2 * x + 1], below[2 * x], below[2 * x + 1]};
    uint32_t rb = 0x00020002;
    uint32_t ag = 0x00020002;
    for (const uint32_t q : p) {
      rb += q & 0x00ff00ff;
      ag += q >> 8 & 0x00ff00ff;
    }
    pixels[x] = (rb >> 2 & 0x00ff00ff) | (ag >> 2 & 0x00ff00ff) << 8;
  }
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::movie {

HWY_EXPORT(BilinearRow);
HWY_EXPORT(HalveRow);

Surface Image::Level(int level) {
  PLEXION_CHECK(level >= 0, "sizes are halved, not doubled");
  Surface from = pixels_;
  for (int i = 0; i < level && (from.width > 1 || from.height > 1); ++i) {
    if (static_cast<size_t>(i) < levels_.size()) {
      from = levels_[static_cast<size_t>(i)].surface;
      continue;
    }
    // An odd last row or column is left out of a size that is halved, unless it is the only one.
    const int width = std::max(from.width / 2, 1);
    const int height = std::max(from.height / 2, 1);
    Smaller smaller;
    smaller.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    smaller.surface = {smaller.pixels.data(), width, height, static_cast<size_t>(width) * 4};
    for (int y = 0; y < height; ++y) {
      const uint32_t* const above = from.Row(std::min(2 * y, from.height - 1));
      const uint32_t* const below = from.Row(std::min(2 * y + 1, from.height - 1));
      if (from.width == 1) {
        const uint32_t pairs[4] = {above[0], above[0], below[0], below[0]};
        HWY_DYNAMIC_DISPATCH(HalveRow)(pairs, pairs + 2, smaller.surface.Row(y), 1);
      } else {
        HWY_DYNAMIC_DISPATCH(HalveRow)(above, below, smaller.surface.Row(y), width);
      }
    }
    levels_.push_back(std::move(smaller));
    from = levels_.back().surface;
  }
  return from;
}

bool Sampler::Prepare(Image& image, const Matrix& matrix) {
  const Surface& full = image.Pixels();
  if (full.width <= 0 || full.height <= 0 || !matrix.IsFinite()) return false;
  Matrix inverse;
  if (!matrix.Invert(inverse)) return false;
  const auto isWhole = [](double v) { return v == std::floor(v) && std::abs(v) < 1e6; };
  plain_ = matrix.a == 1 && matrix.b == 0 && matrix.c == 0 && matrix.d == 1 && isWhole(matrix.e) &&
           isWhole(matrix.f);
  source_ = full;
  inverse_ = inverse;
  if (plain_) {
    left_ = static_cast<int>(matrix.e);
    top_ = static_cast<int>(matrix.f);
    return true;
  }
  // The largest of the smaller pictures that is not enlarged by more than half: of the next smaller
  // one too little would be left.
  const double shrink = std::sqrt(std::abs(inverse.Determinant()));
  int level = 0;
  while (level < 24 && shrink >= std::ldexp(1.0, level + 1)) ++level;
  if (level > 0) {
    source_ = image.Level(level);
    const double x = static_cast<double>(source_.width) / full.width;
    const double y = static_cast<double>(source_.height) / full.height;
    inverse_ = Matrix{x, 0, 0, y, 0, 0} * inverse;
  }
  // A gather's index is a whole number of 32 bits.
  return source_.strideBytes / 4 <= static_cast<size_t>(INT32_MAX / source_.height);
}

const uint32_t* Sampler::Row(int x, int y, int n, uint32_t* room) const {
  PLEXION_CHECK(!plain_ || Box().Cut({x, y, x + n, y + 1}).Width() == n,
                "a row of a picture that is only moved lies in it");
  if (plain_) return source_.Row(y - top_) + (x - left_);
  const double px = x + 0.5;
  const double py = y + 0.5;
  HWY_DYNAMIC_DISPATCH(BilinearRow)
  (source_.pixels, static_cast<int>(source_.strideBytes / 4), source_.width, source_.height,
   static_cast<float>(inverse_.a * px + inverse_.c * py + inverse_.e - 0.5),
   static_cast<float>(inverse_.a),
   static_cast<float>(inverse_.b * px + inverse_.d * py + inverse_.f - 0.5),
   static_cast<float>(inverse_.b), n, room);
  return room;
}

}  // namespace plexion_host::movie
#endif  // HWY_ONCE
