// Gaussian blur: strips of sixteen numbers side by side, each blurred along its length.

#include <string.h>

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"
#include "host/player/lottie/compositing/Effects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/lottie/compositing/Blur.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// A strip is sixteen floats wide: four pixels, or sixteen values of a plane, of as many rows or
// columns.
constexpr int kStrip = 16;

/// to[i] = the mean of from[i - before] to from[i - before + width - 1]; both have `count` places
/// and nothing beyond.
void Box(const float* from, float* to, int count, int width, int before) {
  const hn::CappedTag<float, kStrip> d;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const auto factor = hn::Set(d, 1.0f / static_cast<float>(width));
  for (int lane = 0; lane < kStrip; lane += lanes) {
    auto sum = hn::Zero(d);
    for (int i = 0; i < std::min(width - before - 1, count); ++i) {
      sum = hn::Add(sum, hn::LoadU(d, from + i * kStrip + lane));
    }
    for (int i = 0; i < count; ++i) {
      const int enters = i - before + width - 1;
      const int leaves = i - before - 1;
      if (enters < count) sum = hn::Add(sum, hn::LoadU(d, from + enters * kStrip + lane));
      if (leaves >= 0) sum = hn::Sub(sum, hn::LoadU(d, from + leaves * kStrip + lane));
      hn::StoreU(hn::Mul(sum, factor), d, to + i * kStrip + lane);
    }
  }
}

void Spread(const uint8_t* bytes, float* numbers) {
  const hn::CappedTag<float, kStrip> d;
  const hn::RebindToSigned<decltype(d)> di;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  for (size_t i = 0; i < kStrip; i += hn::Lanes(d)) {
    hn::StoreU(hn::ConvertTo(d, hn::PromoteTo(di, hn::LoadU(d8, bytes + i))), d, numbers + i);
  }
}

void Gather(const float* numbers, uint8_t* bytes) {
  const hn::CappedTag<float, kStrip> d;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  for (size_t i = 0; i < kStrip; i += hn::Lanes(d)) {
    hn::StoreU(hn::DemoteTo(d8, hn::NearestInt(hn::LoadU(d, numbers + i))), d8, bytes + i);
  }
}

/// `place` is where a place's sixteen bytes are: see Strips.
void SpreadAll(const uint8_t* base, size_t step, int count, float* numbers) {
  for (int i = 0; i < count; ++i)
    Spread(base + static_cast<size_t>(i) * step, numbers + i * kStrip);
}

void GatherAll(uint8_t* base, size_t step, int count, const float* numbers) {
  for (int i = 0; i < count; ++i)
    Gather(numbers + i * kStrip, base + static_cast<size_t>(i) * step);
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::movie {

HWY_EXPORT(Box);
HWY_EXPORT(SpreadAll);
HWY_EXPORT(GatherAll);

namespace {

constexpr int kStrip = 16;
constexpr float kLargest = 4000;

float Bounded(float sigma) { return sigma > 0 ? std::min(sigma, kLargest) : 0; }

int BoxOf(float sigma) {
  return static_cast<int>(std::floor(sigma * 3 * std::sqrt(2 * 3.14159265f) / 4 + 0.5f));
}

}  // namespace

int Blur::Reach(float sigma) {
  sigma = Bounded(sigma);
  const int box = BoxOf(sigma);
  return box < 2 ? 0 : (3 * box + 2) / 2;
}

/// One direction of a rectangle of bytes. Sixteen bytes next to each other in a row are one place of
/// a strip when it goes down; across, they come from four or sixteen rows by turns.
void Blur::Lines(uint8_t* values, size_t stride, int bytesOfPixel, int width, int height,
                 bool across, float sigma, Edge edge) {
  const int reach = Reach(sigma);
  if (reach == 0 || width <= 0 || height <= 0) return;
  PLEXION_CHECK(bytesOfPixel == 1 || bytesOfPixel == 4, "strips are made of planes or of pixels");
  const int length = across ? width : height;
  const int count = length + 2 * reach;
  const size_t size = static_cast<size_t>(count) * kStrip;
  if (lines_.size() < 2 * size) lines_.resize(2 * size);
  if (bytes_.size() < size) bytes_.resize(size);
  const int pixels = kStrip / bytesOfPixel;  // in a place
  const int lines = across ? height : width;
  const auto pixelBytes = static_cast<size_t>(bytesOfPixel);
  for (int first = 0; first < lines; first += pixels) {
    const int n = std::min(pixels, lines - first);
    float* const from = lines_.data();
    float* const middle = from + static_cast<size_t>(reach) * kStrip;
    // In: a place after the other, of whole pixels.
    for (int p = 0; p < n; ++p) {
      const size_t line = static_cast<size_t>(first + p);
      const uint8_t* in = values + (across ? line * stride : line * pixelBytes);
      const size_t step = across ? pixelBytes : stride;
      uint8_t* out = bytes_.data() + static_cast<size_t>(p) * pixelBytes;
      for (int i = 0; i < length; ++i, in += step, out += kStrip) {
        bytesOfPixel == 4 ? memcpy(out, in, 4) : memcpy(out, in, 1);
      }
    }
    HWY_DYNAMIC_DISPATCH(SpreadAll)(bytes_.data(), kStrip, length, middle);
    for (int i = 0; i < reach; ++i) {
      float* const before = from + static_cast<size_t>(i) * kStrip;
      float* const after = middle + static_cast<size_t>(length + i) * kStrip;
      if (edge == Edge::kRepeat) {
        memcpy(before, middle, kStrip * sizeof(float));
        memcpy(after, middle + static_cast<size_t>(length - 1) * kStrip, kStrip * sizeof(float));
      } else {
        memset(before, 0, kStrip * sizeof(float));
        memset(after, 0, kStrip * sizeof(float));
      }
    }
    float* const result = Smooth(count, sigma) + static_cast<size_t>(reach) * kStrip;
    HWY_DYNAMIC_DISPATCH(GatherAll)(bytes_.data(), kStrip, length, result);
    for (int p = 0; p < n; ++p) {
      const size_t line = static_cast<size_t>(first + p);
      uint8_t* out = values + (across ? line * stride : line * pixelBytes);
      const size_t step = across ? pixelBytes : stride;
      const uint8_t* in = bytes_.data() + static_cast<size_t>(p) * pixelBytes;
      for (int i = 0; i < length; ++i, out += step, in += kStrip) {
        bytesOfPixel == 4 ? memcpy(out, in, 4) : memcpy(out, in, 1);
      }
    }
  }
}

/// Returns  where the result is: one half of lines_.
float* Blur::Smooth(int count, float sigma) {
  PLEXION_CHECK(static_cast<size_t>(count) * kStrip <= lines_.size() / 2,
                "each half has room for a strip");
  float* const a = lines_.data();
  float* const b = a + lines_.size() / 2;
  // Three boxes; of an even width, one lies half a pixel to the left, one to the right, and the
  // third is wider by one.
  const int box = BoxOf(sigma);
  const bool odd = box % 2 != 0;
  HWY_DYNAMIC_DISPATCH(Box)(a, b, count, box, box / 2);
  HWY_DYNAMIC_DISPATCH(Box)(b, a, count, box, odd ? box / 2 : box / 2 - 1);
  HWY_DYNAMIC_DISPATCH(Box)(a, b, count, odd ? box : box + 1, box / 2);
  return b;
}

void Blur::Run(const Surface& target, const IntRect& rect, float sigmaX, float sigmaY, Edge edge) {
  const IntRect area = rect.Cut(target.Bounds());
  if (area.IsEmpty()) return;
  auto* const first = reinterpret_cast<uint8_t*>(target.Row(area.top) + area.left);
  // A Gaussian in two directions is one after the other.
  Lines(first, target.strideBytes, 4, area.Width(), area.Height(), true, Bounded(sigmaX), edge);
  Lines(first, target.strideBytes, 4, area.Width(), area.Height(), false, Bounded(sigmaY), edge);
}

void Blur::Run(const Coverage& target, const IntRect& rect, float sigmaX, float sigmaY, Edge edge) {
  const IntRect area = rect.Cut(target.Bounds());
  if (area.IsEmpty()) return;
  uint8_t* const first = target.Row(area.top) + area.left;
  Lines(first, target.strideBytes, 1, area.Width(), area.Height(), true, Bounded(sigmaX), edge);
  Lines(first, target.strideBytes, 1, area.Width(), area.Height(), false, Bounded(sigmaY), edge);
}

}  // namespace plexion_host::movie
#endif  // HWY_ONCE
