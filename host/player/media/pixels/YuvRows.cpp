// Rows of video, converted by vectors of every kind, chosen at run time.

#include "host/player/media/pixels/YuvRows.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/media/pixels/YuvRows.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

#ifndef PLEXION_YUVROWS_ONCE
#define PLEXION_YUVROWS_ONCE
namespace plexion_host::player {

// Samples get 6 bits behind the point, coefficients have 13; a product keeps its upper 16 of 31
// bits, rounded, and so has 4. The largest sum, full luma and full chroma of BT.2020, is 8840.
constexpr int kSampleBits = 6;
constexpr int kSumBits = 4;

}  // namespace plexion_host::player
#endif  // PLEXION_YUVROWS_ONCE

HWY_BEFORE_NAMESPACE();
namespace plexion_host::player::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Returns  the pixels done; the caller does the rest, fewer than two vectors of bytes.
size_t Convert(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels, size_t count,
               const YuvMatrix& matrix) {
  const hn::ScalableTag<int16_t> words;
  const hn::RebindToUnsigned<decltype(words)> unsignedWords;
  const hn::Rebind<uint8_t, decltype(words)> samples;
  // One chroma sample for each word, and so two pixels: the even ones and the odd ones.
  const size_t step = hn::Lanes(words);
  using Words = hn::Vec<decltype(words)>;

  const Words luma = hn::Set(words, matrix.luma);
  const Words lumaOffset = hn::Set(words, matrix.lumaOffset);
  const Words redV = hn::Set(words, matrix.redV);
  const Words greenU = hn::Set(words, matrix.greenU);
  const Words greenV = hn::Set(words, matrix.greenV);
  const Words blueU = hn::Set(words, matrix.blueU);
  const Words middle = hn::Set(words, int16_t{128});
  const Words half = hn::Set(words, int16_t{1 << (kSumBits - 1)});
  const Words least = hn::Zero(words);
  const Words most = hn::Set(words, int16_t{255});
  const Words lowByte = most;
  const Words opaque = hn::BitCast(words, hn::Set(unsignedWords, uint16_t{0xFF00}));

  const auto centred = [&](Words sample, Words offset)
                           HWY_ATTR { return hn::ShiftLeft<kSampleBits>(hn::Sub(sample, offset)); };
  const auto channel = [&](Words sum) HWY_ATTR {
    return hn::Min(hn::Max(hn::ShiftRight<kSumBits>(sum), least), most);
  };
  size_t i = 0;
  for (; i + 2 * step <= count; i += 2 * step) {
    const Words us = centred(hn::PromoteTo(words, hn::LoadU(samples, u + i / 2)), middle);
    const Words vs = centred(hn::PromoteTo(words, hn::LoadU(samples, v + i / 2)), middle);
    const Words red = hn::MulFixedPoint15(vs, redV);
    const Words green = hn::Add(hn::MulFixedPoint15(us, greenU), hn::MulFixedPoint15(vs, greenV));
    const Words blue = hn::MulFixedPoint15(us, blueU);
    const hn::Repartition<uint8_t, decltype(words)> bytes;
    const Words ys = hn::BitCast(words, hn::LoadU(bytes, y + i));
    const Words evenSample = hn::And(ys, lowByte);
    const Words oddSample = hn::BitCast(words, hn::ShiftRight<8>(hn::BitCast(unsignedWords, ys)));
    const Words even = hn::Add(hn::MulFixedPoint15(centred(evenSample, lumaOffset), luma), half);
    const Words odd = hn::Add(hn::MulFixedPoint15(centred(oddSample, lumaOffset), luma), half);
    // A pixel is two words: green and blue, opaque and red.
    const auto greenBlue = [&](Words y16) HWY_ATTR {
      return hn::BitCast(unsignedWords, hn::Or(hn::ShiftLeft<8>(channel(hn::Add(y16, green))),
                                               channel(hn::Add(y16, blue))));
    };
    const auto alphaRed = [&](Words y16) HWY_ATTR {
      return hn::BitCast(unsignedWords, hn::Or(opaque, channel(hn::Add(y16, red))));
    };
    hn::StoreInterleaved4(greenBlue(even), alphaRed(even), greenBlue(odd), alphaRed(odd),
                          unsignedWords, reinterpret_cast<uint16_t*>(pixels + i));
  }
  return i;
}

}  // namespace plexion_host::player::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::player {

HWY_EXPORT(Convert);

namespace {

int32_t Product(int32_t sample, int32_t coefficient) {
  return ((sample * (1 << kSampleBits)) * coefficient + (1 << 14)) >> 15;
}

uint32_t Channel(int32_t sum) {
  return static_cast<uint32_t>(std::clamp((sum + (1 << (kSumBits - 1))) >> kSumBits, 0, 255));
}

int16_t Fixed(double value) { return static_cast<int16_t>(std::lround(value * (1 << 13))); }

}  // namespace

YuvMatrix YuvMatrix::Make(double redWeight, double blueWeight, bool full) {
  const double greenWeight = 1 - redWeight - blueWeight;
  const double chroma = full ? 1 : 255.0 / 224;
  YuvMatrix matrix;
  matrix.lumaOffset = full ? 0 : 16;
  matrix.luma = Fixed(full ? 1 : 255.0 / 219);
  matrix.redV = Fixed(2 * (1 - redWeight) * chroma);
  matrix.greenU = Fixed(-2 * (1 - blueWeight) * blueWeight / greenWeight * chroma);
  matrix.greenV = Fixed(-2 * (1 - redWeight) * redWeight / greenWeight * chroma);
  matrix.blueU = Fixed(2 * (1 - blueWeight) * chroma);
  return matrix;
}

void ConvertYuvRowPortable(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                           size_t count, const YuvMatrix& matrix) {
  for (size_t i = 0; i < count; ++i) {
    const int32_t luma = Product(y[i] - matrix.lumaOffset, matrix.luma);
    const int32_t uSample = u[i / 2] - 128;
    const int32_t vSample = v[i / 2] - 128;
    const uint32_t red = Channel(luma + Product(vSample, matrix.redV));
    const uint32_t green =
        Channel(luma + Product(uSample, matrix.greenU) + Product(vSample, matrix.greenV));
    const uint32_t blue = Channel(luma + Product(uSample, matrix.blueU));
    pixels[i] = 0xFF000000u | red << 16 | green << 8 | blue;
  }
}

void ConvertYuvRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint32_t* pixels,
                   size_t count, const YuvMatrix& matrix) {
  const size_t done = HWY_DYNAMIC_DISPATCH(Convert)(y, u, v, pixels, count, matrix);
  ConvertYuvRowPortable(y + done, u + done / 2, v + done / 2, pixels + done, count - done, matrix);
}

}  // namespace plexion_host::player
#endif  // HWY_ONCE
