// Groups over what is below them: the sixteen blend modes, in vectors of pixels.

#include "host/player/lottie/compositing/Composite.h"

#include <string.h>

#include <algorithm>
#include <cmath>

#include "host/player/lottie/raster/Rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/lottie/compositing/Composite.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Words = hn::RebindToUnsigned<Floats>;
using V = hn::Vec<Floats>;
using W = hn::Vec<Words>;

/// Red, green and blue, 0 to 1.
struct Three {
  V r, g, b;
};

HWY_INLINE V Number(float v) { return hn::Set(Floats(), v); }
/// a / b, and 0 where b is 0.
HWY_INLINE V Divide(V a, V b) {
  const V zero = hn::Zero(Floats());
  return hn::IfThenElse(hn::Gt(b, zero), hn::Div(a, hn::Max(b, Number(1e-6f))), zero);
}

// One channel of a separable mode: premultiplied source and target with their alphas, to the result
// times both alphas.
template <BlendMode kMode>
HWY_INLINE V Channel(V s, V d, V sa, V da) {
  const V both = hn::Mul(sa, da);
  const V product = hn::Mul(s, d);
  const V two = Number(2);
  switch (kMode) {
    case BlendMode::kMultiply:
      return product;
    case BlendMode::kScreen:
      return hn::Sub(hn::MulAdd(s, da, hn::Mul(d, sa)), product);
    case BlendMode::kOverlay:
    case BlendMode::kHardLight: {
      const V dark = hn::Mul(two, product);
      const V light = hn::Sub(both, hn::Mul(two, hn::Mul(hn::Sub(da, d), hn::Sub(sa, s))));
      const V lead = kMode == BlendMode::kOverlay ? d : s;
      const V leadAlpha = kMode == BlendMode::kOverlay ? da : sa;
      return hn::IfThenElse(hn::Le(hn::Mul(two, lead), leadAlpha), dark, light);
    }
    case BlendMode::kDarken:
      return hn::Min(hn::Mul(s, da), hn::Mul(d, sa));
    case BlendMode::kLighten:
      return hn::Max(hn::Mul(s, da), hn::Mul(d, sa));
    case BlendMode::kColourDodge: {
      // Past white it stays white; black below stays black.
      const V rest = hn::Sub(sa, s);
      const V quotient = hn::Div(hn::Mul(d, sa), hn::Max(rest, Number(1e-6f)));
      const V lit = hn::Mul(sa, hn::Min(da, quotient));
      return hn::IfThenElse(hn::Gt(d, hn::Zero(Floats())), lit, hn::Zero(Floats()));
    }
    case BlendMode::kColourBurn: {
      const V missing = hn::Sub(da, d);
      const V quotient = hn::Div(hn::Mul(missing, sa), hn::Max(s, Number(1e-6f)));
      const V burnt = hn::Mul(sa, hn::Sub(da, hn::Min(da, quotient)));
      return hn::IfThenElse(hn::Gt(missing, Number(1e-5f)), burnt, both);
    }
    case BlendMode::kSoftLight: {
      const V cs = Divide(s, sa);
      const V cb = Divide(d, da);
      const V one = Number(1);
      const V four = Number(4);
      const V dark =
          hn::Sub(cb, hn::Mul(hn::Sub(one, hn::Mul(two, cs)), hn::Mul(cb, hn::Sub(one, cb))));
      const V curve =
          hn::Mul(hn::MulAdd(hn::Sub(hn::Mul(Number(16), cb), Number(12)), cb, four), cb);
      const V root = hn::Sqrt(hn::Max(cb, hn::Zero(Floats())));
      const V target = hn::IfThenElse(hn::Le(cb, Number(0.25f)), curve, root);
      const V light = hn::MulAdd(hn::Sub(hn::Mul(two, cs), one), hn::Sub(target, cb), cb);
      return hn::Mul(both, hn::IfThenElse(hn::Le(cs, Number(0.5f)), dark, light));
    }
    case BlendMode::kDifference:
      return hn::Abs(hn::Sub(hn::Mul(s, da), hn::Mul(d, sa)));
    case BlendMode::kExclusion:
      return hn::Sub(hn::MulAdd(s, da, hn::Mul(d, sa)), hn::Mul(two, product));
    default:
      return hn::Mul(s, da);
  }
}

HWY_INLINE V Lum(const Three& c) {
  return hn::MulAdd(c.r, Number(0.3f), hn::MulAdd(c.g, Number(0.59f), hn::Mul(c.b, Number(0.11f))));
}
HWY_INLINE V Most(const Three& c) { return hn::Max(c.r, hn::Max(c.g, c.b)); }
HWY_INLINE V Least(const Three& c) { return hn::Min(c.r, hn::Min(c.g, c.b)); }
HWY_INLINE V Sat(const Three& c) { return hn::Sub(Most(c), Least(c)); }

/// `c` with another lightness, pulled back towards it where that leaves 0 to 1.
HWY_INLINE Three SetLum(Three c, V lum) {
  const V add = hn::Sub(lum, Lum(c));
  c = {hn::Add(c.r, add), hn::Add(c.g, add), hn::Add(c.b, add)};
  const V l = Lum(c);
  const V least = Least(c);
  const V most = Most(c);
  const V one = Number(1);
  const V zero = hn::Zero(Floats());
  const V low = hn::IfThenElse(hn::Lt(least, zero), Divide(l, hn::Sub(l, least)), one);
  const V high = hn::IfThenElse(hn::Gt(most, one), Divide(hn::Sub(one, l), hn::Sub(most, l)), one);
  const V factor = hn::Min(low, high);
  return {hn::MulAdd(hn::Sub(c.r, l), factor, l), hn::MulAdd(hn::Sub(c.g, l), factor, l),
          hn::MulAdd(hn::Sub(c.b, l), factor, l)};
}

/// `c` stretched from 0 to `saturation`; grey becomes black.
HWY_INLINE Three SetSat(const Three& c, V saturation) {
  const V least = Least(c);
  const V factor = Divide(saturation, hn::Sub(Most(c), least));
  return {hn::Mul(hn::Sub(c.r, least), factor), hn::Mul(hn::Sub(c.g, least), factor),
          hn::Mul(hn::Sub(c.b, least), factor)};
}

template <BlendMode kMode>
HWY_INLINE Three Blend(const Three& s, const Three& d, V sa, V da) {
  if (kMode < BlendMode::kHue) {
    return {Channel<kMode>(s.r, d.r, sa, da), Channel<kMode>(s.g, d.g, sa, da),
            Channel<kMode>(s.b, d.b, sa, da)};
  }
  const Three cs{Divide(s.r, sa), Divide(s.g, sa), Divide(s.b, sa)};
  const Three cb{Divide(d.r, da), Divide(d.g, da), Divide(d.b, da)};
  Three c = cs;
  if (kMode == BlendMode::kHue) c = SetLum(SetSat(cs, Sat(cb)), Lum(cb));
  if (kMode == BlendMode::kSaturation) c = SetLum(SetSat(cb, Sat(cs)), Lum(cb));
  if (kMode == BlendMode::kColour) c = SetLum(cs, Lum(cb));
  if (kMode == BlendMode::kLuminosity) c = SetLum(cb, Lum(cs));
  const V both = hn::Mul(sa, da);
  return {hn::Mul(c.r, both), hn::Mul(c.g, both), hn::Mul(c.b, both)};
}

HWY_INLINE V Byte(W shifted) {
  const hn::RebindToSigned<Floats> di;
  return hn::ConvertTo(Floats(), hn::BitCast(di, hn::And(shifted, hn::Set(Words(), 255))));
}

template <BlendMode kMode>
HWY_INLINE void BlendRowBy(uint32_t* target, const uint32_t* source, float opacity, int n) {
  const Floats d;
  const Words du;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const V unit = Number(1.0f / 255);
  const V scale = Number(opacity / 255);
  const V full = Number(255);
  uint32_t room[2 * HWY_MAX_BYTES / 4];
  for (int i = 0; i < n; i += lanes) {
    uint32_t* out = target + i;
    const uint32_t* in = source + i;
    const int count = std::min(lanes, n - i);
    if (count < lanes) {
      memset(room, 0, sizeof(room));
      memcpy(room, out, static_cast<size_t>(count) * 4);
      memcpy(room + lanes, in, static_cast<size_t>(count) * 4);
      out = room;
      in = room + lanes;
    }
    const W sw = hn::LoadU(du, in);
    if (hn::AllTrue(du, hn::Eq(sw, hn::Zero(du)))) continue;
    const W dw = hn::LoadU(du, out);
    const Three s{hn::Mul(Byte(hn::ShiftRight<16>(sw)), scale),
                  hn::Mul(Byte(hn::ShiftRight<8>(sw)), scale), hn::Mul(Byte(sw), scale)};
    const Three t{hn::Mul(Byte(hn::ShiftRight<16>(dw)), unit),
                  hn::Mul(Byte(hn::ShiftRight<8>(dw)), unit), hn::Mul(Byte(dw), unit)};
    const V sa = hn::Mul(Byte(hn::ShiftRight<24>(sw)), scale);
    const V da = hn::Mul(Byte(hn::ShiftRight<24>(dw)), unit);
    const Three mixed = Blend<kMode>(s, t, sa, da);
    const V alpha = hn::Sub(hn::Add(sa, da), hn::Mul(sa, da));
    const V noTarget = hn::Sub(Number(1), da);
    const V noSource = hn::Sub(Number(1), sa);
    const auto pack = [&](V v) {
      const V bounded = hn::Min(hn::Max(v, hn::Zero(d)), alpha);
      return hn::BitCast(du, hn::NearestInt(hn::Mul(bounded, full)));
    };
    const auto channel = [&](V b, V sc, V dc) {
      return pack(hn::Add(b, hn::MulAdd(sc, noTarget, hn::Mul(dc, noSource))));
    };
    const W result = hn::Or(
        hn::Or(hn::ShiftLeft<24>(pack(alpha)), hn::ShiftLeft<16>(channel(mixed.r, s.r, t.r))),
        hn::Or(hn::ShiftLeft<8>(channel(mixed.g, s.g, t.g)), channel(mixed.b, s.b, t.b)));
    hn::StoreU(result, du, out);
    if (count < lanes) memcpy(target + i, room, static_cast<size_t>(count) * 4);
  }
}

void BlendRow(uint32_t* target, const uint32_t* source, float opacity, BlendMode mode, int n) {
  switch (mode) {
#define PLEXION_BLEND(name) \
  case BlendMode::name:     \
    return BlendRowBy<BlendMode::name>(target, source, opacity, n);
    PLEXION_BLEND(kNormal)
    PLEXION_BLEND(kMultiply)
    PLEXION_BLEND(kScreen)
    PLEXION_BLEND(kOverlay)
    PLEXION_BLEND(kDarken)
    PLEXION_BLEND(kLighten)
    PLEXION_BLEND(kColourDodge)
    PLEXION_BLEND(kColourBurn)
    PLEXION_BLEND(kHardLight)
    PLEXION_BLEND(kSoftLight)
    PLEXION_BLEND(kDifference)
    PLEXION_BLEND(kExclusion)
    PLEXION_BLEND(kHue)
    PLEXION_BLEND(kSaturation)
    PLEXION_BLEND(kColour)
    PLEXION_BLEND(kLuminosity)
#undef PLEXION_BLEND
  }
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::movie {

HWY_EXPORT(BlendRow);

void Composite(const Surface& target, const Surface& source, int x, int y, const IntRect& clip,
               float opacity, BlendMode mode) {
  const IntRect area = clip.Cut(target.Bounds()).Cut({x, y, x + source.width, y + source.height});
  if (area.IsEmpty() || !(opacity > 0)) return;
  opacity = std::min(opacity, 1.0f);
  const auto alpha = static_cast<uint8_t>(std::lrint(opacity * 255));
  for (int row = area.top; row < area.bottom; ++row) {
    uint32_t* const to = target.Row(row) + area.left;
    const uint32_t* const from = source.Row(row - y) + (area.left - x);
    if (mode == BlendMode::kNormal) {
      BlendPixels(to, from, alpha, area.Width());
    } else {
      HWY_DYNAMIC_DISPATCH(BlendRow)(to, from, opacity, mode, area.Width());
    }
  }
}

}  // namespace plexion_host::movie
#endif  // HWY_ONCE
