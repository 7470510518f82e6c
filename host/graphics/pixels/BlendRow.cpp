// Blending a row of pixels over opaque ones, by vectors of every kind, chosen at run time.

#include "host/base/Pixels.h"
#include "host/graphics/pixels/PixelRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/graphics/pixels/BlendRow.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plexion_host::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Pixels = hn::ScalableTag<uint32_t>;
using Words = hn::Repartition<uint16_t, Pixels>;
using Bytes = hn::Repartition<uint8_t, Pixels>;
using W = hn::Vec<Words>;

/// x * a / 255, rounded, in the upper byte of each word.
HWY_INLINE W ScaledHigh(W value, W factor) {
  const W t = hn::Add(hn::Mul(value, factor), hn::Set(Words(), uint16_t{128}));
  return hn::Add(t, hn::ShiftRight<8>(t));
}

/// Each channel of `pixels` times the factor of its word, by its word's even and odd bytes.
HWY_INLINE hn::Vec<Bytes> Scaled(hn::Vec<Pixels> pixels, W factor) {
  const W words = hn::BitCast(Words(), pixels);
  const W even = ScaledHigh(hn::And(words, hn::Set(Words(), uint16_t{0x00FF})), factor);
  const W odd = ScaledHigh(hn::ShiftRight<8>(words), factor);
  return hn::BitCast(
      Bytes(), hn::Or(hn::ShiftRight<8>(even), hn::And(odd, hn::Set(Words(), uint16_t{0xFF00}))));
}

/// Most content is opaque or empty over long stretches, so vectors that are wholly one or the other
/// take no arithmetic.
/// Returns  the pixels done; the caller does the rest, fewer than a vector has.
size_t Blend(uint32_t* destination, const uint32_t* source, size_t count, uint8_t planeAlpha) {
  const Pixels d;
  const size_t step = hn::Lanes(d);
  const auto zero = hn::Zero(d);
  const auto opaque = hn::Set(d, kOpaqueBlack);
  const W full = hn::Set(Words(), uint16_t{255});
  const W plane = hn::Set(Words(), uint16_t{planeAlpha});
  size_t i = 0;
  for (; i + step <= count; i += step) {
    auto s = hn::LoadU(d, source + i);
    if (hn::AllTrue(d, hn::Eq(s, zero))) continue;
    if (planeAlpha != 255) {
      s = hn::BitCast(d, Scaled(s, plane));
    } else if (hn::AllTrue(d, hn::Eq(hn::And(s, opaque), opaque))) {
      hn::StoreU(s, d, destination + i);
      continue;
    }
    const auto alpha = hn::ShiftRight<24>(s);
    const W rest = hn::Sub(full, hn::BitCast(Words(), hn::Or(alpha, hn::ShiftLeft<16>(alpha))));
    const auto under = Scaled(hn::LoadU(d, destination + i), rest);
    const auto sum = hn::BitCast(d, hn::SaturatedAdd(hn::BitCast(Bytes(), s), under));
    hn::StoreU(hn::Or(sum, opaque), d, destination + i);
  }
  return i;
}

}  // namespace plexion_host::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host {

HWY_EXPORT(Blend);

void BlendRow(uint32_t* destination, const uint32_t* source, size_t count, uint8_t planeAlpha) {
  const size_t done = HWY_DYNAMIC_DISPATCH(Blend)(destination, source, count, planeAlpha);
  BlendRowPortable(destination + done, source + done, count - done, planeAlpha);
}

}  // namespace plexion_host
#endif  // HWY_ONCE
