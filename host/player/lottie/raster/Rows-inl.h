// What all loops over pixels are made of: one for each kind of vector, so it is included again and
// again. A pixel is one 32-bit lane; its channels are worked on as two pairs of 16 bits.

#if defined(HOST_PLAYER_LOTTIE_RASTER_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef HOST_PLAYER_LOTTIE_RASTER_ROWS_INL_H_
#undef HOST_PLAYER_LOTTIE_RASTER_ROWS_INL_H_
#else
#define HOST_PLAYER_LOTTIE_RASTER_ROWS_INL_H_
#endif

#include <hwy/highway.h>
#include <stdint.h>

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// Calls `step(tag, i)` for 0 to `n`: whole vectors, then fours, then single pixels.
template <class Step>
HWY_INLINE void ForRow(int n, const Step& step) {
  const hn::ScalableTag<uint32_t> wide;
  const int lanes = static_cast<int>(hn::Lanes(wide));
  int i = 0;
  for (; i + lanes <= n; i += lanes) step(wide, i);
  if (lanes > 4) {
    const hn::CappedTag<uint32_t, 4> four;
    for (; i + 4 <= n; i += 4) step(four, i);
  }
  const hn::CappedTag<uint32_t, 1> one;
  for (; i < n; ++i) step(one, i);
}

/// The same for what is less than a vector: fours, then single pixels.
template <class Step>
HWY_INLINE void ForFew(int n, const Step& step) {
  int i = 0;
  const hn::CappedTag<uint32_t, 4> four;
  if (hn::Lanes(four) == 4) {
    for (; i + 4 <= n; i += 4) step(four, i);
  }
  const hn::CappedTag<uint32_t, 1> one;
  for (; i < n; ++i) step(one, i);
}

/// Bytes as 32-bit lanes.
template <class D>
HWY_INLINE hn::Vec<D> LoadBytes(D d, const uint8_t* bytes) {
  return hn::PromoteTo(d, hn::LoadU(hn::Rebind<uint8_t, D>(), bytes));
}

/// Pairs of 16 bits, up to 255 * 255, divided by 255 and rounded: the upper half of a product with
/// 65536 / 255, which is exact for these.
template <class V16>
HWY_INLINE V16 DivideBy255(V16 v) {
  const hn::DFromV<V16> d;
  return hn::MulHigh(hn::Add(v, hn::Set(d, 128)), hn::Set(d, 257));
}

/// Each channel of `pixels` times `bytes` (0 to 255 in each lane) / 255.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V Times(D d, V pixels, V bytes) {
  const hn::Repartition<uint16_t, D> d16;
  const V low = hn::Set(d, 0x00ff00ffu);
  const auto factor = hn::BitCast(d16, hn::Or(bytes, hn::ShiftLeft<16>(bytes)));
  const auto rb = hn::BitCast(d16, hn::And(pixels, low));
  const auto ag = hn::BitCast(d16, hn::And(hn::ShiftRight<8>(pixels), low));
  const V newRb = hn::BitCast(d, DivideBy255(hn::Mul(rb, factor)));
  const V newAg = hn::BitCast(d, DivideBy255(hn::Mul(ag, factor)));
  return hn::Or(newRb, hn::ShiftLeft<8>(newAg));
}

/// Source over target. Channels above their alpha, which no sound source has, stay in their bytes.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V Over(D d, V source, V target) {
  const hn::Repartition<uint8_t, D> d8;
  const V rest = hn::Sub(hn::Set(d, 255), hn::ShiftRight<24>(source));
  return hn::BitCast(
      d, hn::SaturatedAdd(hn::BitCast(d8, source), hn::BitCast(d8, Times(d, target, rest))));
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // include again
